// The input files of a de-embedding job as a parent tool sees them: the run log up to the
// end of the reading steps, the exit status and the header of the output file.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "io/TouchstoneText.h"
#include "support/VoraRun.h"

namespace {

const int kFailed = 255;  // -1 as the shell sees it
const std::string kParsed = "VORA:  Command line option successfully.\n";
const std::string kMapRead = "VORA:  Reading map file successfully. \n";
const std::string kMapFailed = "VORA:  Reading map file error. \n";
const std::string kWholeRead = "VORA:  Reading whole structure file successfully. \n";
const std::string kWholeFailed = "VORA:  Reading whole structure file error. \n";
const std::string kArmsRead = "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n";
const std::string kArmsFailed = "VORA:  Reading Open Y Files and Short Z Files error. \n";
const std::string kTwoLines = "ER 4.3\nNP 2 0.0001 0.000035 0.01 0.0002 0.0001 0.000035 0.01 0.0002\n";

// The port-line analysis that ends the loading of a group reports what it finds in the
// (made-up) arm data; those lines are its own and are dropped here.
std::string WithoutAnalysisLines(const std::string& log)
{
    std::string kept;
    size_t start = 0;
    while (start < log.size()) {
        const size_t end = std::min(log.find('\n', start), log.size() - 1) + 1;
        const std::string line = log.substr(start, end - start);
        if (line.rfind("VORA:: Port", 0) != 0 && line.rfind("VORA:: Find Port", 0) != 0) kept += line;
        start = end;
    }
    return kept;
}

class InputFiles : public ::testing::Test {
protected:
    // Runs the job; returns the log from after the command line up to the end of the
    // reading steps (the calibration's lines are not this test's concern).
    std::string Run(const std::string& map)
    {
        dir.Write("job.map", map);
        // Each run writes its own vora_<pid>.log; the previous run's must not be read.
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().filename().string().rfind("vora_", 0) == 0) std::filesystem::remove(entry.path());
        run = RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s2p"}, dir.path(), dir.path());
        std::string log = run.log;
        const size_t start = log.find(kParsed);
        if (start == std::string::npos) return "no command line: " + log;
        log.erase(0, start + kParsed.size());
        const size_t end = log.find(kArmsRead);
        if (end != std::string::npos) log.erase(end + kArmsRead.size());
        return log;
    }
    void Write(const std::string& name, const std::string& option, int64_t ports, const std::vector<double>& ghz)
    {
        dir.Write(name, TouchstoneText(option, ports, ghz, PositionValue));
    }
    // A whole 2-port and the Z short and Y open arms of the two-line example.
    void WriteExampleFiles()
    {
        Write("whole.s2p", "! measured\n! on wafer\n# GHz S RI R 50\n", 2, {1, 2, 3});
        Write("arm1.s2p", "# GHz Y RI R 50\n", 2, {1, 2, 3});
        Write("arm2.s2p", "# GHz Z RI R 50\n", 2, {1, 2, 3});
    }

    TempDir dir;
    VoraRun run;
};

