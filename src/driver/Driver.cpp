#include "driver/Driver.h"

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "calibration/CalibrationDriver.h"
#include "calibration/ArmPreparation.h"
#include "driver/CommandLine.h"
#include "driver/ExtraOptions.h"
#include "driver/Prescan.h"
#include "driver/RunLog.h"
#include "driver/RunReportAssembly.h"
#include "driver/RunSteps.h"
#include "gsparam/GeneralizedSparam.h"
#include "io/ArmFiles.h"
#include "io/DeembeddedOutput.h"
#include "io/GeneralizedOutput.h"
#include "io/JobOutput.h"
#include "io/MapFile.h"
#include "io/OutputFile.h"
#include "io/TwoSparamFiles.h"
#include "io/WholeStructureFile.h"
#include "job/VoraJob.h"
#include "parallel/WorkerProcess.h"

namespace {

// How a mode's run ended. The two Ended values: the command-line parser has answered on
// the console and closed the log, and the run returns that status at once.
enum class RunEnd { Success, Failure, EndedStatus0, EndedStatusMinus1 };

// What a person at the console needs after a failed run: the reasons the log gives, the
// system's reason where writing the output failed, and where the whole log is.
void TellFailure(const VoraJob& job, const OutputFile& log, std::ostream& err)
{
    const std::string& text = log.Copy();
    std::string lastLine;
    bool toldReason = false;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::string_view line(text.data() + start, end - start);
        if (line.starts_with("VORA:: ")) {
            err << line << "\n";
            toldReason = true;
        }
        if (!line.empty()) lastLine = line;
        start = end + 1;
    }
    if (!toldReason && !lastLine.empty()) err << lastLine << "\n";
    if (job.outputStream && !job.outputStream->FailureReason().empty())
        err << "VORA: " << job.outputStream->FailureReason() << "\n";
    err << "VORA: the run log is " << job.logFilePath << "\n";
}

// Runs one step. Running out of memory anywhere in it is that step's failure.
template <class Step>
int32_t RunStep(VoraJob& job, Step step)
{
    try {
        return step();
    } catch (const std::bad_alloc&) {
        WriteText(job.logStream, "VORA:  Memory allocation error.\n");
        return -1;
    } catch (const WorkerProcessLost&) {
        // Killed or crashed: nothing of its share can be trusted, and no output is written.
        WriteText(job.logStream, "VORA:: The worker process was killed or crashed before it finished its share of the frequencies\n");
        return -1;
    }
}

// The parser's verdict, with running out of memory treated as a grammar failure.
template <class Parse>
RunEnd ParseStep(VoraJob& job, Parse parse)
{
    CommandLineResult result = CommandLineResult::Rejected;
    try {
        result = parse();
    } catch (const std::bad_alloc&) {
        WriteText(job.logStream, "VORA:  Memory allocation error.\n");
    }
    switch (result) {
    case CommandLineResult::Accepted:
        WriteText(job.logStream, "VORA:  Command line option successfully.\n").flush();
        return RunEnd::Success;
    case CommandLineResult::Rejected:
        WriteText(job.logStream, "VORA:  Command line option error.\n");
        return RunEnd::Failure;
    case CommandLineResult::EndRun:
        return RunEnd::EndedStatus0;
    case CommandLineResult::EndRunFailed:
        break;
    }
    return RunEnd::EndedStatusMinus1;
}

