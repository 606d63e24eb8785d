#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <utility>

namespace pixmill::rows {

/// A block of `size` bytes on a boundary of `alignment`, a power of two; null for none or where there is no memory.
/// Freed by std::free.
inline void* alignedBlock(std::size_t size, std::size_t alignment)
{
    void* block = nullptr;
    if (size == 0 || size > std::size_t(PTRDIFF_MAX) || posix_memalign(&block, alignment, size) != 0)
        return nullptr;
    return block;
}

/// Sole owner of `size` plain values on a 64-byte boundary. The values start undefined.
template <class T>
class AlignedArray {
    static_assert(std::is_trivial_v<T>, "values are neither constructed nor destroyed");

public:
    AlignedArray() = default;

    /// @throws std::bad_alloc when there is no memory.
    explicit AlignedArray(std::size_t size) : m_size(size)
    {
        if (size == 0)
            return;
        if (size <= std::size_t(-1) / sizeof(T))
            m_data = static_cast<T*>(alignedBlock(size * sizeof(T), 64));
        if (!m_data)
            throw std::bad_alloc();
    }

    AlignedArray(AlignedArray&& other) noexcept { swap(other); }
    AlignedArray& operator=(AlignedArray&& other) noexcept
    {
        AlignedArray(std::move(other)).swap(*this);
        return *this;
    }
    ~AlignedArray() { std::free(m_data); }

    void swap(AlignedArray& other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
    }

    /// Hands the block to the caller, who frees it with `MKL_free`, `ippiFree` or `ippsFree`.
    T* release() noexcept
    {
        m_size = 0;
        return std::exchange(m_data, nullptr);
    }

    T* data() { return m_data; }
    const T* data() const { return m_data; }
    std::size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    T& operator[](std::size_t i) { return m_data[i]; }
    const T& operator[](std::size_t i) const { return m_data[i]; }
    T* begin() { return m_data; }
    T* end() { return m_data + m_size; }
    const T* begin() const { return m_data; }
    const T* end() const { return m_data + m_size; }

private:
    T* m_data = nullptr;
    std::size_t m_size = 0;
};

} // namespace pixmill::rows
