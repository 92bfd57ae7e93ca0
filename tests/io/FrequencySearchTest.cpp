#include "io/FrequencySearch.h"

#include <gtest/gtest.h>

namespace {

TEST(FindMatchingFrequency, WalksFromTheStartIndexInOneDirection)
{
    const std::vector<double> L = {1.0, 2.0, 3.0, 4.0, 5.0};
    EXPECT_EQ(FindMatchingFrequency(L, 3.0, 2, 0.01), 2);
    EXPECT_EQ(FindMatchingFrequency(L, 5.0, 1, 0.01), 4);   // up
    EXPECT_EQ(FindMatchingFrequency(L, 1.0, 3, 0.01), 0);   // down
    EXPECT_EQ(FindMatchingFrequency(L, 4.0, 99, 0.01), 3);  // start beyond the list: from 0
    EXPECT_EQ(FindMatchingFrequency(L, 4.25, 0, 0.25), 3);  // tolerance is inclusive
    EXPECT_EQ(FindMatchingFrequency(L, 4.5, 0, 0.25), -1);
    // Unsorted: the entry lies against the walking direction and is not found.
    const std::vector<double> unsorted = {5.0, 1.0, 2.0, 3.0};
    EXPECT_EQ(FindMatchingFrequency(unsorted, 5.0, 3, 0.01), -1);
    EXPECT_EQ(FindMatchingFrequency(unsorted, 1.0, 0, 0.01), -1);
    EXPECT_EQ(FindMatchingFrequency(unsorted, 5.0, 4, 0.01), 0);
}

TEST(FindFrequencyBracket, IsStrictOnBothSides)
{
    const std::vector<double> L = {1.0, 2.0, 3.0, 4.0};
    EXPECT_EQ(FindFrequencyBracket(L, 2.5, 0), 1);
    EXPECT_EQ(FindFrequencyBracket(L, 2.5, 3), 1);
    EXPECT_EQ(FindFrequencyBracket(L, 3.5, 3), 2);
    EXPECT_EQ(FindFrequencyBracket(L, 1.5, 2), 0);
    for (double f : {0.5, 1.0, 2.0, 4.0, 4.5}) EXPECT_EQ(FindFrequencyBracket(L, f, 1), -1) << f;
    EXPECT_EQ(FindFrequencyBracket({}, 1.0, 0), -1);
}

}  // namespace
