#pragma once
// The two command-line grammars:
//   vora.exe -filepath <directory> -in <map file> -out <output Touchstone file>
//   vora.exe GENERALIZEDSPARAM -filepath <directory> -inputsfile1 <S file> -inputsfile2 <S file> -out <file>
// Option names are matched in any letter case; values are stored as they stand.

#include <ostream>

struct VoraJob;

/// The release number shown by "-v": major.minor.patch.build.revision, three blanks, a
/// three-digit number.
inline constexpr const char* VoraVersionText = "1.0.0.1.0   001";

enum class CommandLineResult {
    Accepted,     // names stored and paths built: the run goes on
    Rejected,     // grammar error, reason logged: the run fails
    EndRun,       // usage, version or too few arguments answered, log closed: exit status 0
    EndRunFailed  // the run log could not be opened, console told, log closed: exit status -1
};

/// De-embedding grammar: stores mapFileName and outputFileName, then (after the pre-scan
/// again) mapFilePath and outputFilePath. `console` receives the usage, the version and
/// the start-up errors.
[[nodiscard]] CommandLineResult ParseCommandLine(VoraJob& job, int argc, const char* const* argv,
                                                 std::ostream& console);

/// Generalized grammar: stores sFile1Name, sFile2Name and outputFileName, sets portCount
/// to 2 and builds outputFilePath. At least 9 arguments; the mode word is skipped.
[[nodiscard]] CommandLineResult ParseCommandLineGeneralized(VoraJob& job, int argc, const char* const* argv,
                                                            std::ostream& console);

/// The four usage lines.
void PrintUsage(std::ostream& console);
