#include "parallel/SharedRegion.h"

#include <sys/mman.h>

#include <new>
#include <utility>

SharedRegion::SharedRegion(size_t bytes)
{
    if (bytes == 0) return;
    void* p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (p == MAP_FAILED) throw std::bad_alloc();
    data_ = p;
    bytes_ = bytes;
}

SharedRegion::SharedRegion(SharedRegion&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), bytes_(std::exchange(other.bytes_, 0))
{
}

SharedRegion& SharedRegion::operator=(SharedRegion&& other) noexcept
{
    if (this != &other) {
        Release();
        data_ = std::exchange(other.data_, nullptr);
        bytes_ = std::exchange(other.bytes_, 0);
    }
    return *this;
}

void SharedRegion::Release()
{
    if (data_ != nullptr) ::munmap(data_, bytes_);
    data_ = nullptr;
    bytes_ = 0;
}
