#pragma once
// Options beyond the two legacy grammars, for people who run the engine themselves: help,
// -report and -precision. They are taken out of the argument list before the legacy parser
// sees it, so a command line without them is read, echoed and logged exactly as before.

#include <string>
#include <vector>

struct ExtraOptions {
    bool bHelp = false;            // -h, -H, --help or -? anywhere on the line
    std::string reportFileName;    // -report <name>: "" when not given
    std::string precisionText;     // -precision <N|full> as given: "" when not given
    std::vector<std::string> legacyArguments;  // argv without the options above
    std::string error;             // why the extra options cannot be used; "" when they can
};

/// Splits argv into the extra options (option names in any letter case, each followed by
/// its value) and the legacy arguments, argv[0] included.
ExtraOptions SplitExtraOptions(int argc, const char* const* argv);

/// The significant digits -precision asks for: 1..17, kShortestRoundTrip for "full", or 0
/// (with `error` set) for anything else.
inline constexpr int kShortestRoundTrip = -1;
int ParsePrecision(const std::string& text, std::string& error);

/// The help text of `-h`: both modes, every option, where the log goes.
void PrintHelp(std::ostream& console);
