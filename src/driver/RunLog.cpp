#include "driver/RunLog.h"

#include <unistd.h>

#include <string>

#include "io/OutputFile.h"
#include "job/VoraJob.h"

void OpenRunLog(VoraJob& job)
{
    job.logFilePath = job.directoryPath + "vora_" + std::to_string(static_cast<long long>(::getpid())) + ".log";
}

bool CloseRunLog(VoraJob& job)
{
    if (auto* file = dynamic_cast<OutputFile*>(&job.logStream)) {
        if (file->IsOpen()) return file->Close() && !file->bad();
        return !file->fail();
    }
    job.logStream.flush();
    return !job.logStream.fail();
}

std::ostream& WriteText(std::ostream& stream, const char* text) { return stream << text; }
