#include "calibration/TelegrapherLineModel.h"

#include <ostream>
#include <vector>

#include "job/CalibrationGroup.h"
#include "job/VoraJob.h"
#include "numerics/ComplexArrays.h"
#include "numerics/Dcm.h"
#include "numerics/NetworkConversions.h"

namespace {

// Largest group port count whose 2n-port arm matrix still indexes in 32 bits.
constexpr int32_t kMaxArmPorts = 23170;

std::ostream* GroupLog(const CalibrationGroup& group)
{
    if (group.logStream != nullptr) return group.logStream;
    if (group.job != nullptr) return &group.job->logStream;
    return nullptr;
}

int32_t LogArmDataMismatch(const CalibrationGroup& group)
{
    if (std::ostream* log = GroupLog(group))
        *log << "VORA:: Arm data of port " << group.firstPort << " do not fit the arm's ports and frequencies\n";
    return -1;
}

// A record of width >= 2·count as `count` complex values, real part first.
void LoadComplex(const double* record, int32_t count, Complex* out)
{
    for (int32_t e = 0; e < count; ++e) out[e] = Complex(record[2 * e], record[2 * e + 1]);
}

bool RecordsFit(const RecordTable& table, int32_t count, int64_t width)
{
    return count <= 0 || (table.size() >= static_cast<size_t>(count) && table.width() >= width);
}

void FreeNvplTables(CalibrationGroup& group)
{
    std::vector<int32_t>().swap(group.shortKeepPositions);
    std::vector<int32_t>().swap(group.openKeepPositionsA);
    std::vector<int32_t>().swap(group.openKeepPositionsB);
    std::vector<double>().swap(group.shortWeights);
    std::vector<double>().swap(group.openWeightsA);
    std::vector<double>().swap(group.openWeightsB);
}

// Arm S file in the extended form: each record already is the 2n-port S of the arm.
int32_t CopyArmSRecords(CalibrationGroup& group, int32_t n)
{
    const int32_t order = 2 * n;
    const int32_t count = group.commonFrequencyCount;
    if (!RecordsFit(group.shortValues, count, 2 * static_cast<int64_t>(order) * order))
        return LogArmDataMismatch(group);
    for (int32_t k = 0; k < count; ++k) LoadComplex(group.shortValues[k], order * order, group.armS[k].data);
    return 0;
}

// The coupled-line model. With M = Y·Z (Y the total shunt admittance, Z the total series
// impedance) and M = V·diag(λ)·V^-1, the chain blocks are
//   A = Y^-1·cosh(√M)·Y,  B = Y^-1·√M·sinh(√M),  D = cosh(√M),
// the short-circuit admittances Yaa = -B^-1·A, Yab = Yba = B^-1, Ybb = -D·B^-1, and the
// arm's S follows from the admittance normalised by D2 = diag(√R, √R).
// C (the fourth chain block) is not needed for the admittances and is not formed.
int32_t RunLineModel(CalibrationGroup& group, int32_t n)
{
    const int32_t count = group.commonFrequencyCount;
    const int64_t width = 2 * static_cast<int64_t>(n) * n;
    if (!RecordsFit(group.openValues, count, width) || !RecordsFit(group.shortValues, count, width) ||
        group.portResistances.size() < static_cast<size_t>(n))
        return LogArmDataMismatch(group);
    if (count <= 0) return 0;

    const int32_t n2 = 2 * n;
    dcv r(n2);
    for (int32_t i = 0; i < n; ++i) r[i] = r[n + i] = Complex(group.portResistances[i], 0.0);
    VectorSqrtInPlace(n2, r.data);
    dcm D2(n2);
    DiagonalFromVector(n2, D2.data, r.data);

    dcm Y(n), Z(n), M(n), V(n), Vinv(n), Yinv(n), G(n), Ginv(n), Ch(n), Sh(n);
    dcm K0(n), K1(n), K3(n), X1(n), T1(n), T2(n);
    dcv gamma(n), coshGamma(n), sinhGamma(n);
    dcm Y2n(n2), y(n2), E(n2), Mw(n2), P(n2), T(n2);
    const ConversionScratch work{E.data, Mw.data, P.data, T.data};

    for (int32_t k = 0; k < count; ++k) {
        LoadComplex(group.openValues[k], n * n, Y.data);
        LoadComplex(group.shortValues[k], n * n, Z.data);

        MultiplyArrays('y', n, Y.data, Z.data, M.data);
        if (EigenDecompose(n, M.data, V.data, Vinv.data, gamma.data) != 0) {
            if (std::ostream* log = GroupLog(group))
                *log << "VORA:: Eigenvalues of the arm lines of port " << group.firstPort
                     << " not found at " << group.commonFrequencies[k] << "\n";
            return -1;
        }
        VectorSqrtInPlace(n, gamma.data);
        DiagonalFromVector(n, G.data, gamma.data);
        // Singular matrices are carried through as the non-finite values they give.
        static_cast<void>(InvertArray(n, G.data, Ginv.data));
        VectorCosh(n, gamma.data, coshGamma.data);
        DiagonalFromVector(n, Ch.data, coshGamma.data);
        VectorSinh(n, gamma.data, sinhGamma.data);
        DiagonalFromVector(n, Sh.data, sinhGamma.data);
        static_cast<void>(InvertArray(n, Y.data, Yinv.data));

        // The products are formed in this order; the results depend on it to rounding.
        MultiplyArrays('y', n, V.data, Ch.data, T1.data);
        MultiplyArrays('y', n, T1.data, Vinv.data, K3.data);  // K3 = cosh(√(YZ))
        MultiplyArrays('y', n, Yinv.data, K3.data, T1.data);
        MultiplyArrays('y', n, T1.data, Y.data, K0.data);     // K0 = Y^-1·K3·Y
        MultiplyArrays('y', n, Yinv.data, V.data, T1.data);
        MultiplyArrays('y', n, T1.data, G.data, T2.data);
        MultiplyArrays('y', n, T2.data, Sh.data, T1.data);
        MultiplyArrays('y', n, T1.data, Vinv.data, K1.data);
        NegateArray(n, K1.data);                              // K1 = -Y^-1·√(YZ)·sinh(√(YZ))

        static_cast<void>(InvertArray(n, K1.data, X1.data));
        MultiplyArrays('y', n, K3.data, X1.data, T1.data);    // Ybb = -(K3·X1)
        MultiplyArrays('y', n, X1.data, K0.data, T2.data);    // Yaa = -(X1·K0)
        for (int32_t i = 0; i < n; ++i) {
            for (int32_t j = 0; j < n; ++j) {
                Y2n(i, j) = -T2(i, j);
                Y2n(i, n + j) = X1(i, j);
                Y2n(n + i, j) = X1(i, j);
                Y2n(n + i, n + j) = -T1(i, j);
            }
        }

        MultiplyArrays('y', n2, D2.data, Y2n.data, T.data);
        MultiplyArrays('y', n2, T.data, D2.data, y.data);
        SFromNormalizedY(n2, y.data, group.armS[k].data, work);
    }
    return 0;
}

// Nvpl form: the group's lines averaged into one line by the quadrature weights of the
// reader (the kept diagonal values of Zshort, and of both ends of Yopen), left as a chain
// matrix normalised to z0 for Calibrate.
int32_t RunWeightedSingleLineModel(CalibrationGroup& group)
{
    const int32_t count = group.commonFrequencyCount;
    const int32_t lines = group.nvpl;
    const size_t need = static_cast<size_t>(lines > 0 ? lines : 0);
    if (lines < 1 || group.portResistances.empty() || group.shortWeights.size() < need ||
        group.openWeightsA.size() < need || group.openWeightsB.size() < need ||
        !RecordsFit(group.shortValues, count, 2 * static_cast<int64_t>(lines)) ||
        !RecordsFit(group.openValues, count, 4 * static_cast<int64_t>(lines)))
        return LogArmDataMismatch(group);

    const Complex z0(group.portResistances[0], 0.0);
    for (int32_t k = 0; k < count; ++k) {
        // The reader keeps the diagonal values in file order: the short record holds line
        // i at value i; the open record holds the outer ends (positions A) first, then the
        // inner ends (positions B).
        const double* shortRecord = group.shortValues[k];
        const double* openRecord = group.openValues[k];
        Complex Zs(0.0, 0.0), Ya(0.0, 0.0), Yb(0.0, 0.0);
        for (int32_t i = 0; i < lines; ++i) {
            Zs += group.shortWeights[i] * Complex(shortRecord[2 * i], shortRecord[2 * i + 1]);
            Ya += group.openWeightsA[i] * Complex(openRecord[2 * i], openRecord[2 * i + 1]);
            Yb += group.openWeightsB[i] *
                  Complex(openRecord[2 * (lines + i)], openRecord[2 * (lines + i) + 1]);
        }
        dcm& m = group.armS[k];
        m(0, 0) = Ya / Yb;
        m(0, 1) = (Yb * Zs) / (Ya - Zs) / z0;
        m(1, 0) = (Complex(1.0, 0.0) / Yb) * z0;
        m(1, 1) = Yb / (Ya - Zs);
    }
    return 0;
}

}  // namespace

