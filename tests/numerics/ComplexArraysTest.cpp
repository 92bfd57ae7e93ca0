#include "numerics/ComplexArrays.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "numerics/NumericsTestSupport.h"

using namespace numerics_test;

namespace {

// A = P·diag(w)·P^-1 with a fixed, non-symmetric P; returns A row-major.
std::vector<Complex> MatrixWithEigenvalues(const std::vector<Complex>& w)
{
    const int32_t n = static_cast<int32_t>(w.size());
    std::vector<Complex> P = RandomArray(n, 7, 2.0);
    std::vector<Complex> Pinv(P.size());
    EXPECT_EQ(InvertArray(n, P.data(), Pinv.data()), 0);
    std::vector<Complex> diagonal(P.size());
    DiagonalFromVector(n, diagonal.data(), w.data());
    const std::vector<Complex> PD = NaiveProduct(n, P.data(), diagonal.data());
    return NaiveProduct(n, PD.data(), Pinv.data());
}

double ReconstructionError(int32_t n, const std::vector<Complex>& A, const std::vector<Complex>& V,
                           const std::vector<Complex>& Vinv, const std::vector<Complex>& w)
{
    std::vector<Complex> diagonal(A.size());
    DiagonalFromVector(n, diagonal.data(), w.data());
    const std::vector<Complex> VD = NaiveProduct(n, V.data(), diagonal.data());
    const std::vector<Complex> back = NaiveProduct(n, VD.data(), Vinv.data());
    return MaxDistance(A.size(), back.data(), A.data());
}

}  // namespace

TEST(ComplexArrays, ProductsFollowRowMajorLayoutOnlyWithTheFlag)
{
    const int32_t n = 3;
    const std::vector<Complex> A = RandomArray(n, 1);
    const std::vector<Complex> B = RandomArray(n, 2);
    std::vector<Complex> C(A.size());
    MultiplyArrays('y', n, A.data(), B.data(), C.data());
    const std::vector<Complex> AB = NaiveProduct(n, A.data(), B.data());
    EXPECT_LT(MaxDistance(C.size(), C.data(), AB.data()), 16 * kEpsilon);

    // Any other flag reads the arrays column-major, which in row-major terms is B·A.
    MultiplyArrays('n', n, A.data(), B.data(), C.data());
    const std::vector<Complex> BA = NaiveProduct(n, B.data(), A.data());
    EXPECT_LT(MaxDistance(C.size(), C.data(), BA.data()), 16 * kEpsilon);
}

TEST(ComplexArrays, SymmetrizeTakesTheMeanOfMirroredElements)
{
    std::vector<Complex> M = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    SymmetrizeArray(2, M.data());
    EXPECT_EQ(M[0], Complex(1, 2));
    EXPECT_EQ(M[1], Complex(4, 5));
    EXPECT_EQ(M[2], Complex(4, 5));
    EXPECT_EQ(M[3], Complex(7, 8));
}

TEST(ComplexArrays, InverseTimesMatrixIsIdentity)
{
    for (int32_t n : {1, 4, 7}) {
        const std::vector<Complex> A = RandomArray(n, 100 + n, 0.5);
        std::vector<Complex> Ainv(A.size());
        ASSERT_EQ(InvertArray(n, A.data(), Ainv.data()), 0) << "n=" << n;
        const std::vector<Complex> product = NaiveProduct(n, A.data(), Ainv.data());
        const double tolerance = 16 * n * kEpsilon * NormInf(n, A.data()) * NormInf(n, Ainv.data());
        EXPECT_LT(DistanceFromIdentity(n, product.data()), tolerance) << "n=" << n;

        std::vector<Complex> inPlace = A;
        EXPECT_EQ(InvertArrayInPlace(n, inPlace.data()), 0);
        EXPECT_EQ(MaxDistance(A.size(), inPlace.data(), Ainv.data()), 0.0) << "n=" << n;
    }
}

TEST(ComplexArrays, ExactlySingularMatrixIsReportedOnlyByInvertArray)
{
    // Rank one: every row is a multiple of (1, 2i, -3).
    const std::vector<Complex> A = {{1, 0}, {0, 2}, {-3, 0}, {2, 0}, {0, 4}, {-6, 0}, {0, 1}, {-2, 0}, {0, -3}};
    std::vector<Complex> B(A.size());
    EXPECT_GT(InvertArray(3, A.data(), B.data()), 0);
    std::vector<Complex> inPlace = A;
    EXPECT_EQ(InvertArrayInPlace(3, inPlace.data()), 0);
}

