#pragma once
// RecordTable: the numbers of a Touchstone file's data records (everything after the
// frequency), one record per frequency index, all of one width, stored back to back in one
// block so that a large job holds each value exactly once.

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

class RecordTable {
public:
    // Empties the table and fixes the width of every record that follows.
    void Reset(int64_t width)
    {
        assert(width >= 0);
        width_ = width;
        count_ = 0;
    }

    // Appends one record and returns it; the caller writes every one of its `width` values
    // (they are not cleared first: the readers fill each record as they parse it).
    double* Append()
    {
        const size_t used = count_ * static_cast<size_t>(width_);
        if (used + static_cast<size_t>(width_) > capacity_) Grow(std::max(used + static_cast<size_t>(width_), 2 * capacity_));
        ++count_;
        return Record(count_ - 1);
    }

    // true when the next Append moves the records already stored.
    bool AppendMoves() const
    {
        return count_ * static_cast<size_t>(width_) + static_cast<size_t>(width_) > capacity_;
    }

    // Room for `records` records in all, so that a table read from a file of known size
    // never moves.
    void Reserve(size_t records)
    {
        const size_t width = static_cast<size_t>(width_);
        if (width > 0 && records > std::numeric_limits<size_t>::max() / sizeof(double) / width) throw std::bad_alloc();
        if (records * width > capacity_) Grow(records * width);
    }

    double* Record(size_t k)
    {
        assert(k < count_);
        return values_.get() + k * static_cast<size_t>(width_);
    }
    const double* Record(size_t k) const
    {
        assert(k < count_);
        return values_.get() + k * static_cast<size_t>(width_);
    }
    double* operator[](size_t k) { return Record(k); }
    const double* operator[](size_t k) const { return Record(k); }

    size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    int64_t width() const { return width_; }

    // Frees the storage (capacity too).
    void Release()
    {
        values_.reset();
        capacity_ = 0;
        count_ = 0;
    }

private:
    void Grow(size_t capacity)
    {
        if (capacity > std::numeric_limits<size_t>::max() / sizeof(double)) throw std::bad_alloc();
        std::unique_ptr<double[]> larger = std::make_unique_for_overwrite<double[]>(capacity);  // not cleared
        if (count_ > 0) std::memcpy(larger.get(), values_.get(), count_ * static_cast<size_t>(width_) * sizeof(double));
        values_ = std::move(larger);
        capacity_ = capacity;
    }

    int64_t width_ = 0;
    size_t count_ = 0;
    size_t capacity_ = 0;  // in doubles
    std::unique_ptr<double[]> values_;
};
