#include "io/FrequencySearch.h"

#include <cmath>

// Both searches walk the whole list in their direction rather than stopping once they have
// passed f: the lists come from files and are not guaranteed to be sorted.

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
