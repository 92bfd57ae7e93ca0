#pragma once
// RecordTable: the numbers of a Touchstone file's data records (everything after the
// frequency), one record per frequency index, all of one width, stored back to back in one
// block so that a large job holds each value exactly once.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <vector>

class RecordTable {
public:
    // Empties the table and fixes the width of every record that follows.
    void Reset(int64_t width)
    {
        assert(width >= 0);
        width_ = width;
        count_ = 0;
        values_.clear();
    }

    // Appends one record of `width` zeros and returns it for filling.
    double* Append()
    {
        values_.resize(values_.size() + static_cast<size_t>(width_), 0.0);
        ++count_;
        return Record(count_ - 1);
    }

    void Reserve(size_t records) { values_.reserve(records * static_cast<size_t>(width_)); }

    double* Record(size_t k)
    {
        assert(k < count_);
        return values_.data() + k * static_cast<size_t>(width_);
    }
    const double* Record(size_t k) const
    {
        assert(k < count_);
        return values_.data() + k * static_cast<size_t>(width_);
    }
    double* operator[](size_t k) { return Record(k); }
    const double* operator[](size_t k) const { return Record(k); }

    size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    int64_t width() const { return width_; }

    // Frees the storage (capacity too).
    void Release()
    {
        std::vector<double>().swap(values_);
        count_ = 0;
    }

private:
    int64_t width_ = 0;
    size_t count_ = 0;
    std::vector<double> values_;
};
