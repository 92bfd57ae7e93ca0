#include "numerics/NetworkConversions.h"

#include <cmath>
#include <cstddef>

#include "numerics/ComplexArrays.h"

namespace {

constexpr double kUnitGuard = 1e-10;

}  // namespace

void MakeRootReference(int32_t n, const double* R, Complex* D, Complex* Dinv)
{
    if (n <= 0) return;
    // Dinv's first row serves as the vector of roots until D is built from it.
    Complex* roots = Dinv;
    for (int32_t i = 0; i < n; ++i) roots[i] = Complex(R[i], 0.0);
    static_cast<void>(VectorSqrtInPlace(n, roots));
    DiagonalFromVector(n, D, roots);
    const size_t count = static_cast<size_t>(n) * static_cast<size_t>(n);
    for (size_t k = 0; k < count; ++k) Dinv[k] = D[k];
    // The general inversion, although D is diagonal: a zero resistance gives what it gives.
    static_cast<void>(InvertArrayInPlace(n, Dinv));
}

void GuardUnitDiagonal(int32_t n, Complex* S)
{
    // An ideal open or short (reflection exactly ±1 or ±i) would make I - S or I + S
    // singular; moving it 1e-10 towards the origin keeps both invertible.
    for (int32_t i = 0; i < n; ++i) {
        Complex& s = S[i + i * n];
        const double re = s.real();
        const double im = s.imag();
        if (std::fabs(std::fabs(re) - 1.0) < kUnitGuard)
            s = Complex(re - re / std::fabs(re) * kUnitGuard, im);
        else if (std::fabs(std::fabs(im) - 1.0) < kUnitGuard)
            s = Complex(re, im - im / std::fabs(im) * kUnitGuard);
    }
}

void ZshortFromS(int32_t n, const Complex* S, const Complex* D, Complex* Z, const ConversionScratch& work)
{
    IdentityArray(n, work.E);
    SubtractArrays(n, work.E, S, work.M);
    AddArrays(n, work.E, S, work.P);
    ZeroArray(n, work.E);
    static_cast<void>(InvertArrayInPlace(n, work.M));
    MultiplyArrays('y', n, work.P, work.M, work.T);
    MultiplyArrays('y', n, D, work.T, work.E);
    MultiplyArrays('y', n, work.E, D, Z);
    SymmetrizeArray(n, Z);
}

void YopenFromS(int32_t n, const Complex* S, const Complex* Dinv, Complex* Y, const ConversionScratch& work)
{
    IdentityArray(n, work.E);
    SubtractArrays(n, work.E, S, work.M);
    AddArrays(n, work.E, S, work.P);
    ZeroArray(n, work.E);
    static_cast<void>(InvertArrayInPlace(n, work.P));
    MultiplyArrays('y', n, work.M, work.P, work.T);
    MultiplyArrays('y', n, Dinv, work.T, work.E);
    MultiplyArrays('y', n, work.E, Dinv, Y);
    SymmetrizeArray(n, Y);
}

void SFromNormalizedY(int32_t n, const Complex* y, Complex* S, const ConversionScratch& work)
{
    IdentityArray(n, work.E);
    AddArrays(n, work.E, y, work.P);
    static_cast<void>(InvertArrayInPlace(n, work.P));
    SubtractArrays(n, work.E, y, work.M);
    MultiplyArrays('y', n, work.P, work.M, S);
}

void SFromNormalizedZ(int32_t n, const Complex* z, Complex* S, const ConversionScratch& work)
{
    IdentityArray(n, work.E);
    AddArrays(n, work.E, z, work.P);
    static_cast<void>(InvertArrayInPlace(n, work.P));
    SubtractArrays(n, z, work.E, work.M);
    MultiplyArrays('y', n, work.P, work.M, S);
}
