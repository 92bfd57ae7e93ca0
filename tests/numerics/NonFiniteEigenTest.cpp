// A matrix with an infinite or NaN entry never reaches ZGEEV: the reference LAPACK of the
// build loops for ever on some infinities and prints a complaint about a NaN.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "numerics/ComplexArrays.h"
#include "numerics/Dcm.h"

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(EigenDecompose, RefusesANonFiniteMatrixAndGivesNaN)
{
    struct Case {
        int32_t n;
        int32_t at;
        Complex value;
    };
    // The first case is the transfer matrix of a zero S21 as the generalized mode built
    // it from a fuzzed file; ZGEEV did not return on it.
    const Case cases[] = {
        {2, 0, Complex(kInf, 0.0)}, {2, 1, Complex(0.0, -kInf)}, {2, 2, Complex(kNaN, 0.0)}, {3, 8, Complex(1.0, kNaN)}};
    for (const Case& c : cases) {
        std::vector<Complex> A(static_cast<size_t>(c.n * c.n), Complex(0.5, 0.25));
        A[static_cast<size_t>(c.at)] = c.value;
        std::vector<Complex> V(A.size()), Vinv(A.size()), w(static_cast<size_t>(c.n));
        EXPECT_EQ(EigenDecompose(c.n, A.data(), V.data(), Vinv.data(), w.data(), 0), -4) << c.at;
        for (const Complex& x : w) EXPECT_TRUE(std::isnan(x.real()) && std::isnan(x.imag())) << c.at;
        EXPECT_FALSE(IsFiniteArray(static_cast<int32_t>(V.size()), V.data()));
    }
}

TEST(MatrixSqrt, FailsOnAnInfiniteEntry)
{
    dcm A(2), VD, R;
    A(0, 0) = Complex(4.0, 0.0);
    A(1, 1) = Complex(kInf, 0.0);
    EXPECT_FALSE(MatrixSqrt(A, VD, R));
}

}  // namespace
