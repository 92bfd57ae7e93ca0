#include "job/CalibrationGroupSetUp.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "job/Switches.h"
#include "job/VoraJob.h"

ArmFrequencyLimits DeriveArmFrequencyLimits(int64_t P, const std::vector<double>& groupGeometry, double maxEpr,
                                            bool bMaxEprNotGiven)
{
    ArmFrequencyLimits limits;
    const auto length = [&](int64_t i) { return groupGeometry[static_cast<size_t>(4 * i + 2)]; };
    const double epr = maxEpr;
    const double l1 = length(0);

    int32_t code = 3;
    if (P > 1) {
        for (int64_t i = 0; i + 1 < P; ++i) {
            if (std::fabs(length(i) - length(i + 1)) > 0.002 * length(i)) {
                code = 1;  // lines of unequal length
                break;
            }
        }
    }
    // Quarter-wave frequency of the first line; 7.5e7 is a quarter of the speed of light.
    const double fq = 7.5e7 / l1 / std::sqrt(epr);
    if (fq > 99999999999.0) code = 0;

    const double fA = std::min(8e10, std::max(2e7, fq / 6 * (P == 1 ? 0.95 : 0.9)));
    double fD = fA;
    double fE = 2 * fA;
    if (code != 0) {
        const double k = P == 1 ? 0.275 : 0.256;
        const double x = std::min(k * fq, fA * 36.46444792972277 * 0.85);
        fE = std::max(1.1 * fA, x);
        fD = 0.198 * fA;
        if (code == 3) fD = fD * 0.32;
    }
    const double fB = 1.1 * fq;
    const double fC = 0.9 * fq;
    if (!bMaxEprNotGiven && VoraGlobal_b_DeriveArmFrequencyLimitsFromMaxEpr) {
        fD = (3e8 / std::sqrt(epr)) / (4 * l1) * 3.0 * 0.25;
        fE = fD;
    }

    limits.methodCode = code;
    limits.freqA = fA;
    limits.freqB = fB;
    limits.freqC = fC;
    limits.freqD = fD;
    limits.freqE = fE;
    return limits;
}

void GrowGroupTables(VoraJob& job, size_t count)
{
    if (job.calibrationGroups.size() < count) job.calibrationGroups.resize(count);
    if (job.groupMethodCode.size() < count) job.groupMethodCode.resize(count, 3);
    if (job.groupFreqA.size() < count) job.groupFreqA.resize(count, 1.0e13);
    if (job.groupFreqB.size() < count) job.groupFreqB.resize(count, 4.0e13);
    if (job.groupFreqC.size() < count) job.groupFreqC.resize(count, 4.0e13);
    if (job.groupFreqD.size() < count) job.groupFreqD.resize(count, 1.0e13);
    if (job.groupFreqE.size() < count) job.groupFreqE.resize(count, 2.0e13);
}

CalibrationGroup& SetUpCalibrationGroup(VoraJob& job, size_t g, int32_t armKind, std::vector<int32_t> ports)
{
    GrowGroupTables(job, g + 1);
    CalibrationGroup& group = job.calibrationGroups[g];
    group.job = &job;
    group.nvpl = job.nvpl;
    group.bExtendedArmSyntax = static_cast<uint8_t>(job.bExtendedArmSyntax);
    group.directoryPath = job.directoryPath;
    group.logStream = &job.logStream;
    group.armKind = armKind;
    group.portCount = static_cast<int32_t>(ports.size());
    group.firstPort = ports.front();
    group.portLineGeometry.clear();
    group.portLineGeometry.reserve(4 * ports.size());
    for (int32_t port : ports) {
        const auto first = job.portLineGeometry.begin() + 4 * static_cast<std::ptrdiff_t>(port - 1);
        group.portLineGeometry.insert(group.portLineGeometry.end(), first, first + 4);
    }
    job.groupPorts[static_cast<int32_t>(g)] = ports;
    group.ports = std::move(ports);

    // The plain syntax names one port, so its derivation runs for one line.
    const ArmFrequencyLimits limits =
        DeriveArmFrequencyLimits(group.portCount, group.portLineGeometry, job.maxEpr, job.bMaxEprNotGiven != 0);
    group.methodCode = limits.methodCode;
    group.freqA = limits.freqA;
    group.freqB = limits.freqB;
    group.freqC = limits.freqC;
    group.freqD = limits.freqD;
    group.freqE = limits.freqE;
    job.groupMethodCode[g] = limits.methodCode;
    job.groupFreqA[g] = limits.freqA;
    job.groupFreqB[g] = limits.freqB;
    job.groupFreqC[g] = limits.freqC;
    job.groupFreqD[g] = limits.freqD;
    job.groupFreqE[g] = limits.freqE;
    return group;
}
