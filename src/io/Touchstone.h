#pragma once
#include <string_view>

/// Frequency unit multiplier chosen by the first character of a Touchstone unit token
/// (G M m K k T U u N n P p); anything else, and an empty token, gives 1.0.
[[nodiscard]] double FrequencyUnitFactor(std::string_view unitToken);
