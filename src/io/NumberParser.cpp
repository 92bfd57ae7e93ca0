#include "io/NumberParser.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace {

// The unit letters' multipliers, indexed by the letter; 0 marks a letter that is not one
// (no multiplier is 0).
constexpr std::array<double, 256> MakeUnitMultipliers()
{
    std::array<double, 256> table{};
    table['p'] = table['P'] = 1e-12;
    table['n'] = table['N'] = 1e-9;
    table['u'] = table['U'] = 1e-6;
    table['m'] = 1e-3;
    table['k'] = table['K'] = 1e3;
    table['M'] = 1e6;
    table['G'] = 1e9;
    table['T'] = 1e12;
    return table;
}
constexpr std::array<double, 256> kUnitMultipliers = MakeUnitMultipliers();

bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

double ConvertWithStrtod(std::string_view text)
{
    char small[64];
    std::string large;
    const char* terminated;
    if (text.size() < sizeof small) {
        text.copy(small, text.size());
        small[text.size()] = '\0';
        terminated = small;
    } else {
        large.assign(text);
        terminated = large.c_str();
    }
    return std::strtod(terminated, nullptr);
}

// The value strtod gives for the longest convertible prefix of text (0 for none).
// from_chars agrees with strtod on a plain decimal number in range; a leading "+", white
// space, an empty text and out-of-range values are left to strtod.
double ConvertPrefix(std::string_view text)
{
    const char* first = text.data();
    const char* const last = first + text.size();
    if (first != last && *first == '+') {
        ++first;
        if (first == last || !(IsDigit(*first) || *first == '.')) return ConvertWithStrtod(text);
    }
    if (first == last || !(IsDigit(*first) || *first == '.' || *first == '-')) return ConvertWithStrtod(text);
    double value = 0.0;
    const std::from_chars_result result = std::from_chars(first, last, value, std::chars_format::general);
    if (result.ec != std::errc()) return ConvertWithStrtod(text);
    return value;
}

}  // namespace

double ParseNumber(std::string_view text)
{
    // Fast path for the plain numbers that fill the data records: when from_chars takes the
    // whole text as a finite number, the text holds no letter but an exponent's E/e, so the
    // rule below would convert the same whole text with no multiplier. Anything else
    // (unit letters, "inf", "nan", a leading "+", out of range) goes the general way.
    if (!text.empty() && (IsDigit(text.front()) || text.front() == '-' || text.front() == '.')) {
        double value = 0.0;
        const std::from_chars_result result =
            std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
        if (result.ec == std::errc() && result.ptr == text.data() + text.size() && std::isfinite(value)) return value;
    }
    size_t letterAt = 0;
    while (letterAt < text.size() && !(IsLetter(text[letterAt]) && text[letterAt] != 'E' && text[letterAt] != 'e'))
        ++letterAt;
    double multiplier = 1.0;
    if (letterAt < text.size()) {
        const double entry = kUnitMultipliers[static_cast<unsigned char>(text[letterAt])];
        if (entry != 0.0) multiplier = entry;
    }
    return ConvertPrefix(text.substr(0, letterAt)) * multiplier;
}

bool StripQuotes(std::string_view text, std::string& out)
{
    if (text.size() < 3 || text.front() != '"' || text.back() != '"') return false;
    out.assign(text.substr(1, text.size() - 2));
    return true;
}
