#include "job/VoraJob.h"

#include "io/NumberParser.h"

VoraJob::VoraJob(std::ostream& log) : logStream(log)
{
    // The unit-letter table belongs to the run: only the map reader fills it, so a run of
    // the generalized mode reads "1.5G" as 1.5.
    ClearUnitLetterTable();
}
