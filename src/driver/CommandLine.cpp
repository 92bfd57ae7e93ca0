#include "driver/CommandLine.h"

#include <string>
#include <vector>

#include "driver/Prescan.h"
#include "driver/RunLog.h"
#include "job/VoraJob.h"

namespace {

std::string EchoLine(int argc, const char* const* argv)
{
    std::string echo = "VORA:  Command Line: ";
    for (int i = 0; i < argc; ++i) {
        echo += argv[i];
        echo += ' ';
    }
    return echo + "\n";
}

bool ReportUnopenableLog(VoraJob& job, std::ostream& console)
{
    if (!job.logStream.fail()) return false;
    console << job.programName << ":  cannot open log file. \n";
    CloseRunLog(job);
    return true;
}

void ReportTooFewArguments(VoraJob& job, const std::string& echo, std::ostream& console)
{
    job.logStream << echo << job.programName << ": command line contains too few arguments. \n";
    console << job.programName << ": command line contains too few arguments. \n";
    PrintUsage(console);
    CloseRunLog(job);
}

// Splits the arguments from `first` on into options (upper-cased) and values. With
// `valueFirstIsOrderError`, a value at position 1 is the "incorrect order" error.
bool ClassifyArguments(VoraJob& job, int argc, const char* const* argv, int first, bool valueFirstIsOrderError,
                       std::vector<std::string>& options, std::vector<std::string>& values)
{
    for (int i = first; i < argc; ++i) {
        if (argv[i][0] == '-') {
            options.push_back(UpperCased(argv[i]));
        } else if (i == 1 && valueFirstIsOrderError) {
            job.logStream << job.programName << ": command line contains incorrect order. \n";
            return false;
        } else {
            values.push_back(argv[i]);
        }
    }
    if (options.size() != values.size()) {
        job.logStream << job.programName << ": command line contains incorrect syntax. \n";
        return false;
    }
    return true;
}

void LogUnsupportedSyntax(VoraJob& job)
{
    job.logStream << job.programName << ": command line contains unsupported syntax. \n";
}

}  // namespace

void PrintUsage(std::ostream& console)
{
    console << "==========VORA Program Command Line Options==========\n"
            << "vora.exe  -filepath \"input_file_and_output_file_locations\\\" -in input_map_file_name.map"
               " -out output_touchstone_file_name\n"
            << " Type the program name with -V option to show the version number.\n"
            << " Contact Quorvane support for input netlist file format and detailed application of this program.\n";
}

CommandLineResult ParseCommandLine(VoraJob& job, int argc, const char* const* argv, std::ostream& console)
{
    const std::string echo = EchoLine(argc, argv);
    if (ReportUnopenableLog(job, console)) return CommandLineResult::EndRunFailed;

    if (argc <= 1) {
        PrintUsage(console);
        CloseRunLog(job);
        return CommandLineResult::EndRun;
    }
    if (argc == 2) {
        const std::string only = argv[1];
        if (only == "-V" || only == "-v") {
            console << VoraVersionText << "\n";
            // Closed so that the start line reaches the file; nothing else is logged.
            CloseRunLog(job);
            return CommandLineResult::EndRun;
        }
        ReportTooFewArguments(job, echo, console);
        return CommandLineResult::EndRun;
    }

    job.logStream << echo;
    std::vector<std::string> options;
    std::vector<std::string> values;
    if (!ClassifyArguments(job, argc, argv, 1, true, options, values)) return CommandLineResult::Rejected;

    // Options and values pair up by their position in the two lists, not by adjacency on
    // the command line: "-in -out a.map b.s4p" is accepted. Intended, long-standing behaviour.
    for (size_t k = 0; k < options.size(); ++k) {
        if (options[k] == "-FILEPATH") continue;  // taken by the pre-scan
        if (options[k] == "-IN") job.mapFileName = values[k];
        else if (options[k] == "-OUT") job.outputFileName = values[k];
        else {
            LogUnsupportedSyntax(job);
            return CommandLineResult::Rejected;
        }
    }

    PrescanArguments(job, argc, argv);
    job.mapFilePath = job.directoryPath + job.mapFileName;
    job.outputFilePath = job.directoryPath + job.outputFileName;
    return CommandLineResult::Accepted;
}

CommandLineResult ParseCommandLineGeneralized(VoraJob& job, int argc, const char* const* argv, std::ostream& console)
{
    const std::string echo = EchoLine(argc, argv);
    if (ReportUnopenableLog(job, console)) return CommandLineResult::EndRunFailed;

    if (argc < 9) {
        ReportTooFewArguments(job, echo, console);
        return CommandLineResult::EndRun;
    }

    job.logStream << echo;
    std::vector<std::string> options;
    std::vector<std::string> values;
    // The mode word is skipped; no argument here can be "the first", so there is no order error.
    if (!ClassifyArguments(job, argc, argv, 2, false, options, values)) return CommandLineResult::Rejected;

    for (size_t k = 0; k < options.size(); ++k) {
        if (options[k] == "-FILEPATH") continue;  // taken by the pre-scan
        if (options[k] == "-INPUTSFILE1") job.sFile1Name = values[k];
        else if (options[k] == "-INPUTSFILE2") job.sFile2Name = values[k];
        else if (options[k] == "-OUT") job.outputFileName = values[k];
        else {
            LogUnsupportedSyntax(job);
            return CommandLineResult::Rejected;
        }
    }

    // This mode has no map file and handles 2-ports only; the readers take the record
    // length from portCount.
    job.portCount = 2;
    job.outputFilePath = job.directoryPath + job.outputFileName;
    return CommandLineResult::Accepted;
}
