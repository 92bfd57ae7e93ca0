#pragma once
// The end of every run for the person at the console: the warnings the job's data give
// and, when -report asked for it, the quality of what went in and what came out, one line
// per measured sweep on standard error and the JSON report beside the output.

#include <ostream>

struct VoraJob;

/// Called after the run's last log line. bSucceeded: the status the run returns. Adds to
/// job.warnings (a Poor class is a warning, never a failure); never touches the log's text,
/// standard output or the status.
void FinishRunReport(VoraJob& job, bool bSucceeded, std::ostream& err);
