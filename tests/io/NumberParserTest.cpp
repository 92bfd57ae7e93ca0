#include "io/NumberParser.h"
#include "io/Touchstone.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

// Bitwise, so that -0.0 and 0.0 differ.
bool SameDouble(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(NumberParser, UnitLettersScaleTheNumberBeforeThem)
{
    struct Case {
        const char* text;
        double expected;
    };
    const Case cases[] = {
        {"10GHz", 10.0 * 1e9}, {"2.5Hz", 2.5},      {"1E3k", 1e3 * 1e3}, {"5mil", 5.0 * 1e-3},
        {"3Meg", 3.0 * 1e6},   {"4P", 4.0 * 1e-12}, {"7n", 7.0 * 1e-9},  {"7U", 7.0 * 1e-6},
        {"7K", 7.0 * 1e3},     {"7T", 7.0 * 1e12},  {"7g", 7.0},         {"7t", 7.0},
        {"G", 0.0},            {"0x10", 0.0},       {"inf", 0.0},        {"3.0e2.5k", 300.0 * 1e3},
        // The fast path for plain numbers must leave these to the full conversion.
        {"nan", 0.0}, {"-inf", 0.0}, {"-nan", 0.0}, {"-infinity", 0.0}, {".5e-3", 0.5e-3}, {"-1E+3", -1e3},
    };
    for (const Case& c : cases) EXPECT_EQ(ParseNumber(c.text), c.expected) << c.text;
}

// The conversion must be exactly the C library's, on the text before the unit letter.
TEST(NumberParser, ConvertsExactlyAsStrtodDoes)
{
    std::vector<std::string> texts = {
        "+-1", "+.", "-.5", " 1", "\t-2", "1e400", "1e-400", "2.4703282292062328e-324",
        "2.2250738585072011e-308", "1.7976931348623159e308", "0e99999", "-0.0e5", "1e+-5", "1..5",
        "9007199254740993", "0.1000000000000000055511151231257827",
        "123456789012345678901234567890123456789012345678901234567890123456789012345678901234567890", "1,5",
    };
    std::mt19937 random(12345);
    const char pieces[] = "0123456789.+-eE";
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        const int length = 1 + static_cast<int>(random() % 14);
        for (int k = 0; k < length; ++k) text.push_back(pieces[random() % (sizeof pieces - 1)]);
        texts.push_back(text);
    }
    // Well-formed numbers of every magnitude, written with and without a sign.
    std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
    for (int i = 0; i < 20000; ++i) {
        char text[64];
        std::snprintf(text, sizeof text, (i % 3 == 0) ? "%+.*e" : "%.*g", static_cast<int>(random() % 18),
                      mantissa(random) * std::pow(10.0, static_cast<int>(random() % 625) - 325));
        texts.push_back(text);
    }
    for (const std::string& text : texts) {
        const double expected = std::strtod(text.c_str(), nullptr);
        EXPECT_TRUE(SameDouble(ParseNumber(text), expected)) << "'" << text << "'";
        EXPECT_TRUE(SameDouble(ParseNumber(text + "k"), expected * 1e3)) << "'" << text << "k'";
        EXPECT_TRUE(SameDouble(ParseNumber(text + "Hz"), expected)) << "'" << text << "Hz'";
    }
}

TEST(StripQuotes, NeedsAQuoteAtBothEndsAndSomethingBetween)
{
    std::string out = "unchanged";
    for (const char* text : {"\"\"", "\"", "\"abc", "abc\""}) EXPECT_FALSE(StripQuotes(text, out)) << text;
    EXPECT_EQ(out, "unchanged");
    EXPECT_TRUE(StripQuotes("\"a b.s2p\"", out));
    EXPECT_EQ(out, "a b.s2p");
}

TEST(FrequencyUnitFactor, ChoosesByTheFirstCharacterOnly)
{
    struct Case {
        const char* unit;
        double factor;
    };
    const Case cases[] = {
        {"Gx", 1e9}, {"MHz", 1e6}, {"mHz", 1e-3}, {"KHz", 1e3}, {"kHz", 1e3}, {"THz", 1e12}, {"Us", 1e-6},
        {"us", 1e-6}, {"NS", 1e-9}, {"ps", 1e-12}, {"Hz", 1.0}, {"ghz", 1.0}, {"thz", 1.0}, {"", 1.0},
    };
    for (const Case& c : cases) EXPECT_EQ(FrequencyUnitFactor(c.unit), c.factor) << c.unit;
}

}  // namespace
