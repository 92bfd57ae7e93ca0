#include "numerics/SmallEigenvalues.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numerics/LapackBindings.h"

namespace {

constexpr int kOrder = 2;

// ZGEEV's range for the largest |entry| outside which it scales the matrix first, narrowed
// by a factor of two at each end so that no rounding decides the path.
struct UnscaledRange {
    double low;
    double high;
};

UnscaledRange MakeUnscaledRange()
{
    const double eps = dlamch_("P");
    const double safeMinimum = dlamch_("S");
    const double small = std::sqrt(safeMinimum) / eps;
    return {2 * small, 0.5 / small};
}

// Whether ZGEEV leaves the matrix unscaled, decided clear of the range's ends. ZGEEV scales
// by the largest |entry|, which lies between the largest real or imaginary part m and
// m·√2, so bounds on m decide without a square root per entry.
bool ClearlyUnscaled(size_t count, const Complex* A)
{
    static const UnscaledRange range = MakeUnscaledRange();
    double m = 0.0;
    for (size_t k = 0; k < count; ++k) m = std::max({m, std::fabs(A[k].real()), std::fabs(A[k].imag())});
    return m >= range.low && m * 1.5 <= range.high;
}

// ZGEEV itself, with the workspace it asks for.
int EigenvaluesThroughZgeev(const Complex* original, Complex* w)
{
    constexpr int kWorkRoom = 64;
    Complex A[4] = {original[0], original[1], original[2], original[3]};
    Complex work[kWorkRoom] = {};
    Complex unused[1] = {};
    double rwork[2 * kOrder] = {};
    const int one = 1;
    int info = 0;
    const int ask = -1;
    zgeev_("N", "N", &kOrder, A, &kOrder, w, unused, &one, unused, &one, work, &ask, rwork, &info);
    const int lwork = std::clamp(static_cast<int>(work[0].real()), 2 * kOrder, kWorkRoom);
    zgeev_("N", "N", &kOrder, A, &kOrder, w, unused, &one, unused, &one, work, &lwork, rwork, &info);
    return info;
}

}  // namespace

int EigenvaluesOf2x2(Complex* A, Complex* w)
{
    const Complex original[4] = {A[0], A[1], A[2], A[3]};
    // A matrix ZGEEV would scale (or a zero one) takes its own way.
    if (!ClearlyUnscaled(4, A)) return EigenvaluesThroughZgeev(original, w);

    int ilo = 0;
    int ihi = 0;
    int info = 0;
    double scale[kOrder] = {};
    zgebal_("B", &kOrder, A, &kOrder, &ilo, &ihi, scale, &info);
    // Hessenberg reduction: at this order one reflector, which makes the subdiagonal real.
    if (ihi > ilo) {
        Complex tau[kOrder] = {};
        Complex work[kOrder] = {};
        zgehd2_(&kOrder, &ilo, &ihi, A, &kOrder, tau, work, &info);
    }
    // Eigenvalues the balancing isolated are diagonal entries.
    if (ilo > 1) w[0] = A[0];
    if (ihi < kOrder) w[1] = A[3];
    if (ilo == ihi) {
        w[ilo - 1] = A[(ilo - 1) * (kOrder + 1)];
        return 0;
    }
    const int wantT = 0;
    const int wantZ = 0;
    Complex z[1] = {};
    const int ldz = 1;
    zlahqr_(&wantT, &wantZ, &kOrder, &ilo, &ihi, A, &kOrder, w, &ilo, &ihi, z, &ldz, &info);
    // ZGEEV retries a failed iteration another way; it does that from the original matrix.
    if (info != 0) return EigenvaluesThroughZgeev(original, w);
    return 0;
}

