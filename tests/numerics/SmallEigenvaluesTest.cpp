#include "numerics/SmallEigenvalues.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "numerics/LapackBindings.h"

namespace {

struct Reference {
    Complex w[2];
    int info;
};

// ZGEEV as the generalized mode called it before: eigenvalues only, the queried workspace.
Reference Zgeev(const Complex* M)
{
    Complex A[4] = {M[0], M[1], M[2], M[3]};
    Reference r{};
    const int n = 2;
    Complex unused[4] = {};
    double rwork[4] = {};
    Complex query[1] = {};
    const int ask = -1;
    zgeev_("N", "N", &n, A, &n, r.w, unused, &n, unused, &n, query, &ask, rwork, &r.info);
    std::vector<Complex> work(static_cast<size_t>(std::max(1, static_cast<int>(query[0].real()))));
    const int lwork = static_cast<int>(work.size());
    zgeev_("N", "N", &n, A, &n, r.w, unused, &n, unused, &n, work.data(), &lwork, rwork, &r.info);
    return r;
}

bool SameBits(Complex a, Complex b)
{
    return std::bit_cast<uint64_t>(a.real()) == std::bit_cast<uint64_t>(b.real()) &&
           std::bit_cast<uint64_t>(a.imag()) == std::bit_cast<uint64_t>(b.imag());
}

std::string Describe(const Complex* M)
{
    std::ostringstream text;
    text << std::hexfloat << M[0] << M[1] << M[2] << M[3];
    return text.str();
}

// Checks one matrix; returns false (with one failure reported) when the two differ.
bool Agrees(const Complex* M)
{
    const Reference expected = Zgeev(M);
    Complex A[4] = {M[0], M[1], M[2], M[3]};
    Complex w[2] = {};
    const int info = EigenvaluesOf2x2(A, w);
    const bool same = info == expected.info && (info != 0 || (SameBits(w[0], expected.w[0]) && SameBits(w[1], expected.w[1])));
    EXPECT_TRUE(same) << Describe(M) << " info " << info << " vs " << expected.info << ", w " << w[0] << w[1]
                      << " vs " << expected.w[0] << expected.w[1];
    return same;
}

double RandomScaled(std::mt19937_64& rng, int exponentSpread)
{
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    std::uniform_int_distribution<int> exponent(-exponentSpread, exponentSpread);
    return std::ldexp(unit(rng), exponent(rng));
}

}  // namespace

// The generalized mode's matrices: products of transfer matrices of passive 2-ports, entries
// of order one with a few decades between them.
TEST(SmallEigenvalues, BitForBitZgeevOnGeneralMatrices)
{
    std::mt19937_64 rng(20261122);
    for (int trial = 0; trial < 200000; ++trial) {
        Complex M[4];
        const int spread = trial % 3 == 0 ? 3 : (trial % 3 == 1 ? 12 : 40);
        for (Complex& m : M) m = {RandomScaled(rng, spread), RandomScaled(rng, spread)};
        if (!Agrees(M)) return;
    }
}

// Zeros in every pattern (balancing isolates eigenvalues, the reduction has nothing to do),
// real and repeated eigenvalues, entries far apart (balancing scales), and sizes where ZGEEV
// scales the whole matrix first.
TEST(SmallEigenvalues, BitForBitZgeevOnSpecialMatrices)
{
    std::mt19937_64 rng(7);
    const Complex special[] = {{0, 0}, {1, 0}, {-1, 0}, {0, 1}, {0, -0.0}, {-0.0, 0}, {2, 2}, {1e-300, 0},
                               {0, 1e300}, {1e-160, 1e-160}, {1e150, -1e150}, {3, -4}, {1e-20, 0}, {1e20, 1},
                               {7e-139, -7e-139}, {1.4e138, 0}};  // near the ends of ZGEEV's unscaled range
    const size_t count = sizeof special / sizeof special[0];
    for (size_t a = 0; a < count; ++a)
        for (size_t b = 0; b < count; ++b)
            for (size_t c = 0; c < count; ++c)
                for (size_t d = 0; d < count; d += 3) {
                    const Complex M[4] = {special[a], special[b], special[c], special[(d + a) % count]};
                    if (!Agrees(M)) return;
                }
    for (int trial = 0; trial < 20000; ++trial) {
        Complex M[4];
        for (Complex& m : M) m = {RandomScaled(rng, 2), RandomScaled(rng, 2)};
        switch (trial % 5) {
        case 0: M[1] = 0.0; break;                                     // upper triangular
        case 1: M[2] = 0.0; break;                                     // lower triangular
        case 2: M[3] = M[0]; M[1] *= 1e-12; break;                     // nearly repeated
        case 3: for (Complex& m : M) m = {m.real(), 0.0}; break;       // real
        case 4: M[1] *= 1e30; M[2] *= 1e-30; break;                    // badly balanced
        }
        if (!Agrees(M)) return;
    }
}

