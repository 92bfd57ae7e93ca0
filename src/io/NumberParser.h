#pragma once
// Numbers with engineering unit letters ("10GHz", "4P", "1E3k").

#include <string>
#include <string_view>

/// Inserts the unit letters (p P n N u U m k K M G T) into the process-wide table.
void FillUnitLetterTable();
/// Empties the table (done when a job record is constructed).
void ClearUnitLetterTable();

/// The text before the first letter other than E/e, converted as strtod converts a prefix
/// (0 for no digits), times that letter's multiplier when the table holds it.
[[nodiscard]] double ParseNumber(std::string_view text);

/// true, with `out` the text without them, when text has at least three characters and
/// begins and ends with a double quote.
[[nodiscard]] bool StripQuotes(std::string_view text, std::string& out);
