#pragma once
// SharedRegion: zero-filled memory that stays shared with child processes made by fork, so
// that a child's results are seen by this process: an anonymous shared mapping, unmapped
// when the region goes away. Pages are claimed as they are first touched.

#include <cstddef>

class SharedRegion {
public:
    SharedRegion() = default;
    /// `bytes` zero bytes (none for 0). Throws std::bad_alloc when the system refuses them.
    explicit SharedRegion(size_t bytes);
    ~SharedRegion() { Release(); }
    SharedRegion(SharedRegion&& other) noexcept;
    SharedRegion& operator=(SharedRegion&& other) noexcept;
    SharedRegion(const SharedRegion&) = delete;
    SharedRegion& operator=(const SharedRegion&) = delete;

    void* data() const { return data_; }
    size_t size() const { return bytes_; }
    void Release();

private:
    void* data_ = nullptr;
    size_t bytes_ = 0;
};
