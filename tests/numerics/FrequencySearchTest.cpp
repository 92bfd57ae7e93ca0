#include "numerics/FrequencySearch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

// The walk on a list that is not sorted (the bisection below pins it on sorted ones): an
// entry that lies against the walking direction is not found.
TEST(FindMatchingFrequency, WalksFromTheStartIndexInOneDirection)
{
    const std::vector<double> unsorted = {5.0, 1.0, 2.0, 3.0};
    EXPECT_EQ(FindMatchingFrequency(unsorted, 5.0, 3, 0.01), -1);
    EXPECT_EQ(FindMatchingFrequency(unsorted, 1.0, 0, 0.01), -1);
    EXPECT_EQ(FindMatchingFrequency(unsorted, 5.0, 4, 0.01), 0);
}

TEST(FrequencySearch, OnlyANonDecreasingListWithoutNaNIsAscending)
{
    for (const std::vector<double>& L : {std::vector<double>{}, {1.0, 1.0, 2.0}}) EXPECT_TRUE(IsAscending(L));
    for (const std::vector<double>& L : {std::vector<double>{1.0, 3.0, 2.0}, {std::nan("")}, {1.0, std::nan(""), 2.0}})
        EXPECT_FALSE(IsAscending(L));
}

// The bisection of a sorted list must give exactly the walk's answer, including which of
// several matches (duplicates, neighbours within the tolerance) the walk meets first from
// its start, entries exactly at the tolerance, starts beyond the list and non-finite f.
TEST(FrequencySearch, BisectionOfASortedListAnswersLikeTheWalk)
{
    std::mt19937_64 random(3);
    std::uniform_int_distribution<int> step(0, 3);
    const double tolerance = 0.25;
    const double inf = std::numeric_limits<double>::infinity();
    int matched = 0;
    int bracketed = 0;
    for (int trial = 0; trial < 400; ++trial) {
        // Steps of 0, 0.25 (a neighbour exactly at the tolerance), 0.5 and 0.75 from 1e9:
        // duplicates and runs of several matches.
        std::vector<double> L(static_cast<size_t>(trial % 23));
        double x = 1e9;
        for (double& v : L) v = (x += 0.25 * step(random));
        if (trial % 50 == 7 && !L.empty()) L.back() = inf;
        ASSERT_TRUE(IsAscending(L));
        std::vector<double> probes = {-inf, inf, std::nan(""), 0.0};
        for (double v : L) {
            for (double d : {-0.5, -0.25, -0.125, 0.0, 0.125, 0.25, 0.375}) probes.push_back(v + d);
            probes.push_back(std::nextafter(v + tolerance, inf));
        }
        for (double f : probes) {
            for (size_t start = 0; start <= L.size() + 1; ++start) {
                const int64_t walked = FindMatchingFrequency(L, f, start, tolerance);
                ASSERT_EQ(FindMatchingFrequency(L, f, start, tolerance, true), walked)
                    << "trial " << trial << " f " << f << " start " << start;
                const int64_t bracket = FindFrequencyBracket(L, f, start);
                ASSERT_EQ(FindFrequencyBracket(L, f, start, true), bracket)
                    << "trial " << trial << " f " << f << " start " << start;
                matched += walked >= 0 ? 1 : 0;
                bracketed += bracket >= 0 ? 1 : 0;
            }
        }
    }
    EXPECT_GT(matched, 10000);
    EXPECT_GT(bracketed, 1000);
}

}  // namespace
