#include "numerics/QualityMetrics.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "numerics/LapackBindings.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

bool IsFinite(const dcm& S)
{
    for (size_t e = 0; e < S.Size(); ++e)
        if (!std::isfinite(S.data[e].real()) || !std::isfinite(S.data[e].imag())) return false;
    return true;
}

// The singular values of S and of its transpose are the same, so the row-major matrix goes
// to LAPACK as it is.
double LargestSingularValueWith(const dcm& S, std::vector<Complex>& a, std::vector<double>& s,
                                std::vector<Complex>& work, std::vector<double>& realWork)
{
    const int n = S.n;
    if (n == 0) return 0.0;
    if (!IsFinite(S)) return kInfinity;
    if (n == 1) return std::abs(S.data[0]);
    a.assign(S.data, S.data + S.Size());
    s.resize(static_cast<size_t>(n));
    realWork.resize(5 * static_cast<size_t>(n));
    if (work.empty()) {
        Complex query;
        const int ask = -1;
        int info = 0;
        zgesvd_("N", "N", &n, &n, a.data(), &n, s.data(), nullptr, &n, nullptr, &n, &query, &ask, realWork.data(),
                &info);
        work.resize(static_cast<size_t>(std::max(query.real(), 3.0 * n)));
    }
    const int lwork = static_cast<int>(work.size());
    int info = 0;
    zgesvd_("N", "N", &n, &n, a.data(), &n, s.data(), nullptr, &n, nullptr, &n, work.data(), &lwork, realWork.data(),
            &info);
    // Unconverged singular values (info > 0) leave the largest one unproven: counted as failing.
    return info == 0 ? s[0] : kInfinity;
}

// PQM and RQM: max(Nf - sum W, 0) / Nf * 100 with W = (M - allowance) / B where M > allowance.
double WeightedScore(const std::vector<double>& measures, double allowance)
{
    if (measures.empty()) return 100.0;
    double sum = 0.0;
    for (double m : measures)
        if (!(m <= allowance)) sum += (m - allowance) / kQualityWeightScale;  // NaN counts as failing
    const double count = static_cast<double>(measures.size());
    if (std::isnan(sum)) sum = kInfinity;
    return std::max(count - sum, 0.0) / count * 100.0;
}

}  // namespace

const char* QualityClassName(QualityClass c)
{
    switch (c) {
        case QualityClass::Good: return "Good";
        case QualityClass::Acceptable: return "Acceptable";
        case QualityClass::Inconclusive: return "Inconclusive";
        case QualityClass::Poor: break;
    }
    return "Poor";
}

QualityClass ClassifyPassivityOrReciprocity(double score)
{
    if (score > 99.9) return QualityClass::Good;
    if (score > 99.0) return QualityClass::Acceptable;
    if (score > 80.0) return QualityClass::Inconclusive;
    return QualityClass::Poor;
}

QualityClass ClassifyCausality(double score)
{
    if (score > 80.0) return QualityClass::Good;
    if (score > 50.0) return QualityClass::Acceptable;
    if (score > 20.0) return QualityClass::Inconclusive;
    return QualityClass::Poor;
}

double LargestSingularValue(const dcm& S)
{
    std::vector<Complex> a, work;
    std::vector<double> s, realWork;
    return LargestSingularValueWith(S, a, s, work, realWork);
}

QualityAccumulator::QualityAccumulator(int32_t n) : n_(n)
{
    const size_t elements = static_cast<size_t>(n) * static_cast<size_t>(n);
    previous_.assign(elements, Complex());
    previousStep_.assign(elements, Complex());
    positiveTurn_.assign(elements, 0.0);
    totalTurn_.assign(elements, 0.0);
    mostNegativeTurn_.assign(elements, 0.0);
    mostNegativePoint_.assign(elements, QualityMeasures::kNoPoint);
}

void QualityAccumulator::Add(const dcm& S)
{
    const int32_t n = n_;
    const size_t k = points_++;
    largestSingularValues_.push_back(LargestSingularValueWith(S, a_, singularValues_, work_, realWork_));

    if (n >= 2) {
        double sum = 0.0;
        for (int32_t r = 0; r < n; ++r) {
            for (int32_t c = r + 1; c < n; ++c) {
                const double d = std::abs(S(r, c) - S(c, r));
                sum += d;
                const bool bWorse = reciprocityWorstPoint_ == QualityMeasures::kNoPoint ||
                                    d > reciprocityWorstValue_ ||
                                    (std::isnan(d) && !std::isnan(reciprocityWorstValue_));
                if (bWorse) {
                    reciprocityWorstValue_ = d;
                    reciprocityWorstPoint_ = k;
                    reciprocityWorstRow_ = r;
                    reciprocityWorstColumn_ = c;
                }
            }
        }
        reciprocityMeasures_.push_back(sum / (0.5 * n * (n - 1)));
    }

    // R of the step before and this one: positive where the locus turns clockwise, as a
    // delay e^{-jωτ} does with rising frequency.
    for (size_t e = 0; e < S.Size(); ++e) {
        const Complex value = S.data[e];
        if (k >= 1) {
            const Complex step = value - previous_[e];
            if (k >= 2) {
                const double turn = std::imag(previousStep_[e] * std::conj(step));
                if (turn > 0.0) positiveTurn_[e] += turn;
                totalTurn_[e] += std::abs(turn);
                if (turn < mostNegativeTurn_[e]) {
                    mostNegativeTurn_[e] = turn;
                    mostNegativePoint_[e] = k - 1;
                }
            }
            previousStep_[e] = step;
        }
        previous_[e] = value;
    }
}

QualityMeasures QualityAccumulator::Finish() const
{
    QualityMeasures q;
    q.portCount = n_;
    q.pointCount = points_;
    q.largestSingularValues = largestSingularValues_;
    q.reciprocityMeasures = reciprocityMeasures_;

    q.passivityScore = WeightedScore(largestSingularValues_, kPassivityAllowance);
    for (size_t k = 0; k < largestSingularValues_.size(); ++k) {
        const double pm = largestSingularValues_[k];
        if (q.passivityWorstPoint == QualityMeasures::kNoPoint || pm > q.passivityWorstValue) {
            q.passivityWorstPoint = k;
            q.passivityWorstValue = pm;
        }
    }

    q.bReciprocity = n_ >= 2;
    if (q.bReciprocity) {
        q.reciprocityScore = WeightedScore(reciprocityMeasures_, kReciprocityAllowance);
        q.reciprocityWorstPoint = reciprocityWorstPoint_;
        q.reciprocityWorstValue = reciprocityWorstValue_;
        q.reciprocityWorstRow = reciprocityWorstRow_;
        q.reciprocityWorstColumn = reciprocityWorstColumn_;
    }

    for (size_t e = 0; e < totalTurn_.size(); ++e) {
        // An element with a non-finite value has NaN sums: it fails outright.
        double score = 100.0;
        if (std::isnan(totalTurn_[e]) || std::isnan(positiveTurn_[e]))
            score = 0.0;
        else if (totalTurn_[e] > 0.0)
            score = std::max(positiveTurn_[e] / totalTurn_[e], 0.0) * 100.0;
        if (e == 0 || score < q.causalityScore) {
            q.causalityScore = score;
            q.causalityWorstRow = static_cast<int32_t>(e / static_cast<size_t>(n_));
            q.causalityWorstColumn = static_cast<int32_t>(e % static_cast<size_t>(n_));
            q.causalityWorstPoint = mostNegativePoint_[e];
        }
    }
    return q;
}
