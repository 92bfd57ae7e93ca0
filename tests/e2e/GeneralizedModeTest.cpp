// The generalized S-parameter mode end to end: two 2-port files in, one complex number per
// frequency out, with the exit status and run log a parent tool sees.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <regex>
#include <sstream>

#include "support/VoraRun.h"

namespace {

using C = std::complex<double>;

const int kFailed = 255;  // -1 as the shell sees it
const std::string kOptionLine = "#\tHz\tS\tRI\tR\t50 \n";

const std::vector<std::string> kArgs = {"GENERALIZEDSPARAM", "-filepath", "", "-inputsfile1", "a.s2p",
                                        "-inputsfile2", "b.s2p", "-out", "g.txt"};

std::string Echo(const std::vector<std::string>& args)
{
    std::string echo = "VORA:  Command Line: " + std::string(VORA_BINARY) + " ";
    for (const std::string& a : args) echo += a + " ";
    return echo + "\n";
}

struct Result {
    VoraRun run;
    std::string output;
    std::string logAfterStart;  // the log after the start, echo and command-line lines
};

Result RunGeneralized(const std::string& file1, const std::string& file2)
{
    TempDir job;
    job.Write("a.s2p", file1);
    job.Write("b.s2p", file2);
    std::vector<std::string> args = kArgs;
    args[2] = job.dir();
    Result result{RunVora(args, job.path(), job.path()), job.Read("g.txt"), ""};
    const std::string head =
        "VORA:  Program started.\n" + Echo(args) + "VORA:  Command line option successfully.\n";
    EXPECT_EQ(result.run.log.substr(0, head.size()), head);
    if (result.run.log.size() >= head.size()) result.logAfterStart = result.run.log.substr(head.size());
    EXPECT_EQ(result.run.out, "");
    EXPECT_EQ(result.run.err, "");
    return result;
}

const std::string kReadOk = "VORA:  Reading the two Sparam files successfully. \n";
const std::string kReadFailed = "VORA:  Reading the two Sparam files error. \n";
const std::string kDone = "VORA:  Calculate Generalized Sparam successfully completed.\n";
const std::string kComputeFailed = "VORA:  Calculate Generalized Sparam fails.\n";

// Values of one element pair in a Touchstone data format; angles in degrees of the
// program's eight-digit pi.
std::string Pair(C s, const std::string& format)
{
    char text[80];
    const double degrees = std::arg(s) * 180.0 / 3.1415926;
    if (format == "RI")
        std::snprintf(text, sizeof text, "%.17g %.17g", s.real(), s.imag());
    else if (format == "MA")
        std::snprintf(text, sizeof text, "%.17g %.17g", std::abs(s), degrees);
    else
        std::snprintf(text, sizeof text, "%.17g %.17g", 20.0 * std::log10(std::abs(s)), degrees);
    return text;
}

// A record of the reciprocal 2-port with S = [[s11, s21], [s21, s22]]: S11 S21 S12 S22.
std::string Record(const std::string& frequency, C s11, C s21, C s22, const std::string& format)
{
    return frequency + " " + Pair(s11, format) + " " + Pair(s21, format) + "\t" + Pair(s21, format) + " " +
           Pair(s22, format) + "\n";
}

struct Line {
    std::string frequency;
    C g;
};

// Splits the output body, checking the exact layout of every line.
std::vector<Line> Body(const std::string& output)
{
    EXPECT_EQ(output.substr(0, kOptionLine.size()), kOptionLine);
    std::vector<Line> lines;
    std::istringstream in(output.size() > kOptionLine.size() ? output.substr(kOptionLine.size()) : "");
    const std::regex layout("(\\d+)    (-?\\d+\\.\\d{15})    (-?\\d+\\.\\d{15})");
    std::string text;
    std::smatch m;
    while (std::getline(in, text)) {
        EXPECT_TRUE(std::regex_match(text, m, layout)) << "'" << text << "'";
        if (m.size() == 4) lines.push_back({m[1], C(std::stod(m[2]), std::stod(m[3]))});
    }
    return lines;
}

// One network in GHz as RI against itself in MHz in every accepted format, its records
// split over lines, with comments and blank lines anywhere: g = 1 at every frequency.
TEST(GeneralizedMode, AcceptsMixedUnitsAndEveryKnownFormat)
{
    const char* frequenciesGHz[3] = {"0.5", "1.5", "2.25"};
    const char* frequenciesMHz[3] = {"500", "1500", "2250"};
    for (const char* format : {"RI", "MA", "DB", "dB", "db"}) {
        std::string file1 = "! network\n# GHz S RI R 50\n";
        std::string file2 = "! the same network\r\n\r\n!another comment\r\n# MHz S " + std::string(format) + " R 50\r\n";
        for (int k = 0; k < 3; ++k) {
            const C s11(0.1 * k, -0.3), s21(0.8, 0.1 * k), s22(-0.2, 0.25);
            file1 += Record(frequenciesGHz[k], s11, s21, s22, "RI");
            std::string record = Record(frequenciesMHz[k], s11, s21, s22, format);
            record.replace(record.find('\t'), 1, "\n! inside a record\n\n  ");
            file2 += record + "! after a record\n";
        }
        const Result result = RunGeneralized(file1, file2);
        EXPECT_EQ(result.run.status, 0) << format;
        EXPECT_EQ(result.logAfterStart, kReadOk + kDone) << format;
        const std::vector<Line> lines = Body(result.output);
        ASSERT_EQ(lines.size(), 3u) << format;
        const char* hertz[3] = {"500000000", "1500000000", "2250000000"};
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(lines[k].frequency, hertz[k]);
            EXPECT_LT(std::abs(lines[k].g - 1.0), 1e-12) << format << " " << k;
        }
    }
}

