#pragma once
// The Nvpl form of the arm files keeps only the diagonal of each record: the values of the
// port lines themselves. These tables say which value positions those are and how the
// lines are weighted (Gauss-Legendre weights of the line count, halved).

#include <cstdint>
#include <vector>

/// Line counts for which the kept positions are defined.
inline constexpr int32_t kNvplMinimum = 1;
inline constexpr int32_t kNvplMaximum = 7;

/// Value positions of the diagonal of an n-by-n record (two numbers per element):
/// 0, 2(n+1), 4(n+1), ..., 2(n-1)(n+1). false (positions empty) when n is outside 1..7.
[[nodiscard]] bool ShortKeepPositions(int32_t n, std::vector<int32_t>& positions);

/// Diagonal positions 2k(2n+1) of a 2n-by-2n record: k = 0..n-1 in A, k = n..2n-1 in B.
/// false (both empty) when n is outside 1..7.
[[nodiscard]] bool OpenKeepPositions(int32_t n, std::vector<int32_t>& positionsA, std::vector<int32_t>& positionsB);

/// Weight of line k of a group read with Nvpl number `nvpl`: half of entry k of the
/// Gauss-Legendre row of order nvpl (0 past the row's order, 0.5 for k >= 7).
[[nodiscard]] double NvplLineWeight(int32_t nvpl, int64_t k);
