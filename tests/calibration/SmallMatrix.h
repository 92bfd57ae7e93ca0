#pragma once
// Plain complex matrices for the calibration tests, with their own product and inverse so
// that expected values do not come from the code under test.

#include <cmath>
#include <complex>
#include <cstdlib>
#include <utility>
#include <vector>

namespace testing_matrix {

using C = std::complex<double>;

struct Mat {
    int n = 0;
    std::vector<C> a;
    explicit Mat(int order = 0) : n(order), a(static_cast<size_t>(order) * order) {}
    C& operator()(int i, int j) { return a[static_cast<size_t>(i) * n + j]; }
    C operator()(int i, int j) const { return a[static_cast<size_t>(i) * n + j]; }
    static Mat Identity(int order)
    {
        Mat m(order);
        for (int i = 0; i < order; ++i) m(i, i) = 1.0;
        return m;
    }
    // Block (r, c) of order `order` starting at row r·order, column c·order.
    Mat Block(int r, int c, int order) const
    {
        Mat m(order);
        for (int i = 0; i < order; ++i)
            for (int j = 0; j < order; ++j) m(i, j) = (*this)(r * order + i, c * order + j);
        return m;
    }
};

inline Mat operator*(const Mat& x, const Mat& y)
{
    Mat p(x.n);
    for (int i = 0; i < x.n; ++i)
        for (int k = 0; k < x.n; ++k)
            for (int j = 0; j < x.n; ++j) p(i, j) += x(i, k) * y(k, j);
    return p;
}
inline Mat operator+(Mat x, const Mat& y)
{
    for (size_t e = 0; e < x.a.size(); ++e) x.a[e] += y.a[e];
    return x;
}
inline Mat operator-(Mat x, const Mat& y)
{
    for (size_t e = 0; e < x.a.size(); ++e) x.a[e] -= y.a[e];
    return x;
}

// Gauss-Jordan with partial pivoting.
inline Mat Inverse(Mat x)
{
    const int n = x.n;
    Mat inv = Mat::Identity(n);
    for (int c = 0; c < n; ++c) {
        int pivot = c;
        for (int r = c + 1; r < n; ++r)
            if (std::abs(x(r, c)) > std::abs(x(pivot, c))) pivot = r;
        for (int j = 0; j < n; ++j) {
            std::swap(x(c, j), x(pivot, j));
            std::swap(inv(c, j), inv(pivot, j));
        }
        const C d = x(c, c);
        for (int j = 0; j < n; ++j) {
            x(c, j) /= d;
            inv(c, j) /= d;
        }
        for (int r = 0; r < n; ++r) {
            if (r == c) continue;
            const C f = x(r, c);
            for (int j = 0; j < n; ++j) {
                x(r, j) -= f * x(c, j);
                inv(r, j) -= f * inv(c, j);
            }
        }
    }
    return inv;
}

inline double MaxDifference(const Mat& x, const Mat& y)
{
    double d = 0.0;
    for (size_t e = 0; e < x.a.size(); ++e) d = std::max(d, std::abs(x.a[e] - y.a[e]));
    return d;
}

// A deterministic pseudo-random matrix with entries of magnitude up to `scale`.
inline Mat Pattern(int n, double scale, unsigned seed)
{
    Mat m(n);
    unsigned s = seed * 2654435761u + 12345u;
    for (C& v : m.a) {
        s = s * 1103515245u + 12345u;
        const double re = static_cast<double>((s >> 8) % 2001) / 1000.0 - 1.0;
        s = s * 1103515245u + 12345u;
        const double im = static_cast<double>((s >> 8) % 2001) / 1000.0 - 1.0;
        v = scale * C(re, im);
    }
    return m;
}

}  // namespace testing_matrix
