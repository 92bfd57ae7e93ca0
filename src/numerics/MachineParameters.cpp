// LAPACK's machine parameters, answered at once. LAPACK routines ask for them on every
// call (a 2x2 eigenvalue problem asks about fifteen times), and the library's DLAMCH
// compares the query letter against each parameter name in turn, which made it a tenth
// of the time of the per-frequency LAPACK work. These definitions take the library's
// place at link time; the values are the same IEEE double constants it computes (a test
// checks them against the numeric limits), so no result changes.

#include <limits>

namespace {

using Limits = std::numeric_limits<double>;

}  // namespace

extern "C" {

// DLAMCH: the parameter named by the first letter of cmach, either case; 0 for any other.
double dlamch_(const char* cmach)
{
    // Rounding is to nearest, so the relative machine precision is half the gap above 1.
    constexpr double eps = Limits::epsilon() * 0.5;
    switch (*cmach | 0x20) {
    case 'e': return eps;
    case 's': return Limits::min();  // 1 / largest is smaller, so the smallest normal
    case 'b': return Limits::radix;
    case 'p': return eps * Limits::radix;
    case 'n': return Limits::digits;
    case 'r': return 1.0;
    case 'm': return Limits::min_exponent;
    case 'u': return Limits::min();
    case 'l': return Limits::max_exponent;
    case 'o': return Limits::max();
    default: return 0.0;
    }
}

// DLAMC3, which lives beside DLAMCH: a + b, kept out of registers in the original.
double dlamc3_(const double* a, const double* b) { return *a + *b; }
}
