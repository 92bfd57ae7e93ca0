// The generalized S-parameter mode end to end: two 2-port files in, one complex number per
// frequency out, with the exit status and run log a parent tool sees.

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdio>
#include <filesystem>
#include <regex>
#include <sstream>

#include "e2e/EndToEnd.h"

namespace {

using C = std::complex<double>;

const std::string kOptionLine = "#\tHz\tS\tRI\tR\t50 \n";
const std::string kDirectory = "<a directory>";  // file 1 as a directory instead of a file
const std::string kReadOk = "VORA:  Reading the two Sparam files successfully. \n";
const std::string kReadFailed = "VORA:  Reading the two Sparam files error. \n";
const std::string kDone = "VORA:  Calculate Generalized Sparam successfully completed.\n";
const std::string kComputeFailed = "VORA:  Calculate Generalized Sparam fails.\n";

struct Result {
    VoraRun run;
    std::string output;
    std::string log;  // after the start, echo and command-line lines; the directory as "<dir>"
};

// Files are named by their full paths: the mode opens them as they stand.
Result RunGeneralized(const std::string& file1, const std::string& file2, const std::string& out = "g.txt")
{
    TempDir job;
    if (file1 == kDirectory)
        std::filesystem::create_directory(job.path() / "a.s2p");
    else
        job.Write("a.s2p", file1);
    job.Write("b.s2p", file2);
    const std::vector<std::string> args = {"GENERALIZEDSPARAM", "-filepath", job.dir(), "-inputsfile1", job.dir() + "a.s2p",
                                           "-inputsfile2", job.dir() + "b.s2p", "-out", out};
    Result result{RunVora(args, job.path(), job.path()), job.Read(out), ""};
    const std::string head = "VORA:  Program started.\n" + Echo(args) + kParsed;
    EXPECT_EQ(result.run.log.substr(0, head.size()), head);
    if (result.run.log.size() >= head.size()) result.log = ReplaceAll(result.run.log.substr(head.size()), job.dir(), "<dir>");
    EXPECT_EQ(result.run.out, "");  // nothing from the solver on the console
    EXPECT_EQ(WithoutSystemReasons(result.run.err), result.run.status == 0 ? "" : FailureNotice(result.run));
    EXPECT_EQ(job.Exists(out), result.run.status == 0) << "a failed run leaves no output";
    return result;
}

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
std::string Record(const std::string& frequency, C s11 = 0.1, C s21 = 0.9, C s22 = 0.2, const std::string& format = "RI")
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
        EXPECT_EQ(result.log, kReadOk + kDone) << format;
        const std::vector<Line> lines = Body(result.output);
        ASSERT_EQ(lines.size(), 3u) << format;
        const char* hertz[3] = {"500000000", "1500000000", "2250000000"};
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(lines[k].frequency, hertz[k]);
            EXPECT_LT(std::abs(lines[k].g - 1.0), 1e-12) << format << " " << k;
        }
    }
}

// The run stops quietly where the shorter file ends; files without frequencies give only
// the option line. The frequency is written as whole hertz, rounded down.
TEST(GeneralizedMode, WritesWholeHertzUpToTheEndOfTheShorterFile)
{
    const std::string shorter = "# GHz S RI\n" + Record("1.9999999") + Record("0.0000000015");
    const std::string longer = "# Hz S RI\n" + Record("1999999900") + Record("1.5") + Record("3");
    for (bool shorterFirst : {true, false}) {
        const Result result = shorterFirst ? RunGeneralized(shorter, longer) : RunGeneralized(longer, shorter);
        EXPECT_EQ(result.run.status, 0);
        EXPECT_EQ(result.log, kReadOk + kDone);
        const std::vector<Line> lines = Body(result.output);
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].frequency, "1999999900");
        EXPECT_EQ(lines[1].frequency, "1");
    }
    const Result empty = RunGeneralized("! nothing\n# GHz S RI R 50\n", "# GHz S MA R 50\n! nothing either\n");
    EXPECT_EQ(empty.log, kReadOk + kDone);
    EXPECT_EQ(empty.output, kOptionLine);
}

