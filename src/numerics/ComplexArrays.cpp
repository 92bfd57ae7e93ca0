#include "numerics/ComplexArrays.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "numerics/LapackBindings.h"

namespace {

// Scratch of the LAPACK wrappers. The calibration loops call these once per frequency
// point, so the buffers only grow and are reused instead of being allocated per call.
template <typename T>
T* ScratchOf(std::vector<T>& buffer, size_t count)
{
    if (buffer.size() < count) buffer.resize(count);
    return buffer.data();
}

size_t ElementCount(int32_t n)
{
    return static_cast<size_t>(n) * static_cast<size_t>(n);
}

const Complex kOne(1.0, 0.0);
const Complex kMinusOne(-1.0, 0.0);
const Complex kZero(0.0, 0.0);

}  // namespace

void IdentityArray(int32_t n, Complex* M)
{
    ZeroArray(n, M);
    for (int32_t i = 0; i < n; ++i) M[i + i * n] = kOne;
}

void ZeroArray(int32_t n, Complex* M)
{
    if (n <= 0) return;
    std::fill_n(M, ElementCount(n), kZero);
}

void ZeroVector(int32_t n, Complex* v)
{
    if (n <= 0) return;
    std::fill_n(v, static_cast<size_t>(n), kZero);
}

void NegateArray(int32_t n, Complex* M)
{
    if (n <= 0) return;
    const size_t count = ElementCount(n);
    for (size_t k = 0; k < count; ++k) M[k] = Complex(-M[k].real(), -M[k].imag());
}

void CopyVector(int32_t n, const Complex* src, Complex* dst)
{
    if (n <= 0) return;
    std::copy_n(src, static_cast<size_t>(n), dst);
}

void DiagonalFromVector(int32_t n, Complex* M, const Complex* v)
{
    ZeroArray(n, M);
    for (int32_t i = 0; i < n; ++i) M[i + i * n] = v[i];
}

void SymmetrizeArray(int32_t n, Complex* M)
{
    for (int32_t i = 0; i < n; ++i) {
        for (int32_t j = i + 1; j < n; ++j) {
            Complex& upper = M[j + i * n];
            Complex& lower = M[i + j * n];
            const Complex mean((upper.real() + lower.real()) * 0.5, (upper.imag() + lower.imag()) * 0.5);
            upper = mean;
            lower = mean;
        }
    }
}

void AddArrays(int32_t n, const Complex* A, const Complex* B, Complex* C)
{
    if (n <= 0) return;
    const int count = n * n;
    cblas_zcopy(count, A, 1, C, 1);
    cblas_zaxpy(count, &kOne, B, 1, C, 1);
}

void SubtractArrays(int32_t n, const Complex* A, const Complex* B, Complex* C)
{
    if (n <= 0) return;
    const int count = n * n;
    cblas_zcopy(count, A, 1, C, 1);
    cblas_zaxpy(count, &kMinusOne, B, 1, C, 1);
}

void MultiplyArrays(char rowMajorFlag, int32_t n, const Complex* A, const Complex* B, Complex* C)
{
    if (n <= 0) return;
    const CBLAS_ORDER layout = rowMajorFlag == 'y' ? CblasRowMajor : CblasColMajor;
    cblas_zgemm(layout, CblasNoTrans, CblasNoTrans, n, n, n, &kOne, A, n, B, n, &kZero, C, n);
}

void TransposeArray(int32_t n, Complex* M)
{
    for (int32_t i = 0; i < n; ++i)
        for (int32_t j = i + 1; j < n; ++j) std::swap(M[j + i * n], M[i + j * n]);
}

namespace {

// The pivots of the latest factorisation. Sized n*n as the program always has; ZGETRF
// uses the first n.
thread_local std::vector<int> pivotBuffer;

// B := the LU factors of row-major A, laid out column-major for ZGETRF. Returns its info.
int FactorInto(int32_t n, const Complex* A, Complex* B, int* ipiv)
{
    const int order = n;
    int info = 0;
    cblas_zcopy(n * n, A, 1, B, 1);
    TransposeArray(n, B);
    zgetrf_(&order, &order, B, &order, ipiv, &info);
    return info;
}

}  // namespace

