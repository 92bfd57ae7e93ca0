#include "jobgen/LineModel.h"

#include <algorithm>
#include <cmath>

#include "numerics/ComplexArrays.h"

namespace {

constexpr double kSpeedOfLight = 299792458.0;

void Transpose(const dcm& M, dcm& T)
{
    T.Resize(M.n);
    for (int32_t i = 0; i < M.n; ++i)
        for (int32_t j = 0; j < M.n; ++j) T(j, i) = M(i, j);
}

void Symmetrize(dcm& M)
{
    for (int32_t i = 0; i < M.n; ++i)
        for (int32_t j = i + 1; j < M.n; ++j) {
            const Complex mean = 0.5 * (M(i, j) + M(j, i));
            M(i, j) = mean;
            M(j, i) = mean;
        }
}

double FrobeniusNorm(const dcm& M)
{
    double sum = 0.0;
    for (size_t i = 0; i < M.Size(); ++i) sum += std::norm(M.data[i]);
    return std::sqrt(sum);
}

// V·diag(d)·Vinv into R, with T as scratch.
void FromModes(const dcm& V, const dcv& d, const dcm& Vinv, dcm& T, dcm& R)
{
    T.Resize(V.n);
    for (int32_t i = 0; i < V.n; ++i)
        for (int32_t j = 0; j < V.n; ++j) T(i, j) = V(i, j) * d[j];
    Multiply(T, Vinv, R);
}

// sinh(x)/x, by its series where the quotient would lose digits.
Complex Sinhc(Complex x)
{
    if (std::abs(x) < 1e-3) {
        const Complex x2 = x * x;
        return 1.0 + x2 / 6.0 * (1.0 + x2 / 20.0 * (1.0 + x2 / 42.0));
    }
    return std::sinh(x) / x;
}

}  // namespace

void SeriesImpedancePerLength(const LineParameters& line, double omega, dcm& Z)
{
    const int32_t p = line.lineCount;
    Z.Resize(p);
    for (int32_t i = 0; i < p * p; ++i) Z.data[i] = Complex(line.R[i], omega * line.L[i]);
}

void ShuntAdmittancePerLength(const LineParameters& line, double omega, dcm& Y)
{
    const int32_t p = line.lineCount;
    Y.Resize(p);
    for (int32_t i = 0; i < p * p; ++i) Y.data[i] = Complex(line.G[i], omega * line.C[i]);
}

bool ChainMatrixByModes(const LineParameters& line, double omega, ChainMatrix& chain, LineWork& work)
{
    const int32_t p = line.lineCount;
    const double l = line.length;
    SeriesImpedancePerLength(line, omega, work.Zs);
    ShuntAdmittancePerLength(line, omega, work.Ys);
    Multiply(work.Ys, work.Zs, work.X);  // X = Y'Z'
    work.U = work.X;                      // consumed by the decomposition
    work.V.Resize(p);
    work.Vinv.Resize(p);
    work.w.ResizeVector(p);
    if (EigenDecompose(p, work.U.data, work.V.data, work.Vinv.data, work.w.data) != 0) return false;

    // The decomposition must give Y'Z' back; a defective or nearly defective pair of modes
    // would make V^-1 meaningless.
    FromModes(work.V, work.w, work.Vinv, work.T, work.U);
    work.U -= work.X;
    const double scale = FrobeniusNorm(work.X);
    if (!(FrobeniusNorm(work.U) <= 1e-10 * scale + 1e-300)) return false;

    dcv& d = work.w;  // eigenvalues become cosh, then sinhc values
    std::vector<Complex> sinhc(static_cast<size_t>(p));
    for (int32_t m = 0; m < p; ++m) {
        const Complex gl = std::sqrt(d[m]) * l;
        sinhc[static_cast<size_t>(m)] = Sinhc(gl) * l;
        d[m] = std::cosh(gl);
    }
    FromModes(work.V, d, work.Vinv, work.T, chain.D);
    for (int32_t m = 0; m < p; ++m) d[m] = sinhc[static_cast<size_t>(m)];
    FromModes(work.V, d, work.Vinv, work.T, work.F);  // F already carries the factor l

    Transpose(chain.D, chain.A);
    Multiply(work.Zs, work.F, chain.B);
    Transpose(work.F, work.T);
    Multiply(work.Ys, work.T, chain.C);
    return true;
}

