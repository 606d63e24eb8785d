#pragma once

#include <pixmill/multiscale/detail/multigrid/plane.h>
#include <pixmill/rows/memory.h>

#include <cstddef>
#include <vector>

namespace pixmill::multiscale {

/// Where the solver's planes lie: in blocks of its owner that are free for the while, and in memory of its own where
/// those are full. All is given back on destruction.
class Workspace {
public:
    /// Lends `bytes` at `block`, which must stay until the last use of a plane.
    void lend(void* block, std::size_t bytes);

    /// A plane of zeros.
    ///
    /// @throws std::bad_alloc  no memory.
    template <class T>
    Plane<T> plane(int width, int height)
    {
        const std::ptrdiff_t stride = std::ptrdiff_t(width) + 2;
        T* const margin = static_cast<T*>(take(std::size_t(stride) * (std::size_t(height) + 2) * sizeof(T)));
        return {margin + stride + 1, stride, width, height};
    }

private:
    struct Block {
        char* free;
        std::size_t left;
    };

    void* take(std::size_t bytes);

    std::vector<Block> m_lent;
    std::vector<rows::AlignedArray<char>> m_own;
};

} // namespace pixmill::multiscale
