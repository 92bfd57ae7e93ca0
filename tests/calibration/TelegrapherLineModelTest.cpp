#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <sstream>
#include <vector>

#include "calibration/TelegrapherLineModel.h"
#include "job/CalibrationGroup.h"
#include "SmallMatrix.h"

namespace {

using C = std::complex<double>;

// S of a uniform line (characteristic impedance Zc, electrical length gl) between two
// ports of reference resistance R, from the textbook formula.
struct LineS {
    C s11, s21;
};
LineS ClosedFormLineS(C Zc, C gl, double R)
{
    const C sh = std::sinh(gl), ch = std::cosh(gl);
    const C den = (Zc * Zc + R * R) * sh + 2.0 * Zc * R * ch;
    return {(Zc * Zc - R * R) * sh / den, 2.0 * Zc * R / den};
}

void AppendRecord(RecordTable& table, const std::vector<C>& values)
{
    if (table.empty()) table.Reset(static_cast<int64_t>(2 * values.size()));
    double* r = table.Append();
    for (size_t e = 0; e < values.size(); ++e) {
        r[2 * e] = values[e].real();
        r[2 * e + 1] = values[e].imag();
    }
}

// An extended-form group of open Y / short Z records, one per frequency.
CalibrationGroup LineGroup(int32_t n, const std::vector<double>& R, const std::vector<std::vector<C>>& Y,
                           const std::vector<std::vector<C>>& Z, std::ostream& log)
{
    CalibrationGroup group;
    group.logStream = &log;
    group.bExtendedArmSyntax = 1;
    group.armKind = 0;
    group.portCount = n;
    group.firstPort = 1;
    group.portResistances = R;
    for (size_t k = 0; k < Y.size(); ++k) {
        AppendRecord(group.openValues, Y[k]);
        AppendRecord(group.shortValues, Z[k]);
        group.commonFrequencies.push_back(1e9 * static_cast<double>(k + 1));
    }
    group.commonFrequencyCount = static_cast<int32_t>(Y.size());
    return group;
}

void ExpectNear(C actual, C expected, double tol, const char* what)
{
    EXPECT_LT(std::abs(actual - expected), tol) << what << ": " << actual << " vs " << expected;
}

TEST(TelegrapherLineModel, SingleLineGivesTheClosedFormLineS)
{
    struct Case {
        C Zc, gl;
        double R;
    };
    const std::vector<Case> cases = {
        {C(50.0, 0.0), C(0.0, 0.7), 50.0},     // lossless, matched
        {C(70.0, -2.0), C(0.05, 1.3), 50.0},   // lossy, mismatched
        {C(30.0, 1.0), C(0.2, 2.9), 75.0},     // near a half wave
        {C(120.0, -8.0), C(0.01, 0.02), 25.0}, // electrically short
    };
    for (const Case& c : cases) {
        std::ostringstream log;
        CalibrationGroup group = LineGroup(1, {c.R}, {{c.gl / c.Zc}}, {{c.Zc * c.gl}}, log);
        ASSERT_EQ(Preprocess(group), 0);
        ASSERT_EQ(Calibrate(group), 0);
        ASSERT_EQ(group.armS.size(), 1u);
        const dcm& S = group.armS[0];
        ASSERT_EQ(S.n, 2);
        const LineS line = ClosedFormLineS(c.Zc, c.gl, c.R);
        ExpectNear(S(0, 0), line.s11, 1e-12, "S11");
        ExpectNear(S(1, 1), line.s11, 1e-12, "S22");
        ExpectNear(S(0, 1), line.s21, 1e-12, "S12");
        ExpectNear(S(1, 0), line.s21, 1e-12, "S21");
        EXPECT_EQ(log.str(), "");
    }
}

// Two identical coupled lines split into an even and an odd mode, each a single line; with
// equal port resistances the 4-port S is the modal S turned back by the orthogonal
// even/odd transform.
TEST(TelegrapherLineModel, SymmetricCoupledLinesGiveTheirEvenAndOddModes)
{
    const double R = 50.0;
    const C zs(3.0, 60.0), zm(0.5, 18.0);    // total series impedance: self, mutual
    const C ys(2e-4, 0.03), ym(0.0, -0.008);  // total shunt admittance: self, mutual
    std::ostringstream log;
    CalibrationGroup group = LineGroup(2, {R, R}, {{ys, ym, ym, ys}}, {{zs, zm, zm, zs}}, log);
    ASSERT_EQ(Preprocess(group), 0);
    const dcm& S = group.armS[0];
    ASSERT_EQ(S.n, 4);

    const C Ze = zs + zm, Ye = ys + ym, Zo = zs - zm, Yo = ys - ym;
    const LineS even = ClosedFormLineS(std::sqrt(Ze / Ye), std::sqrt(Ze * Ye), R);
    const LineS odd = ClosedFormLineS(std::sqrt(Zo / Yo), std::sqrt(Zo * Yo), R);
    const double t[2][2] = {{M_SQRT1_2, M_SQRT1_2}, {M_SQRT1_2, -M_SQRT1_2}};  // ports x modes
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            const C refl = t[i][0] * t[j][0] * even.s11 + t[i][1] * t[j][1] * odd.s11;
            const C trans = t[i][0] * t[j][0] * even.s21 + t[i][1] * t[j][1] * odd.s21;
            ExpectNear(S(i, j), refl, 1e-12, "Saa");
            ExpectNear(S(2 + i, 2 + j), refl, 1e-12, "Sbb");
            ExpectNear(S(i, 2 + j), trans, 1e-12, "Sab");
            ExpectNear(S(2 + i, j), trans, 1e-12, "Sba");
        }
    }
}

