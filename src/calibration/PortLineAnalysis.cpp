#include "calibration/PortLineAnalysis.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <ostream>

#include "job/CalibrationGroup.h"

namespace {

template <typename... Parts>
void WriteLog(const CalibrationGroup& group, const Parts&... parts)
{
    if (group.logStream != nullptr) (*group.logStream << ... << parts);
}

bool HasRecord(const RecordTable& table, int32_t k) { return k >= 0 && static_cast<size_t>(k) < table.size(); }

// Both arm records of point k exist and hold at least `valueCount` values.
bool HasArmRecords(const CalibrationGroup& group, int32_t k, int64_t valueCount)
{
    return HasRecord(group.shortValues, k) && HasRecord(group.openValues, k) &&
           group.shortValues.width() >= valueCount && group.openValues.width() >= valueCount;
}

int32_t LogMissingRecord(const CalibrationGroup& group, int32_t k)
{
    WriteLog(group, "VORA:: Port line analysis has no arm record for frequency point ", k, "\n");
    return -1;
}

// Diagonal value positions j of an n-port record are the multiples of 2n + 2; the port of
// position j is j / (2n + 2). True when the group carries w, t, l, s for every port that the
// first `valueCount` positions reach.
bool HasGeometryFor(const CalibrationGroup& group, int64_t valueCount)
{
    if (valueCount < 1) return true;
    const int64_t diagonalStride = 2 * static_cast<int64_t>(group.portCount) + 2;
    const int64_t lastPort = (valueCount - 1) / diagonalStride;
    return static_cast<int64_t>(group.portLineGeometry.size()) >= 4 * (lastPort + 1);
}

// w, t, l, s of the port whose diagonal holds value position j.
const double* GeometryOfPosition(const CalibrationGroup& group, int32_t j, int32_t diagonalStride)
{
    return &group.portLineGeometry[4 * static_cast<size_t>(j / diagonalStride)];
}

int32_t LogMissingGeometry(const CalibrationGroup& group)
{
    WriteLog(group, "VORA:: Port line analysis has no w, t, l, s for every port of group port ", group.firstPort,
             "\n");
    return -1;
}

int32_t LogBadPortCount(const CalibrationGroup& group)
{
    WriteLog(group, "VORA:: Port line analysis port count ", group.portCount, " error\n");
    return -1;
}

int32_t ValueCountOf(const RecordTable& table)
{
    return static_cast<int32_t>(std::min<int64_t>(table.width(), std::numeric_limits<int32_t>::max()));
}

// The scratch of the fit lives for one analysis walk: sized before it, released after it.
}  // namespace

int32_t AnalysePortLines(CalibrationGroup& group)
{
    if (group.shortValues.size() < 2) return 0;
    int32_t kLow = 0;
    const int32_t count = static_cast<int32_t>(group.commonFrequencies.size());
    for (int32_t k = 0; k < count; ++k) {
        const double f = group.commonFrequencies[static_cast<size_t>(k)];
        if (group.freqD > f) kLow = k;
        const int32_t valueCount = HasRecord(group.shortValues, k) ? ValueCountOf(group.shortValues) : 0;
        if (ExtrapolateArmPoint(group, f, kLow, k, valueCount) == -1) return -1;
    }
    return 0;
}

