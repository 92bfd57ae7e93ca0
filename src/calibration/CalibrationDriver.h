#pragma once
#include <cstdint>

struct VoraJob;

/// Runs the calibration selected by the switches over all groups and writes the
/// de-embedded output. Returns 0, or -1 after logging the reason.
[[nodiscard]] int32_t RunCalibration(VoraJob& job);
