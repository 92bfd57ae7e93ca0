#include "calibration/SymmetricGeometryCalibration.h"

#include <gtest/gtest.h>

#include <cassert>
#include <cmath>
#include <complex>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "calibration/CalibrationDriver.h"
#include "io/OutputFile.h"
#include "job/CalibrationGroup.h"
#include "job/VoraJob.h"
#include "numerics/Dcm.h"
#include "support/TestData.h"
#include "support/VoraRun.h"

namespace {

const Complex kJ(0.0, 1.0);

// S of an ideal lossless line of impedance Z0 and electrical length theta, referred to R.
LineS IdealLineS(double Z0, double R, double theta) { return ClosedFormLineS(Z0, kJ * theta, R); }

// 2x2 matrices of the form x·I + y·J, J = [[0,1],[1,0]], from their even (x + y) and odd
// (x - y) mode values: symmetric coupled lines.
dcm FromModes(Complex even, Complex odd)
{
    dcm M(2);
    M(0, 0) = M(1, 1) = (even + odd) / 2.0;
    M(0, 1) = M(1, 0) = (even - odd) / 2.0;
    return M;
}

// A job of N ports at the given frequencies, with the run log in `log` and the output
// in a temporary file.
struct TestJob {
    std::ostringstream log;
    TempDir dir;
    std::unique_ptr<VoraJob> job;

    TestJob(int32_t N, const std::vector<double>& frequencies)
    {
        job = std::make_unique<VoraJob>(log);
        job->portCount = N;
        job->calibrationGroups.reserve(8);  // AddGroup hands out references into it
        job->frequencies = frequencies;
        job->frequencyCount = static_cast<int32_t>(frequencies.size());
        job->wholeValues.Reset(2 * static_cast<int64_t>(N) * N);
        job->outputStream = std::make_unique<OutputFile>();
        EXPECT_TRUE(job->outputStream->Open((dir.path() / "out.s4p").string()));
    }

    CalibrationGroup& AddGroup(int32_t armKind, std::vector<int32_t> ports, double R = 50.0)
    {
        assert(job->calibrationGroups.size() < job->calibrationGroups.capacity());
        CalibrationGroup& g = job->calibrationGroups.emplace_back();
        job->calibrationGroupCount = static_cast<int32_t>(job->calibrationGroups.size());
        g.job = job.get();
        g.logStream = &log;
        g.armKind = armKind;
        g.portCount = static_cast<int32_t>(ports.size());
        g.ports = std::move(ports);
        g.firstPort = g.ports.empty() ? 0 : g.ports[0];
        g.portResistances.assign(g.ports.size(), R);
        g.portLineGeometry.assign(4 * g.ports.size(), 1.0);
        g.shortFrequencies = job->frequencies;
        g.openFrequencies = job->frequencies;
        g.shortRecordCount = g.openRecordCount = job->frequencyCount;
        return g;
    }

    std::string Output() const { return ReadFileText(dir.path() / "out.s4p"); }
};

}  // namespace

// Kind 0, one port: an ideal lossless line must come back as its textbook S matrix, by
// the matrix path and by the closed scalar path alike.
TEST(SymmetricGeometryCalibration, OnePortOpenShortGivesTheIdealLineS)
{
    struct Case {
        double Z0, R, theta;
    };
    for (const Case c : {Case{50, 50, 1.2}, Case{75, 50, 0.7}, Case{50, 25, 0.05}}) {
        SCOPED_TRACE(testing::Message() << "Z0 " << c.Z0 << " R " << c.R << " theta " << c.theta);
        TestJob t(1, {1e9, 2e9, 3e9});
        CalibrationGroup& g = t.AddGroup(0, {1}, c.R);
        for (int k = 0; k < 3; ++k) {
            const double theta = c.theta * (k + 1) / 3.0;
            dcm Y(1), Z(1);
            Y(0, 0) = kJ * std::tan(theta) / c.Z0;
            Z(0, 0) = kJ * c.Z0 * std::tan(theta);
            AppendRecord(g.openValues, Y);
            AppendRecord(g.shortValues, Z);
        }
        InitGroupWork(g);
        ASSERT_TRUE(DeriveArmSParameters(g));
        for (size_t k = 0; k < 3; ++k) {
            const LineS s = IdealLineS(c.Z0, c.R, c.theta * static_cast<double>(k + 1) / 3.0);
            for (Complex v : {g.vdcm_Saa[k](0, 0), g.vdcm_Sbb[k](0, 0), g.vc_Saa[k], g.vc_Sbb[k]})
                EXPECT_NEAR(std::abs(v - s.s11), 0.0, 1e-12);
            for (Complex v : {g.vdcm_Sab[k](0, 0), g.vdcm_Sba[k](0, 0), g.vc_Sab[k], g.vc_Sba[k]})
                EXPECT_NEAR(std::abs(v - s.s21), 0.0, 1e-12);
        }
    }
}

