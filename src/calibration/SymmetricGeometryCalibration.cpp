#include "calibration/SymmetricGeometryCalibration.h"

#include <cassert>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "calibration/ArmPreparation.h"
#include "numerics/FrequencySearch.h"
#include "job/CalibrationGroup.h"
#include "job/Switches.h"
#include "job/VoraJob.h"
#include "parallel/SharedRegion.h"
#include "parallel/WorkerProcess.h"

namespace {

constexpr double kEqualFrequencyTolerance = 0.01;  // Hz
constexpr int32_t kRefiningRounds = 7;
// Below this many frequencies a child process costs more than it saves.
constexpr size_t kFrequenciesWorthAProcess = 64;

bool IsDerivedKind(int32_t armKind) { return armKind == kArmShortZOpenY || armKind == kArmS || armKind == kArmShortSOpenS; }

// Length l of the group's port i (geometry is w, t, l, s per port).
double PortLineLength(const CalibrationGroup& group, int32_t i)
{
    return group.portLineGeometry[static_cast<size_t>(4 * i + 2)];
}

// An arm table is usable when every listed frequency has its record and every record
// holds at least `values` doubles.
bool ArmTableFits(const std::vector<double>& frequencies, const RecordTable& records, int64_t values)
{
    if (frequencies.empty()) return true;
    return records.size() >= frequencies.size() && records.width() >= values;
}

void ReleaseWorkData(VoraJob& job)
{
    job.Swhole.Release();
    job.Saa.Release();
    job.Sab.Release();
    job.Sba.Release();
    job.Sbb.Release();
    job.scratch1.Release();
    job.scratch2.Release();
    for (CalibrationGroup& group : job.calibrationGroups) {
        group.vdcm_Saa.ClearAll();
        group.vdcm_Sab.ClearAll();
        group.vdcm_Sba.ClearAll();
        group.vdcm_Sbb.ClearAll();
    }
}

// Scratch of one group's error-box derivation, sized once per group so that the frequency
// loop allocates nothing.
struct ArmDerivation {
    ArmWork work;
    dcm O, H, P, Pinv, S;
    bool bPInvertible = true;
    bool bOpenAscending = false;
    bool bShortAscending = false;

    void Prepare(const CalibrationGroup& group)
    {
        const int32_t n = group.portCount;
        bOpenAscending = IsAscending(group.openFrequencies);
        bShortAscending = IsAscending(group.shortFrequencies);
        switch (group.armKind) {
        case kArmShortZOpenY:
            work.Resize(n);
            O.Resize(n);
            H.Resize(n);
            P.Resize(n);
            P.SetZero();
            for (int32_t i = 0; i < n; ++i) P(i, i) = Complex(group.portResistances[static_cast<size_t>(i)], 0.0);
            // The same inverse at every frequency: formed once, and a singular P fails the
            // first derivation as it would fail each.
            bPInvertible = Inverse(P, Pinv);
            break;
        case kArmS: S.Resize(2 * n); break;
        case kArmShortSOpenS:
            work.Resize(n);
            O.Resize(n);
            H.Resize(n);
            break;
        default: break;
        }
    }
};

bool DeriveFromArmS(CalibrationGroup& group, ArmDerivation& d, size_t k, size_t slot)
{
    const VoraJob& job = *group.job;
    const int32_t n = group.portCount;
    dcm& S = d.S;
    if (!LookupArmValues(group.shortFrequencies, group.shortValues, job.frequencies[k], k, 4 * n * n, S.data,
                         d.bShortAscending))
        return false;
    dcm& Saa = group.vdcm_Saa[slot];
    dcm& Sab = group.vdcm_Sab[slot];
    dcm& Sba = group.vdcm_Sba[slot];
    dcm& Sbb = group.vdcm_Sbb[slot];
    for (int32_t i = 0; i < n; ++i) {
        for (int32_t j = 0; j < n; ++j) {
            Saa(i, j) = S(i, j);
            Sab(i, j) = S(i, n + j);
            Sba(i, j) = S(n + i, j);
            Sbb(i, j) = S(n + i, n + j);
        }
    }
    return true;
}

// O and H at simulated frequency index k, looked up (or interpolated) in the open and short files.
bool LookupOpenAndShort(const CalibrationGroup& group, ArmDerivation& d, size_t k)
{
    const int32_t n = group.portCount;
    const double f = group.job->frequencies[k];
    return LookupArmValues(group.openFrequencies, group.openValues, f, k, n * n, d.O.data, d.bOpenAscending) &&
           LookupArmValues(group.shortFrequencies, group.shortValues, f, k, n * n, d.H.data, d.bShortAscending);
}

bool DeriveFromOpenShortChain(CalibrationGroup& group, ArmDerivation& d, size_t k, size_t slot)
{
    return LookupOpenAndShort(group, d, k) && d.bPInvertible &&
           ChainArmFromOpenShort(d.O, d.H, d.P, d.Pinv, d.work, group.vdcm_Saa[slot], group.vdcm_Sab[slot],
                                 group.vdcm_Sba[slot], group.vdcm_Sbb[slot]);
}

// O and H are taken exactly as the arm reader stored them. In the extended syntax the
// reader has already turned the S records of this kind into Zshort and Yopen, and the
// iteration runs on those; that is the behaviour the parent tools were tuned against.
bool DeriveFromOpenShortReflections(CalibrationGroup& group, ArmDerivation& d, size_t k, size_t slot)
{
    if (!LookupOpenAndShort(group, d, k)) return false;
    dcm& a = group.vdcm_Saa[slot];
    dcm& b = group.vdcm_Sab[slot];
    if (!ReflectionArmFromOpenShort(d.O, d.H, d.work, a, b)) return false;
    group.vdcm_Sbb[slot].Assign(a);
    group.vdcm_Sba[slot].Assign(b);
    return true;
}

// The group's error box at simulated frequency k, stored in entry `slot` of its blocks.
bool DeriveArmAt(CalibrationGroup& group, ArmDerivation& d, size_t k, size_t slot)
{
    switch (group.armKind) {
    case kArmShortZOpenY: return DeriveFromOpenShortChain(group, d, k, slot);
    case kArmS: return DeriveFromArmS(group, d, k, slot);
    case kArmShortSOpenS: return DeriveFromOpenShortReflections(group, d, k, slot);
    default: return true;  // an unknown kind contributes nothing
    }
}

}  // namespace

