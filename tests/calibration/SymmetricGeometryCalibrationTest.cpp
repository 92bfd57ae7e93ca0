// The pieces of the symmetric-geometry calibration. The whole method, run on generated
// jobs with a known device, is pinned end to end (JobgenEndToEnd, Deembedding).

#include "calibration/SymmetricGeometryCalibration.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "CalibrationJobs.h"
#include "io/OutputFile.h"

namespace {

using calibration_jobs::TestJob;

// n = 2: x·I + y·J, J = [[0,1],[1,0]], from the even (x + y) and odd (x - y) mode values of
// symmetric coupled lines; n = 1: the even value alone.
dcm FromModes(int32_t n, Complex even, Complex odd)
{
    dcm M(n);
    if (n == 1) M(0, 0) = even;
    else {
        M(0, 0) = M(1, 1) = (even + odd) / 2.0;
        M(0, 1) = M(1, 0) = (even - odd) / 2.0;
    }
    return M;
}

// A job of N ports at the given frequencies, with an output stream that is never opened.
void Prepare(TestJob& t, int32_t N, const std::vector<double>& frequencies)
{
    t.job.portCount = N;
    t.job.calibrationGroups.reserve(8);  // AddGroup hands out references into it
    t.job.frequencies = frequencies;
    t.job.frequencyCount = static_cast<int32_t>(frequencies.size());
    t.job.wholeValues.Reset(2 * static_cast<int64_t>(N) * N);
    t.job.outputStream = std::make_unique<OutputFile>();
}

CalibrationGroup& AddGroup(TestJob& t, int32_t armKind, const std::vector<int32_t>& ports)
{
    CalibrationGroup& g = calibration_jobs::AddGroup(t.job, ports, t.job.frequencies, {});
    g.armKind = armKind;
    return g;
}

// Kind 2: from O = a + b(I - a)^-1 b and H = a - b(I + a)^-1 b the iteration must return
// the arm's a and b. Commuting modal matrices give O and H by hand. (The generated jobs
// reach this kind only with Z and Y given as if they were S, where no answer comes back.)
TEST(SymmetricGeometryCalibration, ReflectionIterationRecoversEndReflectionAndTransmission)
{
    const Complex aEven(0.13, 0.03), aOdd(0.07, 0.07), bEven(0.9, -0.25), bOdd(0.7, -0.35);
    const auto open = [](Complex a, Complex b) { return a + b * b / (1.0 - a); };
    const auto shorted = [](Complex a, Complex b) { return a - b * b / (1.0 + a); };
    for (int32_t n : {1, 2}) {
        SCOPED_TRACE(n);
        TestJob t;
        Prepare(t, n, {1e9});
        CalibrationGroup& g = AddGroup(t, 2, n == 1 ? std::vector<int32_t>{1} : std::vector<int32_t>{1, 2});
        AppendRecord(g.openValues, FromModes(n, open(aEven, bEven), open(aOdd, bOdd)));
        AppendRecord(g.shortValues, FromModes(n, shorted(aEven, bEven), shorted(aOdd, bOdd)));
        InitGroupWork(g);
        ASSERT_TRUE(DeriveArmSParameters(g));
        const dcm a = FromModes(n, aEven, aOdd), b = FromModes(n, bEven, bOdd);
        EXPECT_LT(MaxDifference(g.vdcm_Saa[0], a), 1e-12);
        EXPECT_LT(MaxDifference(g.vdcm_Sbb[0], a), 1e-12);
        EXPECT_LT(MaxDifference(g.vdcm_Sab[0], b), 1e-12);
        EXPECT_LT(MaxDifference(g.vdcm_Sba[0], b), 1e-12);
    }
}

// A port named by two groups keeps the later one. (Ports outside every group pass through:
// the generated jobs with ports wired straight to the device show that.)
TEST(SymmetricGeometryCalibration, AssemblyLetsTheLaterGroupWin)
{
    TestJob t;
    Prepare(t, 3, {1e9});
    CalibrationGroup& first = AddGroup(t, 1, {1, 2});
    CalibrationGroup& second = AddGroup(t, 1, {2});
    for (CalibrationGroup* g : {&first, &second}) {
        InitGroupWork(*g);
        const double tag = g == &first ? 1.0 : 2.0;
        for (int32_t i = 0; i < g->portCount; ++i)
            for (int32_t j = 0; j < g->portCount; ++j) {
                g->vdcm_Saa[0](i, j) = Complex(tag, 10 * i + j);
                g->vdcm_Sab[0](i, j) = Complex(tag, 100 + 10 * i + j);
                g->vdcm_Sba[0](i, j) = Complex(tag, 200 + 10 * i + j);
                g->vdcm_Sbb[0](i, j) = Complex(tag, 300 + 10 * i + j);
            }
    }
    for (dcm* m : {&t.job.Saa, &t.job.Sab, &t.job.Sba, &t.job.Sbb}) m->Resize(3);
    AssembleErrorNetwork(t.job, 0);

    const VoraJob& job = t.job;
    EXPECT_EQ(job.Saa(1, 1), Complex(2, 0));  // the later group's single port
    EXPECT_EQ(job.Sbb(1, 1), Complex(2, 300));
    EXPECT_EQ(job.Saa(0, 1), Complex(1, 1));  // the earlier group's coupling survives
    EXPECT_EQ(job.Sab(1, 0), Complex(1, 110));
    EXPECT_EQ(job.Sba(0, 0), Complex(1, 200));
}

// Neighbouring lengths count as the same within one part in a thousand of the earlier
// port's length; every group is numbered, also one that prints nothing.
TEST(SymmetricGeometryCalibration, PortLineReportLengthsAndResonances)
{
    struct Case {
        std::vector<double> lengths;
        const char* verdict;
    };
    for (const Case& c : {Case{{1.0, 1.0009, 1.0018}, "same"}, Case{{1.0, 1.0011}, "different"}}) {
        TestJob t;
        Prepare(t, static_cast<int32_t>(c.lengths.size()), {1e9});
        t.job.maxEpr = 4.0;
        AddGroup(t, 1, {1});  // group 0 prints nothing but is counted
        std::vector<int32_t> ports;
        for (size_t i = 0; i < c.lengths.size(); ++i) ports.push_back(static_cast<int32_t>(i + 1));
        CalibrationGroup& g = AddGroup(t, 0, ports);
        for (size_t i = 0; i < c.lengths.size(); ++i) g.portLineGeometry[4 * i + 2] = c.lengths[i];
        g.shortResonanceFrequency = 0.0;
        g.openResonanceFrequency = 2.5e9;
        WritePortLineReport(t.job);
        EXPECT_EQ(t.log.str(), "VORA:  For calibration group1, each port line has " + std::string(c.verdict) +
                                   " length, length of line of port 0 = 1, frequency at which the length is quarter "
                                   "of wavelength = 3.75e+07\n"
                                   "VORA:  For calibration group1, first resonant frequency of real(short Z1,1) is "
                                   "out of the simulation frequency range for short Z , first resonant frequency of "
                                   "real(open Y1,1) = 2.5e+09\n");
    }
}

// A file point within 0.01 Hz is taken as it stands (also past the last point); between
// points each part is interpolated linearly; outside the file the lookup fails.
TEST(SymmetricGeometryCalibration, ArmLookupMatchesOrInterpolates)
{
    const std::vector<double> freqs = {1e9, 2e9, 4e9};
    RecordTable table;
    table.Reset(4);
    const double values[3][4] = {{1, -1, 10, 0}, {3, 1, 20, 4}, {7, 5, 40, 0}};
    for (const auto& v : values) std::copy(v, v + 4, table.Append());

    struct Case {
        double f;
        size_t start;
        bool found;
        Complex first, second;
    };
    for (const Case& c : {Case{2e9 + 0.005, 1, true, {3, 1}, {20, 4}}, Case{1.5e9, 1, true, {2, 0}, {15, 2}},
                          Case{3.5e9, 7, true, {6, 4}, {35, 1}}, Case{4e9 + 0.005, 2, true, {7, 5}, {40, 0}},
                          Case{4e9 + 0.02, 2, false, {}, {}}, Case{0.5e9, 0, false, {}, {}}}) {
        SCOPED_TRACE(testing::Message() << "f " << c.f);
        Complex out[2];
        ASSERT_EQ(LookupArmValues(freqs, table, c.f, c.start, 2, out), c.found);
        if (!c.found) continue;
        EXPECT_LT(std::abs(out[0] - c.first), 1e-9);
        EXPECT_LT(std::abs(out[1] - c.second), 1e-9);
    }
    Complex wide[3];
    EXPECT_FALSE(LookupArmValues(freqs, table, 1e9, 0, 3, wide)) << "records narrower than asked";
}

// Inputs the readers normally reject never lead to out-of-bounds access.
TEST(SymmetricGeometryCalibration, RejectsPortsOutsideTheStructure)
{
    for (int32_t badPort : {0, 3, -1}) {
        TestJob t;
        Prepare(t, 2, {1e9});
        t.job.wholeValues.Append();
        AddGroup(t, 1, {1, badPort});
        EXPECT_EQ(DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines(t.job), -1);
        EXPECT_NE(t.log.str().find("VORA:: Calibration group 0 names port " + std::to_string(badPort) +
                                   ", outside 1..2\n"),
                  std::string::npos)
            << t.log.str();
    }
}

}  // namespace
