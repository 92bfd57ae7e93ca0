#include "io/RunReport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "job/VoraJob.h"

namespace {

TEST(RunReportData, FindsTheFirstTwoFrequenciesThatPrintAlike)
{
    struct Case {
        std::vector<double> hertz;
        double unit;
        int64_t first, second;
        std::string text;
    };
    const Case cases[] = {
        {{1e9, 2e9, 3e9}, 1e9, -1, -1, ""},
        // Ascending, in GHz: 1.000001 GHz prints as 1, like 1 GHz.
        {{0.5e9, 1e9, 1.000001e9, 1.5e9}, 1e9, 1, 2, "1"},
        // 1 Hz apart at 1 GHz in Hz: six digits print both as 1e+09.
        {{1e9, 1e9 + 1.0}, 1.0, 0, 1, "1e+09"},
        // Seven digits apart in the sixth: distinct.
        {{1.23456e9, 1.23457e9}, 1e9, -1, -1, ""},
        // Not ascending, the pair far apart in the list.
        {{3e9, 1e9, 2e9, 1.0000001e9}, 1e9, 1, 3, "1"},
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        VoraJob job(log);
        job.frequencies = c.hertz;
        job.frequencyCount = static_cast<int32_t>(c.hertz.size());
        job.freqUnitFactor = c.unit;
        const CollapsedFrequencies found = FindCollapsedFrequencies(job);
        EXPECT_EQ(found.first, c.first) << c.hertz.size();
        EXPECT_EQ(found.second, c.second);
        EXPECT_EQ(found.text, c.text);
    }
}

TEST(RunReportData, CountsMatchedInterpolatedAndUncoveredArmFrequencies)
{
    const std::vector<double> arm = {1.0, 2.0, 3.0, 4.0};
    const struct {
        std::vector<double> simulated;
        int64_t matched, interpolated, uncovered;
    } cases[] = {
        {{1.0, 2.0, 3.0, 4.0}, 4, 0, 0},
        {{1.005, 2.5, 3.999}, 2, 1, 0},  // within 0.01 Hz is a match
        {{0.5, 1.5, 4.5}, 0, 1, 2},
    };
    for (const auto& c : cases) {
        const ArmSampling s = CountArmSampling(arm, c.simulated);
        EXPECT_EQ(s.matched, c.matched);
        EXPECT_EQ(s.interpolated, c.interpolated);
        EXPECT_EQ(s.uncovered, c.uncovered);
    }
}

}  // namespace