int32_t InvertArray(int32_t n, const Complex* A, Complex* B)
{
    if (n <= 0) return 0;
    thread_local std::vector<Complex> workBuffer;
    int* ipiv = ScratchOf(pivotBuffer, ElementCount(n));
    const int lwork = 2 * n;
    Complex* work = ScratchOf(workBuffer, static_cast<size_t>(lwork));

    const int order = n;
    // The factorisation's info is not looked at: ZGETRI reports the same singularity.
    static_cast<void>(FactorInto(n, A, B, ipiv));
    int info = 0;
    zgetri_(&order, B, &order, ipiv, work, &lwork, &info);
    TransposeArray(n, B);
    return info;
}

int32_t FactorArray(int32_t n, const Complex* A)
{
    if (n <= 0) return 0;
    thread_local std::vector<Complex> factorBuffer;
    Complex* B = ScratchOf(factorBuffer, ElementCount(n));
    static_cast<void>(FactorInto(n, A, B, ScratchOf(pivotBuffer, ElementCount(n))));
    // ZGETRI fails when the triangular inversion finds the smallest |Re| + |Im| on U's
    // diagonal to be zero. With a finite diagonal that is exactly when some diagonal entry
    // is zero; an infinity or NaN there makes that minimum depend on the order of the
    // comparisons, so such a matrix is left to the inversion itself.
    for (int32_t i = 0; i < n; ++i) {
        const Complex u = B[static_cast<size_t>(i) * static_cast<size_t>(n + 1)];
        if (!std::isfinite(u.real()) || !std::isfinite(u.imag())) {
            thread_local std::vector<Complex> inverseBuffer;
            return InvertArray(n, A, ScratchOf(inverseBuffer, ElementCount(n)));
        }
    }
    for (int32_t i = 0; i < n; ++i)
        if (B[static_cast<size_t>(i) * static_cast<size_t>(n + 1)] == kZero) return i + 1;
    return 0;
}

int32_t InvertArrayInPlace(int32_t n, Complex* A)
{
    if (n <= 0) return 0;
    thread_local std::vector<Complex> inverseBuffer;
    Complex* inverse = ScratchOf(inverseBuffer, ElementCount(n));
    // The info is dropped by design: a singular A is left with whatever ZGETRI produced,
    // and the conversions built on this rely on that. Callers that must know use InvertArray.
    static_cast<void>(InvertArray(n, A, inverse));
    cblas_zcopy(n * n, inverse, 1, A, 1);
    return 0;
}

bool IsFiniteArray(int32_t count, const Complex* A)
{
    for (int32_t i = 0; i < count; ++i)
        if (!std::isfinite(A[i].real()) || !std::isfinite(A[i].imag())) return false;
    return true;
}

int32_t EigenDecompose(int32_t n, Complex* A, Complex* V, Complex* Vinv, Complex* w)
{
    if (n <= 0) return 0;
    // ZGEEV never returns on some matrices with an infinite entry, and answers a NaN with a
    // complaint on the console; such a matrix has no eigenvalues to give.
    if (!IsFiniteArray(n * n, A)) {
        const Complex nan(std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::quiet_NaN());
        std::fill_n(w, n, nan);
        std::fill_n(V, static_cast<size_t>(n) * static_cast<size_t>(n), nan);
        std::fill_n(Vinv, static_cast<size_t>(n) * static_cast<size_t>(n), nan);
        return -4;
    }
    thread_local std::vector<Complex> workBuffer;
    thread_local std::vector<double> realWorkBuffer;
    int order = n;
    int lwork = 4 * n;
    Complex* work = ScratchOf(workBuffer, static_cast<size_t>(lwork));
    double* rwork = ScratchOf(realWorkBuffer, static_cast<size_t>(2) * static_cast<size_t>(n));

    TransposeArray(n, A);
    // The right eigenvectors land column-major in Vinv.
    int info = 0;
    zgeev_("N", "V", &order, A, &order, w, Vinv, &order, Vinv, &order, work, &lwork, rwork, &info);
    if (info > 0) return info;

    TransposeArray(n, Vinv);
    cblas_zcopy(n * n, Vinv, 1, V, 1);
    static_cast<void>(InvertArrayInPlace(n, Vinv));
    return info;
}

int32_t VectorSqrtInPlace(int32_t n, Complex* v)
{
    for (int32_t k = 0; k < n; ++k) v[k] = std::sqrt(v[k]);
    return 0;
}

int32_t VectorCosh(int32_t n, const Complex* x, Complex* y)
{
    for (int32_t k = 0; k < n; ++k) y[k] = std::cosh(x[k]);
    return 0;
}

int32_t VectorSinh(int32_t n, const Complex* x, Complex* y)
{
    for (int32_t k = 0; k < n; ++k) y[k] = std::sinh(x[k]);
    return 0;
}