void ChainMatrixByScalingAndSquaring(const LineParameters& line, double omega, ChainMatrix& chain)
{
    const int32_t p = line.lineCount;
    dcm Z, Y;
    SeriesImpedancePerLength(line, omega, Z);
    ShuntAdmittancePerLength(line, omega, Y);
    dcm M(2 * p);
    double norm1 = 0.0;  // largest column sum
    for (int32_t i = 0; i < p; ++i)
        for (int32_t j = 0; j < p; ++j) {
            M(i, p + j) = Z(i, j) * line.length;
            M(p + i, j) = Y(i, j) * line.length;
        }
    for (int32_t j = 0; j < 2 * p; ++j) {
        double sum = 0.0;
        for (int32_t i = 0; i < 2 * p; ++i) sum += std::abs(M(i, j));
        norm1 = std::max(norm1, sum);
    }
    int32_t squarings = 0;
    while (norm1 > 0.25 && squarings < 200) {
        norm1 *= 0.5;
        ++squarings;
    }
    M *= Complex(std::ldexp(1.0, -squarings), 0.0);

    // Taylor series to order 18: with ||M|| <= 0.25 the remainder is below 1e-30.
    dcm E(2 * p), term(2 * p), next(2 * p);
    E.SetIdentity();
    term.SetIdentity();
    for (int32_t k = 1; k <= 18; ++k) {
        Multiply(term, M, next);
        next *= Complex(1.0 / k, 0.0);
        std::swap(term, next);
        E += term;
    }
    for (int32_t s = 0; s < squarings; ++s) {
        Multiply(E, E, next);
        std::swap(E, next);
    }
    chain.A.Resize(p);
    chain.B.Resize(p);
    chain.C.Resize(p);
    chain.D.Resize(p);
    for (int32_t i = 0; i < p; ++i)
        for (int32_t j = 0; j < p; ++j) {
            chain.A(i, j) = E(i, j);
            chain.B(i, j) = E(i, p + j);
            chain.C(i, j) = E(p + i, j);
            chain.D(i, j) = E(p + i, p + j);
        }
}

void LineChainMatrix(const LineParameters& line, double omega, ChainMatrix& chain, LineWork& work)
{
    if (!ChainMatrixByModes(line, omega, chain, work)) ChainMatrixByScalingAndSquaring(line, omega, chain);
}

bool ArmSFromChain(const ChainMatrix& chain, double r, ArmBlocks& arm, LineWork& work)
{
    const dcm& A = chain.A;
    const dcm& D = chain.D;
    const int32_t p = A.n;
    dcm& Bn = work.U;  // B/r
    dcm& Cn = work.T;  // r·C
    Bn = chain.B;
    Bn *= Complex(1.0 / r, 0.0);
    Cn = chain.C;
    Cn *= Complex(r, 0.0);

    dcm& den = work.X;
    den = A;
    den += Bn;
    den += Cn;
    den += D;
    if (!Inverse(den, work.F)) return false;
    arm.Sba = work.F;
    arm.Sba *= Complex(2.0, 0.0);

    den = A;  // A - B/r + r·C - D
    den -= Bn;
    den += Cn;
    den -= D;
    Multiply(work.F, den, arm.Sbb);
    arm.Sbb.Negate();

    dcm& K = work.V;  // A + B/r - r·C - D
    K = A;
    K += Bn;
    K -= Cn;
    K -= D;
    Multiply(K, work.F, arm.Saa);  // ½·K·Sba = K·Den^-1

    Multiply(K, arm.Sbb, arm.Sab);
    arm.Sab *= Complex(0.5, 0.0);
    for (int32_t i = 0; i < p * p; ++i) arm.Sab.data[i] += 0.5 * (A.data[i] - Bn.data[i] - Cn.data[i] + D.data[i]);
    return true;
}

