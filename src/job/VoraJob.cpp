#include "job/VoraJob.h"

VoraJob::VoraJob(std::ostream& log) : logStream(log) {}
