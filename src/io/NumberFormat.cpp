#include "io/NumberFormat.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// The general form, exact for every double: to_chars with a precision is defined as
// printf's "%.*g" and rounds from the exact binary value, as glibc does; it prints
// infinities and NaN as "inf" and "nan" with the value's sign, as glibc does too.
char* FormatGeneral6Exact(char* out, double value)
{
    return std::to_chars(out, out + kStreamNumberMaxLength, value, std::chars_format::general, 6).ptr;
}

constexpr int kTableLimit = 300;

// 10^k correctly rounded for |k| <= kTableLimit (the C library's conversion of "1e<k>").
const std::array<double, 2 * kTableLimit + 1>& PowersOfTen()
{
    static const std::array<double, 2 * kTableLimit + 1> table = [] {
        std::array<double, 2 * kTableLimit + 1> t{};
        for (int k = -kTableLimit; k <= kTableLimit; ++k) {
            char text[16];
            std::snprintf(text, sizeof text, "1e%d", k);
            t[static_cast<size_t>(k + kTableLimit)] = std::strtod(text, nullptr);
        }
        return t;
    }();
    return table;
}

// a·10^k with at most about one ulp of error: one rounding while 10^k is exact (|k| <= 22),
// two otherwise.
double ScaleByPowerOfTen(double a, int k, const std::array<double, 2 * kTableLimit + 1>& powers)
{
    if (k >= 0 && k <= 22) return a * powers[static_cast<size_t>(k + kTableLimit)];
    if (k < 0 && k >= -22) return a / powers[static_cast<size_t>(-k + kTableLimit)];
    return a * powers[static_cast<size_t>(k + kTableLimit)];
}

// s within this distance of a half integer could round either way once the error of the
// scaling is counted (about 1e-10 at s < 1e7); such values take the exact path.
constexpr double kTieMargin = 1e-7;

bool NearHalf(double s)
{
    const double fraction = s - std::floor(s);
    return std::fabs(fraction - 0.5) < kTieMargin;
}

}  // namespace

char* FormatStreamDefault(char* out, double value)
{
    const double a = std::fabs(value);
    // Zero, tiny and huge magnitudes, infinities and NaN take the exact path.
    if (!(a >= 1e-290 && a <= 1e290)) return FormatGeneral6Exact(out, value);

    // Six significant digits n (100000..999999) and the decimal exponent x of the value
    // rounded to them, from s = a·10^(5-e) with e = floor(log10(a)) or one less.
    const auto& powers = PowersOfTen();
    int exponent2 = 0;
    static_cast<void>(std::frexp(a, &exponent2));  // a = m·2^exponent2, 0.5 <= m < 1
    int e = static_cast<int>(std::floor((exponent2 - 1) * 0.30102999566398120));
    double s = ScaleByPowerOfTen(a, 5 - e, powers);
    if (NearHalf(s)) return FormatGeneral6Exact(out, value);
    if (s >= 999999.5) {
        ++e;
        s = ScaleByPowerOfTen(a, 5 - e, powers);
        if (NearHalf(s)) return FormatGeneral6Exact(out, value);
    }
    int64_t n = static_cast<int64_t>(std::floor(s + 0.5));
    if (n == 1000000) {
        n = 100000;
        ++e;
    }
    if (n < 100000 || n > 999999) return FormatGeneral6Exact(out, value);

    char digits[6];
    for (int i = 5; i >= 0; --i) {
        digits[i] = static_cast<char>('0' + n % 10);
        n /= 10;
    }
    int significant = 6;  // printf's %g drops trailing zeros of the fraction
    while (significant > 1 && digits[significant - 1] == '0') --significant;

    char* p = out;
    if (std::signbit(value)) *p++ = '-';
    if (e >= -4 && e < 6) {
        if (e >= 0) {
            const int integerDigits = e + 1;
            std::memcpy(p, digits, static_cast<size_t>(integerDigits));
            p += integerDigits;
            if (significant > integerDigits) {
                *p++ = '.';
                std::memcpy(p, digits + integerDigits, static_cast<size_t>(significant - integerDigits));
                p += significant - integerDigits;
            }
        } else {
            *p++ = '0';
            *p++ = '.';
            for (int z = 0; z < -e - 1; ++z) *p++ = '0';
            std::memcpy(p, digits, static_cast<size_t>(significant));
            p += significant;
        }
        return p;
    }
    *p++ = digits[0];
    if (significant > 1) {
        *p++ = '.';
        std::memcpy(p, digits + 1, static_cast<size_t>(significant - 1));
        p += significant - 1;
    }
    *p++ = 'e';
    int x = e;
    if (x < 0) {
        *p++ = '-';
        x = -x;
    } else {
        *p++ = '+';
    }
    if (x >= 100) *p++ = static_cast<char>('0' + x / 100);
    *p++ = static_cast<char>('0' + x / 10 % 10);
    *p++ = static_cast<char>('0' + x % 10);
    return p;
}

char* FormatStreamFixed15(char* out, double value)
{
    const std::to_chars_result result =
        std::to_chars(out, out + kStreamFixedMaxLength, value, std::chars_format::fixed, 15);
    return result.ptr;
}

char* FormatOutputNumber(char* out, double value, int precision)
{
    if (precision == 0) return FormatStreamDefault(out, value);
    char* const end = out + kOutputNumberMaxLength;
    const std::to_chars_result result = precision < 0 ? std::to_chars(out, end, value)
                                                      : std::to_chars(out, end, value, std::chars_format::general, precision);
    return result.ptr;
}
