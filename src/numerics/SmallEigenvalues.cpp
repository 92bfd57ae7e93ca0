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

namespace {

thread_local std::vector<Complex> originalBuffer;

int RightEigenvectorsThroughZgeev(int n, Complex* A, Complex* w, Complex* V, Complex* work, int lwork, double* rwork)
{
    int info = 0;
    zgeev_("N", "V", &n, A, &n, w, V, &n, V, &n, work, &lwork, rwork, &info);
    return info;
}

}  // namespace

int RightEigenvectorsLikeZgeev(int n, Complex* A, Complex* w, Complex* V, Complex* work, int lwork, double* rwork)
{
    if (n <= 0) return RightEigenvectorsThroughZgeev(n, A, w, V, work, lwork, rwork);
    const size_t count = static_cast<size_t>(n) * static_cast<size_t>(n);
    if (!ClearlyUnscaled(count, A)) return RightEigenvectorsThroughZgeev(n, A, w, V, work, lwork, rwork);
    // Kept for a failed QR iteration, which ZGEEV retries another way.
    if (originalBuffer.size() < count) originalBuffer.resize(count);
    std::copy_n(A, count, originalBuffer.data());

    int ilo = 0;
    int ihi = 0;
    int info = 0;
    const int one = 1;
    double* scale = rwork;
    zgebal_("B", &n, A, &n, &ilo, &ihi, scale, &info);
    // Hessenberg reduction, unblocked as ZGEHRD does it with this little workspace; its
    // reflectors' scalars in work[0, n), the rest of work its scratch.
    Complex* tau = work;
    for (int i = 0; i < ilo - 1; ++i) tau[i] = 0.0;
    for (int i = std::max(1, ihi) - 1; i < n - 1; ++i) tau[i] = 0.0;
    if (ihi - ilo + 1 > 1) zgehd2_(&n, &ilo, &ihi, A, &n, tau, work + n, &info);
    // The unitary factor into V, then the Schur form and its vectors.
    zlacpy_("L", &n, &n, A, &n, V, &n);
    const int restWork = lwork - n;
    zunghr_(&n, &ilo, &ihi, V, &n, tau, work + n, &restWork, &info);
    zhseqr_("S", "V", &n, &ilo, &ihi, A, &n, w, V, &n, work, &lwork, &info);
    if (info != 0) {
        std::copy_n(originalBuffer.data(), count, A);
        return RightEigenvectorsThroughZgeev(n, A, w, V, work, lwork, rwork);
    }
    int selected = 0;
    int found = 0;
    ztrevc3_("R", "B", &selected, &n, A, &n, V, &n, V, &n, &n, &found, work, &lwork, rwork + n, &n, &info);
    zgebak_("B", "R", &n, &ilo, &ihi, scale, &n, V, &n, &info);
    // Each vector of unit length, its largest component real.
    double* squares = rwork + n;
    for (int i = 0; i < n; ++i) {
        Complex* v = V + static_cast<size_t>(i) * static_cast<size_t>(n);
        const double inverseLength = 1.0 / dznrm2_(&n, v, &one);
        zdscal_(&n, &inverseLength, v, &one);
        for (int k = 0; k < n; ++k) squares[k] = v[k].real() * v[k].real() + v[k].imag() * v[k].imag();
        const int k = idamax_(&n, squares, &one) - 1;
        const double root = std::sqrt(squares[k]);
        const Complex turn(v[k].real() / root, -v[k].imag() / root);
        zscal_(&n, &turn, v, &one);
        v[k] = Complex(v[k].real(), 0.0);
    }
    return 0;
}
