#include "gsparam/GeneralizedSparam.h"

#include <cassert>
#include <cmath>

#include "job/VoraJob.h"
#include "numerics/ComplexArrays.h"
#include "numerics/SmallEigenvalues.h"
#include "parallel/SharedRegion.h"
#include "parallel/WorkerProcess.h"

namespace {

// Eight digits of pi, not full precision: intended, the written results depend on it in
// their seventh digit.
constexpr double legacyPi = 3.1415926;

enum class PairFormat { RealImaginary, MagnitudeAngle, DecibelAngle, Unknown };

// The readers hand the format token over upper-cased.
PairFormat FormatOf(const std::string& format)
{
    if (format == "RI") return PairFormat::RealImaginary;
    if (format == "MA") return PairFormat::MagnitudeAngle;
    if (format == "DB") return PairFormat::DecibelAngle;
    return PairFormat::Unknown;
}

Complex PairValue(PairFormat format, double first, double second)
{
    const double theta = second * legacyPi / 180.0;
    switch (format) {
    case PairFormat::RealImaginary: return {first, second};
    case PairFormat::MagnitudeAngle: return {first * std::cos(theta), first * std::sin(theta)};
    case PairFormat::DecibelAngle: {
        const double magnitude = std::pow(10.0, first / 20.0);
        return {magnitude * std::cos(theta), magnitude * std::sin(theta)};
    }
    case PairFormat::Unknown: break;
    }
    return {};
}

// S (row-major 2x2) from a record S11, S21, S12, S22: element (i, j) at 2·i + 4·j.
void FillSparam(const double* v, PairFormat format, Complex* S)
{
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) {
            const int p = 2 * i + 4 * j;
            S[2 * i + j] = PairValue(format, v[p], v[p + 1]);
        }
}

void MakeReciprocal(Complex* S)
{
    const Complex mean = (S[1] + S[2]) * 0.5;
    S[1] = mean;
    S[2] = mean;
}

// Why a frequency could not be solved.
struct Failure {
    enum Kind : int32_t { None = 0, NotFinite, NoEigenvalues };
    Kind kind;
    int32_t info;  // ZGEEV's, for NoEigenvalues
};

// Below this many frequencies a child process costs more than it saves.
constexpr size_t kFrequenciesWorthAProcess = 4096;

}  // namespace

void SparamToTransfer(const Complex* S, Complex* T)
{
    const Complex& S11 = S[0];
    const Complex& S12 = S[1];
    const Complex& S21 = S[2];
    const Complex& S22 = S[3];
    T[0] = S12 - S11 * S22 / S21;
    T[1] = S11 / S21;
    T[2] = -S22 / S21;
    T[3] = 1.0 / S21;
}

bool TwoPortSparamOfRecord(const double* record, const std::string& format, Complex* S)
{
    const PairFormat pairFormat = FormatOf(format);
    if (pairFormat == PairFormat::Unknown) return false;
    FillSparam(record, pairFormat, S);
    return true;
}

void Invert2x2(Complex* M)
{
    const Complex det = M[0] * M[3] - M[1] * M[2];
    const Complex r = 1.0 / det;
    const Complex m11 = M[0];
    M[0] = M[3] * r;
    M[1] = -M[1] * r;
    M[2] = -M[2] * r;
    M[3] = m11 * r;
}

int32_t ComputeGeneralizedSparam(VoraJob& job)
{
    job.generalizedValues.clear();
    if (job.portCount != 2) {
        job.logStream << "Only 2-port network is support for the Generalized Sparam feature now. \n";
        return -1;
    }
    assert(job.sFile1Values.size() >= static_cast<size_t>(job.frequencyCount) &&
           job.sFile2Values.size() >= static_cast<size_t>(job.frequencyCount) && job.sFile1Values.width() == 8 &&
           job.sFile2Values.width() == 8 && job.frequencies.size() >= static_cast<size_t>(job.frequencyCount));

    const size_t K = job.frequencyCount > 0 ? static_cast<size_t>(job.frequencyCount) : 0;
    const PairFormat format1 = FormatOf(job.sFile1Format);
    const PairFormat format2 = FormatOf(job.sFile2Format);
    // The formats are the same at every frequency, so the first one decides.
    if (K > 0 && format1 == PairFormat::Unknown) {
        job.logStream << "VORA:: Unknown S1 file format.\n";
        return -1;
    }
    if (K > 0 && format2 == PairFormat::Unknown) {
        job.logStream << "VORA:: Unknown S2 file format.\n";
        return -1;
    }

    dcm& T1 = job.T1;
    dcm& T2 = job.T2;
    T1.Resize(2);
    T2.Resize(2);
    // The result of every frequency, filled by two processes at once; nothing after the
    // first failure is read.
    SharedRegion shared(K * sizeof(Complex));
    Complex* g = static_cast<Complex*>(shared.data());
    Complex S1[4] = {};
    Complex S2[4] = {};
    Complex A[4] = {};
    Complex w[2] = {};
    const auto solveAt = [&](size_t k) -> Failure {
        FillSparam(job.sFile1Values[k], format1, S1);
        FillSparam(job.sFile2Values[k], format2, S2);
        MakeReciprocal(S1);
        MakeReciprocal(S2);
        SparamToTransfer(S1, T1.data);
        SparamToTransfer(S2, T2.data);
        Invert2x2(T1.data);

        // P = T2·T1^-1. The solver wants P's transpose in column order, which is P's own
        // row-major layout.
        for (int r = 0; r < 2; ++r)
            for (int c = 0; c < 2; ++c) A[2 * r + c] = T2(r, 0) * T1(0, c) + T2(r, 1) * T1(1, c);

        // A zero S21 or a singular T1 leaves infinities or NaNs here, on which ZGEEV may
        // never return (or complains on the console): the step fails instead.
        if (!IsFiniteArray(4, A)) return {Failure::NotFinite, 0};
        const int info = EigenvaluesOf2x2(A, w);
        if (info != 0) return {Failure::NoEigenvalues, info};
        g[k] = 1.0 / w[1];
        return {Failure::None, 0};
    };
    const size_t solved = SplitAcrossProcesses(K, kFrequenciesWorthAProcess, [&](size_t begin, size_t end) {
        for (size_t k = begin; k < end; ++k)
            if (solveAt(k).kind != Failure::None) return k;
        return end;
    });
    // Only the index of the first failure comes back from the processes; the same
    // arithmetic on the same values fails the same way here.
    const Failure failed = solved < K ? solveAt(solved) : Failure{Failure::None, 0};
    assert(solved == K || failed.kind != Failure::None);
    // The records are read again only by a run report: without one, their room is given
    // back before the results take theirs, so that the step never holds both.
    if (job.reportFileName.empty()) {
        job.sFile1Values.Release();
        job.sFile2Values.Release();
    }
    job.generalizedValues.assign(g, g + solved);

    if (solved < K) {
        job.logStream << "VORA:: Fail to solve the eigenvalue problem in calculating Generalized Sparam: ";
        if (failed.kind == Failure::NotFinite)
            job.logStream << "the matrix is not finite at frequency id : " << solved + 1 << "\n";
        else
            job.logStream << failed.info << "\n";
        return -1;
    }
    return 0;
}
