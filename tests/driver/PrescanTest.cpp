#include "driver/Prescan.h"

#include <gtest/gtest.h>

#include <sstream>

#include "driver/Arguments.h"
#include "job/VoraJob.h"

namespace {

struct PrescanCase {
    Arguments args;
    int runMode;
    std::string directory;
};

TEST(PrescanArguments, ModeAndDirectory)
{
    PrescanCase cases[] = {
        {{"vora"}, 0, "./"},
        {{"vora", "-filepath", "jobs/a", "-in", "m.map"}, 0, "jobs/a/"},
        {{"vora", "-in", "m.map", "-FilePath", "jobs/a/"}, 0, "jobs/a/"},
        {{"vora", "-filepath"}, 0, "./"},
        {{"vora", "GENERALIZEDSPARAM", "-filepath", "g", "-out", "o"}, 1, "g/"},
        // The directory is two places after the mode word, whatever stands between.
        {{"vora", "-in", "m", "GeneralizedSparam", "-x", "d\\"}, 1, "d\\"},
        // After "-filepath" the mode word is an ordinary argument.
        {{"vora", "-filepath", "d", "GENERALIZEDSPARAM"}, 0, "d/"},
        {{"vora", "-filepath", "GENERALIZEDSPARAM", "x"}, 0, "GENERALIZEDSPARAM/"},
        {{"vora", "-filepath", "C:\\data"}, 0, "C:\\data/"},
        {{"vora", "-filepath", "out/"}, 0, "out/"},
        // Quotes are tested after the "/" was appended, so they stay.
        {{"vora", "-filepath", "\"C:\\my data\""}, 0, "\"C:\\my data\"/"},
    };
    for (PrescanCase& c : cases) {
        std::ostringstream log;
        VoraJob job(log);
        PrescanArguments(job, c.args.argc(), c.args.argv());
        SCOPED_TRACE(testing::Message() << "expected directory " << c.directory);
        EXPECT_EQ(job.runMode, c.runMode);
        EXPECT_EQ(job.directoryPath, c.directory);
    }
}

}  // namespace