TEST(ComplexArrays, FactorArrayFailsExactlyWhereInvertArrayDoes)
{
    // Small-integer matrices: many are exactly singular in floating point (a zero pivot)
    // and many are not, some only through a pivot that cancels to zero late; a NaN or an
    // infinity must be judged the same way by both.
    const double nan = std::nan("");
    std::mt19937 random(11);
    std::uniform_int_distribution<int> digit(-1, 1);
    int singular = 0;
    for (int trial = 0; trial < 3000; ++trial) {
        const int32_t n = 1 + trial % 4;
        std::vector<Complex> A(static_cast<size_t>(n * n));
        for (Complex& a : A) a = Complex(digit(random), trial % 3 == 0 ? digit(random) : 0);
        if (trial % 97 == 0) A[static_cast<size_t>(trial) % A.size()] = Complex(nan, 0.0);
        if (trial % 89 == 0) A[0] = Complex(0.0, INFINITY);
        std::vector<Complex> B(A.size());
        const bool inverted = InvertArray(n, A.data(), B.data()) == 0;
        singular += inverted ? 0 : 1;
        ASSERT_EQ(FactorArray(n, A.data()) == 0, inverted) << "trial " << trial;
    }
    // Both answers must have been exercised.
    EXPECT_GT(singular, 300);
    EXPECT_LT(singular, 2700);
}

TEST(ComplexArrays, EigenDecompositionReconstructsTheMatrix)
{
    const std::vector<Complex> eigenvalues = {{-3, 0.25}, {2, 1}, {0.5, 0.5}, {1, -2}};
    const int32_t n = static_cast<int32_t>(eigenvalues.size());
    const std::vector<Complex> A = MatrixWithEigenvalues(eigenvalues);
    const double tolerance = 1e3 * kEpsilon * NormInf(n, A.data());

    for (int32_t sortFlag : {0, 1}) {
        std::vector<Complex> consumed = A;
        std::vector<Complex> V(A.size()), Vinv(A.size()), w(n);
        testing::internal::CaptureStdout();
        ASSERT_EQ(EigenDecompose(n, consumed.data(), V.data(), Vinv.data(), w.data(), sortFlag), 0);
        const std::string console = testing::internal::GetCapturedStdout();
        EXPECT_LT(ReconstructionError(n, A, V, Vinv, w), tolerance) << "sortFlag=" << sortFlag;

        if (sortFlag == 0) {
            EXPECT_EQ(console, "");
            continue;
        }
        EXPECT_LT(std::abs(w[0] - Complex(2, 1)), tolerance);
        EXPECT_LT(std::abs(w[1] - Complex(0.5, 0.5)), tolerance);
        EXPECT_LT(std::abs(w[2] - Complex(-3, 0.25)), tolerance);
        EXPECT_LT(std::abs(w[3] - Complex(1, -2)), tolerance);
        // acosh(2+i) = 1.4693517+0.5073563i, acosh(0.5+0.5i) = 0.5306375+1.1185179i.
        EXPECT_EQ(console,
                  "a= (2,1);   acosh(a)= (1.46935,0.507356)\n"
                  "b= (0.5,0.5);   acosh(b)= (0.530638,1.11852)\n");
    }
}

TEST(ComplexArrays, ElementwiseFunctionsTakePrincipalBranches)
{
    const double root3 = std::sqrt(3.0);
    struct Case {
        const char* name;
        Complex x;
        Complex expected;
        int32_t (*apply)(int32_t, Complex*);
    };
    const auto cubeRoot = [](int32_t n, Complex* v) { return VectorCubeRootInPlace(n, v); };
    const auto squareRoot = [](int32_t n, Complex* v) { return VectorSqrtInPlace(n, v); };
    const Case cases[] = {
        {"cbrt(-8)", {-8, 0}, {1, root3}, cubeRoot},
        {"cbrt(-8i)", {0, -8}, {root3, -1}, cubeRoot},
        {"sqrt(-4)", {-4, 0}, {0, 2}, squareRoot},
        {"sqrt(-4-0i)", {-4, -0.0}, {0, -2}, squareRoot},
    };
    for (const Case& c : cases) {
        Complex v = c.x;
        EXPECT_EQ(c.apply(1, &v), 0);
        EXPECT_LT(std::abs(v - c.expected), 8 * kEpsilon) << c.name << " gave " << v;
    }

    // cosh(x+iy) = cosh x cos y + i sinh x sin y, sinh(x+iy) = sinh x cos y + i cosh x sin y,
    // and acosh returns the root with non-negative real part and imaginary part in [-pi, pi].
    const std::vector<Complex> x = {{0.3, -2.0}, {-1.5, 0.7}, {2.0, 3.0}};
    std::vector<Complex> c(x.size()), s(x.size()), back(x.size());
    const int32_t n = static_cast<int32_t>(x.size());
    EXPECT_EQ(VectorCosh(n, x.data(), c.data()), 0);
    EXPECT_EQ(VectorSinh(n, x.data(), s.data()), 0);
    EXPECT_EQ(VectorAcosh(n, c.data(), back.data()), 0);
    for (int32_t k = 0; k < n; ++k) {
        const double re = x[k].real(), im = x[k].imag();
        EXPECT_LT(std::abs(c[k] - Complex(std::cosh(re) * std::cos(im), std::sinh(re) * std::sin(im))), 1e-14);
        EXPECT_LT(std::abs(s[k] - Complex(std::sinh(re) * std::cos(im), std::cosh(re) * std::sin(im))), 1e-14);
        EXPECT_GE(back[k].real(), 0.0);
        EXPECT_LT(std::abs(std::cosh(back[k]) - c[k]), 1e-13);
    }
    // cosh(2+3i) has the principal acosh 2+3i.
    EXPECT_LT(std::abs(back[2] - x[2]), 1e-13);
}
