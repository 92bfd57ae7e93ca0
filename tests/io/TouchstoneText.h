#pragma once
// Builds small Touchstone texts for the reader tests: one record per line, values given
// by a function of (frequency index, value position).

#include <cstdint>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

inline std::string TouchstoneText(const std::string& header, int64_t portCount, const std::vector<double>& frequencies,
                                  const std::function<double(size_t, int64_t)>& value)
{
    std::ostringstream text;
    text.precision(17);
    text << header;
    for (size_t k = 0; k < frequencies.size(); ++k) {
        text << frequencies[k];
        for (int64_t p = 0; p < 2 * portCount * portCount; ++p) text << ' ' << value(k, p);
        text << '\n';
    }
    return text.str();
}

// Value position p + 1000·k: every number tells where it came from.
inline double PositionValue(size_t k, int64_t p) { return static_cast<double>(p) + 1000.0 * static_cast<double>(k); }
inline double ZeroValue(size_t, int64_t) { return 0.0; }