// Kind 2: from O = a + b(I - a)^-1 b and H = a - b(I + a)^-1 b the iteration must return
// the arm's a and b (commuting here, so the modal values give O and H by hand); the
// one-port scalar path is run by the whole-run test.
TEST(SymmetricGeometryCalibration, ReflectionIterationRecoversEndReflectionAndTransmission)
{
    struct Arm {
        Complex aEven, aOdd, bEven, bOdd;
    };
    const Complex one(1.0, 0.0);
    auto open = [&](Complex a, Complex b) { return a + b * b / (one - a); };
    auto shorted = [&](Complex a, Complex b) { return a - b * b / (one + a); };
    for (const Arm arm : {Arm{{0.13, 0.03}, {0.07, 0.07}, {0.9, -0.25}, {0.7, -0.35}}}) {
        TestJob t(2, {1e9});
        CalibrationGroup& g = t.AddGroup(2, {1, 2});
        AppendRecord(g.openValues, FromModes(open(arm.aEven, arm.bEven), open(arm.aOdd, arm.bOdd)));
        AppendRecord(g.shortValues, FromModes(shorted(arm.aEven, arm.bEven), shorted(arm.aOdd, arm.bOdd)));
        InitGroupWork(g);
        ASSERT_TRUE(DeriveArmSParameters(g));
        EXPECT_LT(MaxDifference(g.vdcm_Saa[0], FromModes(arm.aEven, arm.aOdd)), 1e-12);
        EXPECT_LT(MaxDifference(g.vdcm_Sbb[0], FromModes(arm.aEven, arm.aOdd)), 1e-12);
        EXPECT_LT(MaxDifference(g.vdcm_Sab[0], FromModes(arm.bEven, arm.bOdd)), 1e-12);
        EXPECT_LT(MaxDifference(g.vdcm_Sba[0], FromModes(arm.bEven, arm.bOdd)), 1e-12);
    }
}