void ArmWork::Resize(int32_t n)
{
    for (dcm* m : {&Hinv, &M, &Minv, &VD, &D, &A, &B, &C, &U, &V, &W, &Den, &DenInv, &T1, &T2,
                   &Sigma, &Delta, &X, &Q, &R})
        m->Resize(n);
}

bool ChainArmFromOpenShort(const dcm& O, const dcm& H, const dcm& P, const dcm& Pinv, ArmWork& w, dcm& Saa,
                           dcm& Sab, dcm& Sba, dcm& Sbb)
{
    // O^-1 is never used below; its test stays because it decides which arms fail
    // (an ideal zero-length arm with O = 0 must be rejected).
    if (!IsInvertible(O) || !Inverse(H, w.Hinv)) return false;

    Multiply(O, H, w.T1);
    w.M.Resize(O.n);
    w.M.SetIdentity();
    w.M -= w.T1;
    if (!Inverse(w.M, w.Minv)) return false;
    if (!MatrixSqrt(w.Minv, w.VD, w.D)) return false;  // D = (I - O·H)^(-1/2)

    Multiply(H, w.D, w.B);      // B = H·D
    Multiply(w.D, O, w.C);      // C = D·O
    Multiply(w.B, w.Hinv, w.A); // A = H·D·H^-1

    Multiply(w.B, Pinv, w.U);  // U = B·P^-1
    Multiply(P, w.C, w.V);       // V = P·C
    Multiply(P, w.D, w.T1);
    Multiply(w.T1, Pinv, w.W); // W = P·D·P^-1

    w.Den.Assign(w.A);
    w.Den += w.U;
    w.Den += w.V;
    w.Den += w.W;
    if (!Inverse(w.Den, w.DenInv)) return false;

    Sba.Assign(w.DenInv);
    Sba *= Complex(2.0, 0.0);

    w.T1.Assign(w.A);  // A - U + V - W
    w.T1 -= w.U;
    w.T1 += w.V;
    w.T1 -= w.W;
    Multiply(w.DenInv, w.T1, Sbb);
    Sbb.Negate();

    w.T1.Assign(w.A);  // A + U - V - W
    w.T1 += w.U;
    w.T1 -= w.V;
    w.T1 -= w.W;
    Multiply(w.T1, Sba, Saa);
    Saa *= Complex(0.5, 0.0);

    // Sab = ((A + U - V - W)·Sbb + (A - U - V + W)) / 2, which is 2(AD - BC)·Den^-1 for
    // one port; AD - BC is never formed.
    Multiply(w.T1, Sbb, Sab);
    w.T2.Assign(w.A);
    w.T2 -= w.U;
    w.T2 -= w.V;
    w.T2 += w.W;
    Sab += w.T2;
    Sab *= Complex(0.5, 0.0);
    return true;
}