// A uniform line is two uniform halves in cascade. With Y·Z ≠ Z·Y the order of every
// product in the model matters, so a block formed the wrong way round breaks this.
TEST(TelegrapherLineModel, CoupledLinesAreTheCascadeOfTheirHalves)
{
    using testing_matrix::Mat;
    const std::vector<C> Z = {C(4.0, 55.0), C(1.0, 21.0), C(1.0, 21.0), C(6.0, 80.0)};
    const std::vector<C> Y = {C(1e-4, 0.031), C(0.0, -0.011), C(0.0, -0.011), C(3e-4, 0.024)};
    std::vector<C> halfZ, halfY;
    for (C z : Z) halfZ.push_back(0.5 * z);
    for (C y : Y) halfY.push_back(0.5 * y);
    std::ostringstream log;
    CalibrationGroup group = LineGroup(2, {50.0, 35.0}, {Y, halfY}, {Z, halfZ}, log);
    ASSERT_EQ(Preprocess(group), 0);

    Mat whole(4), half(4);
    for (int e = 0; e < 16; ++e) {
        whole.a[e] = group.armS[0].data[e];
        half.a[e] = group.armS[1].data[e];
    }
    // Redheffer star product of the half with itself (its end b joined to the other's end a).
    const Mat aa = half.Block(0, 0, 2), ab = half.Block(0, 1, 2), ba = half.Block(1, 0, 2), bb = half.Block(1, 1, 2);
    const Mat I = Mat::Identity(2);
    const Mat l = testing_matrix::Inverse(I - aa * bb);
    const Mat r = testing_matrix::Inverse(I - bb * aa);
    EXPECT_LT(testing_matrix::MaxDifference(whole.Block(0, 0, 2), aa + ab * l * aa * ba), 1e-12);
    EXPECT_LT(testing_matrix::MaxDifference(whole.Block(0, 1, 2), ab * l * ab), 1e-12);
    EXPECT_LT(testing_matrix::MaxDifference(whole.Block(1, 0, 2), ba * r * ba), 1e-12);
    EXPECT_LT(testing_matrix::MaxDifference(whole.Block(1, 1, 2), bb + ba * r * bb * ab), 1e-12);
}

// Nvpl form: the chain matrix of the averaged line, normalised to the first port's R.
// Short record: the kept Z(i,i) in line order; open record: outer ends, then inner ends.
TEST(TelegrapherLineModel, NvplFormAveragesTheKeptDiagonalsByTheirWeights)
{
    struct Case {
        int32_t nvpl;
        std::vector<double> weights;
        std::vector<C> shortKept, openKept;
        C Zs, Ya, Yb;  // the weighted sums, worked out by hand
    };
    const std::vector<Case> cases = {
        {1, {1.0}, {C(2.0, 1.0)}, {C(4.0, 0.0), C(1.0, 1.0)}, C(2.0, 1.0), C(4.0, 0.0), C(1.0, 1.0)},
        {2, {0.5, 0.5}, {C(2.0, 0.0), C(4.0, 2.0)}, {C(1.0, 0.0), C(3.0, 0.0), C(0.0, 2.0), C(2.0, 0.0)},
         C(3.0, 1.0), C(2.0, 0.0), C(1.0, 1.0)},
    };
    const double z0 = 50.0;
    for (const Case& c : cases) {
        CalibrationGroup group;
        std::ostringstream log;
        group.logStream = &log;
        group.bExtendedArmSyntax = 0;
        group.armKind = 0;
        group.portCount = 1;
        group.nvpl = c.nvpl;
        group.portResistances = {z0};
        group.shortWeights = group.openWeightsA = group.openWeightsB = c.weights;
        group.shortKeepPositions = {0};
        AppendRecord(group.shortValues, c.shortKept);
        AppendRecord(group.openValues, c.openKept);
        group.commonFrequencies = {1e9};
        group.commonFrequencyCount = 1;

        ASSERT_EQ(Preprocess(group), 0);
        const dcm& m = group.armS[0];
        ASSERT_EQ(m.n, 2);
        ExpectNear(m(0, 0), c.Ya / c.Yb, 1e-14, "m00");
        ExpectNear(m(0, 1), c.Yb * c.Zs / (c.Ya - c.Zs) / z0, 1e-14, "m01");
        ExpectNear(m(1, 0), z0 / c.Yb, 1e-12, "m10");
        ExpectNear(m(1, 1), c.Yb / (c.Ya - c.Zs), 1e-14, "m11");
        // The tables are released once the group is preprocessed.
        EXPECT_TRUE(group.shortWeights.empty() && group.openWeightsA.empty() && group.shortKeepPositions.empty());
    }
}

