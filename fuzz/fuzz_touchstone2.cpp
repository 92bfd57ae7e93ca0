// The whole-structure reader on Touchstone version 2 text (and anything else): keywords,
// references over several lines, triangular matrices, two-port orders, noise data.
//   byte 0: port count N = 1 + bits 0-1; bit 2 puts "[Version] 2.0" before the text
// then the file. Whatever the text, the reader either fails with a log line or leaves a
// table of exactly one row per frequency and one reference per port.

#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "io/WholeStructureFile.h"
#include "job/VoraJob.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const ScratchDir& dir = Scratch();
    dir.Clear();
    std::string text((data[0] & 4) != 0 ? "[Version] 2.0\n" : "");
    text.append(reinterpret_cast<const char*>(data + 1), size - 1);
    dir.Write("whole.sNp", text);

    std::ostringstream log;
    VoraJob job(log);
    job.directoryPath = dir.dir();
    job.wholeStructureFilePath = dir.PathOf("whole.sNp");
    job.outputFilePath = dir.PathOf("out.sNp");
    job.portCount = 1 + (data[0] & 3);

    if (ReadWholeStructureFile(job) != 0) {
        if (log.str().empty()) __builtin_trap();  // a failure always says why
        return 0;
    }
    const auto frequencies = static_cast<size_t>(job.frequencyCount);
    if (job.frequencies.size() != frequencies || job.wholeValues.size() != frequencies) __builtin_trap();
    if (job.portResistances.size() != static_cast<size_t>(job.portCount)) __builtin_trap();
    if (job.wholeValues.width() != 2 * job.portCount * job.portCount) __builtin_trap();
    return 0;
}
