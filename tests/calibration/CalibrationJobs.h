#pragma once
// Hand-built jobs for the calibration build: whole-structure data made by embedding a known
// device in known arms, so that the build must give the device back.

#include <sstream>
#include <vector>

#include "SmallMatrix.h"
#include "job/VoraJob.h"

namespace calibration_jobs {

using testing_matrix::C;
using testing_matrix::Mat;

struct TestJob {
    std::ostringstream log;
    VoraJob job{log};
};

// The error network over all N ports, end a at the whole structure, end b at the device.
struct ErrorNetwork {
    Mat aa, ab, ba, bb;
    explicit ErrorNetwork(int n) : aa(n), ab(n), ba(n), bb(n) {}
    // Every port a through.
    static ErrorNetwork Through(int n)
    {
        ErrorNetwork e(n);
        e.ab = e.ba = Mat::Identity(n);
        return e;
    }
};

// The measured S of `device` seen through the error network:
// Sm = Saa + Sab·D·(I - Sbb·D)^-1·Sba.
inline Mat Embed(const Mat& device, const ErrorNetwork& e)
{
    const Mat I = Mat::Identity(device.n);
    return e.aa + e.ab * device * testing_matrix::Inverse(I - e.bb * device) * e.ba;
}

// An arm 2n-port of line-like shape: small reflections, transmissions near one.
inline Mat Arm(int n, unsigned seed)
{
    Mat a(2 * n);
    const Mat aa = testing_matrix::Pattern(n, 0.15, seed);
    const Mat bb = testing_matrix::Pattern(n, 0.15, seed + 1);
    const Mat ab = Mat::Identity(n) + testing_matrix::Pattern(n, 0.1, seed + 2);
    const Mat ba = Mat::Identity(n) + testing_matrix::Pattern(n, 0.1, seed + 3);
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) {
            a(i, j) = aa(i, j);
            a(i, n + j) = 0.85 * ab(i, j);
            a(n + i, j) = 0.85 * ba(i, j);
            a(n + i, n + j) = bb(i, j);
        }
    }
    return a;
}

// The 2n-port through [[0, I], [I, 0]].
inline Mat ArmThrough(int n)
{
    Mat a(2 * n);
    for (int i = 0; i < n; ++i) a(i, n + i) = a(n + i, i) = 1.0;
    return a;
}

inline Mat Lerp(const Mat& low, const Mat& high, double t)
{
    Mat m(low.n);
    for (size_t e = 0; e < m.a.size(); ++e) m.a[e] = low.a[e] + (high.a[e] - low.a[e]) * t;
    return m;
}

// Places the arm of a group (whole-structure ports, 0-based, in group order) into the
// error network.
inline void PlaceArm(ErrorNetwork& e, const std::vector<int>& ports, const Mat& arm)
{
    const int n = static_cast<int>(ports.size());
    for (int u = 0; u < n; ++u) {
        for (int v = 0; v < n; ++v) {
            const int i = ports[u], j = ports[v];
            e.aa(i, j) = arm(u, v);
            e.bb(i, j) = arm(n + u, n + v);
            e.ab(i, j) = arm(u, n + v);
            e.ba(i, j) = arm(n + u, v);
        }
    }
}

inline void SetWhole(VoraJob& job, const std::vector<double>& f, const std::vector<Mat>& S)
{
    const int N = S.empty() ? 0 : S[0].n;
    job.portCount = N;
    job.frequencies = f;
    job.frequencyCount = static_cast<int32_t>(f.size());
    job.wholeValues.Reset(2 * N * N);
    for (const Mat& m : S) {
        double* r = job.wholeValues.Append();
        for (int e = 0; e < N * N; ++e) {
            r[2 * e] = m.a[e].real();
            r[2 * e + 1] = m.a[e].imag();
        }
    }
}

// A group over the 1-based `ports`, with its arm S at each of its frequencies.
inline CalibrationGroup& AddGroup(VoraJob& job, const std::vector<int32_t>& ports, const std::vector<double>& f,
                                  const std::vector<Mat>& arms)
{
    CalibrationGroup& group = job.calibrationGroups.emplace_back();
    group.job = &job;
    group.logStream = &job.logStream;
    group.bExtendedArmSyntax = 1;
    group.armKind = 1;
    group.portCount = static_cast<int32_t>(ports.size());
    group.ports = ports;
    group.firstPort = ports.empty() ? 0 : ports[0];
    group.commonFrequencies = f;
    group.commonFrequencyCount = static_cast<int32_t>(f.size());
    group.armS.ResizeAll(group.commonFrequencyCount, 2 * group.portCount);
    for (size_t k = 0; k < arms.size(); ++k)
        for (size_t e = 0; e < arms[k].a.size(); ++e) group.armS[k].data[e] = arms[k].a[e];
    const int32_t g = static_cast<int32_t>(job.calibrationGroups.size()) - 1;
    job.groupPorts[g] = ports;
    job.calibrationGroupCount = g + 1;
    return group;
}

inline Mat Output(const VoraJob& job, int k)
{
    const dcm& S = job.vdcm_Sout[k];
    Mat m(S.n);
    for (int e = 0; e < S.n * S.n; ++e) m.a[e] = S.data[e];
    return m;
}

}  // namespace calibration_jobs
