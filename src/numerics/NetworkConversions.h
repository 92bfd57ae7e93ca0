#pragma once
// Conversions between S, Z and Y with per-port reference resistances, in the order of
// products and inversions that the results depend on. All matrices are raw row-major
// arrays (ComplexArrays.h); scratch arrays belong to the caller.

#include <cstdint>

#include "numerics/Complex.h"

/// D := diag(sqrt(R_i + 0i)), Dinv := D^-1 (by the general inversion). R has n entries.
void MakeRootReference(int32_t n, const double* R, Complex* D, Complex* Dinv);

/// Moves a diagonal reflection of exactly magnitude 1 in its real (or else imaginary)
/// part 1e-10 towards the origin, so that I - S and I + S stay invertible.
void GuardUnitDiagonal(int32_t n, Complex* S);

/// Scratch for the conversions: four n-by-n arrays.
struct ConversionScratch {
    Complex* E;
    Complex* M;
    Complex* P;
    Complex* T;
};

/// Z := D (I + S)(I - S)^-1 D, then made exactly symmetric.
void ZshortFromS(int32_t n, const Complex* S, const Complex* D, Complex* Z, const ConversionScratch& work);
/// Y := Dinv (I - S)(I + S)^-1 Dinv, then made exactly symmetric.
void YopenFromS(int32_t n, const Complex* S, const Complex* Dinv, Complex* Y, const ConversionScratch& work);
/// S := (I + y)^-1 (I - y), not symmetrised. n is the order of y (2n for an arm's 2n-port).
void SFromNormalizedY(int32_t n, const Complex* y, Complex* S, const ConversionScratch& work);
/// S := (I + z)^-1 (z - I), not symmetrised: S of a normalised impedance matrix z.
void SFromNormalizedZ(int32_t n, const Complex* z, Complex* S, const ConversionScratch& work);
