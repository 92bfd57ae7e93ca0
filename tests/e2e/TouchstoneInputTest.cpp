// The Touchstone forms real writers produce, read through the real binary on generated jobs
// with a known device: every form of the same job must give the device back as the RI form
// does, and what cannot be read right must end the run with its own line.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <complex>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/EndToEnd.h"
#include "numerics/Dcm.h"

namespace {

const std::string kDone = "VORA:  Program successfully completed.\n";
const std::string kWholeFailed = "VORA:  Reading whole structure file error. \n";
const std::string kArmsFailed = "VORA:  The first arm process error. \nVORA:  Reading Open Y Files and Short Z Files error. \n";

using Edit = std::function<std::string(const std::string&)>;

// Each line of text passed through `edit` (without its line feed).
std::string EachLine(const std::string& text, const std::function<std::string(const std::string&)>& edit)
{
    std::istringstream in(text);
    std::string out, line;
    while (std::getline(in, line)) out += edit(line) + "\n";
    return out;
}

// The job's Touchstone files other than the device, each passed through `edit`.
void EditDataFiles(const TempDir& dir, const Edit& edit)
{
    for (const auto& entry : std::filesystem::directory_iterator(dir.path())) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("device", 0) == 0 || name.find(".s") == std::string::npos) continue;
        dir.Write(name, edit(dir.Read(name)));
    }
}

std::string OptionLineOf(const std::string& text)
{
    const size_t at = text.find("\n#");
    return at == std::string::npos ? "" : text.substr(at + 1, text.find('\n', at + 1) - at);
}

// The option line lower-cased: "# ghz s ma r 50".
std::string LowerCaseOptionLine(const std::string& text)
{
    return EachLine(text, [](std::string line) {
        if (!line.empty() && line[0] == '#')
            for (char& c : line) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return line;
    });
}

std::string WithoutOptionLine(const std::string& text)
{
    return EachLine(text, [](const std::string& line) { return line.rfind('#', 0) == 0 ? "! was " + line : line; });
}

struct JobResult {
    VoraRun run;
    double deviation = -1.0;  // from the device
    std::string output;
};

JobResult RunGenerated(const std::string& options, const Edit& edit, int32_t ports)
{
    TempDir dir;
    JobResult result;
    if (!GenerateJob("--points 21 " + options, dir.dir())) return result;
    if (edit) EditDataFiles(dir, edit);
    const std::string output = "out.s" + std::to_string(ports) + "p";
    result.run = RunMapJob(dir, output);
    result.deviation = DeviationFromDevice(dir.dir(), ports, output);
    if (dir.Exists(output)) result.output = dir.Read(output);
    return result;
}

// Noise parameters after the data of a version-1 two-port file: frequency, minimum noise
// figure, reflection magnitude and angle, effective noise resistance.
std::string WithNoiseData(const std::string& text)
{
    return text + "! noise parameters\n0.01 0.5 0.3 20 0.2\n1 0.7 0.25 30\n 0.3\n";
}

