#include "io/NumberFormat.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Compares the formatter with a default-formatted stream on every value; reports the first
// few differences with the value's bits, so a failure names its input exactly.
class StreamComparison {
public:
    // fixed15: the stream set to std::fixed and precision 15 against FormatStreamFixed15.
    explicit StreamComparison(bool fixed15 = false) : fixed15_(fixed15)
    {
        if (fixed15_) stream_ << std::fixed << std::setprecision(15);
    }
    void Check(double value)
    {
        stream_.str(std::string());
        stream_ << value;
        char text[kStreamFixedMaxLength];
        char* end = fixed15_ ? FormatStreamFixed15(text, value) : FormatStreamDefault(text, value);
        const std::string_view ours(text, static_cast<size_t>(end - text));
        ++checked_;
        if (ours == stream_.view()) return;
        if (++failures_ <= 10)
            ADD_FAILURE() << "bits 0x" << std::hex << std::bit_cast<uint64_t>(value) << std::dec << ": stream \""
                          << stream_.view() << "\", formatter \"" << ours << "\"";
    }
    int64_t checked() const { return checked_; }
    int64_t failures() const { return failures_; }

private:
    bool fixed15_;
    std::ostringstream stream_;
    int64_t checked_ = 0;
    int64_t failures_ = 0;
};

// Every value kind the default format has to get right, against the stream: special values
// and NaN payloads of both signs; a few ulps either side of every power of ten and of the
// points where six digits round up into the next power (9.999995·10^e), which decide
// between the fixed and the exponent form and the number of digits; exact ties, where the
// C library rounds the exact binary value to even; random bit patterns (subnormals, NaN
// payloads, every exponent) and random values in the ranges S-parameters and frequencies
// take.
TEST(NumberFormat, MillionsOfValuesAsTheStreamWritesThem)
{
    using L = std::numeric_limits<double>;
    StreamComparison c;
    for (double v : {0.0, -0.0, L::infinity(), -L::infinity(), L::quiet_NaN(), -L::quiet_NaN(), L::max(),
                     -L::max(), L::min(), L::denorm_min(), -L::denorm_min(), 1.0, -1.0, 0.1, 100000.0, 999999.5,
                     1e-5, 0.0001, 123456789.0, 1.0 / 3.0})
        c.Check(v);
    for (uint64_t bits : {0x7ff0000000000001ull, 0xfff8000000000001ull, 0x7fffffffffffffffull})
        c.Check(std::bit_cast<double>(bits));

    for (int e = -323; e <= 308; ++e) {
        for (double base : {std::pow(10.0, e), 9.999995 * std::pow(10.0, e - 1), 9.5 * std::pow(10.0, e - 1)}) {
            if (!std::isfinite(base) || base == 0.0) continue;
            double up = base, down = base;
            for (int s = 0; s <= 4; ++s) {
                for (double v : {up, down, -up, -down}) c.Check(v);
                up = std::nextafter(up, L::infinity());
                down = std::nextafter(down, 0.0);
            }
        }
    }

    // Every third seven-digit tie ending in 5, which keeps the test quick.
    for (int64_t m = 1000005; m <= 9999995; m += 30) {
        const double x = static_cast<double>(m);
        c.Check(x);           // a tie in the exponent form: 1000005 -> 1e+06
        c.Check(-x / 2.0);    // a tie in the fixed form: -500002.5 -> -500002
        c.Check(x * 1024.0);  // exact values with more digits than six
        c.Check(x / 8.0);
    }

    std::mt19937_64 random(20261122);
    for (int i = 0; i < 1000000; ++i) c.Check(std::bit_cast<double>(random()));
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::uniform_real_distribution<double> hertz(0.0, 1e11);
    for (int i = 0; i < 300000; ++i) {
        c.Check(unit(random));
        c.Check(unit(random) * 1e-9);
        c.Check(hertz(random));
    }
    for (int i = 0; i < 100000; ++i) c.Check(std::bit_cast<double>(random() & 0x800fffffffffffffull));  // subnormals
    EXPECT_EQ(c.failures(), 0);
    EXPECT_GT(c.checked(), 2000000);
}

// The generalized mode's fixed format: the same kinds of values, and exact ties at the
// sixteenth decimal (odd multiples of 2^-16 end in ...5 there).
TEST(NumberFormat, FixedFifteenDecimals)
{
    using L = std::numeric_limits<double>;
    StreamComparison c(true);
    for (double v : {0.0, -0.0, L::infinity(), -L::infinity(), L::quiet_NaN(), -L::quiet_NaN(), L::max(), -L::max(),
                     L::denorm_min(), 0.5e-15, 1.5e-15, 0.9999999999999995, 1e22, 123.456})
        c.Check(v);
    for (int64_t j = 1; j < 400000; j += 2) {
        c.Check(std::ldexp(static_cast<double>(j), -16));
        c.Check(-std::ldexp(static_cast<double>(j), -17));
    }
    std::mt19937_64 random(15);
    std::uniform_real_distribution<double> unit(-2.0, 2.0);
    for (int i = 0; i < 300000; ++i) c.Check(unit(random));
    for (int i = 0; i < 50000; ++i) c.Check(std::bit_cast<double>(random()));  // long texts: fewer
    EXPECT_EQ(c.failures(), 0);
}

}  // namespace

// -precision N is printf's "%.Ng"; -precision full reads back to the same double and is
// never longer than "%.17g".
TEST(NumberFormat, OutputPrecisionAsPrintfAndShortestRoundTrip)
{
    const double values[] = {0.0, -0.0, 1.0, -0.1, 1.0 / 3.0, 2.5e-310, -1.7976931348623157e308, 123456789.0,
                             0.000123456789, 1e21, 5e-324, 0.1 + 0.2};
    char text[kOutputNumberMaxLength];
    char expected[64];
    for (const double v : values) {
        for (int digits : {1, 3, 6, 10, 17}) {
            std::snprintf(expected, sizeof expected, "%.*g", digits, v);
            EXPECT_EQ(std::string(text, FormatOutputNumber(text, v, digits)), expected) << v << " " << digits;
        }
        const std::string shortest(text, FormatOutputNumber(text, v, -1));
        EXPECT_EQ(std::strtod(shortest.c_str(), nullptr), v) << shortest;
        std::snprintf(expected, sizeof expected, "%.17g", v);
        EXPECT_LE(shortest.size(), std::string(expected).size()) << shortest;
    }
}