// A known 4-port device behind a coupled kind-0 pair on ports 1 and 3, a one-port kind-2
// arm on port 4 and nothing on port 2: the whole run gives the device back, in memory and
// in the output file, with the log lines of a successful run.
TEST(SymmetricGeometryCalibration, DeembedsAKnownDeviceThroughTheWholeRun)
{
    const int32_t N = 4;
    TestJob t(N, {1e9, 2e9});
    VoraJob& job = *t.job;
    job.freqUnitFactor = 1e9;
    CalibrationGroup& pair = t.AddGroup(0, {1, 3});
    CalibrationGroup& single = t.AddGroup(2, {4});
    pair.shortResonanceFrequency = 7.5e9;

    std::vector<dcm> devices;
    for (int32_t k = 0; k < 2; ++k) {
        const double s = k + 1.0;
        dcm Sd(N);
        for (int32_t r = 0; r < N; ++r)
            for (int32_t c = 0; c < N; ++c)
                Sd(r, c) = Complex(0.05 * (r + c + 1) * s, 0.03 * (r - c) * (r - c) - 0.02 * s * r * c) +
                           (r == c ? Complex(0.1, -0.2 * s) : Complex(0.0, 0.0));
        devices.push_back(Sd);

        // Arms at this frequency: the coupled pair as modal lines, the one-port by (a, b).
        const double te = 0.3 * s, to = 0.25 * s;
        AppendRecord(pair.openValues, FromModes(kJ * std::tan(te) / 60.0, kJ * std::tan(to) / 40.0));
        AppendRecord(pair.shortValues, FromModes(kJ * 60.0 * std::tan(te), kJ * 40.0 * std::tan(to)));
        const LineS e = IdealLineS(60, 50, te), o = IdealLineS(40, 50, to);
        const dcm pairS11 = FromModes(e.s11, o.s11), pairS21 = FromModes(e.s21, o.s21);
        const Complex a(0.05 * s, -0.02), b = std::exp(-kJ * 0.4 * s) * 0.95;
        dcm O(1), H(1);
        O(0, 0) = a + b * b / (1.0 - a);
        H(0, 0) = a - b * b / (1.0 + a);
        AppendRecord(single.openValues, O);
        AppendRecord(single.shortValues, H);

        // The error network by hand, then S = Saa + Sab·Sd·(I - Sbb·Sd)^-1·Sba.
        dcm Eaa(N), Eab(N), Eba(N), Ebb(N);
        Eab(1, 1) = Eba(1, 1) = 1.0;
        const int32_t p[2] = {0, 2};
        for (int i = 0; i < 2; ++i)
            for (int jj = 0; jj < 2; ++jj) {
                Eaa(p[i], p[jj]) = Ebb(p[i], p[jj]) = pairS11(i, jj);
                Eab(p[i], p[jj]) = Eba(p[i], p[jj]) = pairS21(i, jj);
            }
        Eaa(3, 3) = Ebb(3, 3) = a;
        Eab(3, 3) = Eba(3, 3) = b;
        dcm T1, T2, I(N);
        I.SetIdentity();
        Multiply(Ebb, Sd, T1);
        dcm L = I - T1;
        ASSERT_TRUE(Inverse(L, T2));
        Multiply(Sd, T2, T1);
        Multiply(Eab, T1, T2);
        Multiply(T2, Eba, T1);
        AppendRecord(job.wholeValues, Eaa + T1);
    }

    ASSERT_EQ(RunCalibration(job), 0) << t.log.str();
    for (size_t k = 0; k < 2; ++k) EXPECT_LT(MaxDifference(job.vdcm_Sout[k], devices[k]), 1e-12);

    // The run's own lines, as the real binary logs them, are pinned end to end.
    EXPECT_TRUE(t.log.str().ends_with("VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines "
                                      "succesffuly. \n"))
        << t.log.str();
    EXPECT_TRUE(job.calibrationGroups[0].vdcm_Saa.empty()) << "work data released";
}

// Ports outside every group pass through; a port named by two groups keeps the later one.
TEST(SymmetricGeometryCalibration, AssemblyThroughsUnnamedPortsAndLaterGroupWins)
{
    TestJob t(3, {1e9});
    VoraJob& job = *t.job;
    CalibrationGroup& first = t.AddGroup(1, {1, 2});
    CalibrationGroup& second = t.AddGroup(1, {2});
    for (CalibrationGroup* g : {&first, &second}) {
        InitGroupWork(*g);
        const double tag = g == &first ? 1.0 : 2.0;
        for (int32_t i = 0; i < g->portCount; ++i)
            for (int32_t jj = 0; jj < g->portCount; ++jj) {
                g->vdcm_Saa[0](i, jj) = Complex(tag, 10 * i + jj);
                g->vdcm_Sab[0](i, jj) = Complex(tag, 100 + 10 * i + jj);
                g->vdcm_Sba[0](i, jj) = Complex(tag, 200 + 10 * i + jj);
                g->vdcm_Sbb[0](i, jj) = Complex(tag, 300 + 10 * i + jj);
            }
    }
    for (dcm* m : {&job.Saa, &job.Sab, &job.Sba, &job.Sbb}) m->Resize(3);
    AssembleErrorNetwork(job, 0);

    EXPECT_EQ(job.Saa(1, 1), Complex(2, 0));   // the later group's single port
    EXPECT_EQ(job.Sbb(1, 1), Complex(2, 300));
    EXPECT_EQ(job.Saa(0, 1), Complex(1, 1));   // the earlier group's coupling survives
    EXPECT_EQ(job.Sab(1, 0), Complex(1, 110));
    EXPECT_EQ(job.Sba(0, 0), Complex(1, 200));
    for (int32_t i = 0; i < 3; ++i) {          // port 3 is a through
        const Complex through = i == 2 ? Complex(1, 0) : Complex(0, 0);
        EXPECT_EQ(job.Saa(2, i), Complex(0, 0));
        EXPECT_EQ(job.Sbb(i, 2), Complex(0, 0));
        EXPECT_EQ(job.Sab(2, i), through);
        EXPECT_EQ(job.Sba(i, 2), through);
    }
}

