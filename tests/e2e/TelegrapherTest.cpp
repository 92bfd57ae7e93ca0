// The telegrapher's-equations path run end to end through vora-telegrapher (the same
// program with the method switch flipped). That the shipped vora never takes it shows in the
// exact logs of its own end-to-end runs.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/TestData.h"
#include "e2e/EndToEnd.h"

namespace {

const std::string kPathFailed =
    "VORA:  DoShortOpenCalibration_BasedOnTelegraphersEquationsOfTransmissionLines error. \n";

int Count(const std::string& text, const std::string& part)
{
    int n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
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
    const VoraRun run = RunMapJob(dir, "out.s3p", VORA_TELEGRAPHER_BINARY);
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


}  // namespace
