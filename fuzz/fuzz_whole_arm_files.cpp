// The whole-structure reader and the arm readers of one calibration group, with the job
// built from the first bytes of the input instead of a map file (so the fuzzer reaches the
// readers without first writing a valid map):
//   byte 0: port count N = 1 + bits 0-1; arm kind = bits 2-3 (3 is kept: an invalid kind);
//           bit 4 extended arm syntax; bit 5 run the port-line analysis as the driver does
//   byte 1: the group's port count P = 1 + (byte % N); nvpl = byte / 32 (0 .. 7)
//   byte 2: bits 0-1 the group's method code (0, 1, 3, 3); the rest chooses port lengths
// then the whole-structure file, the short (or arm S) file and the open file, separated
// by "%%".

#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "calibration/ArmPreparation.h"
#include "io/ArmFiles.h"
#include "io/MapFile.h"
#include "io/WholeStructureFile.h"
#include "job/VoraJob.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 3) return 0;
    const std::vector<std::string> files = SplitInput(data + 3, size - 3, 3);
    const ScratchDir& dir = Scratch();
    dir.Clear();
    dir.Write("whole.s4p", files[0]);
    if (files.size() > 1) dir.Write("short.s4p", files[1]);
    if (files.size() > 2) dir.Write("open.s4p", files[2]);

    std::ostringstream log;
    VoraJob job(log);
    job.directoryPath = dir.dir();
    job.wholeStructureFilePath = dir.PathOf("whole.s4p");
    job.outputFilePath = dir.PathOf("out.s4p");
    job.portCount = 1 + (data[0] & 3);
    job.bExtendedArmSyntax = (data[0] >> 4) & 1;
    job.nvpl = data[1] / 32;
    job.portLineGeometry.assign(static_cast<size_t>(4 * job.portCount), 1e-4);
    for (int64_t p = 0; p < job.portCount; ++p)
        job.portLineGeometry[static_cast<size_t>(4 * p + 2)] = 0.005 * (1 + ((data[2] >> (2 + p)) & 1));

    const int32_t P = job.bExtendedArmSyntax != 0 ? 1 + data[1] % static_cast<int32_t>(job.portCount) : 1;
    job.calibrationGroupCount = 1;
    job.calibrationGroups.resize(1);
    CalibrationGroup& group = job.calibrationGroups[0];
    group.job = &job;
    group.logStream = &job.logStream;
    group.nvpl = job.nvpl;
    group.bExtendedArmSyntax = static_cast<uint8_t>(job.bExtendedArmSyntax);
    group.directoryPath = job.directoryPath;
    group.armKind = (data[0] >> 2) & 3;
    group.portCount = P;
    for (int32_t i = 0; i < P; ++i) group.ports.push_back(i + 1);
    group.firstPort = 1;
    group.armFile1Path = dir.PathOf(group.armKind == 1 ? "short.s4p" : "open.s4p");
    group.armFile2Path = dir.PathOf("short.s4p");
    group.portLineGeometry.assign(job.portLineGeometry.begin(), job.portLineGeometry.begin() + 4 * P);
    const ArmFrequencyLimits limits = DeriveArmFrequencyLimits(P, group.portLineGeometry, job.maxEpr, true);
    static const int32_t kMethodCodes[4] = {0, 1, 3, 3};
    group.methodCode = kMethodCodes[data[2] & 3];
    group.freqA = limits.freqA;
    group.freqB = limits.freqB;
    group.freqC = limits.freqC;
    group.freqD = limits.freqD;
    group.freqE = limits.freqE;

    if (ReadWholeStructureFile(job) != 0) return 0;
    if (ReadGroupArmFiles(job, group) != 0) return 0;
    if (((data[0] >> 5) & 1) && PrepareGroupArms(group) != 0) return 0;
    static_cast<void>(CheckArmFrequencyCoverage(job, group));
    return 0;
}
