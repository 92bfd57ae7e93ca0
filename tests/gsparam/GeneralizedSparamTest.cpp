#include "gsparam/GeneralizedSparam.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <sstream>

#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

using C = Complex;

// The Touchstone record (S11, S21, S12, S22 as RI pairs) of the reciprocal 2-port with
// transfer matrix T (row-major, det T = 1): SparamToTransfer must turn it back into T.
std::vector<double> RecordOf(const C* T)
{
    const C S21 = 1.0 / T[3];
    const C S11 = T[1] / T[3];
    const C S22 = -T[2] / T[3];
    std::vector<double> record;
    for (const C& s : {S11, S21, S21, S22}) {
        record.push_back(s.real());
        record.push_back(s.imag());
    }
    return record;
}

void Multiply(const C* A, const C* B, C* P)
{
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c) P[2 * r + c] = A[2 * r] * B[c] + A[2 * r + 1] * B[2 + c];
}

struct Outcome {
    int32_t status;
    std::string output;
    std::string log;
};

Outcome RunStep(VoraJob& job, const TempDir& dir, std::ostringstream& log)
{
    job.outputFilePath = (dir.path() / "g.txt").string();
    job.outputStream = std::make_unique<OutputFile>();
    EXPECT_TRUE(job.outputStream->Open(job.outputFilePath));
    const int32_t status = ComputeGeneralizedSparam(job);
    job.outputStream.reset();
    return {status, ReadFileText(job.outputFilePath), log.str()};
}

void AddFrequency(VoraJob& job, double f, const std::vector<double>& record1, const std::vector<double>& record2)
{
    if (job.frequencyCount == 0) {
        job.sFile1Values.Reset(8);
        job.sFile2Values.Reset(8);
    }
    std::copy(record1.begin(), record1.end(), job.sFile1Values.Append());
    std::copy(record2.begin(), record2.end(), job.sFile2Values.Append());
    job.frequencies.push_back(f);
    ++job.frequencyCount;
}

// T2 = M·T1 with M = V diag(l1, l2) V^-1, V close to the identity, so M[1][1] lies next
// to l2. LAPACK's shifted QR deflates the eigenvalue nearest the trailing diagonal entry
// last, so w[1] = l2 and g = 1/l2. Reciprocity forces det T = 1, hence l1·l2 = 1.
TEST(ComputeGeneralizedSparam, WritesTheReciprocalOfTheSecondEigenvalue)
{
    const C l1(2.0, 1.0);
    const C l2 = 1.0 / l1;
    const C V[4] = {{1.0, 0.0}, {0.1, 0.05}, {-0.05, 0.0}, {1.0, 0.0}};
    C Vinverse[4] = {V[0], V[1], V[2], V[3]};
    Invert2x2(Vinverse);
    const C D[4] = {l1, 0.0, 0.0, l2};
    C VD[4];
    C M[4];
    Multiply(V, D, VD);
    Multiply(VD, Vinverse, M);
    const C b(0.3, 0.1), c(-0.2, 0.4), d(1.5, -0.5);
    const C T1[4] = {(1.0 + b * c) / d, b, c, d};
    C T2[4];
    Multiply(M, T1, T2);

    TempDir dir;
    std::ostringstream log;
    VoraJob job(log);
    job.portCount = 2;
    job.sFile1Format = "RI";
    job.sFile2Format = "RI";
    AddFrequency(job, 1.9999999e9, RecordOf(T1), RecordOf(T2));
    AddFrequency(job, 0.0, RecordOf(T1), RecordOf(T1));
    const Outcome outcome = RunStep(job, dir, log);
    ASSERT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.log, "");

    std::istringstream lines(outcome.output);
    std::string frequency;
    double re = 0.0, im = 0.0;
    lines >> frequency >> re >> im;
    EXPECT_EQ(frequency, "1999999900");
    const C expected = 1.0 / l2;
    EXPECT_LT(std::abs(C(re, im) - expected), 1e-12 * std::abs(expected)) << re << " " << im;
    // Identical networks: T1·T1^-1 = I.
    lines >> frequency >> re >> im;
    EXPECT_EQ(frequency, "0");
    EXPECT_LT(std::abs(C(re, im) - 1.0), 1e-13);
    EXPECT_EQ(outcome.output.substr(outcome.output.find('\n') + 1, 8), "0    1.0");
}

// The same network written as RI (from angles converted with the legacy pi) and as MA or
// dB: only the legacy constant makes the two identical, so that g = 1 to rounding; true pi
// would move g by about 1e-8.
TEST(ComputeGeneralizedSparam, ConvertsAnglesWithTheLegacyPi)
{
    const double magnitudes[8] = {0.3, 0.8, 0.8, 0.5};
    const double degrees[4] = {90.0, -45.0, -45.0, 170.0};
    std::vector<double> ri, ma, db;
    for (int e = 0; e < 4; ++e) {
        const double theta = degrees[e] * 3.1415926 / 180.0;
        ri.insert(ri.end(), {magnitudes[e] * std::cos(theta), magnitudes[e] * std::sin(theta)});
        ma.insert(ma.end(), {magnitudes[e], degrees[e]});
        db.insert(db.end(), {20.0 * std::log10(magnitudes[e]), degrees[e]});
    }
    for (const char* format : {"MA", "db"}) {
        TempDir dir;
        std::ostringstream log;
        VoraJob job(log);
        job.portCount = 2;
        job.sFile1Format = "RI";
        job.sFile2Format = format;
        AddFrequency(job, 1e9, ri, format[0] == 'M' ? ma : db);
        const Outcome outcome = RunStep(job, dir, log);
        ASSERT_EQ(outcome.status, 0) << format;
        std::istringstream lines(outcome.output);
        std::string frequency;
        double re = 0.0, im = 0.0;
        lines >> frequency >> re >> im;
        EXPECT_LT(std::abs(C(re, im) - 1.0), 1e-12) << format << ": " << re << " " << im;
    }
}

TEST(ComputeGeneralizedSparam, RejectsUnknownFormatsAndPortCounts)
{
    struct Case {
        int64_t portCount;
        const char* format1;
        const char* format2;
        const char* log;
    };
    const Case cases[] = {
        {2, "", "RI", "VORA:: Unknown S1 file format.\n"},
        {3, "RI", "RI", "Only 2-port network is support for the Generalized Sparam feature now. \n"},
    };
    for (const Case& c : cases) {
        TempDir dir;
        std::ostringstream log;
        VoraJob job(log);
        job.portCount = c.portCount;
        job.sFile1Format = c.format1;
        job.sFile2Format = c.format2;
        AddFrequency(job, 1e9, std::vector<double>(8, 0.5), std::vector<double>(8, 0.5));
        const Outcome outcome = RunStep(job, dir, log);
        EXPECT_EQ(outcome.status, -1);
        EXPECT_EQ(outcome.log, c.log);
    }
}

}  // namespace
