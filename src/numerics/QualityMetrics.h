#pragma once
// Quality of an S-parameter sweep in the frequency domain, with the P370 constants:
// passivity, reciprocity and causality scores from 0 to 100 and their classes. Pure
// arithmetic on the matrices handed in, one frequency point after the other, so that a
// sweep is measured without keeping it.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "numerics/Complex.h"
#include "numerics/Dcm.h"

inline constexpr double kPassivityAllowance = 1.00001;   // A: a largest singular value up to A is passive
inline constexpr double kQualityWeightScale = 0.1;       // B: the excess that costs a whole point
inline constexpr double kReciprocityAllowance = 1.0e-6;  // C: |S_km - S_mk| up to C is reciprocal

enum class QualityClass { Good, Acceptable, Inconclusive, Poor };

/// "Good", "Acceptable", "Inconclusive" or "Poor".
const char* QualityClassName(QualityClass c);
/// Passivity and reciprocity: Good > 99.9, Acceptable > 99, Inconclusive > 80, else Poor
/// (a score on a threshold, or NaN, takes the lower class).
QualityClass ClassifyPassivityOrReciprocity(double score);
/// Causality: Good > 80, Acceptable > 50, Inconclusive > 20, else Poor.
QualityClass ClassifyCausality(double score);

/// Scores of one sweep. Point indices count the matrices in the order they were added;
/// kNoPoint where a metric has no worst point.
struct QualityMeasures {
    static constexpr size_t kNoPoint = static_cast<size_t>(-1);

    int32_t portCount = 0;
    size_t pointCount = 0;
    // Per point: PM = the largest singular value of S (+inf for a matrix with a non-finite
    // entry), RM = the mean of |S_km - S_mk| over the pairs k < m (empty for one-ports).
    std::vector<double> largestSingularValues;
    std::vector<double> reciprocityMeasures;

    // PQM = max(Nf - sum PW, 0) / Nf * 100 with PW = (PM - A) / B where PM > A.
    double passivityScore = 100.0;
    size_t passivityWorstPoint = kNoPoint;  // largest PM
    double passivityWorstValue = 0.0;

    bool bReciprocity = false;  // false for one-ports: no pair to compare
    // RQM likewise from RW = (RM - C) / B where RM > C.
    double reciprocityScore = 100.0;
    size_t reciprocityWorstPoint = kNoPoint;  // largest single |S_km - S_mk|
    double reciprocityWorstValue = 0.0;
    int32_t reciprocityWorstRow = 0;  // k < m of that pair, 0-based
    int32_t reciprocityWorstColumn = 0;

    // CQM = the smallest over the elements of max(sum_{R>0} R / sum |R|, 0) * 100 with
    // R_k = Im(V_k conj(V_k+1)), V_k = S(k+1) - S(k); an element whose locus never turns
    // (sum |R| = 0) scores 100.
    double causalityScore = 100.0;
    int32_t causalityWorstRow = 0;  // element with the smallest score, first in row order
    int32_t causalityWorstColumn = 0;
    size_t causalityWorstPoint = kNoPoint;  // middle point of that element's most negative R
};

/// Measures a sweep one point at a time. The work arrays are sized once for the order n.
class QualityAccumulator {
public:
    explicit QualityAccumulator(int32_t n);
    /// The next frequency point's S (order n).
    void Add(const dcm& S);
    /// The scores of the points added so far (all 100 for none).
    QualityMeasures Finish() const;

private:
    int32_t n_;
    size_t points_ = 0;
    std::vector<double> largestSingularValues_;
    std::vector<double> reciprocityMeasures_;
    double reciprocityWorstValue_ = 0.0;
    size_t reciprocityWorstPoint_ = QualityMeasures::kNoPoint;
    int32_t reciprocityWorstRow_ = 0;
    int32_t reciprocityWorstColumn_ = 0;
    // Causality per element: the previous value and step, the sums and the most negative R.
    std::vector<Complex> previous_;
    std::vector<Complex> previousStep_;
    std::vector<double> positiveTurn_;
    std::vector<double> totalTurn_;
    std::vector<double> mostNegativeTurn_;
    std::vector<size_t> mostNegativePoint_;
    // zgesvd work.
    std::vector<Complex> a_;
    std::vector<double> singularValues_;
    std::vector<Complex> work_;
    std::vector<double> realWork_;
};

/// The largest singular value of S (0 for order 0); +inf when an entry is not finite:
/// LAPACK is never handed such a matrix.
double LargestSingularValue(const dcm& S);
