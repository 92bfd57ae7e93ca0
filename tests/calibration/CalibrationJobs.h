#pragma once
// Jobs for the calibration tests: whole-structure data made by embedding a known device in
// known arms, so that a calibration must give the device back. Arms and error networks are
// 2n-port S matrices [[aa, ab], [ba, bb]], end a at the whole structure, end b at the device.

#include <random>
#include <sstream>
#include <vector>

#include "job/VoraJob.h"
#include "numerics/Dcm.h"
#include "support/TestData.h"

namespace calibration_jobs {

struct TestJob {
    std::ostringstream log;
    VoraJob job{log};
};

// Entries with parts uniform in [-scale, scale].
inline dcm RandomMatrix(int32_t n, double scale, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> part(-scale, scale);
    dcm m(n);
    for (size_t e = 0; e < m.Size(); ++e) m.data[e] = Complex(part(random), part(random));
    return m;
}

// The 2n-port through [[0, I], [I, 0]], scaled by `t`.
inline dcm ArmThrough(int32_t n, double t = 1.0)
{
    dcm a(2 * n);
    for (int32_t i = 0; i < n; ++i) a(i, n + i) = a(n + i, i) = t;
    return a;
}

// A line-like arm: small reflections and couplings, transmissions near 0.85.
inline dcm Arm(int32_t n, unsigned seed) { return RandomMatrix(2 * n, 0.15, seed) + ArmThrough(n, 0.85); }

// Block (r, c) of half the order.
inline dcm Block(const dcm& M, int32_t r, int32_t c)
{
    const int32_t n = M.n / 2;
    dcm b(n);
    for (int32_t i = 0; i < n; ++i)
        for (int32_t j = 0; j < n; ++j) b(i, j) = M(r * n + i, c * n + j);
    return b;
}

// Puts an arm between the whole-structure ports `ports` (0-based, in group order) of E.
inline void PlaceArm(dcm& E, const std::vector<int32_t>& ports, const dcm& arm)
{
    const int32_t N = E.n / 2, n = static_cast<int32_t>(ports.size());
    for (int32_t u = 0; u < n; ++u)
        for (int32_t v = 0; v < n; ++v)
            for (int32_t r = 0; r < 2; ++r)
                for (int32_t c = 0; c < 2; ++c) E(r * N + ports[u], c * N + ports[v]) = arm(r * n + u, c * n + v);
}

inline dcm Times(const dcm& A, const dcm& B)
{
    dcm P;
    Multiply(A, B, P);
    return P;
}

// The device seen through E: aa + ab·D·(I - bb·D)^-1·ba.
inline dcm Embed(const dcm& device, const dcm& E)
{
    dcm I(device.n), inverse;
    I.SetIdentity();
    if (!Inverse(I - Times(Block(E, 1, 1), device), inverse)) return dcm();
    return Block(E, 0, 0) + Times(Times(Times(Block(E, 0, 1), device), inverse), Block(E, 1, 0));
}

inline dcm Lerp(const dcm& low, const dcm& high, double t)
{
    dcm step = high - low;
    step *= Complex(t, 0.0);
    return low + step;
}

inline void SetWhole(VoraJob& job, const std::vector<double>& f, const std::vector<dcm>& S)
{
    job.portCount = S.empty() ? 0 : S[0].n;
    job.frequencies = f;
    job.frequencyCount = static_cast<int32_t>(f.size());
    for (const dcm& m : S) AppendRecord(job.wholeValues, m);
}

// A group over the 1-based `ports`, with its arm S at each of its frequencies; for the
// short/open kinds also 50-ohm ports, unit line geometry and arm files at `f`.
inline CalibrationGroup& AddGroup(VoraJob& job, const std::vector<int32_t>& ports, const std::vector<double>& f,
                                  const std::vector<dcm>& arms)
{
    CalibrationGroup& group = job.calibrationGroups.emplace_back();
    group.job = &job;
    group.logStream = &job.logStream;
    group.bExtendedArmSyntax = 1;
    group.armKind = 1;
    group.portCount = static_cast<int32_t>(ports.size());
    group.ports = ports;
    group.firstPort = ports.empty() ? 0 : ports[0];
    group.portResistances.assign(ports.size(), 50.0);
    group.portLineGeometry.assign(4 * ports.size(), 1.0);
    group.shortFrequencies = group.openFrequencies = group.commonFrequencies = f;
    group.shortRecordCount = group.openRecordCount = static_cast<int32_t>(f.size());
    group.commonFrequencyCount = static_cast<int32_t>(f.size());
    group.armS.ResizeAll(group.commonFrequencyCount, 2 * group.portCount);
    for (size_t k = 0; k < arms.size(); ++k) group.armS[k] = arms[k];
    const int32_t g = static_cast<int32_t>(job.calibrationGroups.size()) - 1;
    job.groupPorts[g] = ports;
    job.calibrationGroupCount = g + 1;
    return group;
}

}  // namespace calibration_jobs
