// With two processors a run splits its frequencies with a child process and hands record
// values, lines of the second file and output lines between two threads; on one processor
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

// A script running the engine on processor 0 only; the engine sees its usual argv[0].
std::string OneProcessorEngine(const TempDir& scripts)
{
    scripts.Write("vora-one", "#!/bin/sh\nexec taskset -c 0 " + std::string(VORA_BINARY) + " \"$@\"\n");
    const std::string path = scripts.dir() + "vora-one";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

void ExpectSameRun(const VoraRun& one, const VoraRun& two, const std::string& output1, const std::string& output2)
{
    EXPECT_EQ(one.status, two.status);
    EXPECT_EQ(one.log, two.log);
    EXPECT_EQ(one.out, two.out);
    EXPECT_TRUE(output1 == output2) << output1.size() << " bytes against " << output2.size();
}

// 16 ports in 4 groups at 301 points: a whole-structure file of 3 MB and 15 chunks of output
// room. Then the same job with the open of group 1 singular at its last point.
TEST(OneProcessor, DeembeddingGivesTheSameBytes)
{
    TempDir scripts;
    const std::string one = OneProcessorEngine(scripts);
    for (const bool singular : {false, true}) {
        TempDir dir;
        ASSERT_TRUE(GenerateJob("--ports 16 --group 1-4 --group 5-8 --group 9-12 --group 13-16 --points 301", dir.dir()));
        if (singular) {
            std::string open = dir.Read("arm1_open.s4p");
            const size_t last = open.rfind('\n', open.size() - 2) + 1;
            std::string zeros = open.substr(last, open.find(' ', last) - last);
            for (int k = 0; k < 32; ++k) zeros += " 0";
            dir.Write("arm1_open.s4p", open.substr(0, last) + zeros + "\n");
        }
        const VoraRun two = RunMapJob(dir, "out.s16p");
        const std::string twoOutput = dir.Read("out.s16p");
        std::filesystem::remove(dir.path() / "out.s16p");
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().filename().string().rfind("vora_", 0) == 0) std::filesystem::remove(entry.path());
        const VoraRun oneRun = RunMapJob(dir, "out.s16p", one);
        EXPECT_EQ(two.status, singular ? 255 : 0);
        ExpectSameRun(oneRun, two, dir.Read("out.s16p"), twoOutput);
    }
}

// Two 2-port files of 40,000 points (1.7 MB each): the second is read ahead, the
// frequencies split, the lines formatted in two threads. Then file 1 with a zero S21 at
// point 30,000, past 1 MiB of output: whatever was written by then never appears.
TEST(OneProcessor, GeneralizedModeGivesTheSameBytes)
{
    TempDir scripts;
    const std::string one = OneProcessorEngine(scripts);
    for (const bool failing : {false, true}) {
        TempDir dir;
        std::string a = "# Hz S RI R 50\n", b = a;
        char line[200];
        for (int k = 0; k < 40000; ++k) {
            const double t = 1e-5 * k;
            std::snprintf(line, sizeof line, "%d %.6f %.6f %.6f %.6f %.6f %.6f %.6f %.6f\n", 1000000 + 1000 * k, 0.1 + t,
                          -t, failing && k == 30000 ? 0.0 : 0.9 - t, t, 0.9 - t, t, 0.1, 0.2 * t);
            a += line;
            std::snprintf(line, sizeof line, "%d %.6f %.6f %.6f %.6f %.6f %.6f %.6f %.6f\n", 1000000 + 1000 * k, 0.2,
                          t, 0.8 - t, -t, 0.8 - t, -t, 0.2 + t, 0.1);
            b += line;
        }
        if (failing) {
            // S21 and S12 both zero at that point.
            const std::string at = "\n" + std::to_string(1000000 + 1000 * 30000) + " ";
            const size_t start = a.find(at) + 1;
            const size_t end = a.find('\n', start);
            a.replace(start, end - start,
                      std::to_string(1000000 + 1000 * 30000) + " 0.4 0 0 0 0 0 0.1 0");
        }
        dir.Write("a.s2p", a);
        dir.Write("b.s2p", b);
        const std::vector<std::string> args = {"GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1",
                                               dir.dir() + "a.s2p", "-inputsfile2", dir.dir() + "b.s2p", "-out", "g.txt"};
        const VoraRun two = RunVora(args, dir.path(), dir.path());
        const std::string twoOutput = dir.Read("g.txt");
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().filename().string().rfind("vora_", 0) == 0) std::filesystem::remove(entry.path());
        std::filesystem::remove(dir.path() / "g.txt");
        const VoraRun oneRun = RunVora(args, dir.path(), dir.path(), one);
        EXPECT_EQ(two.status, failing ? 255 : 0);
        EXPECT_EQ(dir.Exists("g.txt"), !failing);  // a failed run past 1 MiB of output leaves none
        ExpectSameRun(oneRun, two, dir.Read("g.txt"), twoOutput);
    }
}

}  // namespace

#endif
