#pragma once
// The run report: a JSON file beside the output that tells a person whether the result can
// be trusted (quality scores of what went in and what came out, arm data the port-line
// analysis extrapolated, frequency lookups, warnings), and the warnings the job's data
// give. Nothing of it reaches the run log or standard output.

#include <cstdint>
#include <string>
#include <vector>

#include "numerics/QualityMetrics.h"

struct VoraJob;

/// One measured sweep: what it is, where its values came from and its scores. Frequencies
/// in Hz, one per measured point.
struct QualityReport {
    std::string name;    // "whole structure", "arm of group 0", "de-embedded output", ...
    std::string source;  // the file (the report names it without its folder) or step the values come from
    std::vector<double> frequencies;
    QualityMeasures measures;
};

/// One picture of the page: |S| in dB of the same entry from several sweeps.
struct PlotPanel {
    std::string title;  // "S11", "S21"
    std::vector<std::string> labels;
    std::vector<std::vector<double>> decibels;  // per label, one value per plot frequency
};

/// What the driver knows of the run beyond the job itself.
struct RunReport {
    std::string program = "vora";
    std::string version;
    std::string status;       // "success" or "failure"
    std::string failureLine;  // the last "VORA:: " line of a failed run's log ("": none)
    std::string lastLogLine;  // the last line of a failed run's log: the failing step's
    std::vector<QualityReport> quality;
    std::vector<double> plotFrequencies;  // Hz
    std::vector<PlotPanel> panels;
};

/// "S21" for row 1, column 0; "S10,12" once an index passes 9.
std::string SparamEntryName(int32_t row, int32_t column);

/// Two output frequencies whose texts in the default number format (six significant
/// digits, in the file's unit) are the same: their indices, first < second, or -1, -1.
struct CollapsedFrequencies {
    int64_t first = -1;
    int64_t second = -1;
    std::string text;
};
CollapsedFrequencies FindCollapsedFrequencies(const VoraJob& job);

/// Arm frequencies of a group's files relative to the simulated ones: matched within the
/// lookup's 0.01 Hz, interpolated between two arm records, or not covered.
struct ArmSampling {
    int64_t matched = 0;
    int64_t interpolated = 0;
    int64_t uncovered = 0;
};
ArmSampling CountArmSampling(const std::vector<double>& armFrequencies, const std::vector<double>& frequencies);

/// Appends to job.warnings what the data give: arm data replaced by extrapolation (one line
/// per group) and two output frequencies printed alike.
void AddDataWarnings(VoraJob& job);

/// The report as JSON text (two-space indent, newline at the end).
std::string RunReportJson(const VoraJob& job, const RunReport& report);

/// Writes the report to job.directoryPath + job.reportFileName. false (with `error` set)
/// when the file cannot be written.
[[nodiscard]] bool WriteRunReport(const VoraJob& job, const RunReport& report, std::string& error);
