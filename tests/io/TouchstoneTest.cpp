#include "io/Touchstone.h"

#include <gtest/gtest.h>

namespace {

TEST(FrequencyUnitFactor, ChoosesByTheFirstCharacterOnly)
{
    struct Case {
        const char* unit;
        double factor;
    };
    const Case cases[] = {
        {"Gx", 1e9}, {"MHz", 1e6}, {"mHz", 1e-3}, {"KHz", 1e3}, {"kHz", 1e3}, {"THz", 1e12}, {"Us", 1e-6},
        {"us", 1e-6}, {"NS", 1e-9}, {"ps", 1e-12}, {"Hz", 1.0}, {"ghz", 1.0}, {"thz", 1.0}, {"", 1.0},
    };
    for (const Case& c : cases) EXPECT_EQ(FrequencyUnitFactor(c.unit), c.factor) << c.unit;
}

}  // namespace
