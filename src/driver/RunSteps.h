#pragma once
// The steps the driver runs, as a table, so that the run sequence (result lines, flushes,
// failure tests, allocation failures) can be exercised with steps of a test's own.

#include <cstdint>
#include <ostream>
#include <string>

struct VoraJob;

struct RunSteps {
    int32_t (*readMapFile)(VoraJob& job);
    int32_t (*readWholeStructureFile)(VoraJob& job);
    int32_t (*readArmFiles)(VoraJob& job);
    int32_t (*runCalibration)(VoraJob& job);
    int32_t (*readTwoSparamFiles)(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name);
    int32_t (*computeGeneralizedSparam)(VoraJob& job);
    int32_t (*writeDeembeddedOutput)(VoraJob& job);
    int32_t (*writeGeneralizedOutput)(VoraJob& job);
};

/// The program's own steps.
RunSteps ProgramSteps();

/// The program's arm step: each group's files read and its arm data prepared, group by
/// group, so that a failing group stops the run before the next group's files are opened.
/// Returns 0, or -1 after logging which group failed.
[[nodiscard]] int32_t LoadArms(VoraJob& job);
/// The same for groups whose records are in place already (a job built in memory).
[[nodiscard]] int32_t LoadPreparedArms(VoraJob& job);

/// RunProgram with the given steps; returns the exit status (0 or -1). `out` is the
/// console the parent tool reads; `err` is for the person who runs the program.
int RunProgramWithSteps(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                        const RunSteps& steps);
