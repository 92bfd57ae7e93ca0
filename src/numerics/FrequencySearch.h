#pragma once
// Finding a simulated frequency in an arm file's frequency list. The search starts at the
// simulated frequency's own index (identical sampling costs one comparison) and walks up
// when f lies above the start entry, down otherwise; a start index beyond the list
// searches the whole list from its beginning.

#include <cstddef>
#include <cstdint>
#include <vector>

/// true when no entry is smaller than the one before it (and none is NaN).
[[nodiscard]] bool IsAscending(const std::vector<double>& L);

/// Index j with |L[j] - f| <= tolerance, or -1.
[[nodiscard]] int64_t FindMatchingFrequency(const std::vector<double>& L, double f, size_t startIndex,
                                            double tolerance);
/// Index j with L[j] < f < L[j+1] (both strict), or -1.
[[nodiscard]] int64_t FindFrequencyBracket(const std::vector<double>& L, double f, size_t startIndex);

/// The same answers; bAscending (IsAscending(L), found once per list) lets a sorted list be
/// bisected instead of walked, so that a fine arm grid costs log K per lookup, not K.
[[nodiscard]] int64_t FindMatchingFrequency(const std::vector<double>& L, double f, size_t startIndex,
                                            double tolerance, bool bAscending);
[[nodiscard]] int64_t FindFrequencyBracket(const std::vector<double>& L, double f, size_t startIndex,
                                           bool bAscending);
