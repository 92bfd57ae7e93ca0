// With two processors a run splits its frequencies with a child process and hands arm
// files, lines of the second file and output lines between two threads; on one processor
// (taskset) it does everything in one thread. Both must give the same bytes: output, log and
// status, on large jobs where every helper is used, and on runs that fail halfway.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "e2e/EndToEnd.h"

namespace {

// Runs `args` in the job directory as usual, then again on processor 0 only (through a script,
// so that the engine sees its usual argv[0]): status, log, console and output file must be
// the same. The status of the usual run.
int ExpectSameOnOneProcessor(const TempDir& dir, const std::vector<std::string>& args, const std::string& output)
{
    TempDir scripts;
    scripts.Write("vora-one", "#!/bin/sh\nexec taskset -c 0 " + std::string(VORA_BINARY) + " \"$@\"\n");
    std::filesystem::permissions(scripts.path() / "vora-one", std::filesystem::perms::owner_all);
    const VoraRun two = RunVora(args, dir.path(), dir.path());
    const std::string twoOutput = dir.Read(output);
    std::filesystem::remove(dir.path() / output);
    for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
        if (entry.path().filename().string().rfind("vora_", 0) == 0) std::filesystem::remove(entry.path());
    const VoraRun one = RunVora(args, dir.path(), dir.path(), scripts.dir() + "vora-one");
    EXPECT_EQ(one.status, two.status);
    EXPECT_EQ(one.log, two.log);
    EXPECT_EQ(one.out, two.out);
    const std::string oneOutput = dir.Read(output);
    EXPECT_TRUE(oneOutput == twoOutput) << oneOutput.size() << " bytes against " << twoOutput.size();
    return two.status;
}

// 16 ports in 4 groups at 301 points: a whole-structure file of 3 MB and 15 chunks of output
// room. Then the same job with the last line of group 1's open file holding 32 values where
// a row of the 4-port record has 8: the reading fails at the end of that file.
TEST(OneProcessor, DeembeddingGivesTheSameBytes)
{
    for (const bool broken : {false, true}) {
        TempDir dir;
        ASSERT_TRUE(GenerateJob("--ports 16 --group 1-4 --group 5-8 --group 9-12 --group 13-16 --points 301", dir.dir()));
        if (broken) {
            std::string open = dir.Read("arm1_open.s4p");
            const size_t last = open.rfind('\n', open.size() - 2) + 1;
            std::string zeros = open.substr(last, open.find(' ', last) - last);
            for (int k = 0; k < 32; ++k) zeros += " 0";
            dir.Write("arm1_open.s4p", open.substr(0, last) + zeros + "\n");
        }
        EXPECT_EQ(ExpectSameOnOneProcessor(dir, {"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s16p"}, "out.s16p"),
                  broken ? kFailed : 0);
    }
}

// Two 2-port files of 40,000 points (1.7 MB each): the second is read ahead, the
// frequencies split, the lines formatted in two threads. Then file 1 with a zero S21 at
// point 30,000, past 1 MiB of output: whatever was written by then never appears.
TEST(OneProcessor, GeneralizedModeGivesTheSameBytes)
{
    for (const bool failing : {false, true}) {
        TempDir dir;
        std::string a = "# Hz S RI R 50\n", b = a;
        char line[200];
        for (int k = 0; k < 40000; ++k) {
            const double t = 1e-5 * k;
            if (failing && k == 30000)  // S21 and S12 both zero
                std::snprintf(line, sizeof line, "%d 0.4 0 0 0 0 0 0.1 0\n", 1000000 + 1000 * k);
            else
                std::snprintf(line, sizeof line, "%d %.6f %.6f %.6f %.6f %.6f %.6f %.6f %.6f\n", 1000000 + 1000 * k,
                              0.1 + t, -t, 0.9 - t, t, 0.9 - t, t, 0.1, 0.2 * t);
            a += line;
            std::snprintf(line, sizeof line, "%d %.6f %.6f %.6f %.6f %.6f %.6f %.6f %.6f\n", 1000000 + 1000 * k, 0.2,
                          t, 0.8 - t, -t, 0.8 - t, -t, 0.2 + t, 0.1);
            b += line;
        }
        dir.Write("a.s2p", a);
        dir.Write("b.s2p", b);
        EXPECT_EQ(ExpectSameOnOneProcessor(dir,
                                           {"GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1", dir.dir() + "a.s2p",
                                            "-inputsfile2", dir.dir() + "b.s2p", "-out", "g.txt"},
                                           "g.txt"),
                  failing ? kFailed : 0);
        EXPECT_EQ(dir.Exists("g.txt"), !failing);  // a failed run past 1 MiB of output leaves none
    }
}

}  // namespace

#endif
