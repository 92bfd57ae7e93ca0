#pragma once
// Numbers with engineering unit letters ("10GHz", "4P", "1E3k").

#include <string>
#include <string_view>

/// The text before the first letter other than E/e, converted as strtod converts a prefix
/// (0 for no digits), times that letter's multiplier when it is a unit letter: p P (1e-12),
/// n N (1e-9), u U (1e-6), m (1e-3), k K (1e3), M (1e6), G (1e9), T (1e12).
[[nodiscard]] double ParseNumber(std::string_view text);

/// true, with `out` the text without them, when text has at least three characters and
/// begins and ends with a double quote.
[[nodiscard]] bool StripQuotes(std::string_view text, std::string& out);
