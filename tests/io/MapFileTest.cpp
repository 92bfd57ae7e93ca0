#include "io/MapFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "io/NvplTables.h"
#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

// w, t, l, s of each port; only l matters to the derivation.
std::vector<double> LinesOfLength(const std::vector<double>& lengths)
{
    std::vector<double> geometry;
    for (double l : lengths) geometry.insert(geometry.end(), {1e-4, 3.5e-5, l, 5.8e7});
    return geometry;
}

TEST(DeriveArmFrequencyLimits, LimitsAndMethodCodeFromTheLineLengths)
{
    // One 1 cm line in vacuum: fq = 7.5e7 / 0.01 = 7.5e9, fA = fq / 6 · 0.95; with ER given
    // fD = fE = 3e8 / (4 l) · 0.75.
    const ArmFrequencyLimits withEpr = DeriveArmFrequencyLimits(1, LinesOfLength({0.01}), 1.0, false);
    EXPECT_EQ(withEpr.methodCode, 3);
    EXPECT_DOUBLE_EQ(withEpr.freqA, 1.1875e9);
    EXPECT_DOUBLE_EQ(withEpr.freqB, 8.25e9);
    EXPECT_DOUBLE_EQ(withEpr.freqC, 6.75e9);
    EXPECT_DOUBLE_EQ(withEpr.freqD, 5.625e9);
    EXPECT_DOUBLE_EQ(withEpr.freqE, 5.625e9);
    // Without ER: fE = max(1.1 fA, min(0.275 fq, 0.85 · 36.46 fA)), fD = 0.198 · 0.32 · fA.
    const ArmFrequencyLimits noEpr = DeriveArmFrequencyLimits(1, LinesOfLength({0.01}), 1.0, true);
    EXPECT_DOUBLE_EQ(noEpr.freqE, 0.275 * 7.5e9);
    EXPECT_DOUBLE_EQ(noEpr.freqD, 0.198 * 1.1875e9 * 0.32);

    // Lines unequal by more than two per mille get code 1; fA = fq / 6 · 0.9 from the first line.
    struct Case {
        double secondLength;
        int32_t code;
    };
    for (const Case& c : {Case{0.010019, 3}, Case{0.009981, 3}, Case{0.010021, 1}, Case{0.009979, 1}}) {
        const ArmFrequencyLimits limits = DeriveArmFrequencyLimits(2, LinesOfLength({0.01, c.secondLength}), 4.0, true);
        EXPECT_EQ(limits.methodCode, c.code) << c.secondLength;
        EXPECT_DOUBLE_EQ(limits.freqA, 7.5e9 / 2.0 / 6 * 0.9);
    }

    // A very short line: code 0 and clamped limits.
    const ArmFrequencyLimits tiny = DeriveArmFrequencyLimits(1, LinesOfLength({1e-4}), 1.0, true);
    EXPECT_EQ(tiny.methodCode, 0);
    EXPECT_DOUBLE_EQ(tiny.freqA, 8e10);
    EXPECT_DOUBLE_EQ(tiny.freqD, 8e10);
    EXPECT_DOUBLE_EQ(tiny.freqE, 1.6e11);
}

TEST(NvplTables, KeptPositionsAreTheDiagonalsAndWeightsHalvedGaussLegendreRows)
{
    std::vector<int32_t> shortPositions, a, b;
    ASSERT_TRUE(ShortKeepPositions(3, shortPositions));
    EXPECT_EQ(shortPositions, (std::vector<int32_t>{0, 8, 16}));
    ASSERT_TRUE(OpenKeepPositions(3, a, b));
    EXPECT_EQ(a, (std::vector<int32_t>{0, 14, 28}));
    EXPECT_EQ(b, (std::vector<int32_t>{42, 56, 70}));
    for (int32_t n : {0, 8}) {
        EXPECT_FALSE(ShortKeepPositions(n, shortPositions)) << n;
        EXPECT_FALSE(OpenKeepPositions(n, a, b)) << n;
    }
    for (int32_t n = 1; n <= 7; ++n) {
        double sum = 0;
        for (int64_t k = 0; k < 7; ++k) sum += NvplLineWeight(n, k);
        // Gauss-Legendre weights sum to 2. The stored order-7 row has 0.38183050505 twice
        // where the exact weight is 0.38183005051, and is kept as stored.
        EXPECT_NEAR(sum, n < 7 ? 1.0 : 1.0 + 0.00000045454, 1e-10) << n;
    }
    EXPECT_EQ(NvplLineWeight(3, 1), 0.88888888889 / 2);
    EXPECT_EQ(NvplLineWeight(9, 0), 0.0);
}

