#include "driver/ExtraOptions.h"

#include <charconv>
#include <ostream>

#include "driver/Prescan.h"

ExtraOptions SplitExtraOptions(int argc, const char* const* argv)
{
    ExtraOptions options;
    if (argc > 0) options.legacyArguments.emplace_back(argv[0]);
    for (int i = 1; i < argc; ++i) {
        const std::string name = UpperCased(argv[i]);
        if (name == "-H" || name == "--HELP" || name == "-?") {
            options.bHelp = true;
            continue;
        }
        std::string* value = name == "-REPORT" ? &options.reportFileName
                             : name == "-PRECISION" ? &options.precisionText
                                                    : nullptr;
        if (value == nullptr) {
            options.legacyArguments.emplace_back(argv[i]);
            continue;
        }
        if (i + 1 >= argc || argv[i + 1][0] == '\0' || argv[i + 1][0] == '-') {
            options.error = std::string(argv[i]) + " needs a value";
            continue;
        }
        *value = argv[++i];
    }
    // The generalized mode writes its fixed format; the mode is decided as the pre-scan
    // decides it, by whichever of "-filepath" and the mode word comes first.
    if (!options.precisionText.empty() && options.error.empty()) {
        for (size_t i = 1; i < options.legacyArguments.size(); ++i) {
            const std::string word = UpperCased(options.legacyArguments[i].c_str());
            if (word == "-FILEPATH") break;
            if (word == "GENERALIZEDSPARAM") {
                options.error = "-precision applies to the de-embedding mode only, not to GENERALIZEDSPARAM";
                break;
            }
        }
    }
    return options;
}

int ParsePrecision(const std::string& text, std::string& error)
{
    if (text == "full" || text == "FULL" || text == "Full") return kShortestRoundTrip;
    int digits = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), digits);
    if (ec != std::errc() || end != text.data() + text.size() || digits < 1 || digits > 17) {
        error = "-precision takes a number of significant digits from 1 to 17, or full; not \"" + text + "\"";
        return 0;
    }
    return digits;
}

void PrintHelp(std::ostream& console)
{
    console << "vora: removes the port leads (arms) of a multi-port test structure from its S-parameters.\n"
               "\n"
               "De-embedding:\n"
               "  vora -filepath <job dir> -in <map file> -out <output .sNp> [-precision N|full] [-report <file>.json]\n"
               "Generalized S-parameter of two 2-port files:\n"
               "  vora GENERALIZEDSPARAM -filepath <dir> -inputsfile1 <a.s2p> -inputsfile2 <b.s2p> -out <file>\n"
               "       [-report <file>.json]\n"
               "Other:\n"
               "  vora -v               the version\n"
               "  vora -h | --help | -? this text\n"
               "\n"
               "Options (names in any letter case; the k-th legacy option takes the k-th value):\n"
               "  -filepath DIR     the job directory; file names are read and written relative to it\n"
               "  -in FILE          the map file of the job\n"
               "  -out FILE         the output file, written whole or not at all (never an input file)\n"
               "  -inputsfile1 FILE, -inputsfile2 FILE   the two 2-port S files of the generalized mode\n"
               "  -precision N|full significant digits of the de-embedded output (1 to 17), or the\n"
               "                    shortest text that reads back to the same number; default: six\n"
               "  -report FILE      a JSON report of the run and the quality of its data, beside the output\n"
               "\n"
               "Every run writes its log to vora_<process id>.log in the job directory. The exit status\n"
               "is 0 on success and 255 (-1) on failure; on failure the reason is also shown here.\n";
}
