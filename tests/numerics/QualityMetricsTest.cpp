#include "numerics/QualityMetrics.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>

namespace {

// A two-port delay line over `points` frequencies, 0.05 rad of delay per step, with its
// transmissions scaled: S21 = t21·e^{∓jωτ}, S12 = t12·e^{∓jωτ} (sign + for a reversed delay).
QualityMeasures MeasureLine(double t21, double t12, bool bReversed, int points = 401)
{
    QualityAccumulator accumulator(2);
    dcm S(2);
    for (int k = 0; k < points; ++k) {
        const double phase = 0.05 * k;
        const Complex delay = std::polar(1.0, bReversed ? phase : -phase);
        S(1, 0) = t21 * delay;
        S(0, 1) = t12 * delay;
        accumulator.Add(S);
    }
    return accumulator.Finish();
}

TEST(QualityMetrics, DelayLinesScoreTheirClosedForms)
{
    struct Case {
        const char* name;
        double t21, t12;
        bool bReversed;
        double pm, pqm, rm, rqm, cqm;
        QualityClass passivity, reciprocity, causality;
    };
    using Q = QualityClass;
    const Case cases[] = {
        {"ideal", 1.0, 1.0, false, 1.0, 100.0, 0.0, 100.0, 100.0, Q::Good, Q::Good, Q::Good},
        {"scaled by 1.05", 1.05, 1.05, false, 1.05, 50.01, 0.0, 100.0, 100.0, Q::Poor, Q::Good, Q::Good},
        // PW = (1.01 - A)/B = 0.0999 and RW = (0.01 - C)/B = 0.09999 at every point.
        {"S12 = 1.01 S21", 1.0, 1.01, false, 1.01, 90.01, 0.01, 90.001, 100.0, Q::Inconclusive, Q::Inconclusive,
         Q::Good},
        {"time-reversed", 1.0, 1.0, true, 1.0, 100.0, 0.0, 100.0, 0.0, Q::Good, Q::Good, Q::Poor},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const QualityMeasures q = MeasureLine(c.t21, c.t12, c.bReversed);
        ASSERT_EQ(q.pointCount, 401u);
        for (double pm : q.largestSingularValues) EXPECT_NEAR(pm, c.pm, 1e-12);
        for (double rm : q.reciprocityMeasures) EXPECT_NEAR(rm, c.rm, 1e-12);
        EXPECT_NEAR(q.passivityScore, c.pqm, 1e-9);
        EXPECT_NEAR(q.reciprocityScore, c.rqm, 1e-9);
        EXPECT_NEAR(q.causalityScore, c.cqm, 1e-9);
        EXPECT_EQ(ClassifyPassivityOrReciprocity(q.passivityScore), c.passivity);
        EXPECT_EQ(ClassifyPassivityOrReciprocity(q.reciprocityScore), c.reciprocity);
        EXPECT_EQ(ClassifyCausality(q.causalityScore), c.causality);
        EXPECT_NEAR(q.passivityWorstValue, c.pm, 1e-12);
        EXPECT_NEAR(q.reciprocityWorstValue, c.rm, 1e-12);
    }
}

TEST(QualityMetrics, WorstPointsAndElementsAreTheOnesThatFail)
{
    // An ideal line with one point of S21 pushed out to 1.5: passivity and reciprocity are
    // worst there, causality worst on S21 (S11, S22 and S12 do not turn the wrong way).
    QualityAccumulator accumulator(2);
    dcm S(2);
    for (int k = 0; k < 50; ++k) {
        const Complex delay = std::polar(1.0, -0.05 * k);
        S(0, 1) = delay;
        S(1, 0) = k == 30 ? 1.5 * delay : delay;
        accumulator.Add(S);
    }
    const QualityMeasures q = accumulator.Finish();
    EXPECT_EQ(q.passivityWorstPoint, 30u);
    EXPECT_NEAR(q.passivityWorstValue, 1.5, 1e-12);
    EXPECT_EQ(q.reciprocityWorstPoint, 30u);
    EXPECT_EQ(q.reciprocityWorstRow, 0);
    EXPECT_EQ(q.reciprocityWorstColumn, 1);
    EXPECT_EQ(q.causalityWorstRow, 1);
    EXPECT_EQ(q.causalityWorstColumn, 0);
    EXPECT_LT(q.causalityScore, 100.0);
    EXPECT_TRUE(q.causalityWorstPoint == 29u || q.causalityWorstPoint == 30u || q.causalityWorstPoint == 31u);
}

TEST(QualityMetrics, ThresholdsTakeTheLowerClass)
{
    using Q = QualityClass;
    const struct {
        double score;
        Q passivity, causality;
    } cases[] = {
        {100.0, Q::Good, Q::Good},        {99.9, Q::Acceptable, Q::Good},   {99.0, Q::Inconclusive, Q::Good},
        {80.0, Q::Poor, Q::Acceptable},   {50.0, Q::Poor, Q::Inconclusive}, {20.0, Q::Poor, Q::Poor},
        {std::nan(""), Q::Poor, Q::Poor},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ClassifyPassivityOrReciprocity(c.score), c.passivity) << c.score;
        EXPECT_EQ(ClassifyCausality(c.score), c.causality) << c.score;
    }
}

TEST(QualityMetrics, NonFiniteValuesAndOnePortsScoreAsTheyShould)
{
    QualityAccumulator twoPort(2);
    dcm S(2);
    for (int k = 0; k < 10; ++k) {
        S(0, 1) = S(1, 0) = std::polar(0.5, -0.1 * k);
        if (k == 4)
            S(0, 0) = Complex(std::numeric_limits<double>::infinity(), 0.0);
        else
            S(0, 0) = 0.0;
        twoPort.Add(S);
    }
    const QualityMeasures q = twoPort.Finish();
    EXPECT_NEAR(q.passivityScore, 0.0, 0.0);  // one infinite point costs everything
    EXPECT_EQ(q.passivityWorstPoint, 4u);
    EXPECT_EQ(q.causalityScore, 0.0);

    QualityAccumulator onePort(1);
    dcm r(1);
    for (int k = 0; k < 10; ++k) {
        r(0, 0) = std::polar(0.9, -0.2 * k);
        onePort.Add(r);
    }
    const QualityMeasures one = onePort.Finish();
    EXPECT_FALSE(one.bReciprocity);
    EXPECT_TRUE(one.reciprocityMeasures.empty());
    EXPECT_NEAR(one.passivityScore, 100.0, 1e-12);
    EXPECT_NEAR(one.causalityScore, 100.0, 1e-12);
}

}  // namespace
