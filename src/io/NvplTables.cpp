#include "io/NvplTables.h"

namespace {

// Gauss-Legendre weights of order 1..7 as the parent tools store them (11 significant
// digits); the halved values must match theirs bit for bit, so they are not recomputed.
// The order-7 row's 0.38183050505 (exact: 0.38183005051) is theirs too and is intended.
constexpr double kGaussLegendreWeights[7][7] = {
    {2.0, 0, 0, 0, 0, 0, 0},
    {1.0, 1.0, 0, 0, 0, 0, 0},
    {0.55555555556, 0.88888888889, 0.55555555556, 0, 0, 0, 0},
    {0.34785484513, 0.65214515486, 0.65214515486, 0.34785484513, 0, 0, 0},
    {0.23692688505, 0.4786286705, 0.56888888889, 0.4786286705, 0.23692688505, 0, 0},
    {0.17132449238, 0.36076157305, 0.46791393457, 0.46791393457, 0.36076157305, 0.17132449238, 0},
    {0.12948496616, 0.27970539148, 0.38183050505, 0.41795918367, 0.38183050505, 0.27970539148,
     0.12948496616},
};

bool IsTabled(int32_t n) { return n >= kNvplMinimum && n <= kNvplMaximum; }

}  // namespace

bool ShortKeepPositions(int32_t n, std::vector<int32_t>& positions)
{
    positions.clear();
    if (!IsTabled(n)) return false;
    for (int32_t k = 0; k < n; ++k) positions.push_back(2 * k * (n + 1));
    return true;
}

bool OpenKeepPositions(int32_t n, std::vector<int32_t>& positionsA, std::vector<int32_t>& positionsB)
{
    positionsA.clear();
    positionsB.clear();
    if (!IsTabled(n)) return false;
    for (int32_t k = 0; k < n; ++k) positionsA.push_back(2 * k * (2 * n + 1));
    for (int32_t k = n; k < 2 * n; ++k) positionsB.push_back(2 * k * (2 * n + 1));
    return true;
}

double NvplLineWeight(int32_t nvpl, int64_t k)
{
    if (k >= 7) return 0.5;
    // A row outside 1..7 (possible only in the extended form, which never uses the
    // weights) counts as all zeros rather than reading outside the table.
    if (!IsTabled(nvpl) || k < 0) return 0.0;
    return kGaussLegendreWeights[nvpl - 1][k] / 2.0;
}
