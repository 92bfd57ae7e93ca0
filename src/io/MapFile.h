#pragma once
#include <cstdint>
#include <vector>

#include "job/CalibrationGroupSetUp.h"

struct VoraJob;

/// The largest port count a job may declare: the biggest record, the arm S file of a group
/// of all ports (8N²+1 numbers), must still be countable in 32 bits.
inline constexpr int64_t kMaxPortCount = 16383;

/// Reads the map file into the job and builds its calibration groups.
/// Returns 0, or -1 after writing the reason to the run log.
[[nodiscard]] int32_t ReadMapFile(VoraJob& job);
