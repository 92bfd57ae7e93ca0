#pragma once
// Raw n-by-n complex arrays, row-major like dcm (element (i, j) at [i*n + j]), and complex
// vectors of n elements. The caller owns every array and passes the right sizes; the
// routines never allocate a result. The order is passed by value.

#include <cstdint>

#include "numerics/Complex.h"

void IdentityArray(int32_t n, Complex* M);
void ZeroArray(int32_t n, Complex* M);
void ZeroVector(int32_t n, Complex* v);
void NegateArray(int32_t n, Complex* M);
void CopyVector(int32_t n, const Complex* src, Complex* dst);
/// M := 0, then M(i,i) := v[i].
void DiagonalFromVector(int32_t n, Complex* M, const Complex* v);
/// M(i,j) and M(j,i) both := their mean, for every i < j.
void SymmetrizeArray(int32_t n, Complex* M);
/// C := A + B (ZCOPY, then ZAXPY with 1).
void AddArrays(int32_t n, const Complex* A, const Complex* B, Complex* C);
/// C := A - B (ZCOPY, then ZAXPY with -1).
void SubtractArrays(int32_t n, const Complex* A, const Complex* B, Complex* C);
/// C := A·B by ZGEMM; row-major when rowMajorFlag is 'y', else column-major.
void MultiplyArrays(char rowMajorFlag, int32_t n, const Complex* A, const Complex* B, Complex* C);
void TransposeArray(int32_t n, Complex* M);
/// B := A^-1 through ZGETRF/ZGETRI; returns ZGETRI's info (0 success, > 0 exactly singular).
[[nodiscard]] int32_t InvertArray(int32_t n, const Complex* A, Complex* B);
/// The factorisation of InvertArray alone: 0 when InvertArray would succeed on A, > 0 when
/// it would report A exactly singular. For a test whose inverse is never used.
[[nodiscard]] int32_t FactorArray(int32_t n, const Complex* A);
/// A := A^-1. Always returns 0: the info is dropped on purpose, so a singular A gives
/// whatever the factorisation leaves. Callers that must detect singularity use InvertArray.
int32_t InvertArrayInPlace(int32_t n, Complex* A);
/// true when every real and imaginary part of the count elements is finite.
[[nodiscard]] bool IsFiniteArray(int32_t count, const Complex* A);
/// A = V·diag(w)·Vinv with V's columns the right eigenvectors, in ZGEEV's order. A is
/// consumed. Returns ZGEEV's info; an A with an infinite or NaN entry is not handed to
/// ZGEEV: w, V and Vinv become NaN and the result is -4 (A illegal).
[[nodiscard]] int32_t EigenDecompose(int32_t n, Complex* A, Complex* V, Complex* Vinv, Complex* w);
/// Element-wise principal branches, n elements.
int32_t VectorSqrtInPlace(int32_t n, Complex* v);
int32_t VectorCosh(int32_t n, const Complex* x, Complex* y);
int32_t VectorSinh(int32_t n, const Complex* x, Complex* y);
