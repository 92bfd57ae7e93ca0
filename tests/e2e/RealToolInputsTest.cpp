// What a real tool may hand the program broken: a file that is a directory, cut inside a
// record, a Touchstone keyword or number it cannot take, arm data that cannot serve the
// calibration. Every run ends with the program's own lines and status, never a signal, and
// leaves no output. (What each reader says alone is its unit tests' business; here it must
// reach the log through the steps of a real run.)
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "e2e/EndToEnd.h"

namespace {

const std::string kDone = "VORA:  Program successfully completed.\n";
const std::string kMapFailed = "VORA:  Reading map file error. \n";
const std::string kWholeFailed = "VORA:  Reading whole structure file error. \n";
const std::string kArmsFailed = "VORA:  The first arm process error. \nVORA:  Reading Open Y Files and Short Z Files error. \n";
const std::string kCalibrationFailed = "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole error. \n"
                                       "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines"
                                       " error. \nVORA:  Program fails.\n";

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

// Cuts the last data record (it starts on the last line that begins with a digit).
std::string DropLastRecord(std::string text)
{
    size_t start = std::string::npos;
    for (size_t pos = 0; pos < text.size();) {
        if (std::isdigit(static_cast<unsigned char>(text[pos]))) start = pos;
        const size_t end = text.find('\n', pos);
        if (end == std::string::npos) break;
        pos = end + 1;
    }
    if (start != std::string::npos) text.resize(start);
    return text;
}

// The text up to its last blank: the last record loses its last value (and line feed).
std::string CutInsideLastRecord(const std::string& text) { return text.substr(0, text.rfind(' ', text.size() - 2)); }

TEST(RealToolInputs, WhatCannotBeUsedEndsTheRunWithItsOwnLines)
{
    const std::string wholeBadLine = "VORA:  Reading a line of Whole S File error \n" + kWholeFailed;
    const std::string shortBadLine = "VORA:  Reading a line of Short Z File or Arm S File error \n" + kArmsFailed;
    const std::string openBadLine = "VORA:  Reading a line of Open Y File error \n" + kArmsFailed;
    const std::string coverage = "'s frequency range does not include 1.5e+09 in <dir>whole.s4p\n" + kCalibrationFailed;
    const std::string zeroY = "# GHz Y RI R 50\n0.5 0 0 0 0 0 0 0 0\n1 0 0 0 0 0 0 0 0\n1.5 0 0 0 0 0 0 0 0\n";
    const std::string v2 = "--points 21 --version 2", threePoints = "--fstart 500M --fstop 1.5G --points 3";
    struct Case {
        std::vector<std::string> files;  // each changed by `edit`; without one, made a directory
        Edit edit;
        std::string logTail;  // with <dir> for the job directory
        std::string options = "--points 21";
    };
    const Case cases[] = {
        {{"job.map"}, nullptr, "VORA:: Could not find <dir>job.map\n" + kMapFailed},
        {{"job.map"}, [](const std::string&) { return ""; }, "VORA:: There is no port calibration due to no specify Nc\n" + kMapFailed},
        // More ports than records could hold.
        {{"job.map"}, [](const std::string&) { return "NP 100000\nNC 1\nWS whole.s4p\nES 1 1 a\n"; },
         "VORA:: Nport w, t, l, s Readin Wrong\n" + kMapFailed},
        {{"whole.s4p"}, nullptr, "VORA:: Could not find whole structure file<dir>whole.s4p\n" + kWholeFailed},
        {{"out.s4p"}, nullptr, "VORA:: Could not generate output file <dir>out.s4p\n" + kWholeFailed},
        {{"arm1_short.s2p"}, nullptr,
         "VORA:: Could not open s-arm <dir>arm1_short.s2p file\nVORA:: Could not find s-arm 1 file\n" + kArmsFailed},
        {{"whole.s4p"}, [](const std::string& t) { return CutInsideLastRecord(t) + "\n"; }, wholeBadLine},
        {{"arm1_short.s2p"}, [](const std::string& t) { return CutInsideLastRecord(t) + "\n"; }, shortBadLine},
        {{"arm1_open.s2p"}, CutInsideLastRecord, openBadLine},  // without a line feed
        {{"whole.s4p"}, ReplaceText("[Network Data]\n", "[Mixed-Mode Order] D2,3 D1,4 C2,3 C1,4\n[Network Data]\n"),
         "VORA:: <dir>whole.s4p: the keyword [Mixed-Mode Order] is not read\n" + wholeBadLine, v2},
        {{"whole.s4p"}, ReplaceText("[Number of Ports] 4\n", "[Number of Ports] 3\n"),
         "VORA:: <dir>whole.s4p holds 3 ports; the job has 4\n" + wholeBadLine, v2},
        {{"whole.s4p"}, ReplaceText("[Number of Frequencies] 21\n", "[Number of Frequencies] 20\n"),
         "VORA:: <dir>whole.s4p holds 21 frequencies; [Number of Frequencies] says 20\n" + wholeBadLine, v2},
        {{"whole.s4p"}, ReplaceText("50 50 50 50\n", "50 50\n 50\n"),
         "VORA:: <dir>whole.s4p gives 3 references for 4 ports\n" + wholeBadLine, v2},
        {{"arm1_short.s2p"}, ReplaceText("[Number of Ports] 2\n", "[number of ports] 4\n"),
         "VORA:: <dir>arm1_short.s2p holds 4 ports; the arm has 2\n" + shortBadLine, v2},
        {{"arm2_open.s2p"}, ReplaceText("[Number of Frequencies] 21\n", "[Number of Frequencies] 22\n"),
         "VORA:: <dir>arm2_open.s2p holds 21 frequencies; [Number of Frequencies] says 22\n"
         "VORA:  Reading a line of Open Y File error \nVORA:  The second arm process error. \n"
         "VORA:  Reading Open Y Files and Short Z Files error. \n",
         v2},
        {{"arm1_open.s2p"}, ReplaceText("[Version] 2.0\n", "[Version] 3.0\n"),
         "VORA:: <dir>arm1_open.s2p: the value of [Version] is not read\n" + openBadLine, v2},
        {{"whole.s4p"}, ReplaceToken(3, 1, "1,5"), "VORA:: Not a number in <dir>whole.s4p line 3: 1,5\n" + wholeBadLine},
        // Fourth line: the second physical line of the first record.
        {{"whole.s4p"}, ReplaceToken(4, 3, "nan"), "VORA:: Not a number in <dir>whole.s4p line 4: nan\n" + wholeBadLine},
        {{"whole.s4p"}, ReplaceToken(2, 2, "g"),
         "VORA:: Whole structure file holds G parameters; S, Y or Z are read\n" + kWholeFailed},
        {{"whole.s4p"}, ReplaceToken(7, 0, "0.03x"), "VORA:: Not a number in <dir>whole.s4p line 7: 0.03x\n" + wholeBadLine},
        {{"arm1_short.s2p"}, ReplaceToken(4, 8, "1e999"),
         "VORA:: Not a number in <dir>arm1_short.s2p line 4: 1e999\n" + shortBadLine},
        {{"arm1_open.s2p"}, ReplaceToken(3, 0, "+inf"), "VORA:: Not a number in <dir>arm1_open.s2p line 3: +inf\n" + openBadLine},
        // A lone lower-case "g" is no unit: the whole structure's points read as 1, 2, 3 Hz,
        // which the GHz arms do not cover.
        {{"whole.s4p"}, ReplaceText("# GHz", "# g"),
         "VORA:: <dir>arm1_open.s2p (Open Y File)'s frequency range does not include 1 in <dir>whole.s4p\n" +
             kCalibrationFailed,
         "--fstart 1G --fstop 3G --points 3"},
        // Nvpl 8 is not implemented: the reading ends with the reader's line.
        {{"job.map"}, ReplaceText("\nNV 1\n", "\nNV 8\n"), "VORA:  VPLN=8 not implemented yet error. \n" + kArmsFailed,
         "--points 21 --ports 2 --group 1:plain-EP --group 2:plain-EP"},
        // Arm files one point short of the whole structure: the group's coverage check names
        // the file (the open one first) and the missing frequency.
        {{"arm2_open.s2p"}, DropLastRecord, "VORA:: <dir>arm2_open.s2p (Open Y File)" + coverage, threePoints},
        {{"arm1_short.s2p"}, DropLastRecord, "VORA:: <dir>arm1_short.s2p (Short Z File)" + coverage, threePoints},
        {{"arm1_short.s2p", "arm1_open.s2p"}, DropLastRecord, "VORA:: <dir>arm1_open.s2p (Open Y File)" + coverage,
         threePoints},
        {{"arm2.s4p"}, DropLastRecord, "VORA:: <dir>arm2.s4p (Arm S File)" + coverage,
         threePoints + " --group 1,2:EP --group 3,4:ES"},
        // A zero open admittance or short impedance matrix has no inverse: the chain-matrix
        // derivation fails although the open inverse is never used afterwards.
        {{"arm1_open.s2p"}, [=](const std::string&) { return zeroY; }, kCalibrationFailed,
         threePoints + " --ports 2 --group 1,2:EP"},
        {{"arm1_short.s2p"}, [=](const std::string&) { return "# GHz Z" + zeroY.substr(7); }, kCalibrationFailed,
         threePoints + " --ports 2 --group 1,2:EP"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options + " " + c.files[0] + ": " + c.logTail);
        TempDir dir;
        ASSERT_TRUE(GenerateJob(c.options, dir.dir()));
        for (const std::string& name : c.files) {
            const std::string before = dir.Read(name);
            std::filesystem::remove(dir.path() / name);
            if (c.edit) {
                dir.Write(name, c.edit(before));
                ASSERT_NE(dir.Read(name), before);
            } else {
                std::filesystem::create_directory(dir.path() / name);
            }
        }
        const VoraRun run = RunMapJob(dir, "out.s4p");
        EXPECT_EQ(run.status, kFailed);
        EXPECT_TRUE(run.log.ends_with(ReplaceAll(c.logTail, "<dir>", dir.dir()))) << run.log;
        EXPECT_EQ(run.out, "");
        EXPECT_FALSE(std::filesystem::is_regular_file(dir.path() / "out.s4p"));
    }
}

TEST(RealToolInputs, EmptyDataFilesGiveAnEmptyResultNotAFailure)
{
    // No records anywhere: nothing to de-embed. The output holds what the whole structure
    // gave as header (here nothing at all).
    TempDir dir;
    dir.Write("job.map", "ER 4.3\nNP 2 0.0001 0.000035 0.01 0.0002 0.0001 0.000035 0.01 0.0002\n"
                         "NC 1\nWS whole.s2p\nEP 2 1 2 open.s2p short.s2p\n");
    dir.Write("whole.s2p", "");
    dir.Write("open.s2p", "# GHz Y RI R 50\n");
    dir.Write("short.s2p", "");
    const VoraRun run = RunMapJob(dir, "out.s2p");
    EXPECT_EQ(run.status, 0) << run.log;
    EXPECT_TRUE(run.log.ends_with(kDone)) << run.log;
    EXPECT_EQ(dir.Read("out.s2p"), "");
}

TEST(RealToolInputs, PortsDeclaredFarBeyondTheDataClaimNoMemoryForThem)
{
    // 16383 ports over files without a single record: the work matrices of that order
    // would need tens of gigabytes. The run is held to 2 GB of address space (or of single
    // allocation under AddressSanitizer, whose shadow memory rules out an address limit).
    TempDir dir;
    dir.Write("job.map", "NP 16383\nNC 1\nWS whole.s2p\nES 1 1 arm.s2p\n");
    dir.Write("whole.s2p", "# GHz S RI R 50\n");
    dir.Write("arm.s2p", "# GHz S RI R 50\n");
#if defined(__SANITIZE_ADDRESS__)
    const std::string limit = "export ASAN_OPTIONS=\"${ASAN_OPTIONS:+$ASAN_OPTIONS:}max_allocation_size_mb=2048\"";
#else
    const std::string limit = "ulimit -v 2097152";
#endif
    const VoraRun run = RunVora({"-c", limit + " && exec \"$0\" \"$@\"", VORA_BINARY, "-filepath", dir.dir(), "-in",
                                 "job.map", "-out", "out.s2p"},
                                dir.path(), dir.path(), "/bin/sh");
    EXPECT_EQ(run.status, 0) << run.log << run.err;
    EXPECT_TRUE(run.log.ends_with(kDone)) << run.log;
    EXPECT_EQ(dir.Read("out.s2p"), "# GHz S RI R 50\n");
}

}  // namespace

#endif
