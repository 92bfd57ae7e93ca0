#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CalibrationJobs.h"
#include "calibration/CalibrationBuild.h"
#include "support/VoraRun.h"

namespace {

using namespace calibration_jobs;
using testing_matrix::MaxDifference;
using testing_matrix::Pattern;

const std::string kDifferent = "VORA:  Calibration build with different sampling \n";
const std::string kNotCovered = "VORA: error Calibration build with different sampling \n";

std::string Repeat(const std::string& text, int times)
{
    std::string s;
    for (int t = 0; t < times; ++t) s += text;
    return s;
}

TEST(CalibrationBuild, DeembedsAKnownDeviceFromKnownArms)
{
    // Ports 3 and 1 form a two-port group (in that order), port 4 a one-port group, and
    // port 2 belongs to no group.
    TestJob t;
    const std::vector<double> f = {1e9, 2e9};
    std::vector<Mat> whole, device;
    std::vector<Mat> armsA, armsB;
    for (int k = 0; k < 2; ++k) {
        device.push_back(Pattern(4, 0.4, 10 + k));
        armsA.push_back(Arm(2, 20 + 7 * k));
        armsB.push_back(Arm(1, 40 + 7 * k));
        ErrorNetwork e = ErrorNetwork::Through(4);
        PlaceArm(e, {2, 0}, armsA[k]);
        PlaceArm(e, {3}, armsB[k]);
        whole.push_back(Embed(device[k], e));
    }
    SetWhole(t.job, f, whole);
    AddGroup(t.job, {3, 1}, f, armsA);
    AddGroup(t.job, {4}, f, armsB);

    ASSERT_EQ(CalibrationBuild(t.job), 0);
    ASSERT_EQ(t.job.vdcm_Sout.size(), 2u);
    for (int k = 0; k < 2; ++k) EXPECT_LT(MaxDifference(Output(t.job, k), device[k]), 1e-12) << "k=" << k;
    EXPECT_EQ(t.log.str(), "");
}

TEST(CalibrationBuild, SameCountOfPointsIsTakenByIndex)
{
    TestJob t;
    std::vector<Mat> whole, device, arms;
    for (int k = 0; k < 2; ++k) {
        device.push_back(Pattern(1, 0.5, 3 + k));
        arms.push_back(Arm(1, 5 + 11 * k));
        ErrorNetwork e(1);
        PlaceArm(e, {0}, arms[k]);
        whole.push_back(Embed(device[k], e));
    }
    SetWhole(t.job, {1e9, 2e9}, whole);
    AddGroup(t.job, {1}, {5e9, 7e9}, arms);  // other frequencies, same count
    ASSERT_EQ(CalibrationBuild(t.job), 0);
    for (int k = 0; k < 2; ++k) EXPECT_LT(MaxDifference(Output(t.job, k), device[k]), 1e-12);
    EXPECT_EQ(t.log.str(), "");
}

// Which arm a simulated frequency gets when the group is sampled differently.
struct Expected {
    int low = -1;  // group point, or -1 for the through
    int high = -1;
    double t = 0.0;  // weight of `high`
};
const Expected kThrough{};
Expected Point(int p) { return {p, p, 0.0}; }
Expected Between(int low, int high, double t) { return {low, high, t}; }

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
    const std::vector<double> points = {1e9, 2e9, 3e9};
    const std::vector<Case> cases = {
        {"match within 0.1 Hz, interpolation elsewhere",
         {1e9 + 0.05, 1.5e9, 2e9 - 0.2, 2.5e9},
         {Point(0), Between(0, 1, 0.5), Between(0, 1, (1e9 - 0.2) / 1e9), Between(1, 2, 0.5)},
         Repeat(kDifferent, 2)},
        {"no DC start: outside the points is a through, with the error line",
         {0.5e9, 1.5e9, 2.5e9, 3.5e9},
         {kThrough, Between(0, 1, 0.5), Between(1, 2, 0.5), kThrough},
         kDifferent + kNotCovered + kDifferent + kNotCovered},
        {"DC start: below 1 Hz a through, below the first point from the through at 0 Hz",
         {0.0, 0.5, 0.25e9, 1e9, 2.5e9, 4e9},
         {kThrough, kThrough, Between(-1, 0, 0.25), Point(0), Between(1, 2, 0.5), kThrough},
         Repeat(kDifferent, 2)},
        {"one frequency is the first and the last",
         {1.75e9},
         {Between(0, 1, 0.75)},
         kDifferent},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestJob t;
        std::vector<Mat> arms = {Arm(1, 1), Arm(1, 2), Arm(1, 3)};
        std::vector<Mat> whole, device;
        for (size_t k = 0; k < c.simulated.size(); ++k) {
            const Expected& x = c.arms[k];
            const Mat low = x.low < 0 ? ArmThrough(1) : arms[x.low];
            const Mat high = x.high < 0 ? ArmThrough(1) : arms[x.high];
            ErrorNetwork e(1);
            PlaceArm(e, {0}, Lerp(low, high, x.t));
            device.push_back(Pattern(1, 0.5, 30 + static_cast<unsigned>(k)));
            whole.push_back(Embed(device.back(), e));
        }
        SetWhole(t.job, c.simulated, whole);
        AddGroup(t.job, {1}, points, arms);
        ASSERT_EQ(CalibrationBuild(t.job), 0);
        for (size_t k = 0; k < c.simulated.size(); ++k)
            EXPECT_LT(MaxDifference(Output(t.job, static_cast<int>(k)), device[k]), 1e-12) << "k=" << k;
        EXPECT_EQ(t.log.str(), c.log);
    }
}

