#include "numerics/LUSolver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "numerics/NumericsTestSupport.h"

using namespace numerics_test;

namespace {

// A matrix held the way the solver wants it: n row pointers into one row-major array.
struct RowMatrix {
    int32_t n;
    std::vector<Complex> values;
    std::vector<Complex*> rows;

    explicit RowMatrix(int32_t order, std::vector<Complex> entries) : n(order), values(std::move(entries))
    {
        for (int32_t i = 0; i < n; ++i) rows.push_back(values.data() + i * n);
    }
};

}  // namespace

TEST(LUSolver, PermutationsSwapRowsAndFlipTheParity)
{
    struct Case {
        const char* name;
        int32_t n;
        std::vector<Complex> a;
        double d;
        std::vector<int32_t> indx;
    };
    const Case cases[] = {
        {"swap", 2, {0, 1, 1, 0}, -1.0, {1, 1}},
        // Both rows have scale 1 and equal candidates in column 0: the later row is taken.
        {"tie", 2, {1, 1, 1, -1}, -1.0, {1, 1}},
        {"tie of three", 3, {{0, 2}, 1, 1, 2, 1, 1, -2, 0, 1}, 1.0, {2, 2, 2}},
        {"cycle", 3, {0, 1, 0, 0, 0, 1, 1, 0, 0}, 1.0, {2, 2, 2}},
    };
    for (const Case& c : cases) {
        RowMatrix m(c.n, c.a);
        std::vector<int32_t> indx(c.n, -7);
        double d = 0.0;
        LUDCMP(m.rows.data(), c.n, indx.data(), d);
        EXPECT_EQ(d, c.d) << c.name;
        EXPECT_EQ(indx, c.indx) << c.name;

        RowMatrix inverse(c.n, c.a);
        testing::internal::CaptureStderr();
        InvertByLU(c.n, inverse.rows.data());
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        const std::vector<Complex> product = NaiveProduct(c.n, c.a.data(), inverse.values.data());
        EXPECT_LT(DistanceFromIdentity(c.n, product.data()), 8 * kEpsilon) << c.name;
    }
}

TEST(LUSolver, ZeroRowIsReportedOnStandardErrorAndTheRunGoesOn)
{
    RowMatrix m(2, {1, 2, 0, 0});
    testing::internal::CaptureStderr();
    EXPECT_EQ(InvertByLU(2, m.rows.data()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Singular matrix in routine LUDCMP" "matrix is singular, exit\n");
    bool anyNonFinite = false;
    for (const Complex& z : m.values) anyNonFinite |= !std::isfinite(z.real()) || !std::isfinite(z.imag());
    EXPECT_TRUE(anyNonFinite);

    // A zero pivot without a zero row gives only the second message.
    RowMatrix rankOne(2, {1, 2, 2, 4});
    testing::internal::CaptureStderr();
    InvertByLU(2, rankOne.rows.data());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "matrix is singular, exit\n");
}
