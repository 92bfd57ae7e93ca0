#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <vector>

#include "CalibrationJobs.h"
#include "calibration/TelegrapherLineModel.h"
#include "job/CalibrationGroup.h"

namespace {

using calibration_jobs::Block;
using calibration_jobs::Times;

// An extended-form group of open Y / short Z records, one per frequency.
CalibrationGroup LineGroup(int32_t n, const std::vector<double>& R, const std::vector<std::vector<Complex>>& Y,
                           const std::vector<std::vector<Complex>>& Z, std::ostream& log)
{
    CalibrationGroup group;
    group.logStream = &log;
    group.bExtendedArmSyntax = 1;
    group.portCount = n;
    group.firstPort = 7;
    group.portResistances = R;
    for (size_t k = 0; k < Y.size(); ++k) {
        AppendRecord(group.openValues, Y[k]);
        AppendRecord(group.shortValues, Z[k]);
        group.commonFrequencies.push_back(1e9 * static_cast<double>(k + 1));
    }
    group.commonFrequencyCount = static_cast<int32_t>(Y.size());
    return group;
}

// A uniform line is two uniform halves in cascade. With Y·Z ≠ Z·Y the order of every
// product in the model matters, so a block formed the wrong way round breaks this.
TEST(TelegrapherLineModel, CoupledLinesAreTheCascadeOfTheirHalves)
{
    const std::vector<Complex> Z = {{4.0, 55.0}, {1.0, 21.0}, {1.0, 21.0}, {6.0, 80.0}};
    const std::vector<Complex> Y = {{1e-4, 0.031}, {0.0, -0.011}, {0.0, -0.011}, {3e-4, 0.024}};
    std::vector<Complex> halfZ, halfY;
    for (Complex z : Z) halfZ.push_back(0.5 * z);
    for (Complex y : Y) halfY.push_back(0.5 * y);
    std::ostringstream log;
    CalibrationGroup group = LineGroup(2, {50.0, 35.0}, {Y, halfY}, {Z, halfZ}, log);
    ASSERT_EQ(Preprocess(group), 0);

    // Redheffer star product of the half with itself (its end b joined to the other's end a).
    const dcm &whole = group.armS[0], &half = group.armS[1];
    const dcm aa = Block(half, 0, 0), ab = Block(half, 0, 1), ba = Block(half, 1, 0), bb = Block(half, 1, 1);
    dcm I(2), l, r;
    I.SetIdentity();
    ASSERT_TRUE(Inverse(I - Times(aa, bb), l));
    ASSERT_TRUE(Inverse(I - Times(bb, aa), r));
    EXPECT_LT(MaxDifference(Block(whole, 0, 0), aa + Times(Times(Times(ab, l), aa), ba)), 1e-12);
    EXPECT_LT(MaxDifference(Block(whole, 0, 1), Times(Times(ab, l), ab)), 1e-12);
    EXPECT_LT(MaxDifference(Block(whole, 1, 0), Times(Times(ba, r), ba)), 1e-12);
    EXPECT_LT(MaxDifference(Block(whole, 1, 1), bb + Times(Times(Times(ba, r), bb), ab)), 1e-12);
}

// Nvpl form: the kept values, averaged by the lines' weights, are a reciprocal two-port's
// open-circuit Z11 and Z21 (outer ends, then inner ends) and its short-circuit input
// impedance; the arm must come out as that two-port's S. An unsymmetric T network (series
// Za, Zb, shunt Zc) tells S11 from S22; unequal weights and values that differ between the
// lines catch a weight applied to the wrong value.
TEST(TelegrapherLineModel, NvplFormAveragesTheLinesIntoTheTwoPortsS)
{
    const Complex Za(12, 30), Zb(5, -20), Zc(40, 8);
    const Complex z11 = Za + Zc, z22 = Zb + Zc, z21 = Zc, shortInput = z11 - z21 * z21 / z22;
    const Complex d(3.0, -2.0);  // 0.25·(v + 0.3d) + 0.75·(v - 0.1d) = v
    std::ostringstream log;
    CalibrationGroup group;
    group.logStream = &log;
    group.nvpl = 2;
    group.portResistances = {50.0};
    group.shortWeights = group.openWeightsA = group.openWeightsB = {0.25, 0.75};
    AppendRecord(group.shortValues, {shortInput + 0.3 * d, shortInput - 0.1 * d});
    AppendRecord(group.openValues, {z11 + 0.3 * d, z11 - 0.1 * d, z21 + 0.3 * d, z21 - 0.1 * d});
    group.commonFrequencies = {1e9};
    group.commonFrequencyCount = 1;
    ASSERT_EQ(Preprocess(group), 0);
    ASSERT_EQ(Calibrate(group), 0);

    // S = (Z - R)(Z + R)^-1 with R = 50 on both ports.
    const Complex a = z11 / 50.0, b = z22 / 50.0, c = z21 / 50.0, det = (a + 1.0) * (b + 1.0) - c * c;
    const dcm& S = group.armS[0];
    EXPECT_LT(std::abs(S(0, 0) - ((a - 1.0) * (b + 1.0) - c * c) / det), 1e-12);
    EXPECT_LT(std::abs(S(1, 1) - ((a + 1.0) * (b - 1.0) - c * c) / det), 1e-12);
    EXPECT_LT(std::abs(S(0, 1) - 2.0 * c / det), 1e-12);
    EXPECT_LT(std::abs(S(1, 0) - 2.0 * c / det), 1e-12);
    EXPECT_EQ(log.str(), "");
}

TEST(TelegrapherLineModel, RejectsDataThatDoNotFitTheGroup)
{
    std::ostringstream log;
    CalibrationGroup group = LineGroup(2, {50.0, 50.0}, {{Complex(1.0, 0.5)}}, {{Complex(1.0, 0.5)}}, log);
    EXPECT_EQ(Preprocess(group), -1);  // records of one value for a two-port group
    EXPECT_EQ(log.str(), "VORA:: Arm data of port 7 do not fit the arm's ports and frequencies\n");

    log.str("");
    group.bExtendedArmSyntax = 0;
    group.armKind = 1;
    EXPECT_EQ(Preprocess(group), -1);
    EXPECT_EQ(log.str(), "VORA:: Arm S file of port 7 needs the extended arm syntax\n");
}

}  // namespace
