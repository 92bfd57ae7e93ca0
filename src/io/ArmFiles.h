#pragma once
#include <cstdint>

struct VoraJob;
struct CalibrationGroup;

/// Reads a group's arm files (the short or arm S file, then the open file) into its records,
/// as real and imaginary parts of what the files hold. Returns 0, or -1 after logging the
/// reason to the group's log.
[[nodiscard]] int32_t ReadGroupArmFiles(VoraJob& job, CalibrationGroup& group);

/// The port counts, kept value positions and line weights of a group's records, as the
/// reader sets them up; for groups whose records come from elsewhere than files. false
/// after logging a line count the Nvpl form does not know.
[[nodiscard]] bool SetUpArmRecordLayout(CalibrationGroup& group);
