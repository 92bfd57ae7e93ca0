// The machine parameters LAPACK reads, as LAPACK defines them for IEEE double precision
// with rounding to nearest.

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <string>

extern "C" double dlamch_(const char* cmach);

TEST(MachineParameters, AreLapacksDefinitionsForEitherCaseOfTheLetter)
{
    struct Case {
        char letter;
        double value;
    };
    const Case cases[] = {
        {'E', std::ldexp(1.0, -53)},  // relative machine precision (half an ulp of 1)
        {'S', std::ldexp(1.0, -1022)}, {'B', 2.0}, {'P', std::ldexp(1.0, -52)}, {'N', 53.0}, {'R', 1.0},
        {'M', -1021.0}, {'U', std::ldexp(1.0, -1022)}, {'L', 1024.0}, {'O', DBL_MAX},
    };
    for (const Case& c : cases) {
        const char upper[] = {c.letter, '\0'};
        const char lower[] = {static_cast<char>(c.letter - 'A' + 'a'), '\0'};
        EXPECT_EQ(dlamch_(upper), c.value) << c.letter;
        EXPECT_EQ(dlamch_(lower), c.value) << c.letter;
    }
    // Only the first letter counts, as in "Precision" or "Safe minimum"; any other letter,
    // or a character that is no letter, asks for nothing.
    EXPECT_EQ(dlamch_("Safe minimum"), std::ldexp(1.0, -1022));
    for (const char* other : {"A", "z", "%", "\x85", "@", "`"}) EXPECT_EQ(dlamch_(other), 0.0) << other;
}
