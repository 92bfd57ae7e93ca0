#pragma once
// Self-contained complex LU inversion (Crout, implicit partial pivoting) on a matrix held
// as n row pointers. It never stops the process: singularity is only reported on standard
// error and shows as non-finite values in the result.

#include <cstdint>

#include "numerics/Complex.h"

/// LU decomposition in place; indx receives the row permutation, d its parity (+1 or -1).
void LUDCMP(Complex** rows, int32_t n, int32_t* indx, double& d);
/// Solves A·x = b with the output of LUDCMP; b (n values) is overwritten by x.
void LUBKSB(Complex* const* rows, int32_t n, const int32_t* indx, Complex* b);
/// rows := rows^-1. Always returns 0.
int32_t InvertByLU(int32_t n, Complex** rows);
