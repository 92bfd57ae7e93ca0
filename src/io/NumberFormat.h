#pragma once
// Output numbers without a stream: the same characters a default-formatted C++ stream
// writes (printf's "%g" with six significant digits), at a fraction of the cost.

#include <cstddef>

/// Longest text FormatStreamDefault writes ("-1.23457e-308", "-nan"), with room to spare.
constexpr size_t kStreamNumberMaxLength = 24;

/// Writes value as `std::ostream << value` with default flags and precision 6 writes it,
/// and returns the end of the text. `out` must have kStreamNumberMaxLength bytes of room.
char* FormatStreamDefault(char* out, double value);

/// Longest text FormatStreamFixed15 writes: "-" and 309 integer digits of the largest
/// double, the point and 15 decimals.
constexpr size_t kStreamFixedMaxLength = 330;

/// Writes value as a stream set to std::fixed with precision 15 writes it ("%.15f").
/// `out` must have kStreamFixedMaxLength bytes of room.
char* FormatStreamFixed15(char* out, double value);

/// Longest text FormatOutputNumber writes: "-", 17 digits, the point and "e-308".
constexpr size_t kOutputNumberMaxLength = 32;

/// The de-embedded output's numbers: precision 0 as FormatStreamDefault, 1..17 with that
/// many significant digits ("%.<precision>g"), -1 as the shortest text that reads back to
/// the same double. `out` must have kOutputNumberMaxLength bytes of room.
char* FormatOutputNumber(char* out, double value, int precision);
