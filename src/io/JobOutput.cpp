#include "io/JobOutput.h"

#include <sys/stat.h>

#include <memory>

#include "io/OutputFile.h"
#include "job/VoraJob.h"

const std::string* SameFileAmong(const std::string& output, const std::vector<std::string>& inputs)
{
    struct stat out {};
    if (::stat(output.c_str(), &out) != 0) return nullptr;
    for (const std::string& input : inputs) {
        struct stat in {};
        if (!input.empty() && ::stat(input.c_str(), &in) == 0 && in.st_dev == out.st_dev && in.st_ino == out.st_ino)
            return &input;
    }
    return nullptr;
}

int32_t OpenJobOutput(VoraJob& job, const std::vector<std::string>& inputs)
{
    if (job.outputStream && job.outputStream->IsOpen()) return 0;
    if (const std::string* input = SameFileAmong(job.outputFilePath, inputs)) {
        job.logStream << "VORA:: Output file is the same file as input file " << *input << "\n";
        return -1;
    }
    job.outputStream = std::make_unique<OutputFile>();
    if (!job.outputStream->OpenReplacing(job.outputFilePath)) {
        job.logStream << "VORA:: Could not generate output file " << job.outputFilePath << "\n";
        return -1;
    }
    return 0;
}

int32_t FinishJobOutput(VoraJob& job)
{
    if (job.outputStream && job.outputStream->Close()) return 0;
    job.logStream << "VORA:: Could not write output file " << job.outputFilePath << "\n";
    return -1;
}
