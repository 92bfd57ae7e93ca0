#pragma once
// Opening the result file of a job: never onto one of its inputs, and always through a
// temporary file that replaces the result only when the run has written all of it.

#include <cstdint>
#include <string>
#include <vector>

#include "io/OutputFile.h"  // what job.outputStream points to, for those that write it

struct VoraJob;

/// The first of `inputs` that is the same file as `output` (same device and inode, however
/// either is spelled: another relative form, "..", a symbolic or a hard link), or nullptr.
/// A path that does not exist matches nothing.
const std::string* SameFileAmong(const std::string& output, const std::vector<std::string>& inputs);

/// Opens job.outputStream to replace job.outputFilePath. Returns 0, or -1 after logging
/// "VORA:: Output file is the same file as input file <input>" or the legacy "Could not
/// generate output file" line. An output already open is kept.
[[nodiscard]] int32_t OpenJobOutput(VoraJob& job, const std::vector<std::string>& inputs);

/// Closes the job's output and puts it in place. Returns 0, or -1 after logging
/// "VORA:: Could not write output file <path>" (the reason stays on the output stream).
[[nodiscard]] int32_t FinishJobOutput(VoraJob& job);
