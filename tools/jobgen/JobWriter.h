#pragma once
// Builds a complete de-embedding job from a checked JobRequest and writes its files.

#include <string>
#include <vector>

#include "jobgen/JobRequest.h"
#include "jobgen/LineModel.h"

struct JobReport {
    std::string wholeFile, deviceFile, outputSuggestion;
    std::vector<std::string> files;     // every file written, map first
    std::vector<std::string> warnings;  // things that keep the engine from the exact answer
    std::vector<double> analysisLimits; // fD per group (Hz), 0 where the engine does not analyse
};

/// Frequencies of the whole structure in the file unit; the engine reads value·multiplier.
std::vector<double> WholeGrid(const JobRequest& request);
/// Frequencies of the arm files in the file unit (same, finer or offset grid).
std::vector<double> ArmGrid(const JobRequest& request, const std::vector<double>& whole);

/// The lines of a group, from the job's line model.
LineParameters GroupLines(const JobRequest& request, const GroupRequest& group);

/// The engine's analysis limit for a group with ER given: fD = (3e8/sqrt(ER))/(4·l)·0.75.
double AnalysisLimit(double er, double length);

/// Writes map, whole-structure, arm and device files into `directory` (created when
/// missing). Returns "" or the reason it failed.
std::string WriteJob(const JobRequest& request, const std::string& directory, JobReport& report);
