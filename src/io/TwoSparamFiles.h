#pragma once
#include <cstdint>
#include <string>

struct VoraJob;

/// Reads the two 2-port files of the generalized mode in lock step, record for record,
/// checks that their frequencies are equal and opens the output with its option line.
/// Either file may be Touchstone version 1 or 2; the records are stored as version 1 lays
/// them out (S11 S21 S12 S22), the values in the file's own format.
/// Returns 0, or -1 after writing the reason to the run log.
[[nodiscard]] int32_t ReadTwoSparamFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name);
