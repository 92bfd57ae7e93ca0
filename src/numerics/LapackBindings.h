#pragma once
// The one door to LAPACK and BLAS: the Fortran LAPACK symbols and the CBLAS calls used by
// the raw-array layer. Nothing else in the program names them.

#include <cblas.h>

#include "numerics/Complex.h"

extern "C" {
void zgetrf_(const int* m, const int* n, Complex* a, const int* lda, int* ipiv, int* info);
void zgetri_(const int* n, Complex* a, const int* lda, const int* ipiv, Complex* work,
             const int* lwork, int* info);
void zgeev_(const char* jobvl, const char* jobvr, const int* n, Complex* a, const int* lda,
            Complex* w, Complex* vl, const int* ldvl, Complex* vr, const int* ldvr, Complex* work,
            const int* lwork, double* rwork, int* info);
}
