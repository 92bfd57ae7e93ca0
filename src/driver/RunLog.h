#pragma once
// The run log: one file per run, "vora_<process id>.log" in the job directory. Every step
// writes its progress and its reasons for failing there through the job's logStream.

#include <ostream>

struct VoraJob;

/// Builds logFilePath = directoryPath + "vora_" + process id + ".log". Opens nothing.
void OpenRunLog(VoraJob& job);

/// Closes the run log. false: some of it could not be written (the stream is then in the
/// failed state). A log that is not a file (a test's string stream) is only flushed.
bool CloseRunLog(VoraJob& job);

/// Writes a zero-terminated text as it is (field width and fill honoured); chains.
std::ostream& WriteText(std::ostream& stream, const char* text);