// Arm files normally run upwards; any other order is searched in list order: the first
// point within 0.1 Hz, the last point below and the first point above in the list.
TEST(CalibrationBuild, UnorderedGroupPointsAreSearchedInListOrder)
{
    TestJob t;
    const std::vector<Mat> arms = {Arm(1, 1), Arm(1, 2), Arm(1, 3), Arm(1, 4)};
    const std::vector<double> points = {3e9, 1e9, 2e9, 1e9 + 0.08};
    const std::vector<double> simulated = {1.5e9, 1e9 + 0.04, 2.5e9};
    // 1.5 GHz: last below is 1e9+0.08 (index 3), first above 3e9 (index 0); 1e9+0.04 Hz
    // matches index 1 before index 3; 2.5 GHz: last below 1e9+0.08, first above 3e9.
    const std::vector<Mat> used = {Lerp(arms[3], arms[0], (1.5e9 - (1e9 + 0.08)) / (3e9 - (1e9 + 0.08))), arms[1],
                                   Lerp(arms[3], arms[0], (2.5e9 - (1e9 + 0.08)) / (3e9 - (1e9 + 0.08)))};
    std::vector<Mat> whole, device;
    for (size_t k = 0; k < simulated.size(); ++k) {
        ErrorNetwork e(1);
        PlaceArm(e, {0}, used[k]);
        device.push_back(Pattern(1, 0.5, 50 + static_cast<unsigned>(k)));
        whole.push_back(Embed(device.back(), e));
    }
    SetWhole(t.job, simulated, whole);
    AddGroup(t.job, {1}, points, arms);
    ASSERT_EQ(CalibrationBuild(t.job), 0);
    for (size_t k = 0; k < simulated.size(); ++k)
        EXPECT_LT(MaxDifference(Output(t.job, static_cast<int>(k)), device[k]), 1e-12) << "k=" << k;
}

// In a multi-port group the through is [[0, I], [I, 0]]: ports of the group are not
// coupled through it, and it is the lower point below the first group frequency.
TEST(CalibrationBuild, MultiPortGroupFallsBackToTheThroughOfItsPorts)
{
    {
        TestJob t;
        const Mat device = Pattern(2, 0.4, 8);  // coupled: a coupling through would change it
        SetWhole(t.job, {0.5e9, 4e9}, {device, device});
        AddGroup(t.job, {1, 2}, {1e9, 2e9, 3e9}, {Arm(2, 1), Arm(2, 2), Arm(2, 3)});
        ASSERT_EQ(CalibrationBuild(t.job), 0);
        for (int k = 0; k < 2; ++k) EXPECT_LT(MaxDifference(Output(t.job, k), device), 1e-12);
        // Logged once per pair of the group's ports at each of the two frequencies.
        EXPECT_EQ(t.log.str(), Repeat(kDifferent + kNotCovered, 8));
    }
    {
        TestJob t;
        const std::vector<Mat> arms = {Arm(2, 4), Arm(2, 5), Arm(2, 6)};
        const Mat device = Pattern(2, 0.4, 9);
        ErrorNetwork e(2);
        PlaceArm(e, {1, 0}, Lerp(ArmThrough(2), arms[0], 0.5));
        SetWhole(t.job, {0.0, 0.5e9}, {device, Embed(device, e)});
        AddGroup(t.job, {2, 1}, {1e9, 2e9, 3e9}, arms);
        ASSERT_EQ(CalibrationBuild(t.job), 0);
        EXPECT_LT(MaxDifference(Output(t.job, 0), device), 1e-12);
        EXPECT_LT(MaxDifference(Output(t.job, 1), device), 1e-12);
        EXPECT_EQ(t.log.str(), Repeat(kDifferent, 8));
    }
}

