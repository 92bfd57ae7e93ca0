#include "calibration/ArmPreparation.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

#include "calibration/PortLineAnalysis.h"
#include "numerics/FrequencySearch.h"
#include "job/Switches.h"
#include "job/VoraJob.h"
#include "numerics/NetworkConversions.h"

namespace {

// What a port's reference resistance reads as when no file gave one.
constexpr double kResistanceNotGiven = -10.0;
// An open frequency is common with a short frequency closer than this (Hz).
constexpr double kCommonFrequencyTolerance = 0.1;
// A whole-structure frequency matches an arm frequency this close (Hz).
constexpr double kCoverageTolerance = 0.01;

// The reference and work matrices of the read-time S conversion, built when the first
// record needs them (so that their size is paid for by the data, not by the map line).
void PrepareConversion(CalibrationGroup& group, dcm& converted)
{
    const int32_t n = group.portCount;
    if (group.rootReference.n == n) return;
    // A group whose whole structure gave no R (hand-built jobs) converts with the
    // not-given value rather than reading past the list.
    group.portResistances.resize(static_cast<size_t>(n), kResistanceNotGiven);
    for (dcm* m : {&group.rootReference, &group.rootReferenceInverse, &group.conversionS, &group.conversionE,
                   &group.conversionM, &group.conversionP, &group.conversionT})
        m->Resize(n);
    converted.Resize(n);
    MakeRootReference(n, group.portResistances.data(), group.rootReference.data, group.rootReferenceInverse.data);
}

void ReleaseConversion(CalibrationGroup& group)
{
    for (dcm* m : {&group.rootReference, &group.rootReferenceInverse, &group.conversionS, &group.conversionE,
                   &group.conversionM, &group.conversionP, &group.conversionT})
        m->Release();
}

// Replaces an S record (row-major, real and imaginary interleaved) by the short arm's Z or
// the open arm's Y, in place in the table.
void ConvertRecordInPlace(CalibrationGroup& group, double* record, bool bShortArm, dcm& converted)
{
    PrepareConversion(group, converted);
    const int32_t n = group.portCount;
    const size_t count = group.conversionS.Size();
    for (size_t i = 0; i < count; ++i) group.conversionS.data[i] = Complex(record[2 * i], record[2 * i + 1]);
    GuardUnitDiagonal(n, group.conversionS.data);
    const ConversionScratch work{group.conversionE.data, group.conversionM.data, group.conversionP.data,
                                 group.conversionT.data};
    if (bShortArm)
        ZshortFromS(n, group.conversionS.data, group.rootReference.data, converted.data, work);
    else
        YopenFromS(n, group.conversionS.data, group.rootReferenceInverse.data, converted.data, work);
    for (size_t i = 0; i < count; ++i) {
        record[2 * i] = converted.data[i].real();
        record[2 * i + 1] = converted.data[i].imag();
    }
}

// An extended group of S files has its records turned into Z short and Y open as they are
// read (through LAPACK).
bool ConvertsWhileReading(const CalibrationGroup& group)
{
    return group.bExtendedArmSyntax != 0 && group.armKind == kArmShortSOpenS && VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged;
}

// Whether some entry of L lies within kCommonFrequencyTolerance of f. Equal sampling
// answers at index k; a sorted list is searched, anything else scanned.
bool HasFrequencyNear(const std::vector<double>& L, bool bAscending, double f, size_t k)
{
    const auto near = [f](double x) { return std::fabs(x - f) < kCommonFrequencyTolerance; };
    if (k < L.size() && near(L[k])) return true;
    if (!bAscending) return std::any_of(L.begin(), L.end(), near);
    // The margin keeps every candidate that the exact test could accept despite rounding.
    const double margin = 2 * kCommonFrequencyTolerance;
    for (auto it = std::lower_bound(L.begin(), L.end(), f - margin); it != L.end() && *it <= f + margin; ++it)
        if (near(*it)) return true;
    return false;
}

// An open arm's Re Y(1,1) (Re S(1,1) in a file of S) of exactly zero, either sign, is taken
// as 1e-12, where the record keeps that value.
void GuardOpenConductance(CalibrationGroup& group)
{
    // The Nvpl form keeps position 0 (the first line's diagonal) whenever it reads at all.
    const bool bKeepsFirst = group.bExtendedArmSyntax != 0 ||
                             (!group.openKeepPositionsA.empty() && group.openKeepPositionsA.front() == 0);
    if (!bKeepsFirst || group.openValues.width() == 0) return;
    for (size_t k = 0; k < group.openValues.size(); ++k)
        if (group.openValues[k][0] == 0.0) group.openValues[k][0] = 1e-12;
}

void FindCommonFrequencies(CalibrationGroup& group)
{
    const bool bShortAscending = IsAscending(group.shortFrequencies);
    group.commonFrequencies.clear();
    for (size_t k = 0; k < group.openFrequencies.size(); ++k) {
        const double f = group.openFrequencies[k];
        if (HasFrequencyNear(group.shortFrequencies, bShortAscending, f, k)) group.commonFrequencies.push_back(f);
    }
    group.commonFrequencyCount = static_cast<int32_t>(group.commonFrequencies.size());
}

int32_t Fail(CalibrationGroup& group, const char* text)
{
    *group.logStream << text;
    return -1;
}

// "VORA:: <file> (<kind>)'s frequency range does not include <f> in <whole file>\n"
void LogUncoveredFrequency(const VoraJob& job, const std::string& armFile, const char* kind, double f)
{
    std::ostringstream number;  // default formatting: six significant digits
    number << f;
    job.logStream << "VORA:: " << armFile << " (" << kind << ")'s frequency range does not include " << number.str()
                  << " in " << job.wholeStructureFilePath << "\n";
}

bool IsCovered(const std::vector<double>& L, bool bAscending, double f, size_t i)
{
    return FindMatchingFrequency(L, f, i, kCoverageTolerance, bAscending) >= 0 ||
           FindFrequencyBracket(L, f, i, bAscending) >= 0;
}

}  // namespace

