#pragma once
// The eigenvalues of a 2x2 matrix exactly as ZGEEV finds them, for the generalized mode's
// loop, which solves one such problem per frequency. ZGEEV's own set-up (workspace queries,
// tuning lookups, argument checks) costs more than the arithmetic at this size; the
// arithmetic itself is left to the same LAPACK routines ZGEEV calls, so the results are bit
// for bit ZGEEV's.

#include "numerics/Complex.h"

/// A (column-major, consumed) -> w, with ZGEEV's info: 0, or > 0 when the QR iteration
/// failed. A must be finite.
[[nodiscard]] int EigenvaluesOf2x2(Complex* A, Complex* w);
