#include "calibration/CalibrationBuild.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <vector>

#include "job/VoraJob.h"
#include "numerics/ComplexArrays.h"
#include "numerics/LUSolver.h"

namespace {

// A group point this close to a simulated frequency is taken as it stands.
constexpr double kMatchTolerance = 0.1;  // Hz
// A simulation starting below this starts at DC, where every arm is a through.
constexpr double kDcLimit = 1.0;  // Hz
// Largest port count whose N x N matrices still index in 32 bits.
constexpr int64_t kMaxPorts = 46340;

// Where a group's arm S at one simulated frequency comes from.
struct ArmPoint {
    enum class Source { Point, Interpolated, Through };
    Source source = Source::Through;
    int32_t upper = -1;    // Point: the group point; Interpolated: the point above f
    int32_t lower = -1;    // Interpolated: the point below f, or -1 for the through at f(0)
    double weight = 0.0;   // Interpolated: (f - f_lower) / (f_upper - f_lower)
    bool logDifferentSampling = false;
    bool logNotCovered = false;
};

struct Neighbours {
    int32_t match = -1;  // first point within the tolerance, in list order
    int32_t below = -1;  // last point below f
    int32_t above = -1;  // first point above f
};

// Group frequencies come ascending from the arm files; any other order is searched in
// list order, which gives the same answers for an ascending list.
Neighbours FindNeighbours(const std::vector<double>& points, int32_t count, bool ascending, double f)
{
    Neighbours found;
    if (ascending) {
        const double* first = points.data();
        const double* last = first + count;
        const double* near = std::partition_point(first, last, [f](double x) { return f - x >= kMatchTolerance; });
        if (near != last && std::fabs(*near - f) < kMatchTolerance) found.match = static_cast<int32_t>(near - first);
        const double* notBelow = std::partition_point(first, last, [f](double x) { return x < f; });
        const double* above = std::partition_point(notBelow, last, [f](double x) { return x <= f; });
        found.below = static_cast<int32_t>(notBelow - first) - 1;
        if (above != last) found.above = static_cast<int32_t>(above - first);
        return found;
    }
    for (int32_t j = 0; j < count; ++j) {
        const double x = points[j];
        if (found.match < 0 && std::fabs(x - f) < kMatchTolerance) found.match = j;
        if (x < f) found.below = j;
        if (x > f && found.above < 0) found.above = j;
    }
    return found;
}

ArmPoint LocateArmPoint(const CalibrationGroup& group, bool ascending, int32_t k, int32_t K, double f, double f0)
{
    ArmPoint at;
    const int32_t count = group.commonFrequencyCount;
    // Same number of points: taken by index, whatever their frequencies.
    if (count == K) {
        at.source = ArmPoint::Source::Point;
        at.upper = k;
        return at;
    }
    const std::vector<double>& points = group.commonFrequencies;
    const bool edge = k == 0 || k == K - 1;
    at.logDifferentSampling = edge;
    const bool dcStart = f0 < kDcLimit && count > 0 && points[0] > f0;
    if (dcStart && f < kDcLimit) return at;

    const Neighbours near = FindNeighbours(points, count, ascending, f);
    if (near.match >= 0) {
        at.source = ArmPoint::Source::Point;
        at.upper = near.match;
        return at;
    }
    // From a DC start, the through at f(0) stands in for a missing point below f.
    const bool bracketed = near.above >= 0 && (near.below >= 0 || dcStart);
    if (bracketed) {
        const double fLow = near.below >= 0 ? points[near.below] : f0;
        at.source = ArmPoint::Source::Interpolated;
        at.upper = near.above;
        at.lower = near.below;
        at.weight = (f - fLow) / (points[near.above] - fLow);
        return at;
    }
    at.logNotCovered = edge && !dcStart;
    return at;
}

Complex ArmValue(const CalibrationGroup& group, const ArmPoint& at, int32_t row, int32_t column, Complex through)
{
    switch (at.source) {
    case ArmPoint::Source::Point:
        return group.armS[at.upper](row, column);
    case ArmPoint::Source::Interpolated: {
        const Complex low = at.lower >= 0 ? group.armS[at.lower](row, column) : through;
        const Complex high = group.armS[at.upper](row, column);
        return low + (high - low) * at.weight;
    }
    case ArmPoint::Source::Through:
        break;
    }
    return through;
}

int32_t GroupCount(const VoraJob& job) { return static_cast<int32_t>(job.calibrationGroups.size()); }

const std::vector<int32_t>* PortsOfGroup(const VoraJob& job, int32_t group)
{
    const auto it = job.groupPorts.find(group);
    return it == job.groupPorts.end() ? nullptr : &it->second;
}

bool GroupDataFit(const CalibrationGroup& group)
{
    const int32_t n = group.portCount;
    const int32_t count = group.commonFrequencyCount;
    if (n < 1 || n > kMaxPorts / 2 || count < 0) return false;
    if (group.commonFrequencies.size() < static_cast<size_t>(count) || group.armS.size() < static_cast<size_t>(count))
        return false;
    for (int32_t m = 0; m < count; ++m)
        if (group.armS[m].n != 2 * n) return false;
    return true;
}

void LoadWholeS(const double* record, int32_t N, dcm& Sm)
{
    for (int32_t e = 0; e < N * N; ++e) Sm.data[e] = Complex(record[2 * e], record[2 * e + 1]);
}

}  // namespace