TEST(CalibrationBuild, APortListedTwiceBelongsToTheFirstGroup)
{
    TestJob t;
    t.job.portCount = 3;
    t.job.groupPorts = {{0, {2}}, {1, {2, 1}}};
    t.job.calibrationGroups.resize(2);
    struct Lookup {
        int port, group;
        bool inGroup;
        int groupOf, place;
    };
    for (const Lookup& l : {Lookup{1, 0, true, 0, 0}, Lookup{1, 1, true, 0, 0}, Lookup{0, 1, true, 1, 1},
                            Lookup{0, 0, true, 1, -1}, Lookup{2, 0, false, -1, -1}, Lookup{2, 5, false, -1, -1}}) {
        EXPECT_EQ(IsPortInGroup(t.job, l.port), l.inGroup) << l.port;
        EXPECT_EQ(GroupOfPort(t.job, l.port), l.groupOf) << l.port;
        EXPECT_EQ(PlaceOfPortInGroup(t.job, l.port, l.group), l.place) << l.port << " in " << l.group;
    }

    // Port 2 takes group 0's arm; port 1 stays in group 1 at its place 1, uncoupled from
    // port 2.
    TestJob u;
    const Mat device = Pattern(2, 0.4, 12);
    const Mat armA = Arm(1, 13), armB = Arm(2, 14);
    ErrorNetwork e(2);
    PlaceArm(e, {1}, armA);
    e.aa(0, 0) = armB(1, 1);
    e.bb(0, 0) = armB(3, 3);
    e.ab(0, 0) = armB(1, 3);
    e.ba(0, 0) = armB(3, 1);
    SetWhole(u.job, {1e9}, {Embed(device, e)});
    AddGroup(u.job, {2}, {1e9}, {armA});
    AddGroup(u.job, {2, 1}, {1e9}, {armB});
    ASSERT_EQ(CalibrationBuild(u.job), 0);
    EXPECT_LT(MaxDifference(Output(u.job, 0), device), 1e-12);
}

TEST(CalibrationBuild, WithoutGroupsCopiesTheWholeStructureAndFails)
{
    TestJob t;
    const std::vector<Mat> whole = {Pattern(2, 0.5, 1), Pattern(2, 0.5, 2)};
    SetWhole(t.job, {1e9, 2e9}, whole);
    EXPECT_EQ(CalibrationBuild(t.job), 1);
    for (int k = 0; k < 2; ++k) EXPECT_EQ(MaxDifference(Output(t.job, k), whole[k]), 0.0);

    TestJob empty;
    SetWhole(empty.job, {}, {});
    EXPECT_EQ(CalibrationBuild(empty.job), 1);
    AddGroup(empty.job, {1}, {1e9}, {Arm(1, 1)});
    EXPECT_EQ(CalibrationBuild(empty.job), 0);
    EXPECT_EQ(empty.log.str(), "");
}

TEST(CalibrationBuild, RejectsArmDataThatDoNotFitTheGroup)
{
    TestJob t;
    SetWhole(t.job, {1e9}, {Pattern(2, 0.5, 1)});
    AddGroup(t.job, {1, 2}, {1e9}, {Arm(2, 1)});
    t.job.calibrationGroups[0].armS[0].Resize(2);  // a 2x2 arm for a two-port group
    EXPECT_EQ(CalibrationBuild(t.job), -1);
    EXPECT_EQ(t.log.str(), "VORA:: Calibration data of the arm 1 do not fit its ports\n");

    TestJob w;
    SetWhole(w.job, {1e9}, {Pattern(2, 0.5, 1)});
    w.job.portCount = 3;  // records hold 2x2 matrices
    AddGroup(w.job, {1}, {1e9}, {Arm(1, 1)});
    EXPECT_EQ(CalibrationBuild(w.job), -1);
    EXPECT_EQ(w.log.str(), "VORA:: Whole structure data do not fit its port count\n");
}

TEST(WriteCorrectedOutput, WritesOneRecordPerFrequencyWrappedAboveSixPorts)
{
    for (int N : {2, 7}) {
        TempDir dir;
        TestJob t;
        t.job.frequencies = {1.5e9, 2.25e9};
        t.job.frequencyCount = 2;
        t.job.freqUnitFactor = 1e9;
        t.job.vdcm_Sout.ResizeAll(2, N);
        std::string expected;
        for (int k = 0; k < 2; ++k) {
            expected += k == 0 ? "1.5" : "2.25";
            for (int e = 0; e < N * N; ++e) {
                t.job.vdcm_Sout[k].data[e] = C(0.125 * e, -k - 0.5);
                std::ostringstream v;
                v << " " << 0.125 * e << " " << -k - 0.5;
                expected += v.str();
                if (N > 6 && (e + 1) % 4 == 0 && e + 1 != N * N) expected += "\n\t";
            }
            expected += "\n";
        }
        t.job.outputStream = std::make_unique<OutputFile>();
        ASSERT_TRUE(t.job.outputStream->Open((dir.path() / "out.s2p").string()));
        EXPECT_EQ(WriteCorrectedOutput(t.job), 0);
        EXPECT_EQ(dir.Read("out.s2p"), expected) << "N=" << N;
    }
}

}  // namespace