// The reading steps count only -1 as failure, the later steps any negative value: both
// tests are the program's long-standing behaviour and are kept as they are.
RunEnd RunDeembedding(VoraJob& job, int argc, const char* const* argv, std::ostream& console,
                      const RunSteps& steps)
{
    const RunEnd parsed = ParseStep(job, [&] { return ParseCommandLine(job, argc, argv, console); });
    if (parsed != RunEnd::Success) return parsed;

    if (RunStep(job, [&] { return steps.readMapFile(job); }) == -1) {
        WriteText(job.logStream, "VORA:  Reading map file error. \n");
        return RunEnd::Failure;
    }
    WriteText(job.logStream, "VORA:  Reading map file successfully. \n").flush();

    if (RunStep(job, [&] { return steps.readWholeStructureFile(job); }) == -1) {
        WriteText(job.logStream, "VORA:  Reading whole structure file error. \n");
        return RunEnd::Failure;
    }
    WriteText(job.logStream, "VORA:  Reading whole structure file successfully. \n").flush();

    if (RunStep(job, [&] { return steps.readArmFiles(job); }) == -1) {
        WriteText(job.logStream, "VORA:  Reading Open Y Files and Short Z Files error. \n");
        return RunEnd::Failure;
    }
    // The misspelling is part of the log interface: parent tools match this line.
    WriteText(job.logStream, "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n").flush();

    // The calibration fills the de-embedded matrices; the output is written after it, so
    // a failed write reads in the log after the calibration's own lines.
    if (RunStep(job, [&] { return steps.runCalibration(job); }) < 0 ||
        RunStep(job, [&] { return steps.writeDeembeddedOutput(job); }) != 0) {
        WriteText(job.logStream, "VORA:  Program fails.\n");
        return RunEnd::Failure;
    }
    WriteText(job.logStream, "VORA:  Program successfully completed.\n");
    return RunEnd::Success;
}

RunEnd RunGeneralized(VoraJob& job, int argc, const char* const* argv, std::ostream& console,
                      const RunSteps& steps)
{
    const RunEnd parsed = ParseStep(job, [&] { return ParseCommandLineGeneralized(job, argc, argv, console); });
    if (parsed != RunEnd::Success) return parsed;

    if (RunStep(job, [&] { return steps.readTwoSparamFiles(job, job.sFile1Name, job.sFile2Name); }) == -1) {
        WriteText(job.logStream, "VORA:  Reading the two Sparam files error. \n");
        return RunEnd::Failure;
    }
    WriteText(job.logStream, "VORA:  Reading the two Sparam files successfully. \n").flush();

    if (RunStep(job, [&] { return steps.computeGeneralizedSparam(job); }) < 0 ||
        RunStep(job, [&] { return steps.writeGeneralizedOutput(job); }) != 0) {
        WriteText(job.logStream, "VORA:  Calculate Generalized Sparam fails.\n");
        return RunEnd::Failure;
    }
    WriteText(job.logStream, "VORA:  Calculate Generalized Sparam successfully completed.\n");
    return RunEnd::Success;
}

int RunLegacyCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                         const RunSteps& steps, const std::string& reportFileName, int precision);

}  // namespace

RunSteps ProgramSteps()
{
    RunSteps steps;
    steps.readMapFile = &ReadMapFile;
    steps.readWholeStructureFile = &ReadWholeStructureFile;
    steps.readArmFiles = &LoadArms;
    steps.runCalibration = &RunCalibration;
    steps.readTwoSparamFiles = &ReadTwoSparamFiles;
    steps.computeGeneralizedSparam = &ComputeGeneralizedSparam;
    steps.writeDeembeddedOutput = &WriteDeembeddedOutput;
    steps.writeGeneralizedOutput = &WriteGeneralizedOutput;
    return steps;
}

namespace {

// The arm step over every group, in order: the files read unless the records are already
// in place, then the arm data prepared. A failing group stops the step.
int32_t LoadGroups(VoraJob& job, bool bReadFiles)
{
    const size_t groupCount = job.calibrationGroups.size();
    if (job.groupFreqB.size() < groupCount) job.groupFreqB.resize(groupCount, 4.0e13);
    if (job.groupFreqC.size() < groupCount) job.groupFreqC.resize(groupCount, 4.0e13);
    for (size_t g = 0; g < groupCount; ++g) {
        CalibrationGroup& group = job.calibrationGroups[g];
        if ((bReadFiles && ReadGroupArmFiles(job, group) != 0) || PrepareGroupArms(group) != 0) {
            // "3th", "4th", ... for every group from the third on: the parent tools match it.
            if (g == 0)
                job.logStream << "VORA:  The first arm process error. \n";
            else if (g == 1)
                job.logStream << "VORA:  The second arm process error. \n";
            else
                job.logStream << "VORA:  The " << g + 1 << "th arm process error. \n";
            return -1;
        }
        job.groupFreqB[g] = group.freqB;
        job.groupFreqC[g] = group.freqC;
    }
    return 0;
}

}  // namespace

