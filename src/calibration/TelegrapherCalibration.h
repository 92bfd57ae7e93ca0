#pragma once
#include <cstdint>

struct VoraJob;

/// The calibration by the telegrapher's equations: per group Preprocess and Calibrate,
/// then the calibration build and the corrected output. Returns 0, or -1 after logging.
[[nodiscard]] int32_t RunTelegrapherCalibration(VoraJob& job);