bool ReflectionArmFromOpenShort(const dcm& O, const dcm& H, ArmWork& w, dcm& a, dcm& b)
{
    const Complex two(2.0, 0.0);
    const Complex root2(std::sqrt(2.0), 0.0);

    w.Sigma.Assign(H);  // Σ = H + O
    w.Sigma += O;
    w.Delta.Assign(H);  // Δ = H - O
    w.Delta -= O;

    w.X.Resize(O.n);  // X = 2I - Δ
    w.X.SetIdentity();
    w.X *= two;
    w.X -= w.Delta;
    if (!Inverse(w.X, w.T1)) return false;
    Multiply(w.T1, w.Sigma, a);  // a = (2I - Δ)^-1 Σ

    Multiply(a, a, w.Q);  // Q = 2a·a - Δ - Σ·a
    w.Q *= two;
    w.Q -= w.Delta;
    Multiply(w.Sigma, a, w.T1);
    w.Q -= w.T1;
    if (!MatrixSqrt(w.Q, w.VD, b)) return false;
    b /= root2;

    // A fixed number of rounds, no convergence test: the results must not depend on a
    // tolerance.
    for (int32_t round = 0; round < kRefiningRounds; ++round) {
        if (!Inverse(b, w.T1)) return false;  // R = b^-1·a·b
        Multiply(w.T1, a, w.T2);
        Multiply(w.T2, b, w.R);

        Multiply(w.Delta, w.R, w.T1);  // a = (Δ·R + Σ) / 2
        w.T1 += w.Sigma;
        w.T1 /= two;
        a.Assign(w.T1);

        Multiply(a, w.R, w.Q);  // Q = 2a·R - Δ - Σ·R
        w.Q *= two;
        w.Q -= w.Delta;
        Multiply(w.Sigma, w.R, w.T1);
        w.Q -= w.T1;
        if (!MatrixSqrt(w.Q, w.VD, b)) return false;
        b /= root2;
    }
    return true;
}

bool LookupArmValues(const std::vector<double>& frequencies, const RecordTable& records, double f, size_t startIndex,
                     int32_t count, Complex* out, bool bAscending)
{
    const int64_t values = 2 * static_cast<int64_t>(count);
    if (records.width() < values) return false;

    const int64_t j = FindMatchingFrequency(frequencies, f, startIndex, kEqualFrequencyTolerance, bAscending);
    if (j >= 0) {
        if (static_cast<size_t>(j) >= records.size()) return false;
        const double* r = records[static_cast<size_t>(j)];
        for (int32_t e = 0; e < count; ++e) out[e] = Complex(r[2 * e], r[2 * e + 1]);
        return true;
    }

    const int64_t i = FindFrequencyBracket(frequencies, f, startIndex, bAscending);
    if (i < 0 || static_cast<size_t>(i) + 1 >= records.size() || static_cast<size_t>(i) + 1 >= frequencies.size())
        return false;
    const double f0 = frequencies[static_cast<size_t>(i)];
    const double f1 = frequencies[static_cast<size_t>(i) + 1];
    const double t = (f1 - f) / (f1 - f0);
    const double* r0 = records[static_cast<size_t>(i)];
    const double* r1 = records[static_cast<size_t>(i) + 1];
    for (int32_t e = 0; e < count; ++e) {
        out[e] = Complex(t * r0[2 * e] + (1.0 - t) * r1[2 * e], t * r0[2 * e + 1] + (1.0 - t) * r1[2 * e + 1]);
    }
    return true;
}

void InitGroupWork(CalibrationGroup& group, int32_t slots)
{
    if (!IsDerivedKind(group.armKind)) return;
    assert(group.job != nullptr);
    const int32_t K = slots >= 0 ? slots : group.job->frequencyCount;
    const int32_t n = group.portCount;
    group.vdcm_Saa.ResizeAll(K, n);
    group.vdcm_Sab.ResizeAll(K, n);
    group.vdcm_Sba.ResizeAll(K, n);
    group.vdcm_Sbb.ResizeAll(K, n);
}