int32_t Preprocess(CalibrationGroup& group)
{
    const bool extended = group.bExtendedArmSyntax != 0;
    const int32_t n = group.portCount;
    if (extended && (n < 1 || n > kMaxArmPorts)) return LogArmDataMismatch(group);
    if (!extended && group.armKind == kArmS) {
        // An arm S file has no open data for the weighted single line.
        if (std::ostream* log = GroupLog(group))
            *log << "VORA:: Arm S file of port " << group.firstPort << " needs the extended arm syntax\n";
        return -1;
    }
    if (group.commonFrequencies.size() < static_cast<size_t>(group.commonFrequencyCount > 0 ? group.commonFrequencyCount : 0))
        return LogArmDataMismatch(group);

    group.armS.ClearAll();
    group.armS.ResizeAll(group.commonFrequencyCount, extended ? 2 * n : 2);

    int32_t status = 0;
    if (extended && group.armKind == kArmS) return CopyArmSRecords(group, n);
    if (extended) status = RunLineModel(group, n);
    else status = RunWeightedSingleLineModel(group);
    if (status != 0) return status;

    FreeNvplTables(group);
    return 0;
}

int32_t Calibrate(CalibrationGroup& group)
{
    if (group.bExtendedArmSyntax != 0 || group.armKind == kArmS || group.commonFrequencyCount < 1) return 0;
    const size_t count = static_cast<size_t>(group.commonFrequencyCount);
    for (size_t k = 0; k < count && k < group.armS.size(); ++k) {
        dcm& m = group.armS[k];
        if (m.n != 2) continue;
        const Complex sum = m(0, 0) + m(0, 1) + m(1, 0) + m(1, 1);
        const Complex s11 = (m(0, 0) + m(0, 1) - m(1, 0) - m(1, 1)) / sum;
        const Complex s22 = (m(0, 1) + m(1, 1) - m(0, 0) - m(1, 0)) / sum;
        const Complex s21 = Complex(2.0, 0.0) / sum;
        m(0, 0) = s11;
        m(1, 1) = s22;
        m(0, 1) = s21;
        m(1, 0) = s21;
    }
    return 0;
}