// Every failure ends with status -1, the reason in the log and no output: the option line
// is not flushed before the process ends.
TEST(GeneralizedMode, BrokenFilesEndWithTheReasonAndNoOutput)
{
    const std::string good = "# GHz S RI R 50\n" + Record("1") + Record("2") + Record("3");
    const auto frequencies = [](const std::string& option, const std::vector<std::string>& points) {
        std::string text = option;
        for (const std::string& f : points) text += Record(f);
        return text;
    };
    const auto differAt = [](const char* id) {
        return "VORA:  Reading S File frequency error \n"
               "The two S files should be with same frequency points. Difference exists at frequency id : " +
               std::string(id) + "\n" + kReadFailed;
    };
    const std::string notFinite =
        "VORA:: Fail to solve the eigenvalue problem in calculating Generalized Sparam: the matrix is not finite at "
        "frequency id : ";
    struct Case {
        const char* name;
        std::string file1, file2, out, log;
    };
    const Case cases[] = {
        // Format names are matched in upper case or all lower case only.
        // The format token is known in any letter case; only the third token is taken.
        {"format RJ", "# GHz S RJ R 50\n" + Record("1"), good, "g.txt",
         kReadOk + "VORA:: Unknown S1 file format.\n" + kComputeFailed},
        {"format out of place", good, "# GHz MA S R 50\n" + Record("1"), "g.txt",
         kReadOk + "VORA:: Unknown S2 file format.\n" + kComputeFailed},
        // 0.067 GHz is 67000000.00000001 Hz; there is no tolerance.
        {"frequencies close", frequencies("# GHz S RI\n", {"0.067"}), frequencies("# MHz S RI\n", {"67"}), "g.txt",
         differAt("1")},
        // Without an option line every frequency of that file is 0 Hz. Lock step: the
        // option line of file 2 uses up the record "5" of file 1.
        {"no option line", frequencies("", {"5", "1", "2"}), frequencies("# Hz S RI\n", {"0", "2"}), "g.txt",
         differAt("2")},
        {"record too long", good, "# GHz S RI R 50\n" + Record("1") + "2 1 2 3 4 5 6 7 8 9\n", "g.txt",
         "VORA:  Reading a line of S File 2 error \n" + kReadFailed},
        // "#GHz" is not an option line's "#": the line pairs with a record of file 1 as data.
        {"glued option line", good, "# GHz S RI\n#GHz S RI\n" + Record("2"), "g.txt",
         "VORA:  Reading a frequency line of Whole S File error \n" + kReadFailed},
        {"file 1 is a directory", kDirectory, good, "g.txt",
         "VORA:: Could not find S parameter file: <dir>a.s2p\n" + kReadFailed},
        {"file 1 ends inside a record, CRLF", ReplaceAll(good.substr(0, good.rfind(' ')), "\n", "\r\n"), good, "g.txt",
         "VORA:  Reading a line of S File 1 error \n" + kReadFailed},
        {"output cannot be created", good, good, "no/such/dir/g.txt",
         "VORA:: Could not generate output file <dir>no/such/dir/g.txt\n" + kReadFailed},
        // Found by fuzzing: the eigenvalue solver never returned on the infinite transfer
        // matrix of a zero S21.
        {"zero S21 at the second point", "# GHz S RI R 50\n" + Record("1") + Record("2", 0.1, 0.0) + Record("3"), good,
         "g.txt", kReadOk + notFinite + "2\n" + kComputeFailed},
        {"S11 beyond the double range", "# GHz S RI R 50\n1 1e400 0 0.9 0 0.9 0 0.2 0\n" + Record("2"), good, "g.txt",
         "VORA:: Not a number in <dir>a.s2p line 2: 1e400\nVORA:  Reading a line of S File 1 error \n" + kReadFailed},
        {"S21 with a comma", good, "# GHz S RI R 50\n" + Record("1") + "2 0 0 0,9 0 0.9 0 0.2 0\n", "g.txt",
         "VORA:: Not a number in <dir>b.s2p line 3: 0,9\nVORA:  Reading a line of S File 2 error \n" + kReadFailed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Result result = RunGeneralized(c.file1, c.file2, c.out);
        EXPECT_EQ(result.run.status, kFailed);
        EXPECT_EQ(result.log, c.log);
        EXPECT_EQ(result.output, "");
    }
}

}  // namespace

namespace {

// Option lines in any letter case and comments after data read as the plain files do.
TEST(GeneralizedMode, OptionLinesInAnyCaseAndCommentsAfterDataReadAsThePlainFiles)
{
    const std::string plain1 = "# GHz S RI R 50\n" + Record("1", {0.1, 0.05}) + Record("2", {0.2, -0.1});
    const std::string plain2 = "# MHz S RI R 50\n" + Record("1000", {0.3, 0.0}, {0.8, 0.1}) + Record("2000");
    const Result reference = RunGeneralized(plain1, plain2);
    ASSERT_EQ(reference.run.status, 0) << reference.log;
    const auto commented = [](std::string text) { return ReplaceAll(text, "\n", " ! note\n"); };
    const Result result = RunGeneralized(
        commented(ReplaceAll(plain1, "# GHz S RI", "# ghz s ri")), commented(ReplaceAll(plain2, "# MHz S RI", "# mhz S Ri")));
    EXPECT_EQ(result.run.status, 0) << result.log;
    EXPECT_EQ(result.output, reference.output);
}

}  // namespace