int32_t LoadArms(VoraJob& job) { return LoadGroups(job, true); }

int32_t LoadPreparedArms(VoraJob& job) { return LoadGroups(job, false); }

int RunProgram(int argc, char** argv, std::ostream& out, std::ostream& err)
{
    return RunProgramWithSteps(argc, argv, out, err, ProgramSteps());
}

int RunProgramWithSteps(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                        const RunSteps& steps)
{
    ExtraOptions extra;
    int precision = 0;
    try {
        extra = SplitExtraOptions(argc, argv);
        if (extra.bHelp) {
            PrintHelp(out);
            out.flush();
            return 0;
        }
        if (extra.error.empty() && !extra.precisionText.empty()) precision = ParsePrecision(extra.precisionText, extra.error);
    } catch (const std::bad_alloc&) {
        out << "VORA:  Memory allocation error.\n"
            << "VORA:  Program terminates. \n";
        out.flush();
        return -1;
    }
    // A mistake in an option no parent tool passes is told to the person, before anything runs.
    if (!extra.error.empty()) {
        err << "VORA: " << extra.error << "\n";
        err.flush();
        return -1;
    }
    std::vector<const char*> legacyArgv;
    for (const std::string& a : extra.legacyArguments) legacyArgv.push_back(a.c_str());
    legacyArgv.push_back(nullptr);
    return RunLegacyCommandLine(static_cast<int>(extra.legacyArguments.size()), legacyArgv.data(), out, err, steps,
                                extra.reportFileName, precision);
}

namespace {

int RunLegacyCommandLine(int argc, const char* const* argv, std::ostream& out, std::ostream& err,
                         const RunSteps& steps, const std::string& reportFileName, int precision)
{
    // The log object comes first because the job keeps a reference to it; the file is
    // opened once the pre-scan has found the directory.
    std::unique_ptr<OutputFile> log;
    std::unique_ptr<VoraJob> job;
    try {
        log = std::make_unique<OutputFile>();
        job = std::make_unique<VoraJob>(*log);
        job->programName = "VORA";
        job->reportFileName = reportFileName;
        job->outputPrecision = precision;
        PrescanArguments(*job, argc, argv);
        OpenRunLog(*job);
        // A log that cannot be opened stays in the failed state; the parser reports it.
        log->Open(job->logFilePath);
    } catch (const std::bad_alloc&) {
        out << "VORA:  Memory allocation error.\n"
            << "VORA:  Program terminates. \n";
        out.flush();
        return -1;
    }
    log->KeepCopy();
    WriteText(job->logStream, "VORA:  Program started.\n");

    const RunEnd end = job->runMode != 1 ? RunDeembedding(*job, argc, argv, out, steps)
                                          : RunGeneralized(*job, argc, argv, out, steps);
    FinishRunReport(*job, end == RunEnd::Success || end == RunEnd::EndedStatus0, err);
    // Warnings are for the person at the console; the parent tools read only the log and
    // standard output, so they go to standard error whatever the run's end.
    for (const std::string& warning : job->warnings) err << "VORA warning: " << warning << "\n";
    int status = -1;
    switch (end) {
    case RunEnd::Success:
        status = 0;
        // Every step that writes the output has put it in place; one left open is finished here.
        if (job->outputStream && job->outputStream->IsOpen() && FinishJobOutput(*job) != 0) status = -1;
        break;
    case RunEnd::Failure:
        // Nothing of a failed run reaches the output's name: the previous file stays as it was.
        if (job->outputStream) job->outputStream->Discard();
        break;
    case RunEnd::EndedStatus0:
        err.flush();
        return 0;
    case RunEnd::EndedStatusMinus1:
        if (!log->FailureReason().empty()) err << "VORA: " << log->FailureReason() << "\n";
        err.flush();
        return -1;
    }
    job->logStream.flush();
    if (!CloseRunLog(*job)) {
        status = -1;
        err << "VORA: the run log is incomplete: " << log->FailureReason() << "\n";
    }
    if (status != 0) TellFailure(*job, *log, err);
    err.flush();
    job.reset();
    return status;
}

}  // namespace
