#include "numerics/Dcm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "numerics/NumericsTestSupport.h"

using namespace numerics_test;

namespace {

dcm FromArray(int32_t n, const std::vector<Complex>& values)
{
    dcm m(n);
    for (size_t k = 0; k < values.size(); ++k) m.data[k] = values[k];
    return m;
}

Complex DivideOne(Complex z, Complex s)
{
    dcm m(1);
    m(0, 0) = z;
    m /= s;
    return m(0, 0);
}

}  // namespace

TEST(Dcm, SmithDivisionAvoidsOverflowAndFollowsTheSpecialCases)
{
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        Complex z, s, expected;
    };
    // |s|^2 of the scaled cases overflows or underflows in the textbook formula.
    const Case finite[] = {
        {{1, 2}, {3, 4}, {0.44, 0.08}},
        {{1e300, 1e300}, {1e300, 1e300}, {1, 0}},
        {{1e-300, 0}, {0, 1e-300}, {0, -1}},
        {{5, 7}, {inf, 1}, {0, 0}},
    };
    for (const Case& c : finite) {
        const Complex q = DivideOne(c.z, c.s);
        EXPECT_LT(std::abs(q - c.expected), 4 * kEpsilon * std::abs(c.expected) + 1e-300)
            << c.z << "/" << c.s << " gave " << q;
    }

    // Division by exact zero divides each part by zero.
    Complex q = DivideOne({1, -2}, {0, 0});
    EXPECT_EQ(q.real(), inf);
    EXPECT_EQ(q.imag(), -inf);
    for (Complex s : {Complex(nan, 1), Complex(1, nan), Complex(inf, inf)}) {
        q = DivideOne({1, 1}, s);
        EXPECT_TRUE(std::isnan(q.real()) && std::isnan(q.imag())) << s;
    }
}

// An infinite entry must not reach ZGEEV, which may never return on it; the caller is told.
TEST(Dcm, MatrixSqrtRefusesAnInfiniteMatrix)
{
    const dcm infinite = FromArray(2, {{4, 0}, {0, 0}, {0, 0}, {std::numeric_limits<double>::infinity(), 0}});
    dcm VD, R;
    EXPECT_FALSE(MatrixSqrt(infinite, VD, R));
}

// Matrices over a caller's block are views of it (a move keeps them so, an Assign of the
// same order writes into the block), one sized to another order leaves the block alone,
// and the block lives as long as the vector holds it.
TEST(Vdcm, MatricesOverABlockAreViewsOfIt)
{
    vdcm shared;
    auto storage = std::make_shared<std::vector<Complex>>(12);
    const std::weak_ptr<std::vector<Complex>> alive = storage;
    shared.ResizeAllOver(3, 2, storage->data(), storage);
    storage.reset();
    ASSERT_EQ(shared.size(), 3u);
    EXPECT_EQ(shared[2].data, shared[0].data + 8);

    const Complex* block = shared[1].data;
    const dcm source = FromArray(2, {{1, 2}, {3, 4}, {5, 6}, {7, 8}});
    shared[1].Assign(source);
    EXPECT_EQ(shared[1].data, block);
    EXPECT_EQ(block[3], Complex(7, 8));

    dcm moved(std::move(shared[1]));
    EXPECT_EQ(moved.data, block);
    moved.Resize(3);  // storage of its own now: the block keeps its values
    EXPECT_NE(moved.data, block);
    EXPECT_EQ(block[3], Complex(7, 8));

    EXPECT_FALSE(alive.expired());
    shared.ClearAll();
    EXPECT_TRUE(shared.empty());
    EXPECT_TRUE(alive.expired());
}
