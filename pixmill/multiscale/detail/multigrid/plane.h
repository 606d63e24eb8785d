#pragma once

#include <cstddef>

namespace pixmill::multiscale {

/// A view of `height` rows of `width` values with a margin of one value all round, so that row kernels need no special
/// case at the picture's edges. The margin holds 0, and nothing writes it.
template <class T>
struct Plane {
    T* origin = nullptr; ///< of the value at (0, 0)
    std::ptrdiff_t stride = 0;
    int width = 0, height = 0;

    /// From -1 to `height`; the values of a row from -1 to `width`.
    T* row(int y) const { return origin + y * stride; }
};

} // namespace pixmill::multiscale