bool DeriveArmSParameters(CalibrationGroup& group)
{
    assert(group.job != nullptr);
    // Without a frequency point there is nothing to derive, and the work matrices would be
    // sized by the map's port count alone, with no data to justify the memory.
    if (group.job->frequencyCount == 0) return true;
    ArmDerivation d;
    d.Prepare(group);
    for (int32_t k = 0; k < group.job->frequencyCount; ++k)
        if (!DeriveArmAt(group, d, static_cast<size_t>(k), static_cast<size_t>(k))) return false;
    return true;
}

size_t ForEachDerivedArm(CalibrationGroup& group, const std::function<void(size_t k, const dcm& S)>& visit)
{
    if (group.job == nullptr || !IsDerivedKind(group.armKind)) return 0;
    const int32_t n = group.portCount;
    const int32_t K = group.job->frequencyCount;
    // The checks the calibration makes before it derives anything, as far as the arm alone needs them.
    if (n < 1 || n > 46340 / 2 || K < 1 || group.job->frequencies.size() < static_cast<size_t>(K)) return 0;
    if (group.armKind == kArmShortZOpenY && group.portResistances.size() < static_cast<size_t>(n)) return 0;

    InitGroupWork(group, 1);
    ArmDerivation d;
    d.Prepare(group);
    dcm S(2 * n);
    size_t k = 0;
    for (; k < static_cast<size_t>(K); ++k) {
        if (!DeriveArmAt(group, d, k, 0)) break;
        for (int32_t i = 0; i < n; ++i) {
            for (int32_t j = 0; j < n; ++j) {
                S(i, j) = group.vdcm_Saa[0](i, j);
                S(i, n + j) = group.vdcm_Sab[0](i, j);
                S(n + i, j) = group.vdcm_Sba[0](i, j);
                S(n + i, n + j) = group.vdcm_Sbb[0](i, j);
            }
        }
        visit(k, S);
    }
    InitGroupWork(group, 0);
    return k;
}

void AssembleErrorNetwork(VoraJob& job, size_t k)
{
    const int32_t N = static_cast<int32_t>(job.portCount);
    job.Saa.SetZero();
    job.Sbb.SetZero();
    job.Sab.SetIdentity();
    job.Sba.SetIdentity();
    for (const CalibrationGroup& group : job.calibrationGroups) {
        if (!IsDerivedKind(group.armKind)) continue;
        const int32_t n = group.portCount;
        for (int32_t i = 0; i < n; ++i) {
            const int32_t r = group.ports[static_cast<size_t>(i)] - 1;
            for (int32_t j = 0; j < n; ++j) {
                const int32_t c = group.ports[static_cast<size_t>(j)] - 1;
                // CheckCalibrationInputs has rejected such ports; never write outside N x N.
                assert(r >= 0 && r < N && c >= 0 && c < N);
                if (r < 0 || r >= N || c < 0 || c >= N) continue;
                job.Saa(r, c) = group.vdcm_Saa[k](i, j);
                job.Sab(r, c) = group.vdcm_Sab[k](i, j);
                job.Sba(r, c) = group.vdcm_Sba[k](i, j);
                job.Sbb(r, c) = group.vdcm_Sbb[k](i, j);
            }
        }
    }
}

namespace {

// Frequencies [begin, end) de-embedded into job.vdcm_Sout, as far as the first that fails:
// its index, or `end`.
size_t DeembedFrequencies(VoraJob& job, std::vector<ArmDerivation>& derivations, size_t begin, size_t end)
{
    const int32_t N = static_cast<int32_t>(job.portCount);
    dcm& X = job.scratch1;
    dcm& T = job.scratch2;
    for (size_t k = begin; k < end; ++k) {
        for (size_t g = 0; g < job.calibrationGroups.size(); ++g)
            if (!DeriveArmAt(job.calibrationGroups[g], derivations[g], k, 0)) return k;

        const double* whole = job.wholeValues[k];
        for (int32_t e = 0; e < N * N; ++e) job.Swhole.data[e] = Complex(whole[2 * e], whole[2 * e + 1]);

        AssembleErrorNetwork(job, 0);

        // Sd = (Sba·(S - Saa)^-1·Sab + Sbb)^-1, the products formed in this order.
        X.Assign(job.Swhole);
        X -= job.Saa;
        if (!Inverse(X, T)) return k;
        Multiply(job.Sba, T, X);
        Multiply(X, job.Sab, T);
        T += job.Sbb;
        if (!Inverse(T, job.vdcm_Sout[k])) return k;
    }
    return end;
}

}  // namespace

