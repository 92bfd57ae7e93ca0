#pragma once
// dcm: dense complex matrix, square, row-major: element (i, j) is data[i*n + j].
// dcv: dense complex vector. vdcm: one dcm per frequency point.
// A freshly sized matrix or vector is all zeros; data is null exactly when n is 0.
// A dcm may also be a view of values that a vdcm holds in shared memory: it then never
// frees them, and sizing it to another order gives it storage of its own.

#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "numerics/Complex.h"

class dcm {
public:
    int32_t n = 0;
    Complex* data = nullptr;

    dcm() = default;
    explicit dcm(int32_t order) { Resize(order); }
    dcm(const dcm& other) { Assign(other); }
    dcm(dcm&& other) noexcept
        : n(std::exchange(other.n, 0)), data(std::exchange(other.data, nullptr)),
          owned_(std::exchange(other.owned_, true))
    {
    }
    dcm& operator=(const dcm& other)
    {
        if (this != &other) Assign(other);
        return *this;
    }
    dcm& operator=(dcm&& other) noexcept
    {
        if (this != &other) {
            Release();
            n = std::exchange(other.n, 0);
            data = std::exchange(other.data, nullptr);
            owned_ = std::exchange(other.owned_, true);
        }
        return *this;
    }
    ~dcm() { Release(); }

    // Same order: nothing happens and the values are kept. Otherwise the old storage is
    // freed and, for order > 0, order*order zeros are allocated (throws std::bad_alloc).
    void Resize(int32_t order)
    {
        if (order == n) return;
        Release();
        if (order > 0) {
            data = new Complex[static_cast<size_t>(order) * static_cast<size_t>(order)]();
            n = order;
        }
    }
    void Release()
    {
        if (owned_) delete[] data;
        data = nullptr;
        n = 0;
        owned_ = true;
    }
    // Becomes a view of order*order values owned elsewhere.
    void View(Complex* values, int32_t order)
    {
        Release();
        if (order > 0 && values != nullptr) {
            data = values;
            n = order;
            owned_ = false;
        }
    }
    void Assign(const dcm& src)
    {
        Resize(src.n);
        if (n > 0) std::memcpy(static_cast<void*>(data), src.data, sizeof(Complex) * Size());
    }

    size_t Size() const { return static_cast<size_t>(n) * static_cast<size_t>(n); }
    Complex& Element(int32_t i, int32_t j) { return data[j + i * n]; }
    const Complex& Element(int32_t i, int32_t j) const { return data[j + i * n]; }
    Complex& operator()(int32_t i, int32_t j) { return data[j + i * n]; }
    const Complex& operator()(int32_t i, int32_t j) const { return data[j + i * n]; }

    void SetIdentity();
    void SetZero();
    void Negate();
    dcm& operator+=(const dcm& B);
    dcm& operator-=(const dcm& B);
    // z := z*s, written out as (z.re*s.re - z.im*s.im) + i(z.im*s.re + z.re*s.im).
    dcm& operator*=(Complex s);
    // Smith's scaled complex division of every element.
    dcm& operator/=(Complex s);

private:
    bool owned_ = true;
};

dcm operator+(const dcm& A, const dcm& B);
dcm operator-(const dcm& A, const dcm& B);

class dcv {
public:
    int32_t n = 0;
    Complex* data = nullptr;

    dcv() = default;
    explicit dcv(int32_t count) { ResizeVector(count); }
    dcv(const dcv& other) { *this = other; }
    dcv(dcv&& other) noexcept : n(std::exchange(other.n, 0)), data(std::exchange(other.data, nullptr)) {}
    dcv& operator=(const dcv& other)
    {
        if (this != &other) {
            ResizeVector(other.n);
            if (n > 0) std::memcpy(static_cast<void*>(data), other.data, sizeof(Complex) * static_cast<size_t>(n));
        }
        return *this;
    }
    dcv& operator=(dcv&& other) noexcept
    {
        if (this != &other) {
            Release();
            n = std::exchange(other.n, 0);
            data = std::exchange(other.data, nullptr);
        }
        return *this;
    }
    ~dcv() { Release(); }

    void ResizeVector(int32_t count)
    {
        if (count == n) return;
        Release();
        if (count > 0) {
            data = new Complex[static_cast<size_t>(count)]();
            n = count;
        }
    }
    void Release()
    {
        delete[] data;
        data = nullptr;
        n = 0;
    }
    Complex& operator[](int32_t i) { return data[i]; }
    const Complex& operator[](int32_t i) const { return data[i]; }
};

class vdcm {
public:
    // Exactly `count` matrices, each Resize(n)-d: existing matrices of order n keep their values.
    void ResizeAll(int32_t count, int32_t order)
    {
        items_.resize(count > 0 ? static_cast<size_t>(count) : 0);
        for (dcm& m : items_) m.Resize(order);
    }
    // Exactly `count` matrices of order `order` over consecutive blocks of `values`
    // (count·order² elements, which the caller zero-fills), kept alive by `storage`: the
    // calibration hands it memory that a child process made by fork can fill too. Earlier
    // matrices are released.
    void ResizeAllOver(int32_t count, int32_t order, Complex* values, std::shared_ptr<void> storage);
    // Releases every matrix and empties the vector.
    void ClearAll()
    {
        for (dcm& m : items_) m.Release();
        items_.clear();
        storage_.reset();
    }
    dcm& operator[](size_t k) { return items_[k]; }
    const dcm& operator[](size_t k) const { return items_[k]; }
    size_t size() const { return items_.size(); }
    bool empty() const { return items_.empty(); }

private:
    std::vector<dcm> items_;
    std::shared_ptr<void> storage_;
};

/// false: A is exactly singular (LAPACK info != 0). Logs nothing; the caller decides.
[[nodiscard]] bool Inverse(const dcm& A, dcm& B);
/// true exactly when Inverse would succeed on A; the inverse itself is not formed.
[[nodiscard]] bool IsInvertible(const dcm& A);

/// P := A·B (P resized to A's order).
void Multiply(const dcm& A, const dcm& B, dcm& P);

/// Principal square root by eigen-decomposition: R = V·diag(sqrt(w))·V^-1.
/// `VD` receives V·diag(sqrt(w)) and `R` the root; the optional outputs receive the
/// eigenvalues, V and the root eigenvalues. Carried out even when the decomposition fails.
/// false: ZGEEV did not converge.
[[nodiscard]] bool MatrixSqrt(const dcm& A, dcm& VD, dcm& R, dcv* eigenvalues = nullptr,
                              dcm* eigenvectors = nullptr, dcv* rootEigenvalues = nullptr);
