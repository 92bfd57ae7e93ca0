#pragma once
// The option line of a Touchstone file, and the value forms its data records take.

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "io/TokenList.h"

/// Frequency unit multiplier chosen by the first character of a Touchstone unit token
/// (G M m K k T U u N n P p); anything else, and an empty token, gives 1.0.
[[nodiscard]] double FrequencyUnitFactor(std::string_view unitToken);

/// The multiplier of a unit token: Hz, kHz, MHz, GHz and THz in any letter case as whole
/// words, any other token by the first-letter table above (so "mhz" is megahertz, "mHz"
/// too, and "m" millihertz).
[[nodiscard]] double UnitFactorOfToken(std::string_view unitToken);

enum class ValueFormat : uint8_t { RealImaginary, MagnitudeAngle, DecibelAngle };

/// What an option line states, with Touchstone's defaults (GHz, S, MA, R 50) for what it
/// leaves out.
struct TouchstoneOptions {
    std::string unitToken = "GHz";  // as read; the default when none was given
    double unitFactor = 1e9;
    char parameter = 'S';           // S, Y, Z, H or G, upper case
    ValueFormat format = ValueFormat::MagnitudeAngle;
    bool bResistanceGiven = false;  // an "R" token was read
    std::string resistanceToken = "50";
    double resistance = 50.0;
};

/// Reads an option line's tokens ("#" first). A token that is not a unit word, a parameter
/// letter, a format or R takes the legacy place of the unit when it is the first after "#".
/// R is the number after the first "R" token that gives 0 or more, or the last one read.
[[nodiscard]] TouchstoneOptions ReadOptionTokens(const TokenList& tokens);

/// true when the whole text is a decimal number (sign, digits, point, exponent) of finite
/// value, which is then in `value`.
[[nodiscard]] bool ParseDataNumber(std::string_view text, double& value);

/// Turns a value pair of the given form into real and imaginary parts in place (angles in
/// degrees, decibels as 20·log10 of the magnitude).
inline void ToRealImaginary(ValueFormat format, double& first, double& second)
{
    if (format == ValueFormat::RealImaginary) return;
    constexpr double kRadiansPerDegree = 3.14159265358979323846 / 180.0;
    const double magnitude = format == ValueFormat::MagnitudeAngle ? first : std::pow(10.0, first / 20.0);
    const double angle = second * kRadiansPerDegree;
    first = magnitude * std::cos(angle);
    second = magnitude * std::sin(angle);
}

/// Upper-cased copy of a short token, for comparisons without regard to case.
[[nodiscard]] std::string UpperCase(std::string_view text);