int32_t AnalysePortLinesNoiseProcess(CalibrationGroup& group)
{
    if (group.shortValues.size() < 2 || group.commonFrequencies.empty()) return 0;
    if (group.portCount < 1) return LogBadPortCount(group);
    const int32_t shortCount = ValueCountOf(group.shortValues);
    const int32_t openCount = ValueCountOf(group.openValues);
    if (!HasGeometryFor(group, shortCount)) return LogMissingGeometry(group);
    const int32_t diagonalStride = 2 * group.portCount + 2;

    int32_t kLow = 0;
    const int32_t count = static_cast<int32_t>(group.commonFrequencies.size());
    for (int32_t k = 0; k < count; ++k) {
        const double f = group.commonFrequencies[static_cast<size_t>(k)];
        if (group.freqD > f) kLow = k;
        if (!group.bActive || f < group.freqD) continue;
        // kLow <= k, so the records of k cover both.
        if (!HasRecord(group.shortValues, k) || !HasRecord(group.openValues, k)) return LogMissingRecord(group, k);
        group.extrapolatedFrequencies.push_back(f);

        const double fLow = group.commonFrequencies[static_cast<size_t>(kLow)];
        double* shortArm = group.shortValues[static_cast<size_t>(k)];
        const double* shortLow = group.shortValues[static_cast<size_t>(kLow)];
        for (int32_t j = 0; j < shortCount; ++j) {
            if (j % 2 == 1)
                shortArm[j] = f * shortLow[j] / fLow;
            else if (j % diagonalStride == 0)
                shortArm[j] = PortLineResistance(group, GeometryOfPosition(group, j, diagonalStride), fLow,
                                                 shortLow[j], f, shortArm[j]);
            else
                shortArm[j] = shortLow[j];
        }
        double* open = group.openValues[static_cast<size_t>(k)];
        const double* openLow = group.openValues[static_cast<size_t>(kLow)];
        for (int32_t j = 0; j < openCount; ++j) open[j] = (j % 2 == 1) ? f * openLow[j] / fLow : openLow[j];
    }
    return 0;
}

double FindPortResonance(CalibrationGroup& group, int32_t which)
{
    if (group.methodCode < 2) return 2.0 * group.freqE;

    const bool bShort = which == 1;
    const std::vector<double>& frequencies = bShort ? group.shortFrequencies : group.openFrequencies;
    const RecordTable& values = bShort ? group.shortValues : group.openValues;
    const int32_t count = static_cast<int32_t>(frequencies.size());
    const int32_t port = group.ports.empty() ? group.firstPort : group.ports[0];
    // Every frequency needs its record; a missing one is reported as a failed search.
    if (count >= 1 && (values.size() < static_cast<size_t>(count) || values.width() < 1)) {
        WriteLog(group, "VORA:: Port Resonace Frequency finding error\n");
        return -1.0;
    }
    const auto value = [&values](int32_t k) { return values[static_cast<size_t>(k)][0]; };

    int32_t k = 1;
    double lastFrequency = 0.0;
    for (k = 1; k < count; ++k) {
        lastFrequency = frequencies[static_cast<size_t>(k)];
        if (value(k - 1) > value(k) && k > count * 0.1) return frequencies[static_cast<size_t>(k) - 1];
    }
    // Intended as it always was: the pass leaves k at count (or 1), so this never holds.
    if (k == count - 1 && lastFrequency > 1e11) {
        WriteLog(group, "VORA:: Find Port", port, " Resonance Frequency >100GHz and used it\n");
        return lastFrequency;
    }
    if (count <= 1) {
        WriteLog(group, "VORA:: Port Resonace Frequency finding error\n");
        return -1.0;
    }
    for (k = 1; k < count; ++k) {
        if (value(k - 1) > value(k) && k > count * 0.02) {
            WriteLog(group, "VORA:: Find Port", port, " Resonance Frequency at early stage\n");
            return frequencies[static_cast<size_t>(k) - 1];
        }
    }
    WriteLog(group, "VORA:: Port Resonace Frequency finding error\n");
    return -1.0;
}

