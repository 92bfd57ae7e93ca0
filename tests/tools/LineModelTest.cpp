// Physics of the job generator: the arm and device data it writes must be right, since the
// engine's end-to-end tests take them as the truth.
#if __has_include("jobgen/LineModel.h")

#include <gtest/gtest.h>

#include <cmath>

#include "jobgen/Device.h"
#include "jobgen/LineModel.h"
#include "numerics/ComplexArrays.h"
#include "support/TestData.h"

namespace {

double MaxAsymmetry(const dcm& A)
{
    double worst = 0.0;
    for (int32_t i = 0; i < A.n; ++i)
        for (int32_t j = 0; j < A.n; ++j) worst = std::max(worst, std::abs(A(i, j) - A(j, i)));
    return worst;
}

dcm FullArmS(const ArmBlocks& arm)
{
    const int32_t p = arm.Saa.n;
    dcm S(2 * p);
    for (int32_t i = 0; i < p; ++i)
        for (int32_t j = 0; j < p; ++j) {
            S(i, j) = arm.Saa(i, j);
            S(i, p + j) = arm.Sab(i, j);
            S(p + i, j) = arm.Sba(i, j);
            S(p + i, p + j) = arm.Sbb(i, j);
        }
    return S;
}

// I - Sᴴ·S: zero for a lossless network, positive semidefinite for a passive one.
dcm PowerLoss(const dcm& S)
{
    dcm H(S.n), P;
    for (int32_t i = 0; i < S.n; ++i)
        for (int32_t j = 0; j < S.n; ++j) H(i, j) = std::conj(S(j, i));
    Multiply(H, S, P);
    P.Negate();
    for (int32_t i = 0; i < S.n; ++i) P(i, i) += 1.0;
    return P;
}

ArmBlocks ArmAt(const LineParameters& line, double f, double r = 50.0)
{
    ChainMatrix chain;
    LineWork work;
    ArmBlocks arm;
    LineChainMatrix(line, 2.0 * M_PI * f, chain, work);
    EXPECT_TRUE(ArmSFromChain(chain, r, arm, work));
    return arm;
}

LineParameters ThreeCoupledLossyLines(double length)
{
    return CoupledLines(3, length, 20.0, 2.0, 303e-9, 40e-9, 0.015, 0.0015, 121e-12, 10e-12);
}

}  // namespace

// One line against the textbook: S from its characteristic impedance and propagation, the
// shorted line's Z0·tanh(γl) and the open line's tanh(γl)/Z0. The first two lines are
// distortionless (R/L = G/C): Z0 = 50 ohm, so they are matched and S21 = exp(-γl).
TEST(JobgenLine, OneLineFollowsTheTextbook)
{
    struct Case {
        double R, L, G, C, length;
    };
    for (const Case c : {Case{0.0, 250e-9, 0.0, 100e-12, 0.03}, Case{25.0, 250e-9, 0.01, 100e-12, 0.03},
                         Case{30.0, 280e-9, 0.02, 130e-12, 0.011}}) {
        const LineParameters line = CoupledLines(1, c.length, c.R, 0.0, c.L, 0.0, c.G, 0.0, c.C, 0.0);
        ChainMatrix chain;
        LineWork work;
        dcm Zshort, Yopen;
        for (double f : {1e6, 2.2e8, 5e9}) {
            const double w = 2.0 * M_PI * f;
            const Complex z(c.R, w * c.L), y(c.G, w * c.C);
            const Complex z0 = std::sqrt(z / y), gl = std::sqrt(z * y) * c.length;
            const LineS expected = ClosedFormLineS(z0, gl, 50.0);
            const ArmBlocks arm = ArmAt(line, f);
            EXPECT_LT(std::abs(arm.Saa(0, 0) - expected.s11), 1e-12) << c.R << " " << f;
            EXPECT_LT(std::abs(arm.Sbb(0, 0) - expected.s11), 1e-12) << c.R << " " << f;
            EXPECT_LT(std::abs(arm.Sba(0, 0) - expected.s21), 1e-12) << c.R << " " << f;
            LineChainMatrix(line, w, chain, work);
            ASSERT_TRUE(ShortAndOpenFromChain(chain, Zshort, Yopen, work));
            const Complex expectZ = z0 * std::tanh(gl), expectY = std::tanh(gl) / z0;
            EXPECT_LT(std::abs(Zshort(0, 0) - expectZ), 1e-12 * std::abs(expectZ)) << c.R << " " << f;
            EXPECT_LT(std::abs(Yopen(0, 0) - expectY), 1e-12 * std::abs(expectY)) << c.R << " " << f;
        }
    }
}

// The modal solution against the matrix exponential of [[0, Z'l], [Y'l, 0]]: two routes that
// share nothing but the per-length matrices (the textbook test pins those for one line).
TEST(JobgenLine, CoupledLinesAgreeAcrossTwoIndependentRoutes)
{
    const LineParameters line = ThreeCoupledLossyLines(0.008);
    for (double f : {5e7, 6e9}) {
        const double w = 2.0 * M_PI * f;
        ChainMatrix modes, squaring;
        LineWork work;
        ASSERT_TRUE(ChainMatrixByModes(line, w, modes, work));
        ChainMatrixByScalingAndSquaring(line, w, squaring);
        EXPECT_LT(MaxDifference(modes.A, squaring.A), 1e-12);
        EXPECT_LT(MaxDifference(modes.B, squaring.B), 1e-12 * 50.0);
        EXPECT_LT(MaxDifference(modes.C, squaring.C), 1e-12 / 50.0);
        EXPECT_LT(MaxDifference(modes.D, squaring.D), 1e-12);
    }
}

TEST(JobgenLine, EveryNetworkIsReciprocalLosslessLinesUnitaryAndTheRestPassive)
{
    const LineParameters lossless = CoupledLines(2, 0.02, 0.0, 0.0, 303e-9, 40e-9, 0.0, 0.0, 121e-12, 10e-12);
    for (double f : {1e6, 3.7e9, 2e10}) {
        const dcm loss = PowerLoss(FullArmS(ArmAt(lossless, f)));
        EXPECT_LT(MaxDifference(loss, dcm(loss.n)), 1e-12) << "f = " << f;
    }
    // With loss an arm is strictly passive: every diagonal entry of I - SᴴS is positive.
    const ArmBlocks arm = ArmAt(ThreeCoupledLossyLines(0.006), 2.4e9);
    EXPECT_LT(MaxAsymmetry(FullArmS(arm)), 1e-13);
    const dcm lossy = PowerLoss(FullArmS(arm));
    for (int32_t i = 0; i < lossy.n; ++i) EXPECT_GT(lossy(i, i).real(), 1e-6);

    const DeviceModel device = RandomDevice(5, 50.0, 7, 1e7, 2e9);
    dcm Sd, w1, w2;
    for (double f : {1e7, 1.4e8, 2e9}) {
        ASSERT_TRUE(DeviceS(device, 2.0 * M_PI * f, Sd, w1, w2));
        EXPECT_LT(MaxAsymmetry(Sd), 1e-13);
        // Passive: I - SᴴS positive semidefinite; its eigenvalues are real and >= 0.
        dcm loss = PowerLoss(Sd), V(5), Vinv(5);
        dcv lambda(5);
        ASSERT_EQ(EigenDecompose(5, loss.data, V.data, Vinv.data, lambda.data), 0);
        for (int32_t m = 0; m < 5; ++m) EXPECT_GT(lambda[m].real(), -1e-12);
    }
}

#endif
