// The port-line analysis. The program runs AnalysePortLines with method code 0 only (every
// other code takes the noise-process walk): the two walks, the resonance search and the
// conductor model are what reaches the arm data. ArmReplacement pins the walks end to end
// on generated jobs with equal port lines.

#include "calibration/PortLineAnalysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "job/CalibrationGroup.h"

namespace {

const std::string kFindingError = "VORA:: Port Resonace Frequency finding error\n";
const std::string kGeometryError = "VORA:: Port wtls error or KRN calculated Z error, check your setup\n";

// A group of n ports whose short and open files share `frequencies`; record k of each arm
// is filled by the given functions of (k, value position).
struct TestGroup {
    std::ostringstream log;
    CalibrationGroup group;

    TestGroup(int32_t n, const std::vector<double>& frequencies,
              const std::function<double(size_t, int64_t)>& shortValue,
              const std::function<double(size_t, int64_t)>& openValue)
    {
        group.logStream = &log;
        group.portCount = n;
        group.firstPort = 7;
        for (int32_t i = 0; i < n; ++i) group.ports.push_back(7 + i);
        group.portLineGeometry.assign(4 * static_cast<size_t>(n), 1.0);
        group.shortFrequencies = frequencies;
        group.openFrequencies = frequencies;
        group.commonFrequencies = frequencies;
        group.shortRecordCount = group.openRecordCount = group.commonFrequencyCount =
            static_cast<int32_t>(frequencies.size());
        const int64_t width = 2 * static_cast<int64_t>(n) * n;
        group.shortValues.Reset(width);
        group.openValues.Reset(width);
        for (size_t k = 0; k < frequencies.size(); ++k) {
            double* s = group.shortValues.Append();
            double* o = group.openValues.Append();
            for (int64_t j = 0; j < width; ++j) {
                s[j] = shortValue(k, j);
                o[j] = openValue(k, j);
            }
        }
    }
    static std::vector<double> Record(const RecordTable& table, size_t k) { return {table[k], table[k] + table.width()}; }
    std::vector<double> Short(size_t k) const { return Record(group.shortValues, k); }
    std::vector<double> Open(size_t k) const { return Record(group.openValues, k); }
};

std::vector<double> Frequencies(size_t count, double step)
{
    std::vector<double> f;
    for (size_t k = 0; k < count; ++k) f.push_back(static_cast<double>(k + 1) * step);
    return f;
}

// Distinct, recognisable values: record k, position j.
double Pattern(size_t k, int64_t j) { return 1.0 + 0.1 * static_cast<double>(k) + 0.01 * static_cast<double>(j); }

// resonance search -----------------------------------------------------------------

TEST(FindPortResonance, FindsTheFirstMaximumOfTheRealPartByItsPosition)
{
    struct Case {
        const char* name;
        std::function<double(size_t)> realPart;  // over 100 points
        int peak;                                // expected index, -1: none
        std::string log;
    };
    const std::string early = "VORA:: Find Port7 Resonance Frequency at early stage\n";
    // Rises to `top`, drops once, then rises again for good.
    const auto peakAt = [](size_t top) {
        return [top](size_t k) { return k <= top ? double(k) : double(k) - 1000.0; };
    };
    const std::vector<Case> cases = {
        {"at the first point past a tenth", peakAt(10), 10, ""},
        {"at the last point of the first tenth", peakAt(9), 9, early},
        {"just past 2 %", peakAt(2), 2, early},
        {"within the first 2 %", peakAt(1), -1, kFindingError},
        {"monotonic rise", [](size_t k) { return double(k); }, -1, kFindingError},
        {"flat stretch", [](size_t k) { return k < 40 ? double(k) : 40.0; }, -1, kFindingError},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TestGroup t(1, Frequencies(100, 1e9), [&](size_t k, int64_t j) { return j == 0 ? c.realPart(k) : 5.0; },
                    [](size_t, int64_t) { return 1.0; });
        const double f = FindPortResonance(t.group, 1);
        EXPECT_EQ(f, c.peak < 0 ? -1.0 : t.group.shortFrequencies[static_cast<size_t>(c.peak)]);
        EXPECT_EQ(t.log.str(), c.log);
    }
}

TEST(FindPortResonance, SearchesTheOpenSeriesForWhichZeroAndOnlyFromModeTwo)
{
    TestGroup t(1, Frequencies(100, 1e9), [](size_t k, int64_t) { return k < 40 ? double(k) : 0.0; },
                [](size_t k, int64_t) { return k < 60 ? double(k) : 0.0; });
    EXPECT_EQ(FindPortResonance(t.group, 1), 40e9);
    EXPECT_EQ(FindPortResonance(t.group, 0), 60e9);
    // Modes below two return twice the upper limit without searching.
    t.group.methodCode = 1;
    t.group.freqE = 3.5e9;
    EXPECT_EQ(FindPortResonance(t.group, 1), 7e9);
    EXPECT_EQ(t.log.str(), "");
}

TEST(FindPortResonance, FailsOnTooFewPointsAndOnMissingRecords)
{
    TestGroup one(1, Frequencies(1, 1e9), Pattern, Pattern);
    EXPECT_EQ(FindPortResonance(one.group, 1), -1.0);
    TestGroup t(1, Frequencies(30, 1e9), [](size_t k, int64_t) { return k < 20 ? double(k) : 0.0; }, Pattern);
    t.group.shortFrequencies.push_back(31e9);  // a frequency without its record
    EXPECT_EQ(FindPortResonance(t.group, 1), -1.0);
    EXPECT_EQ(t.log.str(), kFindingError);
}

// conductor resistance model -------------------------------------------------------

// The model in long double, coefficients by Horner's rule, for one geometry.
struct ReferenceModel {
    long double A, p, q, Rdc, fc;
    ReferenceModel(long double w, long double t, long double l, long double s)
    {
        long double a = w / t - 1;
        if (a < 0) a = t / w - 1;
        const bool narrow = a < 20;
        const long double c[] = {narrow ? 1.3858L : 1.63233L, narrow ? 0.0368L : -0.000901826L,
                                 narrow ? -0.00276L : -1.48158e-5L, narrow ? 0.000104102L : 1.12321e-7L,
                                 narrow ? -1.63173e-6L : -2.32915e-10L};
        const long double d[] = {narrow ? 12.12603L : 14.51308L, narrow ? 0.30968L : 1.49383e-5L,
                                 narrow ? -0.01404L : -0.000250584L, narrow ? 7.19966e-5L : 1.67409e-6L,
                                 narrow ? 6.8995e-6L : -3.44377e-9L};
        A = (((c[4] * a + c[3]) * a + c[2]) * a + c[1]) * a + c[0] - 1;
        const long double B = (((d[4] * a + d[3]) * a + d[2]) * a + d[1]) * a + d[0] - 10;
        p = log10l(A / B);
        q = 1 / (2 * A);
        Rdc = l / (t * w * s);
        const long double r = w * t / (2 * (t + w));
        fc = 1.5915e6L / (r * r * s);
    }
    long double R(long double x) const
    {
        const long double X = x * 6.283185307179L / fc;
        return X <= 1 ? Rdc * (1 + A * powl(X, q - p / 2)) : Rdc * (sqrtl(X) + A * powl(X, -p / 2));
    }
};

TEST(PortLineResistance, MatchesTheModelOnBothSidesOfTheAspectThreshold)
{
    struct Case {
        const char* name;
        double w, t;
    };
    const Case cases[] = {
        {"w below t", 35e-6, 100e-6},
        {"aspect exactly 20", 21.0 / 1048576.0, 1.0 / 1048576.0},  // exact in binary
        {"wide strip", 1e-3, 35e-6},
    };
    CalibrationGroup group;
    std::ostringstream log;
    group.logStream = &log;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const double g[4] = {c.w, c.t, 0.01, 5.8e7};
        const ReferenceModel model(c.w, c.t, 0.01L, 5.8e7L);
        const double corner = static_cast<double>(model.fc / 6.283185307179L);
        for (double f : {1e6, 4e10, 0.7 * corner, 1.3 * corner}) {
            const double fRef = 2e9;
            const double measured = static_cast<double>(model.R(fRef)) * 1.25;
            const long double expected = measured - model.R(fRef) + model.R(f);
            const double got = PortLineResistance(group, g, fRef, measured, f, 1e30);
            EXPECT_NEAR(got, static_cast<double>(expected), 1e-11 * static_cast<double>(expected)) << f;
            // The value measured at f caps the result.
            EXPECT_EQ(PortLineResistance(group, g, fRef, measured, f, 0.5 * got), 0.5 * got) << f;
        }
    }
    EXPECT_EQ(log.str(), "");
    // A measured value below the model's is an error of the setup: the model alone, capped.
    const double g[4] = {1e-3, 35e-6, 0.01, 5.8e7};
    const double model = PortLineResistance(group, g, 2e9, 0.0, 4e9, 1e30);
    const double reference = static_cast<double>(ReferenceModel(1e-3L, 35e-6L, 0.01L, 5.8e7L).R(4e9L));
    EXPECT_NEAR(model, reference, 1e-11 * reference);
    EXPECT_EQ(PortLineResistance(group, g, 2e9, 0.0, 4e9, 0.5 * model), 0.5 * model);
    EXPECT_EQ(log.str(), kGeometryError + kGeometryError);
}

