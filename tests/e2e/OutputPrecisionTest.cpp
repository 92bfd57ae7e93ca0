// -precision: the de-embedded output with more (or fewer) digits. A method that is exact on
// its job gives the device back to the digits asked for; the generalized mode refuses it.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "e2e/EndToEnd.h"

namespace {

// The most significant digits any number of the output's data lines has.
size_t MostDigits(const std::string& output)
{
    std::istringstream in(output);
    std::string line;
    size_t most = 0;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '!' || line[0] == '#') continue;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            const std::string mantissa = word.substr(0, word.find_first_of("eE"));
            std::string digits;
            for (char c : mantissa)
                if (c >= '0' && c <= '9') digits += c;
            const size_t first = digits.find_first_not_of('0');
            if (first != std::string::npos) most = std::max(most, digits.size() - first);
        }
    }
    return most;
}

TEST(OutputPrecision, TheDeviceComesBackToTheDigitsAskedFor)
{
    const std::string vora = VORA_BINARY, telegrapher = VORA_TELEGRAPHER_BINARY;
    struct Case {
        const char* precision;
        const std::string& binary;
        const char* options;
        size_t mostDigits;
        double deviation;  // at most, from the device
    };
    const Case cases[] = {
        {"3", vora, "", 3, 5e-3},
        {"10", vora, "", 10, 1e-9},
        {"full", vora, "", 17, 1e-11},
        {"FULL", telegrapher, "--series-shunt", 17, 1e-11},
        {"2", telegrapher, "--series-shunt", 2, 5e-2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.precision) + " " + c.binary);
        TempDir dir;
        ASSERT_TRUE(GenerateJob(std::string("--points 11 ") + c.options, dir.dir()));
        const VoraRun run = RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s4p", "-precision", c.precision},
                                    dir.path(), dir.path(), c.binary);
        ASSERT_EQ(run.status, 0) << run.log << run.err;
        const std::string output = dir.Read("out.s4p");
        EXPECT_LE(MostDigits(output), c.mostDigits);
        EXPECT_GT(MostDigits(output), c.mostDigits / 2);
        const double deviation = DeviationFromDevice(dir.dir(), 4, "out.s4p");
        EXPECT_GE(deviation, 0.0);
        EXPECT_LE(deviation, c.deviation);
    }
}

TEST(OutputPrecision, TheGeneralizedModeRefusesIt)
{
    TempDir dir;
    const VoraRun run = RunVora({"GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1", "a.s2p", "-inputsfile2",
                                 "b.s2p", "-out", "g.txt", "-precision", "8"},
                                dir.path(), dir.path());
    EXPECT_EQ(run.status, kFailed);
    EXPECT_EQ(run.err, "VORA: -precision applies to the de-embedding mode only, not to GENERALIZEDSPARAM\n");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.logCount, 0);
}

}  // namespace

#endif