bool IsPortInGroup(const VoraJob& job, int32_t port) { return GroupOfPort(job, port) >= 0; }

int32_t GroupOfPort(const VoraJob& job, int32_t port)
{
    for (int32_t g = 0; g < GroupCount(job); ++g)
        if (PlaceOfPortInGroup(job, port, g) >= 0) return g;
    return -1;
}

int32_t PlaceOfPortInGroup(const VoraJob& job, int32_t port, int32_t group)
{
    const std::vector<int32_t>* ports = PortsOfGroup(job, group);
    if (ports == nullptr) return -1;
    const auto it = std::find(ports->begin(), ports->end(), port + 1);
    return it == ports->end() ? -1 : static_cast<int32_t>(it - ports->begin());
}

int32_t CalibrationBuild(VoraJob& job)
{
    const int32_t K = job.frequencyCount;
    if (job.portCount < 0 || job.portCount > kMaxPorts || K < 0 || job.frequencies.size() < static_cast<size_t>(K) ||
        job.wholeValues.size() < static_cast<size_t>(K) ||
        (K > 0 && job.wholeValues.width() < 2 * job.portCount * job.portCount)) {
        job.logStream << "VORA:: Whole structure data do not fit its port count\n";
        return -1;
    }
    const int32_t N = static_cast<int32_t>(job.portCount);

    job.vdcm_Sout.ClearAll();
    job.vdcm_Sout.ResizeAll(K, N);

    // Without a group the whole structure is copied but the build still fails: on this
    // path a map without groups is not a calibration, and the parent tools expect the
    // failure.
    if (job.calibrationGroups.empty()) {
        for (int32_t k = 0; k < K; ++k) LoadWholeS(job.wholeValues[k], N, job.vdcm_Sout[k]);
        return 1;
    }

    // The one-port assembly (every group of at most one port) is this same assembly
    // restricted to the diagonal, so one assembly serves both.
    std::vector<int32_t> groupOf(N), placeOf(N);
    for (int32_t i = 0; i < N; ++i) {
        groupOf[i] = GroupOfPort(job, i);
        placeOf[i] = groupOf[i] >= 0 ? PlaceOfPortInGroup(job, i, groupOf[i]) : -1;
    }
    const int32_t groupCount = GroupCount(job);
    std::vector<bool> ascending(groupCount, true);
    for (int32_t g = 0; g < groupCount; ++g) {
        const CalibrationGroup& group = job.calibrationGroups[g];
        if (std::find(groupOf.begin(), groupOf.end(), g) == groupOf.end()) continue;
        bool fits = GroupDataFit(group);
        for (int32_t i = 0; i < N && fits; ++i)
            if (groupOf[i] == g && placeOf[i] >= group.portCount) fits = false;
        if (!fits) {
            job.logStream << "VORA:: Calibration data of the arm " << group.firstPort << " do not fit its ports\n";
            return -1;
        }
        const double* first = group.commonFrequencies.data();
        ascending[g] = std::is_sorted(first, first + group.commonFrequencyCount);
    }

    dcm& Sm = job.Swhole;
    dcm& Saa = job.Saa;
    dcm& Sab = job.Sab;
    dcm& Sba = job.Sba;
    dcm& Sbb = job.Sbb;
    dcm& X = job.scratch1;
    dcm& P = job.scratch2;
    for (dcm* m : {&Sm, &Saa, &Sab, &Sba, &Sbb, &X, &P}) {
        m->Release();
        m->Resize(N);
    }
    std::vector<Complex*> xRows(N), outRows(N);
    for (int32_t i = 0; i < N; ++i) xRows[i] = X.data + static_cast<size_t>(i) * N;
    std::vector<ArmPoint> where(groupCount);
    const Complex zero(0.0, 0.0);
    const Complex one(1.0, 0.0);

    for (int32_t k = 0; k < K && N > 0; ++k) {
        const double f = job.frequencies[k];
        LoadWholeS(job.wholeValues[k], N, Sm);
        for (int32_t g = 0; g < groupCount; ++g)
            where[g] = LocateArmPoint(job.calibrationGroups[g], ascending[g], k, K, f, job.frequencies[0]);

        for (dcm* m : {&Saa, &Sab, &Sba, &Sbb}) ZeroArray(N, m->data);
        for (int32_t i = 0; i < N; ++i) {
            const int32_t g = groupOf[i];
            if (g < 0) {
                Sab(i, i) = one;
                Sba(i, i) = one;
                continue;
            }
            const CalibrationGroup& group = job.calibrationGroups[g];
            const ArmPoint& at = where[g];
            const int32_t n = group.portCount;
            const int32_t u = placeOf[i];
            for (int32_t j = 0; j < N; ++j) {
                if (groupOf[j] != g) continue;
                if (at.logDifferentSampling) job.logStream << "VORA:  Calibration build with different sampling \n";
                // One blank after the colon: the line is matched as written.
                if (at.logNotCovered) job.logStream << "VORA: error Calibration build with different sampling \n";
                // The through of the 2n-port maps onto a through of each port: Sab and Sba
                // are one on the diagonal only.
                const Complex through = i == j ? one : zero;
                const int32_t v = placeOf[j];
                Saa(i, j) = ArmValue(group, at, u, v, zero);
                Sbb(i, j) = ArmValue(group, at, n + u, n + v, zero);
                Sab(i, j) = ArmValue(group, at, u, n + v, through);
                Sba(i, j) = ArmValue(group, at, n + u, v, through);
            }
        }

        // Sd = (Sba·(Sm - Saa)^-1·Sab + Sbb)^-1. The LU inverse signals no singularity; a
        // singular matrix shows as non-finite values in the output.
        dcm& out = job.vdcm_Sout[k];
        for (int32_t i = 0; i < N; ++i) outRows[i] = out.data + static_cast<size_t>(i) * N;
        SubtractArrays(N, Sm.data, Saa.data, X.data);
        static_cast<void>(InvertByLU(N, xRows.data()));
        MultiplyArrays('y', N, X.data, Sab.data, P.data);
        MultiplyArrays('y', N, Sba.data, P.data, X.data);
        AddArrays(N, X.data, Sbb.data, out.data);
        static_cast<void>(InvertByLU(N, outRows.data()));
    }

    for (dcm* m : {&Sm, &Saa, &Sab, &Sba, &Sbb, &X, &P}) m->Release();
    return 0;
}
