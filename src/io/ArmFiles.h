#pragma once
#include <cstdint>

struct VoraJob;
struct CalibrationGroup;

/// The port-line analysis that ends the loading of a group. It lives above the readers,
/// so the driver hands it in; a null entry is skipped (reader tests).
struct PortLineAnalysisHooks {
    double (*findPortResonance)(CalibrationGroup& group, int32_t which) = nullptr;
    int32_t (*analysePortLines)(CalibrationGroup& group) = nullptr;
    int32_t (*analysePortLinesNoiseProcess)(CalibrationGroup& group) = nullptr;
};

/// Reads every group's arm files in order. Returns 0, or -1 after logging the reason.
[[nodiscard]] int32_t ReadArmFiles(VoraJob& job, const PortLineAnalysisHooks& hooks);
[[nodiscard]] int32_t ReadGroupArmFiles(CalibrationGroup& group, const PortLineAnalysisHooks& hooks);

/// Every whole-structure frequency must be matched (0.01 Hz) or bracketed in the group's
/// arm files. Returns 0, or -1 after logging which file misses which frequency.
[[nodiscard]] int32_t CheckArmFrequencyCoverage(const VoraJob& job, const CalibrationGroup& group);
