#include "numerics/LUSolver.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <vector>

namespace {

const Complex kZero(0.0, 0.0);
const Complex kOne(1.0, 0.0);

double Magnitude(const Complex& z)
{
    return std::hypot(z.real(), z.imag());
}

// The calibration build inverts a matrix per frequency point; its scratch only grows.
template <typename T>
T* ScratchOf(std::vector<T>& buffer, size_t count)
{
    if (buffer.size() < count) buffer.resize(count);
    return buffer.data();
}

}  // namespace

void LUDCMP(Complex** rows, int32_t n, int32_t* indx, double& d)
{
    Complex** a = rows;
    d = 1.0;
    if (n <= 0) return;
    thread_local std::vector<double> scaleBuffer;
    double* vv = ScratchOf(scaleBuffer, static_cast<size_t>(n));

    for (int32_t i = 0; i < n; ++i) {
        double big = 0.0;
        for (int32_t j = 0; j < n; ++j) {
            const double magnitude = Magnitude(a[i][j]);
            if (magnitude > big) big = magnitude;
        }
        if (big == 0.0) std::cerr << "Singular matrix in routine LUDCMP";
        vv[i] = 1.0 / big;
    }

    for (int32_t j = 0; j < n; ++j) {
        for (int32_t i = 0; i < j; ++i) {
            Complex sum = a[i][j];
            for (int32_t k = 0; k < i; ++k) sum -= a[i][k] * a[k][j];
            a[i][j] = sum;
        }
        double big = 0.0;
        // A zero row scales to inf*0 = NaN and never wins the comparison; starting from the
        // diagonal row keeps the pivot defined when no row does.
        int32_t imax = j;
        for (int32_t i = j; i < n; ++i) {
            Complex sum = a[i][j];
            for (int32_t k = 0; k < j; ++k) sum -= a[i][k] * a[k][j];
            a[i][j] = sum;
            const double dum = vv[i] * Magnitude(sum);
            // Greater-or-equal: among rows of equal scaled size the last one is the pivot.
            if (dum >= big) {
                big = dum;
                imax = i;
            }
        }
        if (imax != j) {
            for (int32_t k = 0; k < n; ++k) std::swap(a[imax][k], a[j][k]);
            d = -d;
            vv[imax] = vv[j];
        }
        indx[j] = imax;
        // The text says "exit" but the run goes on with the zero pivot, producing
        // infinities or NaN; callers see those rather than a status.
        if (a[j][j] == kZero) std::cerr << "matrix is singular, exit\n";
        if (j != n - 1) {
            const Complex dum = kOne / a[j][j];
            for (int32_t i = j + 1; i < n; ++i) a[i][j] *= dum;
        }
    }
}

void LUBKSB(Complex* const* rows, int32_t n, const int32_t* indx, Complex* b)
{
    Complex* const* a = rows;
    int32_t ii = -1;
    for (int32_t i = 0; i < n; ++i) {
        const int32_t ip = indx[i];
        Complex sum = b[ip];
        b[ip] = b[i];
        if (ii >= 0) {
            for (int32_t j = ii; j < i; ++j) sum -= a[i][j] * b[j];
        } else if (sum != kZero) {
            ii = i;
        }
        b[i] = sum;
    }
    for (int32_t i = n - 1; i >= 0; --i) {
        Complex sum = b[i];
        for (int32_t j = i + 1; j < n; ++j) sum -= a[i][j] * b[j];
        b[i] = sum / a[i][i];
    }
}

int32_t InvertByLU(int32_t n, Complex** rows)
{
    double d = 1.0;
    if (n < 1) {
        LUDCMP(rows, n, nullptr, d);
        return 0;
    }
    thread_local std::vector<int32_t> indexBuffer;
    thread_local std::vector<Complex> columnBuffer;
    thread_local std::vector<Complex> inverseBuffer;
    const size_t count = static_cast<size_t>(n);
    int32_t* indx = ScratchOf(indexBuffer, count);
    Complex* col = ScratchOf(columnBuffer, count);
    Complex* y = ScratchOf(inverseBuffer, count * count);

    LUDCMP(rows, n, indx, d);
    for (int32_t j = 0; j < n; ++j) {
        std::fill_n(col, count, kZero);
        col[j] = kOne;
        LUBKSB(rows, n, indx, col);
        for (int32_t i = 0; i < n; ++i) y[i * count + j] = col[i];
    }
    for (int32_t i = 0; i < n; ++i)
        for (int32_t j = 0; j < n; ++j) rows[i][j] = y[i * count + j];
    return 0;
}
