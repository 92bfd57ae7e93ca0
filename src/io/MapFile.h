#pragma once
#include <cstdint>
#include <vector>

struct VoraJob;

/// The largest port count a job may declare: the biggest record, the arm S file of a group
/// of all ports (8N²+1 numbers), must still be countable in 32 bits.
inline constexpr int64_t kMaxPortCount = 16383;

/// Reads the map file into the job and builds its calibration groups.
/// Returns 0, or -1 after writing the reason to the run log.
[[nodiscard]] int32_t ReadMapFile(VoraJob& job);

/// A calibration group's method code and frequency limits (Hz), derived from its port lines.
struct ArmFrequencyLimits {
    int32_t methodCode = 3;
    double freqA = 0.0;
    double freqB = 0.0;
    double freqC = 0.0;
    double freqD = 0.0;
    double freqE = 0.0;
};

/// P: the arm line's port count (1 in the plain syntax); groupGeometry: w, t, l, s of each
/// of the group's P ports (at least 4P values).
[[nodiscard]] ArmFrequencyLimits DeriveArmFrequencyLimits(int64_t P, const std::vector<double>& groupGeometry,
                                                          double maxEpr, bool bMaxEprNotGiven);
