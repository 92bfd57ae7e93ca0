#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CalibrationJobs.h"
#include "calibration/CalibrationBuild.h"
#include "calibration/SymmetricGeometryCalibration.h"
#include "io/DeembeddedOutput.h"
#include "io/OutputFile.h"
#include "support/VoraRun.h"

namespace {

using namespace calibration_jobs;

const std::string kDifferent = "VORA:  Calibration build with different sampling \n";
const std::string kNotCovered = "VORA: error Calibration build with different sampling \n";

std::string Repeat(const std::string& text, int times)
{
    std::string s;
    for (int t = 0; t < times; ++t) s += text;
    return s;
}

// Which arm a simulated frequency gets when the group is sampled differently.
struct Expected {
    int low = -1;  // group point, or -1 for the through
    int high = -1;
    double t = 0.0;  // weight of `high`
};
const Expected kThrough{};
Expected Point(int p) { return {p, p, 0.0}; }

TEST(CalibrationBuild, FitsDifferentlySampledArmsToTheSimulatedFrequencies)
{
    struct Case {
        const char* name;
        std::vector<double> simulated;
        std::vector<Expected> arms;
        std::string log;
    };
    // Group points at 1, 2 and 3 GHz; no case has three simulated frequencies, which
    // would be taken by index.
    const std::vector<Case> cases = {
        {"match within 0.1 Hz, interpolation elsewhere",
         {1e9 + 0.05, 1.5e9, 2e9 - 0.2, 2.5e9},
         {Point(0), {0, 1, 0.5}, {0, 1, (1e9 - 0.2) / 1e9}, {1, 2, 0.5}},
         Repeat(kDifferent, 2)},
        {"no DC start: outside the points is a through, with the error line",
         {0.5e9, 1.5e9, 2.5e9, 3.5e9},
         {kThrough, {0, 1, 0.5}, {1, 2, 0.5}, kThrough},
         kDifferent + kNotCovered + kDifferent + kNotCovered},
        {"DC start: below 1 Hz a through, below the first point from the through at 0 Hz",
         {0.0, 0.5, 0.25e9, 1e9, 2.5e9, 4e9},
         {kThrough, kThrough, {-1, 0, 0.25}, Point(0), {1, 2, 0.5}, kThrough},
         Repeat(kDifferent, 2)},
        {"one frequency is the first and the last", {1.75e9}, {{0, 1, 0.75}}, kDifferent},
    };
    const std::vector<dcm> arms = {Arm(1, 1), Arm(1, 2), Arm(1, 3)};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestJob t;
        std::vector<dcm> whole, device;
        for (size_t k = 0; k < c.simulated.size(); ++k) {
            const Expected& x = c.arms[k];
            dcm E(2);
            PlaceArm(E, {0}, Lerp(x.low < 0 ? ArmThrough(1) : arms[x.low], x.high < 0 ? ArmThrough(1) : arms[x.high], x.t));
            device.push_back(RandomMatrix(1, 0.5, 30 + static_cast<unsigned>(k)));
            whole.push_back(Embed(device.back(), E));
        }
        SetWhole(t.job, c.simulated, whole);
        AddGroup(t.job, {1}, {1e9, 2e9, 3e9}, arms);
        ASSERT_EQ(CalibrationBuild(t.job), 0);
        for (size_t k = 0; k < c.simulated.size(); ++k)
            EXPECT_LT(MaxDifference(t.job.vdcm_Sout[k], device[k]), 1e-12) << "k=" << k;
        EXPECT_EQ(t.log.str(), c.log);
    }
}

// In a multi-port group the through is [[0, I], [I, 0]]: ports of the group are not
// coupled through it, and it is the lower point below the first group frequency (DC start).
TEST(CalibrationBuild, MultiPortGroupFallsBackToTheThroughOfItsPorts)
{
    const std::vector<dcm> arms = {Arm(2, 4), Arm(2, 5), Arm(2, 6)};
    const dcm device = RandomMatrix(2, 0.4, 9);  // coupled: a coupling through would change it
    dcm E(4);
    PlaceArm(E, {1, 0}, Lerp(ArmThrough(2), arms[0], 0.5));
    for (bool bDcStart : {false, true}) {
        SCOPED_TRACE(bDcStart);
        TestJob t;
        if (bDcStart)
            SetWhole(t.job, {0.0, 0.5e9}, {device, Embed(device, E)});
        else
            SetWhole(t.job, {0.5e9, 4e9}, {device, device});
        AddGroup(t.job, {2, 1}, {1e9, 2e9, 3e9}, arms);
        ASSERT_EQ(CalibrationBuild(t.job), 0);
        for (size_t k = 0; k < 2; ++k) EXPECT_LT(MaxDifference(t.job.vdcm_Sout[k], device), 1e-12);
        // Logged once per pair of the group's ports at each of the two frequencies.
        EXPECT_EQ(t.log.str(), Repeat(bDcStart ? kDifferent : kDifferent + kNotCovered, 8));
    }
}

