#pragma once
#include <cstdint>

struct VoraJob;

/// Reads the map file into the job and builds its calibration groups.
/// Returns 0, or -1 after writing the reason to the run log.
[[nodiscard]] int32_t ReadMapFile(VoraJob& job);
