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
    EXPECT_EQ(result.output.empty(), result.run.status != 0);
    return result;
}

// Values of one element in a Touchstone data format; angles in degrees of the program's
// eight-digit pi.
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

// A record of the 2-port S = [[s11, s12], [s21, s22]] in version 1's order S11 S21 S12 S22.
std::string Record(const std::string& frequency, C s11 = 0.1, C s21 = 0.9, C s22 = 0.2, const std::string& format = "RI",
                   C s12 = 0.9)
{
    return frequency + " " + Pair(s11, format) + " " + Pair(s21, format) + "\t" + Pair(s12, format) + " " +
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

// One network in GHz as RI against itself in MHz in other formats and as Touchstone 2,
// records split over lines, comments anywhere, option lines in any letter case: g = 1 at
// every frequency. Only the mean of S12 and S21 counts: file 1 gives two different ones,
// file 2 their mean for both.
TEST(GeneralizedMode, OneNetworkReadInEveryFormGivesOne)
{
    const char* frequenciesGHz[3] = {"0.5", "1.5", "2.25"};
    const char* frequenciesMHz[3] = {"500", "1500", "2250"};
    const std::string v2 = "[Version] 2.0\n# MHz S MA R 50\n[Number of Ports] 2\n[Two-Port Data Order] 12_21\n"
                           "[Number of Frequencies] 3\n[Reference] 50 50\n[Network Data]\n";
    struct Form {
        const char* name;
        std::string head;
        std::string format;
        std::string tail;
    } forms[] = {
        {"MA", "! the same network\r\n\r\n# mhz S Ma R 50\r\n", "MA", ""},
        {"db", "# MHz S db R 50 ! note\n", "DB", ""},
        {"version 2", v2, "MA", "[Noise Data]\n500 1 2 3 4\n[End]\n"},
    };
    for (const Form& form : forms) {
        std::string file1 = "! network\n# ghz s ri r 50 ! note\n";
        std::string file2 = form.head;
        for (int k = 0; k < 3; ++k) {
            const C s11(0.1 * k, -0.3), s21(0.8, 0.1 * k), s12(0.75, 0.02), s22(-0.2, 0.25);
            file1 += Record(frequenciesGHz[k], s11, s21, s22, "RI", s12);
            const C mean = (s12 + s21) * 0.5;
            std::string record = Record(frequenciesMHz[k], s11, mean, s22, form.format, mean);
            record.replace(record.find('\t'), 1, "\n! inside a record\n\n  ");
            file2 += record + "! after a record\n";
        }
        const Result result = RunGeneralized(file1, file2 + form.tail);
        EXPECT_EQ(result.run.status, 0) << form.name;
        EXPECT_EQ(result.log, kReadOk + kDone) << form.name;
        const std::vector<Line> lines = Body(result.output);
        ASSERT_EQ(lines.size(), 3u) << form.name;
        const char* hertz[3] = {"500000000", "1500000000", "2250000000"};
        for (int k = 0; k < 3; ++k) {
            EXPECT_EQ(lines[k].frequency, hertz[k]);
            EXPECT_LT(std::abs(lines[k].g - 1.0), 1e-12) << form.name << " " << k;
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

// Every failure ends with status -1 and the reason in the log, before the step's own line.
TEST(GeneralizedMode, BrokenFilesEndWithTheReasonAndNoOutput)
{
    const std::string good = "# GHz S RI R 50\n" + Record("1") + Record("2") + Record("3");
    struct Case {
        const char* name;
        std::string file1, file2, out, log;
    };
    const Case cases[] = {
        // Only the third token is taken as the format.
        {"format out of place", good, "# GHz MA S R 50\n" + Record("1"), "g.txt",
         kReadOk + "VORA:: Unknown S2 file format.\n" + kComputeFailed},
        {"file 1 is a directory", kDirectory, good, "g.txt",
         "VORA:: Could not find S parameter file: <dir>a.s2p\n" + kReadFailed},
        {"output cannot be created", good, good, "no/such/dir/g.txt",
         "VORA:: Could not generate output file <dir>no/such/dir/g.txt\n" + kReadFailed},
        // Found by fuzzing: the eigenvalue solver never returned on the infinite transfer
        // matrix of a zero S21.
        {"zero S21 at the second point", "# GHz S RI R 50\n" + Record("1") + Record("2", 0.1, 0.0, 0.2, "RI", 0.0) +
         Record("3"), good, "g.txt",
         kReadOk + "VORA:: Fail to solve the eigenvalue problem in calculating Generalized Sparam: the matrix is not "
                   "finite at frequency id : 2\n" + kComputeFailed},
        {"a 4-port in version 2", "[Version] 2.0\n# GHz S RI\n[Number of Ports] 4\n", good, "g.txt",
         "VORA:: <dir>a.s2p holds 4 ports; the generalized mode reads 2-port files\n"
         "VORA:  Reading a line of S File 1 error \n" + kReadFailed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Result result = RunGeneralized(c.file1, c.file2, c.out);
        EXPECT_EQ(result.run.status, kFailed);
        EXPECT_EQ(result.log, c.log);
    }
}

}  // namespace