class MapFileTest : public ::testing::Test {
protected:
    int32_t Read(const std::string& text)
    {
        log.str("");
        job = std::make_unique<VoraJob>(log);
        dir.Write("job.map", text);
        job->directoryPath = dir.dir();
        job->mapFileName = "job.map";
        job->mapFilePath = dir.dir() + "job.map";
        return ReadMapFile(*job);
    }

    TempDir dir;
    std::ostringstream log;
    std::unique_ptr<VoraJob> job;
};

// Every generated end-to-end job reads the extended syntax; here the plain one, quoted names,
// keywords in any case, unknown keywords skipped.
TEST_F(MapFileTest, ReadsPlainSyntaxQuotedNamesAndAnyCase)
{
    ASSERT_EQ(Read("Nport 3\nnc 2\nWS \"my whole.s3p\"\nXX 1 2\nep 2 \"o 2.s1p\" s2.s1p\nED 3 o3 s3\n"), 0) << log.str();
    EXPECT_EQ(job->wholeStructureFilePath, dir.dir() + "my whole.s3p");
    ASSERT_EQ(job->calibrationGroups.size(), 2u);
    EXPECT_EQ(job->calibrationGroups[0].armFile1Path, dir.dir() + "o 2.s1p");
    EXPECT_EQ(job->calibrationGroups[0].firstPort, 2);
    EXPECT_EQ(job->calibrationGroups[1].armKind, 2);
    EXPECT_EQ(job->portLineGeometry, std::vector<double>(12, 1.0));
}

// Wrong token counts, and counts or ports that would index outside the declared ports or
// size without bound.
TEST_F(MapFileTest, RejectsEachMalformedLineWithItsMessage)
{
    const char* const kNp = "VORA:: Nport w, t, l, s Readin Wrong\n";
    const char* const kArm = "VORA:: ARM structure Readin Wrong\n";
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"FN 1 2\n", "VORA:: Noise Process Start Freq Readin Wrong\n"},
        {"ER\n", "VORA:: Max epr Readin Wrong\n"},
        {"NP 2 1 1 1 1 1 1 1 1\n", kNp},  // geometry without ER
        {"ER 2\nNP 1 1 1 1\n", kNp},
        {"NP -1\n", kNp},
        {"NP 16384\n", kNp},
        {"NV\n", "VORA:: Nvpl Number Readin Wrong\n"},
        {"NV 1e30\n", "VORA:: Nvpl Number Readin Wrong\n"},
        {"NC 1 2\n", "VORA:: Calibrate Number Readin Wrong\n"},
        {"NC -1e30\n", "VORA:: Calibrate Number Readin Wrong\n"},
        {"WS a b\n", "VORA:: Whole structure Readin Wrong\n"},
        {"NP 2\nEP 1 a\n", kArm},
        {"NP 2\nES 2 1 2 a b\n", kArm},
        {"NP 2\nNC 1\nEP 3 a b\n", kArm},
        {"NP 2\nNC 1\nEP 0 a b\n", kArm},
        {"ER 1\nNP 1 1 1 1 1\nNC 1\nES 1 2 a\n", kArm},
        {"NP 3\nNC 1\nEP 3 a b\nNP 2\n", kArm},  // port 3 dropped later
        {"NP 2\nNC 2\n", "VORA:: There is no port calibration due to no specify Nc\n"},
        {"NP 2\nNC 1\nEP 1 a b\nEP 2 c d\nEP 1 e f\n",
         "VORA:: Input calibration group number is not equal to the intended number\n"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Read(c.text), -1) << c.text;
        EXPECT_EQ(log.str(), c.message) << c.text;
    }
    EXPECT_EQ(Read("NP 1\nNC 2000000000\nEP 1 a b\n"), -1);
    EXPECT_LE(job->calibrationGroups.size(), 4096u) << "allocates only what the arm lines use";
}

}  // namespace
