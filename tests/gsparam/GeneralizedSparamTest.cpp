#include "gsparam/GeneralizedSparam.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <sstream>
#include <vector>

#include "io/OutputFile.h"
#include "job/VoraJob.h"

namespace {

using C = Complex;

// The Touchstone record (S11, S21, S12, S22 as RI pairs) of the reciprocal 2-port with
// transfer matrix T (row-major, det T = 1): SparamToTransfer must turn it back into T.
std::vector<double> RecordOf(const C* T)
{
    const C S21 = 1.0 / T[3], S11 = T[1] / T[3], S22 = -T[2] / T[3];
    std::vector<double> record;
    for (const C& s : {S11, S21, S21, S22}) record.insert(record.end(), {s.real(), s.imag()});
    return record;
}

void Multiply(const C* A, const C* B, C* P)
{
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 2; ++c) P[2 * r + c] = A[2 * r] * B[c] + A[2 * r + 1] * B[2 + c];
}

// Runs the step on 2-port RI records (pairs of file 1 and file 2, one per frequency).
int32_t RunStep(VoraJob& job, const std::vector<double>& frequencies, const std::vector<std::vector<double>>& records)
{
    job.sFile1Format = job.sFile2Format = "RI";
    job.sFile1Values.Reset(8);
    job.sFile2Values.Reset(8);
    for (size_t k = 0; k < frequencies.size(); ++k) {
        std::copy(records[2 * k].begin(), records[2 * k].end(), job.sFile1Values.Append());
        std::copy(records[2 * k + 1].begin(), records[2 * k + 1].end(), job.sFile2Values.Append());
    }
    job.frequencies = frequencies;
    job.frequencyCount = static_cast<int32_t>(frequencies.size());
    return ComputeGeneralizedSparam(job);
}

// T2 = M·T1 with M = V diag(l1, l2) V^-1, V close to the identity, so M[1][1] lies next
// to l2. LAPACK's shifted QR deflates the eigenvalue nearest the trailing diagonal entry
// last, so w[1] = l2 and g = 1/l2. Reciprocity forces det T = 1, hence l1·l2 = 1.
// The angle conversion of the MA and dB formats is pinned end to end (GeneralizedMode).
TEST(ComputeGeneralizedSparam, WritesTheReciprocalOfTheSecondEigenvalue)
{
    const C l1(2.0, 1.0);
    const C l2 = 1.0 / l1;
    const C V[4] = {{1.0, 0.0}, {0.1, 0.05}, {-0.05, 0.0}, {1.0, 0.0}};
    C Vinverse[4] = {V[0], V[1], V[2], V[3]};
    Invert2x2(Vinverse);
    const C D[4] = {l1, 0.0, 0.0, l2};
    C VD[4], M[4], T2[4];
    Multiply(V, D, VD);
    Multiply(VD, Vinverse, M);
    const C b(0.3, 0.1), c(-0.2, 0.4), d(1.5, -0.5);
    const C T1[4] = {(1.0 + b * c) / d, b, c, d};
    Multiply(M, T1, T2);

    std::ostringstream log;
    VoraJob job(log);
    job.portCount = 2;
    ASSERT_EQ(RunStep(job, {1e9, 2e9}, {RecordOf(T1), RecordOf(T2), RecordOf(T1), RecordOf(T1)}), 0);
    EXPECT_EQ(log.str(), "");
    const std::vector<C>& g = job.generalizedValues;
    ASSERT_EQ(g.size(), 2u);
    EXPECT_LT(std::abs(g[0] - 1.0 / l2), 1e-12 * std::abs(1.0 / l2)) << g[0];
    // Identical networks: T1·T1^-1 = I.
    EXPECT_LT(std::abs(g[1] - 1.0), 1e-13);

    // Only two ports are handled; the command line always sets two, so only here.
    log.str("");
    job.portCount = 3;
    EXPECT_EQ(RunStep(job, {1e9}, {RecordOf(T1), RecordOf(T1)}), -1);
    EXPECT_EQ(log.str(), "Only 2-port network is support for the Generalized Sparam feature now. \n");
}

// The frequencies are solved in two processes at once, each taking the next run of them
// when free; the step still stops at the first failing frequency in file order, with every
// value before it kept: a zero S21 (no transfer matrix) once, or twice far apart.
TEST(ComputeGeneralizedSparam, StopsAtTheFirstFailingFrequencyOfAll)
{
    const C T[4] = {{1.0, 0.0}, {0.0, 0.0}, {0.0, 0.0}, {1.0, 0.0}};
    const std::vector<double> through = RecordOf(T);
    const std::vector<double> open = {1, 0, 0, 0, 0, 0, 1, 0};  // S21 = S12 = 0
    constexpr size_t kCount = 10000;
    for (const std::vector<size_t>& failing : {std::vector<size_t>{7000}, std::vector<size_t>{3000, 7000}}) {
        std::vector<double> frequencies;
        std::vector<std::vector<double>> records;
        for (size_t k = 0; k < kCount; ++k) {
            frequencies.push_back(1e6 * static_cast<double>(k + 1));
            const bool fails = std::find(failing.begin(), failing.end(), k) != failing.end();
            records.push_back(fails ? open : through);
            records.push_back(through);
        }
        std::ostringstream log;
        VoraJob job(log);
        job.portCount = 2;
        EXPECT_EQ(RunStep(job, frequencies, records), -1);
        const size_t first = failing.front();
        EXPECT_EQ(log.str(), "VORA:: Fail to solve the eigenvalue problem in calculating Generalized Sparam: "
                             "the matrix is not finite at frequency id : " +
                                 std::to_string(first + 1) + "\n");
        ASSERT_EQ(job.generalizedValues.size(), first);
        EXPECT_LT(std::abs(job.generalizedValues.back() - 1.0), 1e-13);
    }
}

}  // namespace
