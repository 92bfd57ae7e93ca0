#pragma once
#include <cstdint>
#include <string>

struct VoraJob;

/// Reads the two 2-port files of the generalized mode in lock step, checks that their
/// frequencies are equal and opens the output with its option line.
/// Returns 0, or -1 after writing the reason to the run log.
[[nodiscard]] int32_t ReadTwoSparamFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name);