TEST(TelegrapherLineModel, CalibrateTurnsANormalisedChainMatrixIntoS)
{
    const C Zc(65.0, -3.0), gl(0.08, 1.1);
    const double z0 = 50.0;
    CalibrationGroup group;
    group.bExtendedArmSyntax = 0;
    group.commonFrequencyCount = 1;
    group.armS.ResizeAll(1, 2);
    dcm& m = group.armS[0];
    m(0, 0) = std::cosh(gl);
    m(0, 1) = Zc * std::sinh(gl) / z0;
    m(1, 0) = std::sinh(gl) / Zc * z0;
    m(1, 1) = std::cosh(gl);
    ASSERT_EQ(Calibrate(group), 0);
    const LineS line = ClosedFormLineS(Zc, gl, z0);
    ExpectNear(m(0, 0), line.s11, 1e-12, "S11");
    ExpectNear(m(1, 1), line.s11, 1e-12, "S22");
    ExpectNear(m(0, 1), line.s21, 1e-12, "S12");
    ExpectNear(m(1, 0), line.s21, 1e-12, "S21");
}

TEST(TelegrapherLineModel, ArmSFileRecordsAreTakenAsTheyStand)
{
    CalibrationGroup group;
    group.bExtendedArmSyntax = 1;
    group.armKind = 1;
    group.portCount = 1;
    const std::vector<C> record = {C(0.1, 0.2), C(0.9, -0.1), C(0.8, -0.2), C(0.3, 0.4)};
    AppendRecord(group.shortValues, record);
    group.commonFrequencies = {1e9};
    group.commonFrequencyCount = 1;
    ASSERT_EQ(Preprocess(group), 0);
    ASSERT_EQ(Calibrate(group), 0);
    for (int e = 0; e < 4; ++e) EXPECT_EQ(group.armS[0].data[e], record[e]);
}

TEST(TelegrapherLineModel, RejectsDataThatDoNotFitTheGroup)
{
    struct Case {
        const char* name;
        uint8_t extended;
        int32_t armKind;
        int32_t portCount;
        int32_t recordValues;  // complex values per record
        const char* line;
        int32_t commonCount = 1;  // one record in each file
    };
    const std::vector<Case> cases = {
        {"Nvpl form with an arm S file", 0, 1, 1, 4, "VORA:: Arm S file of port 7 needs the extended arm syntax\n"},
        {"arm S record too short", 1, 1, 2, 4, "VORA:: Arm data of port 7 do not fit the arm's ports and frequencies\n"},
        {"open/short record too short", 1, 0, 2, 1, "VORA:: Arm data of port 7 do not fit the arm's ports and frequencies\n"},
        {"no port", 1, 2, 0, 4, "VORA:: Arm data of port 7 do not fit the arm's ports and frequencies\n"},
        // Two open points within 0.1 Hz of one short point are both common.
        {"more common points than records", 1, 0, 1, 1,
         "VORA:: Arm data of port 7 do not fit the arm's ports and frequencies\n", 2},
        {"Nvpl form, more common points than records", 0, 0, 1, 2,
         "VORA:: Arm data of port 7 do not fit the arm's ports and frequencies\n", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::ostringstream log;
        CalibrationGroup group;
        group.logStream = &log;
        group.firstPort = 7;
        group.bExtendedArmSyntax = c.extended;
        group.armKind = c.armKind;
        group.portCount = c.portCount;
        group.portResistances = {50.0, 50.0};
        group.shortWeights = group.openWeightsA = group.openWeightsB = {1.0};
        const std::vector<C> record(static_cast<size_t>(c.recordValues), C(1.0, 0.5));
        AppendRecord(group.shortValues, record);
        AppendRecord(group.openValues, record);
        group.commonFrequencies.assign(static_cast<size_t>(c.commonCount), 1e9);
        group.commonFrequencyCount = c.commonCount;
        EXPECT_EQ(Preprocess(group), -1);
        EXPECT_EQ(log.str(), c.line);
    }
}

}  // namespace