// the walks ------------------------------------------------------------------------

// Two ports at 1..6 GHz, lower limit 2.5 GHz, upper limit 4.5 GHz; each port its own line.
// The diagonal short resistances (positions 0 and 6) lie far above the model's rise, so the
// measured cap never decides them.
TestGroup MakeTwoPortLines()
{
    TestGroup t(2, Frequencies(6, 1e9), [](size_t k, int64_t j) { return j % 6 == 0 ? 50.0 + k : Pattern(k, j); },
                [](size_t k, int64_t j) { return 2.0 * Pattern(k, j); });
    t.group.freqD = 2.5e9;
    t.group.freqE = 4.5e9;
    t.group.portLineGeometry = {100e-6, 35e-6, 0.01, 5.8e7, 60e-6, 35e-6, 0.02, 4e7};
    return t;
}

// The two walks the program runs (mode 0, and the noise process for every other code) give
// the same arm data: points below the lower limit as measured (a point on the limit counts
// as above it), every point above from the last one below: reactances scaled with the
// frequency, real parts held, except that the short arm's diagonal resistance follows the
// conductor model of the port at that position (0 and 6 in a two-port record).
TEST(AnalysePortLines, BothWalksExtrapolateFromTheLastPointBelowTheLimitWithEachPortsLine)
{
    for (int32_t methodCode : {0, 3}) {
        SCOPED_TRACE(methodCode);
        TestGroup t = MakeTwoPortLines();
        const TestGroup original = MakeTwoPortLines();
        t.group.methodCode = methodCode;
        t.group.freqD = 3e9;
        ASSERT_EQ(methodCode == 0 ? AnalysePortLines(t.group) : AnalysePortLinesNoiseProcess(t.group), 0);
        EXPECT_EQ(t.log.str(), "");
        const size_t kLow = 1;  // 2 GHz
        const double fLow = 2e9, *g = original.group.portLineGeometry.data();
        for (size_t k = 0; k < 6; ++k) {
            SCOPED_TRACE(k);
            const std::vector<double> s = t.Short(k), o = t.Open(k);
            if (k <= kLow) {
                EXPECT_EQ(s, original.Short(k));
                EXPECT_EQ(o, original.Open(k));
                continue;
            }
            const double f = double(k + 1) * 1e9;
            const std::vector<double> low = original.Short(kLow), measured = original.Short(k);
            for (int64_t j = 0; j < 8; ++j) {
                const double ratio = j % 2 == 1 ? f / fLow : 1.0;
                EXPECT_DOUBLE_EQ(o[j], 2.0 * Pattern(kLow, j) * ratio) << j;
                if (j % 6 != 0) {
                    EXPECT_DOUBLE_EQ(s[j], low[j] * ratio) << j;
                }
            }
            for (int64_t j : {0, 6}) {
                const double model = PortLineResistance(original.group, g + 4 * (j / 6), fLow, low[j], f, 1e30);
                EXPECT_LT(model, measured[j]);
                EXPECT_EQ(s[j], model);
            }
            // Not the other port's line.
            EXPECT_NE(s[6], PortLineResistance(original.group, g, fLow, low[6], f, 1e30));
        }
    }
}

