// The two-file reader of the generalized mode (Touchstone 1 or 2), the computation and the
// output writing that follow it. Byte 0 chooses the port count (2 as the command line sets
// it, or 0, 1, 3); then the two files, separated by "%%".

#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "gsparam/GeneralizedSparam.h"
#include "io/GeneralizedOutput.h"
#include "io/TwoSparamFiles.h"
#include "job/VoraJob.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const std::vector<std::string> files = SplitInput(data + 1, size - 1, 2);
    const ScratchDir& dir = Scratch();
    dir.Clear();
    dir.Write("a.s2p", files[0]);
    if (files.size() > 1) dir.Write("b.s2p", files[1]);

    static const int64_t kPortCounts[4] = {2, 0, 1, 3};
    std::ostringstream log;
    VoraJob job(log);
    job.runMode = 1;
    job.portCount = kPortCounts[data[0] & 3];
    job.directoryPath = dir.dir();
    job.outputFilePath = dir.PathOf("g.txt");
    if (ReadTwoSparamFiles(job, dir.PathOf("a.s2p"), dir.PathOf("b.s2p")) != 0) return 0;
    if (ComputeGeneralizedSparam(job) != 0) return 0;
    static_cast<void>(WriteGeneralizedOutput(job));
    return 0;
}
