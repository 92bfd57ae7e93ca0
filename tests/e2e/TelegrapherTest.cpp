// The telegrapher's-equations path run end to end through vora-telegrapher (the same
// program with the method switch flipped), and the shipped vora, which never takes it.

#include <gtest/gtest.h>

#include <complex>
#include <filesystem>
#include <string>
#include <vector>

#include "support/VoraRun.h"

namespace {

const int kFailed = 255;  // -1 as the shell sees it
const std::string kPathFailed =
    "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines error. \n";

// Lines that only the telegrapher's path writes.
const std::vector<std::string> kPathLines = {
    "VORA:  Preprocess",
    "VORA:  Calibrate ",
    "VORA:  S paremeter file processed succesffuly. \n",
    "VORA:  Calibration build",
    "VORA:  Calibration  analysis is done succesffuly. \n",
    "TelegraphersEquations",
};

int Count(const std::string& text, const std::string& part)
{
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

VoraRun RunJob(const TempDir& dir, const std::string& binary)
{
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.path().filename().string().rfind("vora_", 0) == 0) std::filesystem::remove(entry.path());
    return RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s3p"}, dir.path(), dir.path(), binary);
}

// Three one-port groups in the plain arm syntax: short files of Z (one port), open files
// of Y (two ports, frequencies in hertz). Group 2's open file has two points within 0.1 Hz
// of its one short point, so it has more common points than short records.
void WriteThreeGroupJob(const TempDir& dir)
{
    dir.Write("job.map",
              "NP 3\nNC 3\nWS whole.s3p\n"
              "EP 1 o1.s2p s1.s1p\nEP 2 o2.s2p s2.s1p\nEP 3 o3.s2p s3.s1p\n");
    std::string whole = "# GHz S RI R 50\n";
    for (int k = 1; k <= 2; ++k) {
        whole += std::to_string(k);
        for (int e = 0; e < 9; ++e) whole += e % 4 == 0 ? " 0.2 0.1" : " 0.01 0";
        whole += "\n";
    }
    dir.Write("whole.s3p", whole);
    const std::string open = " 0.001 0.02 0 -0.001 0 -0.001 0.001 0.02\n";
    for (const char* g : {"1", "3"}) {
        dir.Write(std::string("s") + g + ".s1p", "# GHz Z RI R 50\n1 5 30\n2 5 60\n");
        dir.Write(std::string("o") + g + ".s2p", "# Hz Y RI R 50\n1000000000" + open + "2000000000" + open);
    }
    dir.Write("s2.s1p", "# GHz Z RI R 50\n1 5 30\n");
    dir.Write("o2.s2p", "# Hz Y RI R 50\n1000000000" + open + "1000000000.05" + open);
}

TEST(Telegrapher, AFailingSecondGroupStopsBeforeTheThird)
{
    TempDir dir;
    WriteThreeGroupJob(dir);
    const VoraRun run = RunJob(dir, VORA_TELEGRAPHER_BINARY);
    EXPECT_EQ(run.status, kFailed);
    const std::string expected =
        "VORA:  VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = true. \n"
        "VORA:  Preprocess and Calibrate succesffuly. \n"
        "VORA:: Arm data of port 2 do not fit the arm's ports and frequencies\n"
        "VORA:  Preprocess 2 arm file error. \n"
        "VORA:  Preprocess and Calibrate error. \n"
        "VORA:  Processing S paramters file error. \n" +
        kPathFailed + "VORA:  Program fails.\n";
    ASSERT_GE(run.log.size(), expected.size()) << run.log;
    EXPECT_EQ(run.log.substr(run.log.size() - expected.size()), expected) << run.log;
    EXPECT_EQ(Count(run.log, "VORA:  Preprocess and Calibrate succesffuly."), 1);
}

// The map reader refuses a job without arm lines, so the path's own no-group failure (the
// calibration build's) cannot be reached from a map file.
TEST(Telegrapher, AJobWithoutGroupsFailsBeforeTheCalibration)
{
    TempDir dir;
    WriteThreeGroupJob(dir);
    dir.Write("job.map", "NP 3\nNC 0\nWS whole.s3p\n");
    const VoraRun run = RunJob(dir, VORA_TELEGRAPHER_BINARY);
    EXPECT_EQ(run.status, kFailed);
    EXPECT_EQ(Count(run.log, "VORA:: There is no port calibration due to no specify Nc\n"), 1) << run.log;
    for (const std::string& line : kPathLines) EXPECT_EQ(Count(run.log, line), 0) << line;
}

TEST(Telegrapher, TheShippedProgramNeverTakesThePath)
{
    TempDir dir;
    WriteThreeGroupJob(dir);
    dir.Write("s2.s1p", "# GHz Z RI R 50\n1 5 30\n2 5 60\n");
    dir.Write("o2.s2p", dir.Read("o1.s2p"));
    const VoraRun run = RunJob(dir, VORA_BINARY);
    EXPECT_NE(Count(run.log, "VORA:  VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged = true. \n"), 0)
        << run.log;
    EXPECT_NE(Count(run.log, "DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines"), 0);
    for (const std::string& line : kPathLines) EXPECT_EQ(Count(run.log, line), 0) << line;

    // The same job through the telegrapher's build gets through every group.
    const VoraRun other = RunJob(dir, VORA_TELEGRAPHER_BINARY);
    EXPECT_EQ(Count(other.log, "VORA:  Preprocess and Calibrate succesffuly. \n"), 3) << other.log;
    EXPECT_EQ(Count(other.log, "VORA:  Calibration  analysis is done succesffuly. \n"), 1) << other.log;
}

}  // namespace