TEST_F(InputFiles, EveryMapKeywordRejectsAWrongTokenCount)
{
    struct Case {
        const char* map;
        const char* message;
    };
    const Case cases[] = {
        {"FN\n", "VORA:: Noise Process Start Freq Readin Wrong\n"},
        {"ER 1 2\n", "VORA:: Max epr Readin Wrong\n"},
        {"NP 1 1 1 1 1\n", "VORA:: Nport w, t, l, s Readin Wrong\n"},
        {"NV 1 2\n", "VORA:: Nvpl Number Readin Wrong\n"},
        {"NC\n", "VORA:: Calibrate Number Readin Wrong\n"},
        {"WS\n", "VORA:: Whole structure Readin Wrong\n"},
        {"NP 2\nED 1 a b c\n", "VORA:: ARM structure Readin Wrong\n"},
        {"NP 2\nES 1 1 a b\n", "VORA:: ARM structure Readin Wrong\n"},
        {"NP 2\nNC 2\n", "VORA:: There is no port calibration due to no specify Nc\n"},
        {"NP 2\nNC 1\nEP 1 a b\nEP 2 a b\nEP 1 a b\n",
         "VORA:: Input calibration group number is not equal to the intended number\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Run(c.map), std::string(c.message) + kMapFailed) << c.map;
        EXPECT_EQ(run.status, kFailed) << c.map;
    }
}

TEST_F(InputFiles, ExampleJobIsReadAndTheOutputCarriesTheInputHeader)
{
    WriteExampleFiles();
    EXPECT_EQ(WithoutAnalysisLines(Run("* two-port line, one calibration group\n" + kTwoLines +
                  "NV 1\nNC 1\nWS whole.s2p\nEP 2 1 2 arm1.s2p arm2.s2p\n")),
              kMapRead + kWholeRead + kArmsRead);
    const std::string header = "! measured\n! on wafer\n# GHz S RI R 50\n";
    EXPECT_EQ(dir.Read("out.s2p").substr(0, header.size()), header);
}

TEST_F(InputFiles, QuotedFileNamesMayHoldBlanks)
{
    Write("my whole.s2p", "# GHz S RI R 50\n", 2, {1, 2});
    Write("open arm.s2p", "# GHz Y RI R 50\n", 2, {1, 2});
    Write("short arm.s2p", "# GHz Z RI R 50\n", 2, {1, 2});
    EXPECT_EQ(WithoutAnalysisLines(Run(kTwoLines + "NC 1\nWS \"my whole.s2p\"\nEP 2 1 2 \"open arm.s2p\" \"short arm.s2p\"\n")),
              kMapRead + kWholeRead + kArmsRead);
}

TEST_F(InputFiles, MissingFilesAreNamed)
{
    const std::string map = kTwoLines + "NC 1\nWS whole.s2p\nEP 2 1 2 arm1.s2p arm2.s2p\n";
    EXPECT_EQ(Run(map), kMapRead + "VORA:: Could not find whole structure file" + dir.dir() + "whole.s2p\n" + kWholeFailed);

    Write("whole.s2p", "# GHz S RI R 50\n", 2, {1});
    EXPECT_EQ(Run(map), kMapRead + kWholeRead + "VORA:: Could not open s-arm " + dir.dir() +
                            "arm2.s2p file\nVORA:: Could not find s-arm 1 file\nVORA:  The first arm process error. \n" +
                            kArmsFailed);

    Write("arm2.s2p", "# GHz Z RI R 50\n", 2, {1});
    EXPECT_EQ(Run(map), kMapRead + kWholeRead + "VORA:: Could not find o-arm 1 file\nVORA:  The first arm process error. \n" +
                            kArmsFailed);
    EXPECT_EQ(run.status, kFailed);
}

TEST_F(InputFiles, ArmResistanceIsComparedWithTheWholeStructure)
{
    struct Case {
        const char* wholeOption;
        const char* armR;
        std::string tail;
    };
    const std::string rejected = "VORA:  R of arm S file is not same as R of whole S file  \n"
                                 "VORA:  The first arm process error. \n" + kArmsFailed;
    const Case cases[] = {
        {"# GHz S RI R 50\n", "50.00001", kArmsRead},
        {"# GHz S RI R 50\n", "50.001", rejected},
        {"# GHz S RI\n", "50", rejected},  // no R in the whole file: every port has -10
    };
    for (const Case& c : cases) {
        Write("whole.s2p", c.wholeOption, 2, {1, 2});
        Write("arm.s2p", std::string("# GHz S RI R ") + c.armR + "\n", 2, {1, 2});
        EXPECT_EQ(Run("ER 1\nNP 2 1 1 1 1 1 1 1 1\nNC 2\nWS whole.s2p\nES 1 1 arm.s2p\nES 1 2 arm.s2p\n"),
                  kMapRead + kWholeRead + c.tail)
            << c.armR;
    }
}

TEST_F(InputFiles, EveryArmKindInBothForms)
{
    struct Case {
        const char* map;
        std::vector<std::pair<const char*, int64_t>> files;  // name, port count
    };
    // Extended: Z/Y (EP), S/S (ED), arm S of the 2-port of both ends (ES, longer than the
    // whole structure). Nvpl form: one port, a short file of nvpl lines and an open file
    // of both their ends; Nvpl 8 is not implemented.
    const Case cases[] = {
        {"EP 2 1 2 o.sNp s.sNp", {{"o.sNp", 2}, {"s.sNp", 2}}},
        {"ED 2 1 2 o.sNp s.sNp", {{"o.sNp", 2}, {"s.sNp", 2}}},
        {"ES 2 1 2 a.sNp", {{"a.sNp", 4}}},
        {"NV 2\nEP 1 o.sNp s.sNp", {{"o.sNp", 4}, {"s.sNp", 2}}},
        {"NV 2\nED 2 o.sNp s.sNp", {{"o.sNp", 4}, {"s.sNp", 2}}},
    };
    for (const Case& c : cases) {
        const std::string map = c.map;
        const bool bNvplForm = map.rfind("NV", 0) == 0;
        const bool bS = map.find("ED") != std::string::npos || map.find("ES") != std::string::npos;
        Write("whole.s2p", "# GHz S RI R 50\n", 2, {1, 2, 3});
        for (const auto& [name, ports] : c.files) {
            const char* type = bS ? "S" : (name[0] == 'o' ? "Y" : "Z");
            Write(name, std::string("# GHz ") + type + " RI R 50\n", ports, {1, 2, 3, 4, 5});
        }
        const std::string head = bNvplForm ? "NP 2\n" : kTwoLines;
        EXPECT_EQ(WithoutAnalysisLines(Run(head + "NC 1\nWS whole.s2p\n" + map + "\n")), kMapRead + kWholeRead + kArmsRead) << map;
    }

    Write("s.sNp", "# GHz Z RI R 50\n", 8, {1, 2, 3});
    EXPECT_EQ(Run("NP 2\nNV 8\nNC 1\nWS whole.s2p\nEP 1 o.sNp s.sNp\n"),
              kMapRead + kWholeRead + "VORA:  VPLN=8 not implemented yet error. \nVORA:  The first arm process error. \n" +
                  kArmsFailed);
}

}  // namespace
