#include "numerics/FrequencySearch.h"

#include <algorithm>
#include <cmath>

// Both searches walk the whole list in their direction rather than stopping once they have
// passed f: the lists come from files and are not guaranteed to be sorted.

bool IsAscending(const std::vector<double>& L)
{
    for (size_t i = 1; i < L.size(); ++i)
        if (!(L[i - 1] <= L[i])) return false;
    return L.size() != 1 || !std::isnan(L[0]);
}

int64_t FindMatchingFrequency(const std::vector<double>& L, double f, size_t startIndex, double tolerance)
{
    const size_t n = L.size();
    if (n == 0) return -1;
    const size_t start = startIndex >= n ? 0 : startIndex;
    if (f > L[start]) {
        for (size_t j = start; j < n; ++j)
            if (std::fabs(L[j] - f) <= tolerance) return static_cast<int64_t>(j);
    } else {
        for (size_t j = start + 1; j-- > 0;)
            if (std::fabs(L[j] - f) <= tolerance) return static_cast<int64_t>(j);
    }
    return -1;
}

int64_t FindMatchingFrequency(const std::vector<double>& L, double f, size_t startIndex, double tolerance,
                              bool bAscending)
{
    const size_t n = L.size();
    if (!bAscending || n == 0) return FindMatchingFrequency(L, f, startIndex, tolerance);
    const size_t start = startIndex >= n ? 0 : startIndex;
    // The walk's first hit at its own start: the common case of equal sampling.
    if (std::fabs(L[start] - f) <= tolerance) return static_cast<int64_t>(start);
    // L - f is rounded monotonically, so on a sorted list the entries passing the walk's own
    // test |L[j] - f| <= tolerance form one run [low, high). The start is not in it, and an
    // upward walk (L[start] < f) can only meet it above the start, at its low end; a downward
    // walk below the start, at its high end.
    const auto low = static_cast<size_t>(
        std::partition_point(L.begin(), L.end(), [&](double x) { return x - f < -tolerance; }) - L.begin());
    const auto high = static_cast<size_t>(
        std::partition_point(L.begin(), L.end(), [&](double x) { return x - f <= tolerance; }) - L.begin());
    if (low >= high) return -1;
    return static_cast<int64_t>(f > L[start] ? low : high - 1);
}

int64_t FindFrequencyBracket(const std::vector<double>& L, double f, size_t startIndex)
{
    const size_t n = L.size();
    if (n < 2) return -1;
    const size_t start = startIndex >= n ? 0 : startIndex;
    if (f > L[start]) {
        for (size_t j = start; j + 1 < n; ++j)
            if (L[j] < f && f < L[j + 1]) return static_cast<int64_t>(j);
    } else {
        for (size_t j = (start < n - 1 ? start : n - 2) + 1; j-- > 0;)
            if (L[j] < f && f < L[j + 1]) return static_cast<int64_t>(j);
    }
    return -1;
}

int64_t FindFrequencyBracket(const std::vector<double>& L, double f, size_t startIndex, bool bAscending)
{
    const size_t n = L.size();
    if (!bAscending || n < 2) return FindFrequencyBracket(L, f, startIndex);
    // On a sorted list only the last entry below f can open a bracket, and it lies on the
    // side of the start that the walk takes (above it when L[start] < f, below otherwise).
    const auto below = static_cast<size_t>(
        std::partition_point(L.begin(), L.end(), [&](double x) { return x < f; }) - L.begin());
    if (below == 0 || below >= n || !(f < L[below])) return -1;
    return static_cast<int64_t>(below - 1);
}
