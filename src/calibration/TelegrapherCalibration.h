#pragma once
// The calibration by the telegrapher's equations: every group's arms as uniform coupled
// lines, then the calibration build, then the de-embedded output.

#include <cstdint>

struct VoraJob;

/// Preprocess and Calibrate for every group in order (stopping at the first failure), the
/// calibration build and the output body. Returns 0, or -1 after logging the reason.
[[nodiscard]] int32_t RunTelegrapherCalibration(VoraJob& job);
