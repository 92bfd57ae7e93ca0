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
// The pieces ZGEEV runs for eigenvalues alone, called one by one where its own per-call
// set-up would cost more than the arithmetic (2x2 matrices). LOGICAL is a 4-byte integer.
void zgebal_(const char* job, const int* n, Complex* a, const int* lda, int* ilo, int* ihi, double* scale,
             int* info);
void zgehd2_(const int* n, const int* ilo, const int* ihi, Complex* a, const int* lda, Complex* tau,
             Complex* work, int* info);
void zlahqr_(const int* wantt, const int* wantz, const int* n, const int* ilo, const int* ihi, Complex* h,
             const int* ldh, Complex* w, const int* iloz, const int* ihiz, Complex* z, const int* ldz,
             int* info);
double dlamch_(const char* cmach);
// Singular values only (JOBU = JOBVT = 'N'), for the passivity measure of the quality report.
void zgesvd_(const char* jobu, const char* jobvt, const int* m, const int* n, Complex* a, const int* lda, double* s,
             Complex* u, const int* ldu, Complex* vt, const int* ldvt, Complex* work, const int* lwork, double* rwork,
             int* info);
}