int32_t PrepareGroupArms(CalibrationGroup& group)
{
    if (group.armKind == kArmS) {
        group.commonFrequencies = group.shortFrequencies;
        group.openFrequencies = group.shortFrequencies;
        group.commonFrequencyCount = group.shortRecordCount;
        group.openRecordCount = group.shortRecordCount;
        return 0;
    }
    GuardOpenConductance(group);
    FindCommonFrequencies(group);
    if (ConvertsWhileReading(group)) {
        dcm converted;  // the result of each record's conversion, before it is written back
        for (size_t k = 0; k < group.shortValues.size(); ++k) ConvertRecordInPlace(group, group.shortValues[k], true, converted);
        for (size_t k = 0; k < group.openValues.size(); ++k) ConvertRecordInPlace(group, group.openValues[k], false, converted);
    }
    // The Nvpl form ends with its records as read.
    if (group.bExtendedArmSyntax == 0) return 0;

    if (group.armKind == kArmShortZOpenY) {
        group.shortResonanceFrequency = FindPortResonance(group, 1);
        group.openResonanceFrequency = FindPortResonance(group, 0);
    }
    if (!VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged) return 0;
    if (group.armKind == kArmShortSOpenS) ReleaseConversion(group);
    const int32_t analysed = group.methodCode != 0 ? AnalysePortLinesNoiseProcess(group) : AnalysePortLines(group);
    if (analysed != 0) return Fail(group, "VORA:: Noise filter error \n");
    return 0;
}

int32_t CheckArmFrequencyCoverage(const VoraJob& job, const CalibrationGroup& group)
{
    if (group.armKind != kArmShortZOpenY && group.armKind != kArmS && group.armKind != kArmShortSOpenS) return -1;
    const bool bOpenAscending = IsAscending(group.openFrequencies);
    const bool bShortAscending = IsAscending(group.shortFrequencies);
    for (size_t i = 0; i < job.frequencies.size(); ++i) {
        const double f = job.frequencies[i];
        if (group.armKind == kArmS) {
            if (!IsCovered(group.shortFrequencies, bShortAscending, f, i)) {
                LogUncoveredFrequency(job, group.armFile2Path, "Arm S File", f);
                return -1;
            }
            continue;
        }
        if (!IsCovered(group.openFrequencies, bOpenAscending, f, i)) {
            LogUncoveredFrequency(job, group.armFile1Path, "Open Y File", f);
            return -1;
        }
        if (!IsCovered(group.shortFrequencies, bShortAscending, f, i)) {
            LogUncoveredFrequency(job, group.armFile2Path, "Short Z File", f);
            return -1;
        }
    }
    return 0;
}
