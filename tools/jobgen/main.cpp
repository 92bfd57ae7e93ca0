// vora-jobgen: writes a de-embedding job whose answer is known.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "jobgen/JobRequest.h"
#include "jobgen/JobWriter.h"

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    JobRequest request;
    std::string directory;
    bool help = false;
    std::string problem = ParseJobArguments(args, request, directory, help);
    if (help) {
        std::fputs(kJobgenUsage, stdout);
        return 0;
    }
    if (problem.empty()) problem = CompleteJobRequest(request);
    if (!problem.empty()) {
        std::fprintf(stderr, "vora-jobgen: %s\n%s", problem.c_str(), kJobgenUsage);
        return 2;
    }
    const auto start = std::chrono::steady_clock::now();
    JobReport report;
    try {
        problem = WriteJob(request, directory, report);
    } catch (const std::bad_alloc&) {
        problem = "out of memory";
    }
    if (!problem.empty()) {
        std::fprintf(stderr, "vora-jobgen: %s\n", problem.c_str());
        return 1;
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    for (const std::string& file : report.files) std::printf("wrote %s/%s\n", directory.c_str(), file.c_str());
    for (size_t k = 0; k < report.analysisLimits.size(); ++k)
        if (report.analysisLimits[k] > 0.0)
            std::printf("group %zu: analysis limit fD = %g Hz\n", k + 1, report.analysisLimits[k]);
    for (const std::string& warning : report.warnings) std::fprintf(stderr, "vora-jobgen: warning: %s\n", warning.c_str());
    std::printf("run:  vora -filepath %s/ -in %s -out %s\n", directory.c_str(), request.mapName.c_str(),
                report.outputSuggestion.c_str());
    std::printf("answer: %s (%.2f s)\n", report.deviceFile.c_str(), seconds);
    return 0;
}
