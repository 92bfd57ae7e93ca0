#pragma once
// Shared helpers of the numerics tests: reproducible random matrices, norms and a
// reference product that does not go through BLAS.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "numerics/Complex.h"

namespace numerics_test {

inline constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// n*n row-major entries with parts uniform in [-1, 1], plus `diagonalShift` on the diagonal.
inline std::vector<Complex> RandomArray(int32_t n, uint32_t seed, double diagonalShift = 0.0)
{
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> part(-1.0, 1.0);
    std::vector<Complex> a(static_cast<size_t>(n) * n);
    for (Complex& z : a) z = Complex(part(generator), part(generator));
    for (int32_t i = 0; i < n; ++i) a[i * n + i] += diagonalShift;
    return a;
}

inline std::vector<Complex> NaiveProduct(int32_t n, const Complex* A, const Complex* B)
{
    std::vector<Complex> c(static_cast<size_t>(n) * n);
    for (int32_t i = 0; i < n; ++i)
        for (int32_t j = 0; j < n; ++j) {
            Complex sum = 0.0;
            for (int32_t k = 0; k < n; ++k) sum += A[i * n + k] * B[k * n + j];
            c[i * n + j] = sum;
        }
    return c;
}

// Largest absolute row sum.
inline double NormInf(int32_t n, const Complex* A)
{
    double largest = 0.0;
    for (int32_t i = 0; i < n; ++i) {
        double row = 0.0;
        for (int32_t j = 0; j < n; ++j) row += std::abs(A[i * n + j]);
        largest = std::max(largest, row);
    }
    return largest;
}

inline double MaxDistance(size_t count, const Complex* A, const Complex* B)
{
    double largest = 0.0;
    for (size_t k = 0; k < count; ++k) largest = std::max(largest, std::abs(A[k] - B[k]));
    return largest;
}

inline double DistanceFromIdentity(int32_t n, const Complex* A)
{
    double largest = 0.0;
    for (int32_t i = 0; i < n; ++i)
        for (int32_t j = 0; j < n; ++j)
            largest = std::max(largest, std::abs(A[i * n + j] - Complex(i == j ? 1.0 : 0.0, 0.0)));
    return largest;
}

}  // namespace numerics_test