bool Update_vdcm_Sout_ForAllFrequencies_Swhole(VoraJob& job)
{
    for (const CalibrationGroup& group : job.calibrationGroups)
        if (CheckArmFrequencyCoverage(job, group) != 0) return false;
    // No frequency, nothing to derive: no work matrices sized by the port counts alone.
    if (job.frequencyCount == 0) return true;

    // The error boxes are derived frequency by frequency into entry 0 of each group's
    // blocks and used at once: only the de-embedded matrices are kept for all frequencies.
    // Every value is computed by the same operations as a derivation over the whole sweep,
    // and either way any failure fails the step before anything is written.
    std::vector<ArmDerivation> derivations(job.calibrationGroups.size());
    for (size_t g = 0; g < job.calibrationGroups.size(); ++g) derivations[g].Prepare(job.calibrationGroups[g]);

    // The frequencies do not depend on each other: a child process de-embeds some of them
    // into the shared output matrices while this one does the rest.
    {
        const size_t each = static_cast<size_t>(job.portCount) * static_cast<size_t>(job.portCount);
        const size_t count = static_cast<size_t>(job.frequencyCount);
        if (each > std::numeric_limits<size_t>::max() / sizeof(Complex) / count) throw std::bad_alloc();
        // A fresh mapping is zero bytes, which are the values 0 + 0i.
        auto shared = std::make_shared<SharedRegion>(each * count * sizeof(Complex));
        Complex* values = static_cast<Complex*>(shared->data());
        job.vdcm_Sout.ResizeAllOver(job.frequencyCount, static_cast<int32_t>(job.portCount), values, std::move(shared));
    }
    const size_t K = static_cast<size_t>(job.frequencyCount);
    return SplitAcrossProcesses(K, kFrequenciesWorthAProcess, [&](size_t begin, size_t end) {
               return DeembedFrequencies(job, derivations, begin, end);
           }) == K;
}

void WritePortLineReport(const VoraJob& job)
{
    std::ostream& log = job.logStream;
    int32_t number = 0;
    for (const CalibrationGroup& group : job.calibrationGroups) {
        if (group.armKind == kArmShortZOpenY || group.armKind == kArmShortSOpenS) {
            // Neighbours only, relative to the earlier port: 1.000, 1.0009, 1.0018 counts as same.
            bool sameLength = true;
            for (int32_t i = 0; i + 1 < group.portCount; ++i) {
                const double li = PortLineLength(group, i);
                if (std::fabs(li - PortLineLength(group, i + 1)) > 0.001 * li) {
                    sameLength = false;
                    break;
                }
            }
            const double l0 = PortLineLength(group, 0);
            const double quarterWave = 3e8 / std::sqrt(job.maxEpr) / (4.0 * l0);
            log << "VORA:  For calibration group" << number << ", "
                << (sameLength ? "each port line has same length, " : "each port line has different length, ")
                << "length of line of port 0 = " << l0 << ", "
                << "frequency at which the length is quarter of wavelength = " << quarterWave << "\n";
        }
        ++number;
    }

    number = 0;
    for (const CalibrationGroup& group : job.calibrationGroups) {
        if (group.armKind == kArmShortZOpenY) {
            log << "VORA:  For calibration group" << number << ", ";
            if (group.shortResonanceFrequency > 0.0)
                log << "first resonant frequency of real(short Z1,1) = " << group.shortResonanceFrequency;
            else
                log << "first resonant frequency of real(short Z1,1) is out of the simulation frequency range for "
                       "short Z ";
            log << ", ";
            if (group.openResonanceFrequency > 0.0)
                log << "first resonant frequency of real(open Y1,1) = " << group.openResonanceFrequency;
            else
                log << "first resonant frequency of real(open Y1,1) is out of the simulation frequency range for "
                       "open Y ";
            log << "\n";
        }
        ++number;
    }
}

