#include "io/Touchstone.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>

#include "io/NumberParser.h"

double FrequencyUnitFactor(std::string_view unitToken)
{
    if (unitToken.empty()) return 1.0;
    switch (unitToken.front()) {
    case 'G': return 1e9;
    case 'M': return 1e6;
    case 'm': return 1e-3;
    case 'K':
    case 'k': return 1e3;
    case 'T': return 1e12;
    case 'U':
    case 'u': return 1e-6;
    case 'N':
    case 'n': return 1e-9;
    case 'P':
    case 'p': return 1e-12;
    default: return 1.0;  // also "Hz", and lower-case "g" and "t"
    }
}

std::string UpperCase(std::string_view text)
{
    std::string upper(text);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return upper;
}

namespace {

// 0 when the token is not one of the unit words.
double UnitWordFactor(const std::string& upper)
{
    if (upper == "HZ") return 1.0;
    if (upper == "KHZ") return 1e3;
    if (upper == "MHZ") return 1e6;
    if (upper == "GHZ") return 1e9;
    if (upper == "THZ") return 1e12;
    return 0.0;
}

bool IsParameterLetter(const std::string& upper)
{
    return upper == "S" || upper == "Y" || upper == "Z" || upper == "H" || upper == "G";
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

double UnitFactorOfToken(std::string_view unitToken)
{
    const double factor = UnitWordFactor(UpperCase(unitToken));
    return factor != 0.0 ? factor : FrequencyUnitFactor(unitToken);
}

TouchstoneOptions ReadOptionTokens(const TokenList& tokens)
{
    TouchstoneOptions options;
    bool bParameterGiven = false;
    bool bResistanceFound = false;
    for (size_t k = 1; k < tokens.size(); ++k) {
        const std::string upper = UpperCase(tokens[k]);
        // A lone "G" first with another parameter letter later is the legacy unit letter.
        bool bLaterParameter = false;
        if (k == 1 && upper == "G")
            for (size_t j = 2; j < tokens.size(); ++j) bLaterParameter = bLaterParameter || IsParameterLetter(UpperCase(tokens[j]));
        if (const double factor = UnitWordFactor(upper); factor != 0.0) {
            options.unitToken.assign(tokens[k]);
            options.unitFactor = factor;
        } else if (upper == "R") {
            const std::string_view value = k + 1 < tokens.size() ? tokens[k + 1] : std::string_view();
            if (!bResistanceFound) {
                options.bResistanceGiven = true;
                options.resistanceToken.assign(value);
                options.resistance = ParseNumber(value);
                bResistanceFound = options.resistance >= 0;
            }
        } else if (IsParameterLetter(upper) && !bLaterParameter && !bParameterGiven) {
            options.parameter = upper[0];
            bParameterGiven = true;
        } else if (upper == "RI") {
            options.format = ValueFormat::RealImaginary;
        } else if (upper == "MA") {
            options.format = ValueFormat::MagnitudeAngle;
        } else if (upper == "DB") {
            options.format = ValueFormat::DecibelAngle;
        } else if (k == 1) {
            options.unitToken.assign(tokens[k]);
            options.unitFactor = FrequencyUnitFactor(tokens[k]);
        }
    }
    return options;
}

bool ParseDataNumber(std::string_view text, double& value)
{
    const char* first = text.data();
    const char* const last = first + text.size();
    const bool bPlus = first != last && *first == '+';
    if (bPlus) ++first;
    // from_chars takes "inf" and "nan" too: only digits, a point or a minus may start a
    // number here, and a minus not after a plus.
    if (first == last || !(IsDigit(*first) || *first == '.' || (*first == '-' && !bPlus))) return false;
    if (*first == '-' && (first + 1 == last || !(IsDigit(first[1]) || first[1] == '.'))) return false;
    const std::from_chars_result result = std::from_chars(first, last, value, std::chars_format::general);
    if (result.ptr != last) return false;
    if (result.ec == std::errc::result_out_of_range) {
        // Beyond the double range, or below its smallest numbers: strtod tells which.
        const std::string copy(first, last);
        value = std::strtod(copy.c_str(), nullptr);
    } else if (result.ec != std::errc()) {
        return false;
    }
    return std::isfinite(value);
}
