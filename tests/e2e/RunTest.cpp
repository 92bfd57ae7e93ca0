// Whole runs of the de-embedding mode as a parent tool sees them: the run log from start
// to its last line, the exit status, and what is left in the output file.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "support/TestData.h"
#include "support/VoraRun.h"

namespace {

const int kFailed = 255;  // -1 as the shell sees it
const std::string kMap =
    "ER 4.3\nNP 2 0.0001 0.000035 0.001 0.0002 0.0001 0.000035 0.001 0.0002\nNV 1\nNC 1\nWS whole.s2p\n"
    "EP 2 1 2 arm1.s2p arm2.s2p\n";

// A symmetric 2-port line and, per arm, a lossy series inductance (short, Z) and a small
// shunt capacitance (open, Y), at 1, 2 and 3 GHz: well below the port lines' resonances.
void WriteJob(const TempDir& dir)
{
    std::ostringstream whole, shortZ, openY;
    whole << "! line\n# GHz S RI R 50\n";
    shortZ << "# GHz Z RI R 50\n";
    openY << "# GHz Y RI R 50\n";
    for (int g = 1; g <= 3; ++g) {
        const double w = 2.0 * M_PI * g * 1e9;
        const double x = w * 1e-10, b = w * 2e-14;
        whole << g << " 0.1 0.05 0.8 -0.3 0.8 -0.3 0.1 0.05\n";
        shortZ << g << " 0.1 " << x << " 0 " << 0.1 * x << " 0 " << 0.1 * x << " 0.1 " << x << "\n";
        openY << g << " 1e-6 " << b << " 0 " << -0.1 * b << " 0 " << -0.1 * b << " 1e-6 " << b << "\n";
    }
    dir.Write("job.map", kMap);
    dir.Write("whole.s2p", whole.str());
    dir.Write("arm2.s2p", shortZ.str());
    dir.Write("arm1.s2p", openY.str());
}

std::string Head(const std::vector<std::string>& args)
{
    std::string head = "VORA:  Program started.\nVORA:  Command Line: " + std::string(VORA_BINARY) + " ";
    for (const std::string& a : args) head += a + " ";
    return head + "\nVORA:  Command line option successfully.\n";
}

TEST(Run, MapFileProblemsEndTheRunAfterTheCommandLine)
{
    TempDir job;
    struct Case {
        std::vector<std::string> args;
        std::string reason;
    } cases[] = {
        {{"-filepath", job.dir(), "-out", "o.s2p"}, "VORA:  Can't find map file. \n"},
        {{"-filepath", job.dir(), "-in", "missing.map", "-out", "o.s2p"},
         "VORA:: Could not find " + job.dir() + "missing.map\n"},
    };
    for (const Case& c : cases) {
        VoraRun run = RunVora(c.args, job.path(), job.path());
        EXPECT_EQ(run.status, kFailed);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.log, Head(c.args) + c.reason + "VORA:  Reading map file error. \n");
        ClearDirectory(job.path());
    }
}

// A failed run ends as if the process had stopped there: the output keeps the header the
// whole-structure reader flushed, and nothing else.
TEST(Run, FailedRunLeavesOnlyWhatReachedTheOutput)
{
    TempDir job;
    WriteJob(job);
    std::filesystem::remove(job.path() / "arm1.s2p");
    VoraRun run = RunVora({"-filepath", job.dir(), "-in", "job.map", "-out", "out.s2p"}, job.path(), job.path());
    EXPECT_EQ(run.status, kFailed);
    EXPECT_TRUE(run.log.ends_with("VORA:  Reading Open Y Files and Short Z Files error. \n")) << run.log;
    EXPECT_TRUE(job.Exists("out.s2p"));
    EXPECT_EQ(job.Read("out.s2p"), "! line\n# GHz S RI R 50\n");
}

}  // namespace
