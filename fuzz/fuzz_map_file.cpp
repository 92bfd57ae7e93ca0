// The map file reader on an arbitrary map file. After a successful read, the job must hold
// what the later steps index by without checking: groups whose ports lie within the
// declared ports, with four geometry values each. (An NC line after the arm lines replaces
// their records by empty ones; the arm reader then fails on the missing file names.)

#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "io/MapFile.h"
#include "job/VoraJob.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const ScratchDir& dir = Scratch();
    dir.Clear();
    dir.Write("job.map", std::string_view(reinterpret_cast<const char*>(data), size));

    std::ostringstream log;
    VoraJob job(log);
    job.directoryPath = dir.dir();
    job.mapFileName = "job.map";
    job.mapFilePath = dir.PathOf("job.map");
    if (ReadMapFile(job) != 0) {
        if (log.str().empty()) __builtin_trap();  // a failure always says why
        return 0;
    }
    if (job.portLineGeometry.size() != static_cast<size_t>(4 * job.portCount)) __builtin_trap();
    if (job.calibrationGroups.size() < static_cast<size_t>(job.calibrationGroupCount)) __builtin_trap();
    for (int32_t g = 0; g < job.calibrationGroupCount; ++g) {
        const CalibrationGroup& group = job.calibrationGroups[static_cast<size_t>(g)];
        if (group.job == nullptr) continue;
        if (group.portCount < 1 || group.ports.size() != static_cast<size_t>(group.portCount)) __builtin_trap();
        if (group.portLineGeometry.size() != 4 * group.ports.size()) __builtin_trap();
        for (int32_t port : group.ports)
            if (port < 1 || port > job.portCount) __builtin_trap();
    }
    return 0;
}
