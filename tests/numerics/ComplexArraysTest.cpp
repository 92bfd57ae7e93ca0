#include "numerics/ComplexArrays.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "numerics/NumericsTestSupport.h"

using namespace numerics_test;

TEST(ComplexArrays, SymmetrizeTakesTheMeanOfMirroredElements)
{
    std::vector<Complex> M = {{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    SymmetrizeArray(2, M.data());
    EXPECT_EQ(M, (std::vector<Complex>{{1, 2}, {4, 5}, {4, 5}, {7, 8}}));
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

// A matrix with an infinite or NaN entry never reaches ZGEEV: the reference LAPACK of the
// build loops for ever on some infinities and prints a complaint about a NaN.
TEST(EigenDecompose, RefusesANonFiniteMatrixAndGivesNaN)
{
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        int32_t n;
        int32_t at;
        Complex value;
    };
    // The first case is the transfer matrix of a zero S21 as the generalized mode built
    // it from a fuzzed file; ZGEEV did not return on it.
    const Case cases[] = {{2, 0, {inf, 0.0}}, {2, 1, {0.0, -inf}}, {2, 2, {nan, 0.0}}, {3, 8, {1.0, nan}}};
    for (const Case& c : cases) {
        std::vector<Complex> A(static_cast<size_t>(c.n * c.n), Complex(0.5, 0.25));
        A[static_cast<size_t>(c.at)] = c.value;
        std::vector<Complex> V(A.size()), Vinv(A.size()), w(static_cast<size_t>(c.n));
        EXPECT_EQ(EigenDecompose(c.n, A.data(), V.data(), Vinv.data(), w.data()), -4) << c.at;
        for (const Complex& x : w) EXPECT_TRUE(std::isnan(x.real()) && std::isnan(x.imag())) << c.at;
        EXPECT_FALSE(IsFiniteArray(static_cast<int32_t>(V.size()), V.data()));
    }
}

// The square root takes the principal branch, the sign of a zero imaginary part included.
// (cosh and sinh are pinned by the telegrapher calibration of a textbook line.)
TEST(ComplexArrays, SquareRootTakesThePrincipalBranch)
{
    std::vector<Complex> v = {{-4, 0}, {-4, -0.0}, {3, 4}};
    EXPECT_EQ(VectorSqrtInPlace(3, v.data()), 0);
    EXPECT_EQ(v, (std::vector<Complex>{{0, 2}, {0, -2}, {2, 1}}));
}
