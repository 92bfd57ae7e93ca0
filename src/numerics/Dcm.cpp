#include "numerics/Dcm.h"

#include <cassert>
#include <cmath>
#include <limits>
#include <new>

#include "numerics/ComplexArrays.h"

void dcm::SetIdentity()
{
    IdentityArray(n, data);
}

void dcm::SetZero()
{
    ZeroArray(n, data);
}

void dcm::Negate()
{
    NegateArray(n, data);
}

dcm& dcm::operator+=(const dcm& B)
{
    assert(B.n == n && "operand orders must match");
    const size_t count = Size();
    for (size_t k = 0; k < count; ++k) data[k] += B.data[k];
    return *this;
}

dcm& dcm::operator-=(const dcm& B)
{
    assert(B.n == n && "operand orders must match");
    const size_t count = Size();
    for (size_t k = 0; k < count; ++k) data[k] -= B.data[k];
    return *this;
}

dcm& dcm::operator*=(Complex s)
{
    const double sr = s.real();
    const double si = s.imag();
    const size_t count = Size();
    for (size_t k = 0; k < count; ++k) {
        const double zr = data[k].real();
        const double zi = data[k].imag();
        data[k] = Complex(zr * sr - zi * si, zi * sr + zr * si);
    }
    return *this;
}

dcm& dcm::operator/=(Complex s)
{
    const double sr = s.real();
    const double si = s.imag();
    const size_t count = Size();
    if (sr == 0.0 && si == 0.0) {
        // Division by zero is carried out part by part and gives IEEE infinities or NaN.
        for (size_t k = 0; k < count; ++k) data[k] = Complex(data[k].real() / sr, data[k].imag() / si);
        return *this;
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Smith's division: scale by the ratio of the smaller to the larger part of s, so
    // that neither |s|^2 nor the products overflow or underflow.
    const bool realDominates = std::fabs(sr) >= std::fabs(si);
    const double ratio = realDominates ? si / sr : sr / si;
    const double denominator = realDominates ? sr + si * ratio : si + sr * ratio;
    if (std::isnan(sr) || std::isnan(si) || denominator == 0.0 || std::isnan(denominator)) {
        for (size_t k = 0; k < count; ++k) data[k] = Complex(nan, nan);
        return *this;
    }
    for (size_t k = 0; k < count; ++k) {
        const double zr = data[k].real();
        const double zi = data[k].imag();
        if (realDominates)
            data[k] = Complex((zr + zi * ratio) / denominator, (zi - zr * ratio) / denominator);
        else
            data[k] = Complex((zr * ratio + zi) / denominator, (zi * ratio - zr) / denominator);
    }
    return *this;
}

dcm operator+(const dcm& A, const dcm& B)
{
    dcm sum(A);
    sum += B;
    return sum;
}

dcm operator-(const dcm& A, const dcm& B)
{
    dcm difference(A);
    difference -= B;
    return difference;
}

bool Inverse(const dcm& A, dcm& B)
{
    B.Resize(A.n);
    return InvertArray(A.n, A.data, B.data) == 0;
}

bool IsInvertible(const dcm& A) { return FactorArray(A.n, A.data) == 0; }

void Multiply(const dcm& A, const dcm& B, dcm& P)
{
    assert(&P != &A && &P != &B && "the product cannot overwrite an operand");
    P.Resize(A.n);
    // No clearing first: ZGEMM with a zero beta overwrites P whatever it held.
    MultiplyArrays('y', A.n, A.data, B.data, P.data);
}

bool MatrixSqrt(const dcm& A, dcm& VD, dcm& R, dcv* eigenvalues, dcm* eigenvectors, dcv* rootEigenvalues)
{
    const int32_t n = A.n;
    // Scratch reused across calls: the port-line code takes a root at every frequency point.
    thread_local dcm work;
    thread_local dcm V;
    thread_local dcm Vinv;
    thread_local dcm D;
    thread_local dcv w;
    work.Assign(A);
    V.Resize(n);
    V.SetZero();
    Vinv.Resize(n);
    Vinv.SetZero();
    D.Resize(n);
    w.ResizeVector(n);
    ZeroVector(n, w.data);

    const bool decomposed = EigenDecompose(n, work.data, V.data, Vinv.data, w.data) == 0;
    if (eigenvalues != nullptr) *eigenvalues = w;
    if (eigenvectors != nullptr) eigenvectors->Assign(V);
    static_cast<void>(VectorSqrtInPlace(n, w.data));
    if (rootEigenvalues != nullptr) *rootEigenvalues = w;

    DiagonalFromVector(n, D.data, w.data);
    Multiply(V, D, VD);
    Multiply(VD, Vinv, R);
    return decomposed;
}

void vdcm::ResizeAllOver(int32_t count, int32_t order, Complex* values, std::shared_ptr<void> storage)
{
    ClearAll();
    if (count <= 0) return;
    items_.resize(static_cast<size_t>(count));
    storage_ = std::move(storage);
    if (order <= 0) return;
    const size_t each = static_cast<size_t>(order) * static_cast<size_t>(order);
    for (size_t k = 0; k < items_.size(); ++k) items_[k].View(values + k * each, order);
}