TEST(CalibrationBuild, APortListedTwiceBelongsToTheFirstGroup)
{
    // Port 2 takes group 0's arm; port 1 stays in group 1 at its place 1, uncoupled from port 2.
    TestJob t;
    const dcm device = RandomMatrix(2, 0.4, 12);
    const dcm armA = Arm(1, 13), armB = Arm(2, 14);
    dcm E(4);
    PlaceArm(E, {1}, armA);
    for (int32_t r = 0; r < 2; ++r)
        for (int32_t c = 0; c < 2; ++c) E(2 * r, 2 * c) = armB(2 * r + 1, 2 * c + 1);
    SetWhole(t.job, {1e9}, {Embed(device, E)});
    AddGroup(t.job, {2}, {1e9}, {armA});
    AddGroup(t.job, {2, 1}, {1e9}, {armB});
    ASSERT_EQ(CalibrationBuild(t.job), 0);
    EXPECT_LT(MaxDifference(t.job.vdcm_Sout[0], device), 1e-12);
}

TEST(CalibrationBuild, RejectsArmDataThatDoNotFitTheGroup)
{
    TestJob t;
    SetWhole(t.job, {1e9}, {RandomMatrix(2, 0.5, 1)});
    AddGroup(t.job, {1, 2}, {1e9}, {Arm(2, 1)});
    t.job.calibrationGroups[0].armS[0].Resize(2);  // a 2x2 arm for a two-port group
    EXPECT_EQ(CalibrationBuild(t.job), -1);
    EXPECT_EQ(t.log.str(), "VORA:: Calibration data of the arm 1 do not fit its ports\n");

    TestJob w;
    SetWhole(w.job, {1e9}, {RandomMatrix(2, 0.5, 1)});
    w.job.portCount = 3;  // records hold 2x2 matrices
    AddGroup(w.job, {1}, {1e9}, {Arm(1, 1)});
    EXPECT_EQ(CalibrationBuild(w.job), -1);
    EXPECT_EQ(w.log.str(), "VORA:: Whole structure data do not fit its port count\n");
}

// The output writer: one record per frequency in the file unit; above 6 ports a line is
// wrapped after every 4th entry but never after the last one.
TEST(DeembeddedOutput, OneRecordPerFrequencyWrappedAboveSixPorts)
{
    for (int N : {6, 7, 8}) {
        SCOPED_TRACE(N);
        TestJob t;
        t.job.portCount = N;
        t.job.frequencies = {1.5e9, 2.25e9};
        t.job.frequencyCount = 2;
        t.job.freqUnitFactor = 1e9;
        t.job.vdcm_Sout.ResizeAll(2, N);
        std::string expected;
        for (int k = 0; k < 2; ++k) {
            expected += k == 0 ? "1.5" : "2.25";
            for (int e = 0; e < N * N; ++e) {
                t.job.vdcm_Sout[k].data[e] = Complex(0.125 * e, -k - 0.5);
                std::ostringstream v;
                v << " " << 0.125 * e << " " << -k - 0.5;
                expected += v.str();
                if (N > 6 && (e + 1) % 4 == 0 && e + 1 != N * N) expected += "\n\t";
            }
            expected += "\n";
        }
        TempDir dir;
        t.job.outputStream = std::make_unique<OutputFile>();
        ASSERT_TRUE(t.job.outputStream->OpenReplacing((dir.path() / "out.sNp").string()));
        EXPECT_EQ(WriteDeembeddedOutput(t.job), 0);
        EXPECT_EQ(dir.Read("out.sNp"), expected);
    }
}

}  // namespace
