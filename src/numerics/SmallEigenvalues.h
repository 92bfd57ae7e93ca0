#pragma once
// Eigenvalue problems exactly as ZGEEV solves them, for loops that solve one small problem
// per frequency: the eigenvalues of a 2x2 matrix, and eigenvalues with right eigenvectors. ZGEEV's own set-up
// (workspace queries, tuning lookups, argument checks) costs more than the arithmetic at
// this size; the arithmetic itself is left to the same LAPACK routines ZGEEV calls, so the
// results are bit for bit ZGEEV's.

#include "numerics/Complex.h"

/// A (column-major, consumed) -> w, with ZGEEV's info: 0, or > 0 when the QR iteration
/// failed. A must be finite.
[[nodiscard]] int EigenvaluesOf2x2(Complex* A, Complex* w);

/// zgeev_("N", "V", n, A, n, w, unused, n, V, n, work, lwork, rwork, info) bit for bit: A
/// (column-major, consumed) -> w and the right eigenvectors as V's columns, with ZGEEV's
/// info. work holds lwork >= 2n elements, rwork 2n; A must be finite. The routines ZGEEV
/// runs are called one by one, which leaves out its workspace queries.
[[nodiscard]] int RightEigenvectorsLikeZgeev(int n, Complex* A, Complex* w, Complex* V, Complex* work, int lwork,
                                             double* rwork);
