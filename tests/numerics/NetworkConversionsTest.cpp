#include "numerics/NetworkConversions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numerics/ComplexArrays.h"
#include "numerics/NumericsTestSupport.h"

using namespace numerics_test;

namespace {

using Array = std::vector<Complex>;

// Zshort (or with bAdmittance Yopen) of S with the port resistances R.
Array Convert(const Array& S, const std::vector<double>& R, bool bAdmittance)
{
    const int32_t n = static_cast<int32_t>(R.size());
    Array D(S.size()), Dinv(S.size()), E(S.size()), M(S.size()), P(S.size()), T(S.size()), out(S.size());
    MakeRootReference(n, R.data(), D.data(), Dinv.data());
    const ConversionScratch work{E.data(), M.data(), P.data(), T.data()};
    if (bAdmittance)
        YopenFromS(n, S.data(), Dinv.data(), out.data(), work);
    else
        ZshortFromS(n, S.data(), D.data(), out.data(), work);
    return out;
}
Array Zshort(const Array& S, const std::vector<double>& R) { return Convert(S, R, false); }
Array Yopen(const Array& S, const std::vector<double>& R) { return Convert(S, R, true); }

Array Inverse2(const Array& a)
{
    const Complex det = a[0] * a[3] - a[1] * a[2];
    return {a[3] / det, -a[1] / det, -a[2] / det, a[0] / det};
}

Array Product2(const Array& a, const Array& b) { return NaiveProduct(2, a.data(), b.data()); }

double RelativeDistance(const Array& a, const Array& b)
{
    double scale = 0.0;
    for (const Complex& z : b) scale = std::max(scale, std::abs(z));
    return MaxDistance(a.size(), a.data(), b.data()) / scale;
}

// Random symmetric S with entries of magnitude below 0.3 (a passive-looking reciprocal network).
Array RandomReciprocalS(int32_t n, uint32_t seed)
{
    Array S = RandomArray(n, seed);
    for (Complex& z : S) z *= 0.3;
    SymmetrizeArray(n, S.data());
    return S;
}

}  // namespace

TEST(NetworkConversions, KnownTwoPortsWithUnequalReferences)
{
    // T network: series arms Za, Zb, shunt Zc. Its S with port resistances R1, R2 is
    // R^-1/2 (Z - R)(Z + R)^-1 R^1/2, worked out here with 2x2 formulas.
    const double R1 = 50.0, R2 = 75.0;
    const Complex Za(12, 30), Zb(5, -20), Zc(40, 8);
    const Array Z = {Za + Zc, Zc, Zc, Zb + Zc};
    const Array R = {R1, 0, 0, R2};
    const Array rootR = {std::sqrt(R1), 0, 0, std::sqrt(R2)};
    const Array rootRinv = {1 / std::sqrt(R1), 0, 0, 1 / std::sqrt(R2)};
    Array ZminusR = Z, ZplusR = Z;
    for (int k = 0; k < 4; ++k) {
        ZminusR[k] -= R[k];
        ZplusR[k] += R[k];
    }
    const Array S = Product2(Product2(rootRinv, Product2(ZminusR, Inverse2(ZplusR))), rootR);

    EXPECT_LT(RelativeDistance(Zshort(S, {R1, R2}), Z), 1e-13);
    EXPECT_LT(RelativeDistance(Yopen(S, {R1, R2}), Inverse2(Z)), 1e-13);

    // A series impedance between two 50-ohm ports has no Z, but Y = [[1, -1], [-1, 1]] / Zs.
    const Complex Zs(25, -60);
    const Complex s11 = Zs / (Zs + 100.0), s21 = 100.0 / (Zs + 100.0);
    const Array series = {s11, s21, s21, s11};
    const Complex ys = 1.0 / Zs;
    EXPECT_LT(RelativeDistance(Yopen(series, {50.0, 50.0}), {ys, -ys, -ys, ys}), 1e-13);
}

TEST(NetworkConversions, ResultsAreExactlySymmetric)
{
    const int32_t n = 3;
    const std::vector<double> R = {50.0, 75.0, 100.0};
    const Array reciprocal = RandomReciprocalS(n, 500);
    Array nonReciprocal = reciprocal;
    nonReciprocal[1] += Complex(0.01, -0.02);

    for (const Array* S : std::initializer_list<const Array*>{&reciprocal, &nonReciprocal}) {
        for (const Array& result : {Zshort(*S, R), Yopen(*S, R)})
            for (int32_t i = 0; i < n; ++i)
                for (int32_t j = 0; j < n; ++j) EXPECT_EQ(result[i * n + j], result[j * n + i]);
    }
}

TEST(NetworkConversions, GuardMovesOnlyUnitDiagonalParts)
{
    const double g = 1e-10;
    struct Case {
        Complex s, expected;
    };
    const Case cases[] = {
        {{1, 0}, {1 - g, 0}},
        {{-1, 0}, {-1 + g, 0}},
        {{0, 1}, {0, 1 - g}},
        {{1, 1}, {1 - g, 1}},           // the real part takes precedence
        {{-1 + 5e-11, 0.3}, {-1 + 5e-11 + g, 0.3}},
        {{1 - 2e-10, 0}, {1 - 2e-10, 0}},  // outside the window
    };
    for (const Case& c : cases) {
        Array S = {c.s, {1, 0}, {0, -1}, {0.2, 0}};
        GuardUnitDiagonal(2, S.data());
        EXPECT_EQ(S, (Array{c.expected, {1, 0}, {0, -1}, {0.2, 0}})) << c.s;
    }
}
