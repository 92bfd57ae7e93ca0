#pragma once
#include <cstdint>

struct VoraJob;
struct CalibrationGroup;

/// Turns a group's arm records, as read, into what the calibration works on: the open
/// arm's guard against a zero conductance, the frequencies short and open have in common,
/// the S records of an extended short/open group converted to Z short and Y open, and the
/// port-line analysis. Returns 0, or -1 after logging.
[[nodiscard]] int32_t PrepareGroupArms(CalibrationGroup& group);

/// Every whole-structure frequency must be matched (0.01 Hz) or bracketed in the group's
/// arm data. Returns 0, or -1 after logging which file misses which frequency.
[[nodiscard]] int32_t CheckArmFrequencyCoverage(const VoraJob& job, const CalibrationGroup& group);
