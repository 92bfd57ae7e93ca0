#pragma once
// Shared builders of test data: Touchstone texts, arm records, the textbook S of a line and
// matrix distances, so that every folder states its inputs the same way.

#include <algorithm>
#include <complex>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "job/RecordTable.h"
#include "numerics/Dcm.h"

// A Touchstone text: `header`, then one record per line with values given by a function of
// (frequency index, value position).
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

// Appends one record of complex values (as re, im pairs) to a table, sizing an empty one.
inline void AppendRecord(RecordTable& table, const std::vector<std::complex<double>>& values)
{
    if (table.empty()) table.Reset(static_cast<int64_t>(2 * values.size()));
    double* r = table.Append();
    for (size_t e = 0; e < values.size(); ++e) {
        r[2 * e] = values[e].real();
        r[2 * e + 1] = values[e].imag();
    }
}
inline void AppendRecord(RecordTable& table, const dcm& M)
{
    AppendRecord(table, std::vector<std::complex<double>>(M.data, M.data + M.Size()));
}

// S of a uniform line (characteristic impedance Zc, propagation γl) between two ports of
// reference resistance R, from the textbook formula.
struct LineS {
    std::complex<double> s11, s21;
};
inline LineS ClosedFormLineS(std::complex<double> Zc, std::complex<double> gl, double R)
{
    const std::complex<double> sh = std::sinh(gl), ch = std::cosh(gl);
    const std::complex<double> den = (Zc * Zc + R * R) * sh + 2.0 * Zc * R * ch;
    return {(Zc * Zc - R * R) * sh / den, 2.0 * Zc * R / den};
}

inline double MaxDifference(const dcm& A, const dcm& B)
{
    double d = 0.0;
    for (size_t e = 0; e < A.Size(); ++e) d = std::max(d, std::abs(A.data[e] - B.data[e]));
    return d;
}

// Removes everything in a directory (a job directory reused between runs).
inline void ClearDirectory(const std::filesystem::path& dir)
{
    for (const auto& entry : std::filesystem::directory_iterator(dir)) std::filesystem::remove_all(entry.path());
}
