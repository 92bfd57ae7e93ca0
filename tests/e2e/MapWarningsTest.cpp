// What the map file allows but is almost certainly a mistake is said on standard error, one
// "VORA warning:" line each, while the run, its log and its output go on as before.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <string>

#include "e2e/EndToEnd.h"

namespace {

TEST(MapWarnings, IgnoredLinesSharedPortsAndLinesWithoutSizeGoToStandardError)
{
    struct Case {
        const char* name;
        std::string from, to;  // a map line replaced
        std::string err;
    };
    const std::string np = "NP 4 2e-04 3.5e-05 0.005 5.8e+07 2e-04 3.5e-05 0.005 5.8e+07 2e-04 3.5e-05 0.005 5.8e+07 "
                           "2e-04 3.5e-05 0.005 5.8e+07";
    const Case cases[] = {
        {"clean", "", "", ""},
        {"unknown keyword", "NV 1", "NV 1\nXY 1 2\n", "VORA warning: map file line 6 is ignored: XY 1 2\n"},
        {"port in two groups", "EP 2 3 4 ", "EP 2 2 4 ",
         "VORA warning: port 2 is listed in calibration groups 1 and 2\n"},
        {"zero width, negative length", np,
         "NP 4 2e-04 3.5e-05 0.005 5.8e+07 0 3.5e-05 -0.005 5.8e+07 2e-04 3.5e-05 0.005 5.8e+07 "
         "2e-04 3.5e-05 0.005 5.8e+07",
         "VORA warning: port 2 has a line width of 0 m\nVORA warning: port 2 has a line length of -0.005 m\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        ASSERT_TRUE(GenerateJob("--points 5", dir.dir()));
        const std::string map = dir.Read("job.map");
        if (!c.from.empty()) {
            ASSERT_NE(map.find(c.from), std::string::npos);
            dir.Write("job.map", ReplaceAll(map, c.from, c.to));
        }
        const VoraRun run = RunMapJob(dir, "out.s4p");
        EXPECT_EQ(run.err, c.err);
        EXPECT_EQ(run.log.find("warning"), std::string::npos);
    }
}

}  // namespace

#endif