// Neighbouring lengths count as the same within one part in a thousand of the earlier
// port's length; every group is numbered, also one that prints nothing.
TEST(SymmetricGeometryCalibration, PortLineReportLengthsAndResonances)
{
    struct Case {
        std::vector<double> lengths;
        const char* verdict;
    };
    for (const Case& c : {Case{{1.0, 1.0009}, "same"}, Case{{1.0, 1.0011}, "different"},
                          Case{{0.01, 0.0099, 0.01}, "different"}}) {
        std::vector<int32_t> ports;
        for (size_t i = 0; i < c.lengths.size(); ++i) ports.push_back(static_cast<int32_t>(i + 1));
        TestJob t(static_cast<int32_t>(ports.size()), {1e9});
        t.job->maxEpr = 4.0;
        t.AddGroup(1, {1});  // group 0 prints nothing but is counted
        CalibrationGroup& g = t.AddGroup(0, ports);
        for (size_t i = 0; i < c.lengths.size(); ++i) g.portLineGeometry[4 * i + 2] = c.lengths[i];
        g.shortResonanceFrequency = 0.0;
        g.openResonanceFrequency = -1.0;
        WritePortLineReport(*t.job);
        std::ostringstream quarter;
        quarter << 3e8 / 2.0 / (4.0 * c.lengths[0]);
        EXPECT_EQ(t.log.str(), "VORA:  For calibration group1, each port line has " + std::string(c.verdict) +
                                   " length, length of line of port 0 = " + (c.lengths[0] == 1.0 ? "1" : "0.01") +
                                   ", frequency at which the length is quarter of wavelength = " + quarter.str() +
                                   "\n"
                                   "VORA:  For calibration group1, first resonant frequency of real(short Z1,1) is "
                                   "out of the simulation frequency range for short Z , first resonant frequency of "
                                   "real(open Y1,1) is out of the simulation frequency range for open Y \n");
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
    for (const Case& c : {Case{2e9 + 0.005, 1, true, {3, 1}, {20, 4}}, Case{2e9 - 0.005, 0, true, {3, 1}, {20, 4}},
                          Case{1.5e9, 1, true, {2, 0}, {15, 2}}, Case{3.5e9, 1, true, {6, 4}, {35, 1}},
                          Case{3.5e9, 7, true, {6, 4}, {35, 1}}, Case{4e9 + 0.005, 2, true, {7, 5}, {40, 0}},
                          Case{4e9 + 0.02, 2, false, {}, {}},
                          Case{0.5e9, 0, false, {}, {}}}) {
        SCOPED_TRACE(testing::Message() << "f " << c.f);
        Complex out[2] = {{-9, -9}, {-9, -9}};
        ASSERT_EQ(LookupArmValues(freqs, table, c.f, c.start, 2, out), c.found);
        if (!c.found) continue;
        EXPECT_NEAR(std::abs(out[0] - c.first), 0.0, 1e-9);
        EXPECT_NEAR(std::abs(out[1] - c.second), 0.0, 1e-9);
    }
    Complex wide[3];
    EXPECT_FALSE(LookupArmValues(freqs, table, 1e9, 0, 3, wide)) << "records narrower than asked";
}

// Inputs the readers normally reject never lead to out-of-bounds access.
TEST(SymmetricGeometryCalibration, RejectsPortsOutsideTheStructure)
{
    for (int32_t badPort : {0, 3, -1}) {
        TestJob t(2, {1e9});
        t.job->wholeValues.Append();
        t.AddGroup(1, {1, badPort});
        EXPECT_EQ(DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines(*t.job), -1);
        EXPECT_NE(t.log.str().find("VORA:: Calibration group 0 names port " + std::to_string(badPort) +
                                   ", outside 1..2\n"),
                  std::string::npos)
            << t.log.str();
    }
}
