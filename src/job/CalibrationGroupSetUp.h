#pragma once
// What a calibration group is built from, whoever describes the job: the map file, or a
// caller that holds the job in memory.

#include <cstddef>
#include <cstdint>
#include <vector>

struct VoraJob;
struct CalibrationGroup;

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

/// Makes room for `count` groups and their per-group limits (the defaults for groups not yet set up).
void GrowGroupTables(VoraJob& job, size_t count);

/// Group g of the job with the given arm kind and ports (1-based, each within the job's port
/// count, each with its 4 geometry values in job.portLineGeometry): its geometry, its
/// frequency limits from the job's maxEpr, its place in the job's per-group tables. The
/// caller names the arm files.
CalibrationGroup& SetUpCalibrationGroup(VoraJob& job, size_t g, int32_t armKind, std::vector<int32_t> ports);