// A short low-loss line (Z0 = 50 ohm, 2 mm, effective permittivity 4: at most 0.17 rad at
// 2 GHz): Zshort = Rs + j·Z0·tan(βl), Yopen = Gp + j·tan(βl)/Z0. Above the limit the measured
// reactances are spoiled (as a resonance would); both walks must bring back the line's own
// values there, to what a reactance proportional to f misses tan(βl) by (under 1.5 %).
TEST(AnalysePortLines, ExtrapolatedArmsFollowALowLossLine)
{
    const double Z0 = 50.0, Rs = 2.0, Gp = 1e-4;
    const auto tanBl = [](double f) { return std::tan(2.0 * M_PI * f * 2.0 / 3e8 * 2e-3); };
    const auto line = [&](double f, bool bShort) {
        return bShort ? std::complex<double>(Rs, Z0 * tanBl(f)) : std::complex<double>(Gp, tanBl(f) / Z0);
    };
    const std::vector<double> f = Frequencies(10, 0.2e9);
    for (int32_t methodCode : {0, 3}) {
        SCOPED_TRACE(methodCode);
        const auto measured = [&](bool bShort) {
            return [&, bShort](size_t k, int64_t j) {
                const std::complex<double> v = line(f[k], bShort);
                return j == 0 ? v.real() : (f[k] > 1.1e9 ? -3.0 : 1.0) * v.imag();
            };
        };
        TestGroup t(1, f, measured(true), measured(false));
        t.group.methodCode = methodCode;
        t.group.freqD = 1.1e9;
        t.group.portLineGeometry = {100e-6, 35e-6, 2e-3, 5.8e7};
        ASSERT_EQ(methodCode == 0 ? AnalysePortLines(t.group) : AnalysePortLinesNoiseProcess(t.group), 0);
        EXPECT_EQ(t.log.str(), "");
        for (size_t k = 0; k < f.size(); ++k) {
            for (const bool bShort : {true, false}) {
                const std::vector<double> v = bShort ? t.Short(k) : t.Open(k);
                const std::complex<double> expected = line(f[k], bShort);
                EXPECT_LT(std::abs(std::complex<double>(v[0], v[1]) - expected), 0.015 * std::abs(expected))
                    << (bShort ? "short " : "open ") << f[k];
            }
        }
        EXPECT_EQ(t.group.extrapolatedFrequencies.size(), 5u);  // 1.2 to 2 GHz
    }
}

