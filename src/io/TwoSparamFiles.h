#pragma once
#include <cstdint>
#include <string>

struct VoraJob;

/// Reads the two 2-port files of the generalized mode in lock step, checks that their
/// frequencies are equal and opens the output with its option line.
/// Returns 0, or -1 after writing the reason to the run log.
/// Plain files are first read each on its own (the second in a helper thread when large);
/// whenever they hold anything but the common shape, they are read again record by record.
[[nodiscard]] int32_t ReadTwoSparamFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name);

/// The same step always record by record, both files in lock step: what ReadTwoSparamFiles
/// must leave in the job, the run log and the output in every case.
[[nodiscard]] int32_t ReadTwoSparamFilesInLockStep(VoraJob& job, const std::string& sFile1Name,
                                                   const std::string& sFile2Name);
