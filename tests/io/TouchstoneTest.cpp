// The option line as Touchstone defines it, and what counts as a number in a data record.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "io/LineReader.h"
#include "io/Touchstone.h"
#include "io/Touchstone2.h"

namespace {

TEST(ReadOptionTokens, UnitFormatTypeAndReferenceInAnyCaseWithTouchstonesDefaults)
{
    struct Case {
        const char* line;
        double unitFactor;
        char parameter;
        ValueFormat format;
        double R;
    };
    const ValueFormat RI = ValueFormat::RealImaginary, MA = ValueFormat::MagnitudeAngle, DB = ValueFormat::DecibelAngle;
    const Case cases[] = {
        {"# GHz S RI R 50", 1e9, 'S', RI, 50},
        {"# ghz s ri r 50", 1e9, 'S', RI, 50},
        {"# mhz Z ma R 20", 1e6, 'Z', MA, 20},  // megahertz, not millihertz
        {"# MHz y Db r 75", 1e6, 'Y', DB, 75},
        {"# khz S RI", 1e3, 'S', RI, 50},
        {"# thz", 1e12, 'S', MA, 50},
        {"#", 1e9, 'S', MA, 50},
        {"# S RI R 50", 1e9, 'S', RI, 50},     // no unit: GHz
        {"# m S RI R 50", 1e-3, 'S', RI, 50},  // other unit tokens: the first-letter table
        {"# Hz H RI", 1.0, 'H', RI, 50},
        {"# G S RI R 50", 1e9, 'S', RI, 50},   // "G" first, a type later: the unit letter
        {"# Hz S RI R -5 R 30", 1.0, 'S', RI, 30},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        TokenList tokens;
        SplitTokens(c.line, tokens);
        const TouchstoneOptions options = ReadOptionTokens(tokens);
        EXPECT_EQ(options.unitFactor, c.unitFactor);
        EXPECT_EQ(options.parameter, c.parameter);
        EXPECT_EQ(options.format, c.format);
        EXPECT_EQ(options.resistance, c.R);
    }
}

TEST(ParseDataNumber, TakesWholeFiniteDecimalNumbersOnly)
{
    struct Case {
        const char* text;
        bool bNumber;
        double value;
    };
    const Case cases[] = {
        {"1.5", true, 1.5},   {"-0.25", true, -0.25}, {"+3", true, 3},     {".5", true, 0.5},  {"5.", true, 5},
        {"1e-3", true, 1e-3}, {"-1E+2", true, -100},  {"4.9e-324", true, 4.9e-324},
        {"1,5", false, 0},    {"nan", false, 0},      {"-inf", false, 0},  {"0.3x", false, 0}, {"1e400", false, 0},
        {"1G", false, 0},     {"", false, 0},         {"-", false, 0},     {"+-1", false, 0},  {"0x10", false, 0},
        {"e5", false, 0},
    };
    for (const Case& c : cases) {
        double value = 0.0;
        EXPECT_EQ(ParseDataNumber(c.text, value), c.bNumber) << c.text;
        if (c.bNumber) {
            EXPECT_EQ(value, c.value) << c.text;
        }
    }
}

// Where each written pair is stored: version 1's layout, in which a two-port's S_ij sits at
// pair 2j + i (11 21 12 22) and any other N-port's at pair N·i + j.
TEST(MakeRecordLayout, PutsEveryFormIntoVersionOnesLayout)
{
    struct Case {
        const char* name;
        bool bVersion2, b21_12;
        MatrixFormat matrix;
        int64_t N;
        std::vector<int32_t> target, mirror;  // empty target: stored as written
        int64_t valueCount;
    };
    const MatrixFormat Full = MatrixFormat::Full, Upper = MatrixFormat::Upper, Lower = MatrixFormat::Lower;
    const Case cases[] = {
        {"v1 two-port", false, false, Full, 2, {}, {}, 8},
        {"v2 two-port 21_12: as version 1", true, true, Full, 2, {}, {}, 8},
        // Written 11 12 21 22.
        {"v2 two-port 12_21", true, false, Full, 2, {0, 2, 1, 3}, {-1, -1, -1, -1}, 8},
        // Written 11 12 22.
        {"v2 two-port upper", true, false, Upper, 2, {0, 2, 3}, {-1, 1, -1}, 6},
        {"v2 three-port full", true, false, Full, 3, {}, {}, 18},
        // Written 11 12 13 22 23 33.
        {"v2 three-port upper", true, false, Upper, 3, {0, 1, 2, 4, 5, 8}, {-1, 3, 6, -1, 7, -1}, 12},
        // Written 11 21 22 31 32 33.
        {"v2 three-port lower", true, false, Lower, 3, {0, 3, 4, 6, 7, 8}, {-1, 1, -1, 2, 5, -1}, 12},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Touchstone2Header header;
        header.bVersion2 = c.bVersion2;
        header.bOrder21_12 = c.b21_12;
        header.matrixFormat = c.matrix;
        RecordLayout layout;
        MakeRecordLayout(header, c.N, layout);
        EXPECT_EQ(layout.target, c.target);
        if (!c.target.empty()) {
            EXPECT_EQ(layout.mirror, c.mirror);
        }
        EXPECT_EQ(layout.valueCount, c.valueCount);
    }
}

TEST(ReadKeywordLine, ReferencesMayContinueAndNoiseDataAreReadPast)
{
    TextSource source;
    source.OpenText("  75 ! port 2\n60\n[Noise Data]\n1 2 3 4 5\n2 2 3 4 5\n[End]\n");
    Touchstone2Header header;
    EXPECT_EQ(ReadKeywordLine(source, "[Version] 2.1", header), "");
    EXPECT_EQ(ReadKeywordLine(source, "[Number of Ports] 3", header), "");
    EXPECT_EQ(ReadKeywordLine(source, "[Reference] 50", header), "");
    EXPECT_EQ(header.references, (std::vector<double>{50, 75, 60}));
    std::string_view line;
    ASSERT_TRUE(source.NextLine(line));
    EXPECT_EQ(ReadKeywordLine(source, line, header), "");
    ASSERT_TRUE(source.NextLine(line));
    EXPECT_EQ(line, "[End]");
    EXPECT_EQ(ReadKeywordLine(source, "[Matrix Format] Diagonal", header), "the value of [Matrix Format] is not read");
    Touchstone2Header version1;
    EXPECT_EQ(ReadKeywordLine(source, "[Number of Ports] 3", version1), "the keyword [Number of Ports] is not read");
}

}  // namespace