TEST(ExtrapolateArmPoint, MissingRecordsOrGeometryFailTheStep)
{
    TestGroup t = MakeTwoPortLines();
    EXPECT_EQ(ExtrapolateArmPoint(t.group, 7e9, 1, 6, 8), -1);
    EXPECT_EQ(t.log.str(), "VORA:: Port line analysis has no arm record for frequency point 6\n");
    t.log.str("");
    EXPECT_EQ(ExtrapolateArmPoint(t.group, 6e9, 1, 5, 9), -1);  // wider than a record
    EXPECT_EQ(ExtrapolateFromReferencePoint(t.group, 6e9, 1, 5, 8, true), 0);
    t.group.portLineGeometry.resize(4);
    t.log.str("");
    EXPECT_EQ(ExtrapolateFromReferencePoint(t.group, 6e9, 1, 5, 8, true), -1);
    EXPECT_EQ(t.log.str(), "VORA:: Port line analysis has no w, t, l, s for every port of group port 7\n");
}

TEST(AnalysePortLines, TooFewPointsLeaveTheGroupAloneAndMissingRecordsFail)
{
    TestGroup one(2, Frequencies(1, 1e9), Pattern, Pattern);
    one.group.freqD = 0.0;
    EXPECT_EQ(AnalysePortLines(one.group), 0);
    EXPECT_EQ(one.Short(0)[1], Pattern(0, 1));

    TestGroup t = MakeTwoPortLines();
    t.group.commonFrequencies.push_back(7e9);  // more common points than records
    EXPECT_EQ(AnalysePortLines(t.group), -1);
    EXPECT_TRUE(t.log.str().ends_with("VORA:: Port line analysis has no arm record for frequency point 6\n"));
}

}  // namespace
