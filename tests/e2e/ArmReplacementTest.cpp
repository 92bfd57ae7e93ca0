// Arm data above a group's analysis limit, loaded through the real readers and analysis
// from generated jobs, against replacement values this test computes from the raw arm files:
// reactive parts grow with frequency from the last trusted point, real parts hold there, and
// the short arm's diagonal real parts follow the conductor-resistance model of the line.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "calibration/PortLineAnalysis.h"
#include "driver/RunSteps.h"
#include "io/ArmFiles.h"
#include "io/MapFile.h"
#include "io/WholeStructureFile.h"
#include "job/CalibrationGroup.h"
#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

struct Arm {
    std::vector<double> f;                   // Hz
    std::vector<std::vector<double>> value;  // row-major RI, 2·n² per record
};

// Every number after the comment and option lines, 2·n²+1 to a record whatever the line breaks.
Arm ReadRawArm(const std::string& path, int n)
{
    std::ifstream in(path);
    std::string line;
    std::vector<double> numbers;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '!' || line[0] == '#') continue;
        std::istringstream words(line);
        for (double x; words >> x;) numbers.push_back(x);
    }
    Arm arm;
    const size_t width = 2 * static_cast<size_t>(n * n) + 1;
    for (size_t at = 0; at + width <= numbers.size(); at += width) {
        arm.f.push_back(numbers[at] * 1e9);  // the generator writes GHz by default
        arm.value.emplace_back(numbers.begin() + static_cast<long>(at + 1), numbers.begin() + static_cast<long>(at + width));
    }
    return arm;
}

void ExpectRecord(const double* got, const std::vector<double>& want, double relative, const std::string& where)
{
    for (size_t j = 0; j < want.size(); ++j)
        EXPECT_LE(std::fabs(got[j] - want[j]), relative * std::fabs(want[j])) << where << " position " << j;
}

struct Case {
    const char* options;
    int n;
    double line[4];  // w, t, l, conductivity as the generator writes them into the map
    double er;
};

TEST(ArmReplacement, ArmDataAboveTheLimitAreExtrapolatedFromTheLastPointBelowIt)
{
    const Case cases[] = {
        {"--ports 2 --group 1,2:EP --points 21 --fstart 1G --fstop 8G", 2, {2e-4, 3.5e-5, 5e-3, 5.8e7}, 4.3},
        {"--ports 3 --group 1-3:EP --points 15 --fstart 0.5G --fstop 6G --width 1m --length 8m --er 3.6", 3,
         {1e-3, 3.5e-5, 8e-3, 5.8e7}, 3.6},
        // a line of little loss: the measured resistance lies below the model's
        {"--ports 1 --group 1:EP --points 11 --fstart 1G --fstop 8G --r-self 0.5", 1, {2e-4, 3.5e-5, 5e-3, 5.8e7},
         4.3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.options);
        TempDir dir;
        ASSERT_TRUE(GenerateJob(c.options, dir.dir()));

        std::ostringstream log;
        VoraJob job(log);
        job.directoryPath = dir.dir();
        job.mapFileName = "job.map";
        job.mapFilePath = job.directoryPath + job.mapFileName;
        job.outputFilePath = job.directoryPath + "out.sNp";
        ASSERT_EQ(ReadMapFile(job), 0) << log.str();
        ASSERT_EQ(ReadWholeStructureFile(job), 0) << log.str();
        ASSERT_EQ(LoadArms(job), 0) << log.str();
        ASSERT_EQ(job.calibrationGroups.size(), 1u);
        const CalibrationGroup& group = job.calibrationGroups[0];

        const Arm zShort = ReadRawArm(dir.dir() + "arm1_short.s" + std::to_string(c.n) + "p", c.n);
        const Arm yOpen = ReadRawArm(dir.dir() + "arm1_open.s" + std::to_string(c.n) + "p", c.n);
        const double freqD = (3e8 / std::sqrt(c.er)) / (4 * c.line[2]) * 0.75;
        EXPECT_DOUBLE_EQ(group.freqD, freqD);
        const size_t count = zShort.f.size();
        ASSERT_EQ(group.commonFrequencies, zShort.f);
        ASSERT_EQ(yOpen.f, zShort.f);
        ASSERT_EQ(group.shortValues.size(), count);
        ASSERT_EQ(group.openValues.size(), count);
        const size_t kLow = static_cast<size_t>(std::lower_bound(zShort.f.begin(), zShort.f.end(), freqD) -
                                                zShort.f.begin()) - 1;
        ASSERT_GE(kLow, 1u);             // a few trusted points ...
        ASSERT_LE(kLow + 3, count - 1);  // ... and a few replaced ones
        const double fLow = zShort.f[kLow];
        EXPECT_EQ(group.extrapolatedFrequencies, std::vector<double>(zShort.f.begin() + static_cast<long>(kLow) + 1,
                                                                     zShort.f.end()));

        // The conductor model itself is unit tested; here it must get the right line, the
        // last trusted point as its reference and the measured value as its cap.
        CalibrationGroup model;
        std::ostringstream modelLog;
        model.logStream = &modelLog;
        bool modelTaken = false;
        for (size_t k = 0; k < count; ++k) {
            const double f = zShort.f[k];
            std::vector<double> wantShort = zShort.value[k];
            std::vector<double> wantOpen = yOpen.value[k];
            if (f >= freqD) {
                for (size_t j = 0; j < wantShort.size(); ++j) {
                    const bool odd = j % 2 == 1;
                    wantOpen[j] = odd ? f * yOpen.value[kLow][j] / fLow : yOpen.value[kLow][j];
                    wantShort[j] = odd ? f * zShort.value[kLow][j] / fLow : zShort.value[kLow][j];
                    if (odd || j % (2 * c.n + 2) != 0) continue;
                    wantShort[j] = PortLineResistance(model, c.line, fLow, zShort.value[kLow][j], f, zShort.value[k][j]);
                    modelTaken |= wantShort[j] != zShort.value[k][j];
                }
            }
            // Points below the limit keep their measured values exactly.
            const double tolerance = f >= freqD ? 1e-12 : 0.0;
            ExpectRecord(group.shortValues[k], wantShort, tolerance, "short record " + std::to_string(k));
            ExpectRecord(group.openValues[k], wantOpen, tolerance, "open record " + std::to_string(k));
        }
        // The model, not only the measured cap, decides some diagonal values.
        EXPECT_TRUE(modelTaken);
        EXPECT_EQ(log.str().find("VORA:: Port wtls error") != std::string::npos, !modelLog.str().empty()) << log.str();
    }
}

}  // namespace

#endif