// The same job in every form a writer may give it: the device comes back to the output's
// six digits, and the output's option line says what the output holds.
TEST(TouchstoneInput, EveryFormOfTheSameJobGivesTheDeviceBack)
{
    struct Case {
        const char* name;
        std::string options;
        Edit edit;
        const char* optionLine;  // of the output
        int32_t ports = 4;
    };
    const std::string twoPorts = "--ports 2 --group 1:EP --group 2:EP ";
    const Case cases[] = {
        {"RI", "", nullptr, "# GHz S RI R 50\n"},
        {"MA", "--format MA", nullptr, "# GHz S RI R 50\n"},
        {"DB", "--format DB", nullptr, "# GHz S RI R 50\n"},
        {"MHz, DB", "--format DB --unit MHz", nullptr, "# MHz S RI R 50\n"},
        // Lower-case "mhz" is megahertz, not millihertz; "ghz" gigahertz.
        {"lower case, MHz", "--unit MHz", LowerCaseOptionLine, "# mhz s ri r 50\n"},
        // Touchstone's defaults: GHz, MA, R 50.
        {"no option line", "--format MA", WithoutOptionLine, "# GHz S RI R 50\n"},
        // In the whole structure only: the extended arm files must name their Z and Y.
        {"bare option line", "--format MA",
         [](const std::string& text) {
             return EachLine(text, [](const std::string& l) { return l == "# GHz S MA R 50" ? "#" : l; });
         },
         "# GHz S RI R 50\n"},
        // Version 2: wrapped rows with a comment after each, [Reference] on the next line.
        {"version 2", "--version 2", nullptr, "# GHz S RI R 50\n"},
        {"version 2, upper, DB", "--version 2 --matrix Upper --format DB", nullptr, "# GHz S RI R 50\n"},
        {"version 2, lower, MA", "--version 2 --matrix Lower --format MA", nullptr, "# GHz S RI R 50\n"},
        {"version 2, two-port 12_21", twoPorts + "--version 2", nullptr, "# GHz S RI R 50\n", 2},
        {"version 1 two-port with noise data", twoPorts,
         [](const std::string& text) { return text.find("S RI") != std::string::npos ? WithNoiseData(text) : text; },
         "# GHz S RI R 50\n", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const JobResult result = RunGenerated(c.options, c.edit, c.ports);
        ASSERT_EQ(result.run.status, 0) << result.run.log;
        EXPECT_NE(result.run.log.find(kDone), std::string::npos);
        EXPECT_GE(result.deviation, 0.0);
        EXPECT_LT(result.deviation, 2e-6);
        EXPECT_EQ(OptionLineOf(result.output), c.optionLine);
    }
}

// Replaces the k-th (0-based) blank-separated token of line `lineNumber` (1-based).
Edit ReplaceToken(int lineNumber, int k, const std::string& token)
{
    return [=](const std::string& text) {
        std::istringstream in(text);
        std::string out, line;
        for (int n = 1; std::getline(in, line); ++n) {
            if (n == lineNumber) {
                std::istringstream words(line);
                std::string word, rebuilt;
                for (int w = 0; words >> word; ++w) rebuilt += (w ? " " : "") + (w == k ? token : word);
                line = rebuilt;
            }
            out += line + "\n";
        }
        return out;
    };
}

TEST(TouchstoneInput, WhatCannotBeReadRightEndsTheRunWithItsOwnLine)
{
    const std::string wholeBadLine = "VORA:  Reading a line of Whole S File error \n";
    const std::string shortBadLine = "VORA:  Reading a line of Short Z File or Arm S File error \n";
    const std::string openBadLine = "VORA:  Reading a line of Open Y File error \n";
    struct Case {
        std::string file;
        Edit edit;
        std::string logTail;  // with <dir> for the job directory
        const char* options = "";
    };
    const auto replaceLine = [](const std::string& from, const std::string& to) {
        return [=](const std::string& text) { return ReplaceAll(text, from + "\n", to + "\n"); };
    };
    const char* v2 = "--version 2";
    const Case cases[] = {
        {"whole.s4p", replaceLine("[Network Data]", "[Mixed-Mode Order] D2,3 D1,4 C2,3 C1,4\n[Network Data]"),
         "VORA:: <dir>whole.s4p: the keyword [Mixed-Mode Order] is not read\n" + wholeBadLine + kWholeFailed, v2},
        {"whole.s4p", replaceLine("[Number of Ports] 4", "[Number of Ports] 3"),
         "VORA:: <dir>whole.s4p holds 3 ports; the job has 4\n" + wholeBadLine + kWholeFailed, v2},
        {"whole.s4p", replaceLine("[Number of Frequencies] 21", "[Number of Frequencies] 20"),
         "VORA:: <dir>whole.s4p holds 21 frequencies; [Number of Frequencies] says 20\n" + wholeBadLine + kWholeFailed,
         v2},
        {"whole.s4p", replaceLine("50 50 50 50", "50 50\n 50"),
         "VORA:: <dir>whole.s4p gives 3 references for 4 ports\n" + wholeBadLine + kWholeFailed, v2},
        {"arm1_short.s2p", replaceLine("[Number of Ports] 2", "[number of ports] 4"),
         "VORA:: <dir>arm1_short.s2p holds 4 ports; the arm has 2\n" + shortBadLine + kArmsFailed, v2},
        {"arm2_open.s2p", replaceLine("[Number of Frequencies] 21", "[Number of Frequencies] 22"),
         "VORA:: <dir>arm2_open.s2p holds 21 frequencies; [Number of Frequencies] says 22\n" + openBadLine +
             "VORA:  The second arm process error. \nVORA:  Reading Open Y Files and Short Z Files error. \n",
         v2},
        {"arm1_open.s2p", replaceLine("[Version] 2.0", "[Version] 3.0"),
         "VORA:: <dir>arm1_open.s2p: the value of [Version] is not read\n" + openBadLine + kArmsFailed, v2},
        {"whole.s4p", ReplaceToken(3, 1, "1,5"),
         "VORA:: Not a number in <dir>whole.s4p line 3: 1,5\n" + wholeBadLine + kWholeFailed},
        // Fourth line: the second physical line of the first record.
        {"whole.s4p", ReplaceToken(4, 3, "nan"),
         "VORA:: Not a number in <dir>whole.s4p line 4: nan\n" + wholeBadLine + kWholeFailed},
        {"whole.s4p", ReplaceToken(7, 0, "0.03x"),
         "VORA:: Not a number in <dir>whole.s4p line 7: 0.03x\n" + wholeBadLine + kWholeFailed},
        {"whole.s4p", ReplaceToken(2, 2, "g"),
         "VORA:: Whole structure file holds G parameters; S, Y or Z are read\n" + kWholeFailed},
        {"arm1_short.s2p", ReplaceToken(4, 8, "1e999"),
         "VORA:: Not a number in <dir>arm1_short.s2p line 4: 1e999\n" + shortBadLine + kArmsFailed},
        {"arm1_open.s2p", ReplaceToken(3, 0, "+inf"),
         "VORA:: Not a number in <dir>arm1_open.s2p line 3: +inf\n" + openBadLine + kArmsFailed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.logTail);
        TempDir dir;
        ASSERT_TRUE(GenerateJob(std::string("--points 21 ") + c.options, dir.dir()));
        const std::string before = dir.Read(c.file);
        dir.Write(c.file, c.edit(before));
        ASSERT_NE(dir.Read(c.file), before);
        const VoraRun run = RunMapJob(dir, "out.s4p");
        EXPECT_EQ(run.status, kFailed);
        const std::string tail = ReplaceAll(c.logTail, "<dir>", dir.dir());
        const std::string& log = run.log;
        EXPECT_EQ(log.substr(log.size() - std::min(log.size(), tail.size())), tail) << log;
    }
}

// A whole structure given as Z in MA form with a reference of 20 ohm, or as Y in RI form
// (both normalised to the reference, as version 1 writes them), or as Z in ohms in
// version 2, reads as the S it came from.
TEST(TouchstoneInput, YAndZWholeStructuresReadAsTheirS)
{
    struct Case {
        char parameter;
        bool bVersion2;
    };
    for (const Case c : {Case{'Z', false}, Case{'Y', false}, Case{'Z', true}, Case{'Y', true}}) {
        SCOPED_TRACE(std::string(1, c.parameter) + (c.bVersion2 ? " version 2" : " version 1"));
        TempDir dir;
        ASSERT_TRUE(GenerateJob("--points 21 --r-ref 20", dir.dir()));
        TouchstoneSeries whole;
        ASSERT_TRUE(ReadAllEntries(dir.dir() + "whole.s4p", 4, whole));
        std::ostringstream text;
        text.precision(17);
        if (c.bVersion2) text << "[Version] 2.0\n";
        text << "! converted\n# GHz " << c.parameter << (c.parameter == 'Z' && !c.bVersion2 ? " MA" : " RI") << " R 20\n";
        if (c.bVersion2) text << "[Number of Ports] 4\n[Reference] 20 20\n20 20\n[Network Data]\n";
        // Version 2 gives Z in ohms and Y in siemens.
        const double scale = !c.bVersion2 ? 1.0 : c.parameter == 'Z' ? 20.0 : 1.0 / 20.0;
        dcm S(4), IplusS(4), IminusS(4), inverse(4), converted(4);
        for (size_t k = 0; k < whole.frequencies.size(); ++k) {
            for (int32_t e = 0; e < 16; ++e) S.data[e] = whole.values[static_cast<size_t>(e)][k];
            for (int32_t e = 0; e < 16; ++e) {
                const Complex identity = e % 5 == 0 ? 1.0 : 0.0;
                IplusS.data[e] = identity + S.data[e];
                IminusS.data[e] = identity - S.data[e];
            }
            // z = (I + S)(I - S)^-1, y = (I - S)(I + S)^-1
            ASSERT_TRUE(Inverse(c.parameter == 'Z' ? IminusS : IplusS, inverse));
            Multiply(c.parameter == 'Z' ? IplusS : IminusS, inverse, converted);
            text << whole.frequencies[k] / 1e9;
            for (int32_t e = 0; e < 16; ++e) {
                const Complex v = converted.data[e] * scale;
                if (c.parameter == 'Z' && !c.bVersion2)
                    text << " " << std::abs(v) << " " << std::arg(v) * 180.0 / M_PI;
                else
                    text << " " << v.real() << " " << v.imag();
            }
            text << "\n";
        }
        if (c.bVersion2) text << "[End]\n";
        dir.Write("whole.s4p", text.str());
        const VoraRun run = RunMapJob(dir, "out.s4p");
        ASSERT_EQ(run.status, 0) << run.log;
        EXPECT_LT(DeviationFromDevice(dir.dir(), 4, "out.s4p"), 2e-6);
        EXPECT_EQ(OptionLineOf(dir.Read("out.s4p")), "# GHz S RI R 20\n");
    }
}

// References that differ per port cannot be stated by version 1: the output is version 2,
// with the references of the input, version 1's two-port order, and [End] after the data.
TEST(TouchstoneInput, ReferencesThatDifferPerPortGiveAVersionTwoOutput)
{
    for (const int32_t ports : {4, 2}) {
        SCOPED_TRACE(ports);
        TempDir dir;
        ASSERT_TRUE(GenerateJob(std::string("--points 5 --version 2") + (ports == 2 ? " --ports 2 --group 1:EP --group 2:EP" : ""),
                                dir.dir()));
        const std::string whole = "whole.s" + std::to_string(ports) + "p";
        const std::string same = ports == 4 ? "50 50 50 50" : "50 50";
        const std::string differ = ports == 4 ? "50 60 50 75" : "50 60";
        dir.Write(whole, ReplaceAll(dir.Read(whole), "[Reference]\n" + same + "\n", "[Reference]\n" + differ + "\n"));
        const std::string output = "out.s" + std::to_string(ports) + "p";
        const VoraRun run = RunMapJob(dir, output);
        ASSERT_EQ(run.status, 0) << run.log;
        const std::string text = dir.Read(output);
        const std::string header = "[Version] 2.0\n# GHz S RI R 50\n[Number of Ports] " + std::to_string(ports) + "\n" +
                                   (ports == 2 ? "[Two-Port Data Order] 21_12\n" : "") +
                                   "[Number of Frequencies] 5\n[Reference] " + differ + "\n[Network Data]\n";
        EXPECT_NE(text.find("\n" + header), std::string::npos) << text;
        EXPECT_EQ(text.substr(text.size() - 6), "[End]\n");
        // Five records follow the header.
        std::istringstream body(text.substr(text.find("[Network Data]\n") + 15));
        int records = 0;
        for (std::string line; std::getline(body, line);) records += !line.empty() && line[0] != '[' && line[0] != '\t';
        EXPECT_EQ(records, 5);
    }
}

}  // namespace

#endif