TEST(GeneralizedMode, RejectsFormatsInAnyOtherLetterCase)
{
    const std::string record = Record("1", 0.1, 0.9, 0.2, "RI");
    struct Case {
        const char* format1;
        const char* format2;
        const char* message;
    };
    const Case cases[] = {
        {"ri", "RI", "VORA:: Unknown S1 file format.\n"},
        {"RI", "Ma", "VORA:: Unknown S2 file format.\n"},
    };
    for (const Case& c : cases) {
        const Result result = RunGeneralized("# GHz S " + std::string(c.format1) + " R 50\n" + record,
                                             "# GHz S " + std::string(c.format2) + " R 50\n" + record);
        EXPECT_EQ(result.run.status, kFailed);
        EXPECT_EQ(result.logAfterStart, kReadOk + c.message + kComputeFailed);
        EXPECT_EQ(result.output, "");  // the failed run drops the unflushed option line
    }
}

TEST(GeneralizedMode, RejectsTheFirstFrequencyThatDiffers)
{
    const auto file = [](const std::string& option, std::vector<std::string> frequencies) {
        std::string text = option;
        for (const std::string& f : frequencies) text += Record(f, 0.1, 0.9, 0.2, "RI");
        return text;
    };
    struct Case {
        std::string file1;
        std::string file2;
        int id;
    };
    const Case cases[] = {
        // 0.067 GHz is 67000000.00000001 Hz; there is no tolerance.
        {file("# GHz S RI\n", {"0.067"}), file("# MHz S RI\n", {"67"}), 1},
        // Without an option line every frequency of that file is 0 Hz. Lock step: the
        // option line of file 2 uses up the record "5" of file 1.
        {file("", {"5", "1", "2"}), file("# Hz S RI\n", {"0", "2"}), 2},
    };
    for (const Case& c : cases) {
        const Result result = RunGeneralized(c.file1, c.file2);
        EXPECT_EQ(result.run.status, kFailed);
        EXPECT_EQ(result.logAfterStart,
                  "VORA:  Reading S File frequency error \n"
                  "The two S files should be with same frequency points. Difference exists at frequency id : " +
                      std::to_string(c.id) + "\n" + kReadFailed);
        EXPECT_EQ(result.output, "");
    }
}

// The run stops quietly where the shorter file ends; files without frequencies give only
// the option line. The frequency is written as whole hertz, rounded down; unit letters mean
// nothing in this mode, so "1.5G" is 1.5 Hz.
TEST(GeneralizedMode, WritesWholeHertzUpToTheEndOfTheShorterFile)
{
    const auto record = [](const char* f) { return Record(f, 0.1, 0.9, 0.2, "RI"); };
    const std::string shorter = "# GHz S RI\n" + record("1.9999999") + record("0.0000000015");
    const std::string longer = "# Hz S RI\n" + record("1999999900") + record("1.5G") + record("3");
    for (bool shorterFirst : {true, false}) {
        const Result result = shorterFirst ? RunGeneralized(shorter, longer) : RunGeneralized(longer, shorter);
        EXPECT_EQ(result.run.status, 0);
        EXPECT_EQ(result.logAfterStart, kReadOk + kDone);
        const std::vector<Line> lines = Body(result.output);
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].frequency, "1999999900");
        EXPECT_EQ(lines[1].frequency, "1");
    }
    const Result empty = RunGeneralized("! nothing\n# GHz S RI R 50\n", "# GHz S MA R 50\n! nothing either\n");
    EXPECT_EQ(empty.logAfterStart, kReadOk + kDone);
    EXPECT_EQ(empty.output, kOptionLine);
}

TEST(GeneralizedMode, ReportsUnreadableFilesAndLines)
{
    // A missing file and a record cut short in file 1 are run with the broken tool inputs.
    const std::string good = "# GHz S RI\n" + Record("1", 0.1, 0.9, 0.2, "RI");
    const std::string second = Record("2", 0.1, 0.9, 0.2, "RI");
    const Result tooLong = RunGeneralized(good + second, good + "2 1 2 3 4 5 6 7 8 9\n");
    EXPECT_EQ(tooLong.run.status, kFailed);
    EXPECT_EQ(tooLong.logAfterStart, "VORA:  Reading a line of S File 2 error \n" + kReadFailed);
    // "#GHz" is not an option line's "#": the line pairs with a record of file 1 as data.
    const Result glued = RunGeneralized(good + second, "# GHz S RI\n#GHz S RI\n" + second);
    EXPECT_EQ(glued.logAfterStart, "VORA:  Reading a frequency line of Whole S File error \n" + kReadFailed);
}

}  // namespace