int32_t ExtrapolateFromReferencePoint(CalibrationGroup& group, double f, int32_t kRef, int32_t k, int32_t valueCount,
                                      bool bModelDiagonalRealParts)
{
    if (valueCount < 1) return 0;
    if (group.portCount < 1) return LogBadPortCount(group);
    if (!HasArmRecords(group, k, valueCount)) return LogMissingRecord(group, k);
    if (!HasArmRecords(group, kRef, valueCount) || static_cast<size_t>(kRef) >= group.commonFrequencies.size())
        return LogMissingRecord(group, kRef);
    if (bModelDiagonalRealParts && !HasGeometryFor(group, valueCount)) return LogMissingGeometry(group);

    const int32_t diagonalStride = 2 * group.portCount + 2;
    const double fRef = group.commonFrequencies[static_cast<size_t>(kRef)];
    double* open = group.openValues[static_cast<size_t>(k)];
    double* shortArm = group.shortValues[static_cast<size_t>(k)];
    const double* openRef = group.openValues[static_cast<size_t>(kRef)];
    const double* shortRef = group.shortValues[static_cast<size_t>(kRef)];
    for (int32_t j = 0; j < valueCount; ++j) {
        if (j % 2 == 1) {
            open[j] = f * openRef[j] / fRef;
            shortArm[j] = f * shortRef[j] / fRef;
        } else {
            open[j] = openRef[j];
            if (bModelDiagonalRealParts && j % diagonalStride == 0)
                shortArm[j] = PortLineResistance(group, GeometryOfPosition(group, j, diagonalStride), fRef,
                                                 shortRef[j], f, shortArm[j]);
            else
                shortArm[j] = shortRef[j];
        }
    }
    return 0;
}

int32_t ExtrapolateArmPoint(CalibrationGroup& group, double f, int32_t kLow, int32_t k, int32_t valueCount)
{
    if (!group.bActive || f < group.freqD) return 0;
    if (group.portCount < 1) return LogBadPortCount(group);
    if (!HasRecord(group.shortValues, k) || !HasRecord(group.openValues, k)) return LogMissingRecord(group, k);
    group.extrapolatedFrequencies.push_back(f);
    // The diagonal resistance always follows the conductor model here: no switch is consulted.
    return ExtrapolateFromReferencePoint(group, f, kLow, k, valueCount, true);
}

double PortLineResistance(const CalibrationGroup& group, const double* geometry, double fRef, double valueRef,
                          double f, double cap)
{
    const double w = geometry[0];
    const double t = geometry[1];
    const double l = geometry[2];
    const double s = geometry[3];

    double a = w / t - 1.0;
    if (a < 0.0) a = t / w - 1.0;
    const double r = w * 0.5 * t / (t + w);
    const double fc = 1.5915e6 / (r * r * s);

    const bool bNarrow = a < 20.0;
    const double c0 = bNarrow ? 1.3858 : 1.63233;
    const double c1 = bNarrow ? 0.0368 : -0.000901826;
    const double c2 = bNarrow ? -0.00276 : -1.48158e-5;
    const double c3 = bNarrow ? 0.000104102 : 1.12321e-7;
    const double c4 = bNarrow ? -1.63173e-6 : -2.32915e-10;
    const double d0 = bNarrow ? 12.12603 : 14.51308;
    const double d1 = bNarrow ? 0.30968 : 1.49383e-5;
    const double d2 = bNarrow ? -0.01404 : -0.000250584;
    const double d3 = bNarrow ? 7.19966e-5 : 1.67409e-6;
    const double d4 = bNarrow ? 6.8995e-6 : -3.44377e-9;
    const double a2 = a * a;
    const double a3 = a2 * a;
    const double a4 = a3 * a;
    const double A = c0 + c1 * a + c2 * a2 + c3 * a3 + c4 * a4 - 1.0;
    const double B = d0 + d1 * a + d2 * a2 + d3 * a3 + d4 * a4 - 10.0;
    const double p = std::log10(A / B);
    const double q = 0.5 / A;
    const double Rdc = l / (t * w * s);

    // The shortened two pi is part of the model's calibration.
    const auto R = [&](double x) {
        const double X = x * 6.283185307179 / fc;
        if (X <= 1.0) return std::pow(X, q - p / 2.0) * Rdc * A + Rdc;
        return std::pow(X, -p / 2.0) * Rdc * A + std::sqrt(X) * Rdc;
    };

    const double delta = valueRef - R(fRef);
    if (delta >= 0.0) return std::min(cap, delta + R(f));
    WriteLog(group, "VORA:: Port wtls error or KRN calculated Z error, check your setup\n");
    return std::min(cap, R(f));
}