int32_t CheckCalibrationInputs(const VoraJob& job)
{
    std::ostream& log = job.logStream;
    const int64_t N = job.portCount;
    const int32_t K = job.frequencyCount;
    // N x N must stay within the 32-bit index arithmetic of dcm.
    const bool wholeFits = N >= 1 && N <= 46340 && K >= 0 && job.frequencies.size() >= static_cast<size_t>(K) &&
                           job.wholeValues.size() >= static_cast<size_t>(K) &&
                           (K == 0 || job.wholeValues.width() == 2 * N * N);
    if (!wholeFits) {
        log << "VORA:: Whole structure data do not match the port count " << N << "\n";
        return -1;
    }

    int32_t number = 0;
    for (const CalibrationGroup& group : job.calibrationGroups) {
        if (IsDerivedKind(group.armKind)) {
            const int32_t n = group.portCount;
            if (n < 1 || n > N || group.ports.size() != static_cast<size_t>(n)) {
                log << "VORA:: Calibration group " << number << " has " << group.ports.size()
                    << " ports listed for a port count of " << n << "\n";
                return -1;
            }
            for (int32_t p : group.ports) {
                if (p < 1 || p > N) {
                    log << "VORA:: Calibration group " << number << " names port " << p << ", outside 1.." << N
                        << "\n";
                    return -1;
                }
            }
            const int64_t nn = static_cast<int64_t>(n) * n;
            bool armFits;
            if (group.armKind == kArmS) {
                armFits = ArmTableFits(group.shortFrequencies, group.shortValues, 8 * nn);
            } else {
                armFits = group.portLineGeometry.size() >= static_cast<size_t>(4 * n) &&
                          ArmTableFits(group.shortFrequencies, group.shortValues, 2 * nn) &&
                          ArmTableFits(group.openFrequencies, group.openValues, 2 * nn);
                if (group.armKind == kArmShortZOpenY) armFits = armFits && group.portResistances.size() >= static_cast<size_t>(n);
            }
            if (!armFits) {
                log << "VORA:: Arm data of calibration group " << number << " do not match its port count " << n
                    << "\n";
                return -1;
            }
        }
        ++number;
    }
    return 0;
}

int32_t DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines(VoraJob& job)
{
    std::ostream& log = job.logStream;
    if constexpr (VoraGlobal_b_Use_vc_Saa_Sab_Sba_Sbb_ForSpecialCaseOfOnly1CGroupPort)
        log << "VORA:  VoraGlobal_b_Use_vc_Saa_Sab_Sba_Sbb_ForSpecialCaseOfOnly1CGroupPort = true. \n";
    else
        log << "VORA:  VoraGlobal_b_Use_vc_Saa_Sab_Sba_Sbb_ForSpecialCaseOfOnly1CGroupPort = false. \n";

    if constexpr (VoraGlobal_b_TestAndDebug_BeforeDoingShortOpenCalibration) {
        // The diagnostic trace files are not part of this build; the switch is off.
        log << "VORA:  TestAndDebug_BeforeDoingShortOpenCalibration succesffuly. \n";
    }

    if (CheckCalibrationInputs(job) != 0) return -1;

    WritePortLineReport(job);

    const int32_t N = static_cast<int32_t>(job.portCount);
    // Sized only when a record of the whole structure justifies N x N matrices: a map
    // declaring thousands of ports over an empty file must not claim gigabytes.
    const int32_t workOrder = job.frequencyCount > 0 ? N : 0;
    for (dcm* m : {&job.Swhole, &job.Saa, &job.Sab, &job.Sba, &job.Sbb, &job.scratch1, &job.scratch2})
        m->Resize(workOrder);
    for (CalibrationGroup& group : job.calibrationGroups) InitGroupWork(group, job.frequencyCount > 0 ? 1 : 0);

    if (!Update_vdcm_Sout_ForAllFrequencies_Swhole(job)) {
        ReleaseWorkData(job);
        log << "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole error. \n";
        return -1;
    }
    log << "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole succesffuly. \n";


    if constexpr (VoraGlobal_b_TestAndDebug_AfterDoingShortOpenCalibration) {
        // The diagnostic trace files are not part of this build; the switch is off.
        log << "VORA:  TestAndDebug_AfterDoingShortOpenCalibration succesffuly. \n";
    }

    ReleaseWorkData(job);
    return 0;
}