bool ShortAndOpenFromChain(const ChainMatrix& chain, dcm& Zshort, dcm& Yopen, LineWork& work)
{
    if (!Inverse(chain.D, work.T)) return false;
    Multiply(chain.B, work.T, Zshort);
    if (!Inverse(chain.A, work.T)) return false;
    Multiply(chain.C, work.T, Yopen);
    // Both are symmetric in exact arithmetic; the files should be too.
    Symmetrize(Zshort);
    Symmetrize(Yopen);
    return true;
}

void SeriesAndShunt(const LineParameters& line, double omega, dcm& Zseries, dcm& Yshunt)
{
    SeriesImpedancePerLength(line, omega, Zseries);
    ShuntAdmittancePerLength(line, omega, Yshunt);
    Zseries *= Complex(line.length, 0.0);
    Yshunt *= Complex(line.length, 0.0);
}

bool ReflectionFromImpedance(const dcm& Z, double r, dcm& S, LineWork& work)
{
    const int32_t p = Z.n;
    work.X = Z;
    work.X *= Complex(1.0 / r, 0.0);
    work.U = work.X;
    for (int32_t i = 0; i < p; ++i) {
        work.X(i, i) -= 1.0;  // z - I
        work.U(i, i) += 1.0;  // z + I
    }
    if (!Inverse(work.U, work.T)) return false;
    Multiply(work.X, work.T, S);
    Symmetrize(S);
    return true;
}

bool ReflectionFromAdmittance(const dcm& Y, double r, dcm& S, LineWork& work)
{
    const int32_t p = Y.n;
    work.U = Y;
    work.U *= Complex(r, 0.0);
    work.X = work.U;
    work.X.Negate();
    for (int32_t i = 0; i < p; ++i) {
        work.X(i, i) += 1.0;  // I - y
        work.U(i, i) += 1.0;  // I + y
    }
    if (!Inverse(work.U, work.T)) return false;
    Multiply(work.X, work.T, S);
    Symmetrize(S);
    return true;
}

std::vector<double> ModalEffectivePermittivities(const LineParameters& line)
{
    const int32_t p = line.lineCount;
    dcm L(p), C(p), LC, V(p), Vinv(p);
    for (int32_t i = 0; i < p * p; ++i) {
        L.data[i] = line.L[i];
        C.data[i] = line.C[i];
    }
    Multiply(L, C, LC);
    dcv w(p);
    std::vector<double> result;
    if (EigenDecompose(p, LC.data, V.data, Vinv.data, w.data) != 0) return result;
    for (int32_t m = 0; m < p; ++m) result.push_back(w[m].real() * kSpeedOfLight * kSpeedOfLight);
    std::sort(result.begin(), result.end());
    return result;
}

LineParameters CoupledLines(int32_t lineCount, double length, double rSelf, double rMutual, double lSelf,
                            double lMutual, double gSelf, double gMutual, double cSelf, double cMutual)
{
    LineParameters line;
    line.lineCount = lineCount;
    line.length = length;
    const size_t size = static_cast<size_t>(lineCount) * static_cast<size_t>(lineCount);
    line.R.assign(size, 0.0);
    line.L.assign(size, 0.0);
    line.G.assign(size, 0.0);
    line.C.assign(size, 0.0);
    for (int32_t i = 0; i < lineCount; ++i)
        for (int32_t j = 0; j < lineCount; ++j) {
            const size_t k = static_cast<size_t>(i) * static_cast<size_t>(lineCount) + static_cast<size_t>(j);
            if (i == j) {
                line.R[k] = rSelf;
                line.L[k] = lSelf;
                line.G[k] = gSelf;
                line.C[k] = cSelf;
                continue;
            }
            const double decay = std::pow(0.25, std::abs(i - j) - 1);
            line.R[k] = rMutual * decay;
            line.L[k] = lMutual * decay;
            line.G[k] = -gMutual * decay;
            line.C[k] = -cMutual * decay;
        }
    return line;
}
