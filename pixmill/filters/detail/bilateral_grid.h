#pragma once

#include <pixmill/core/detail/pixel.h>

#include <cstdint>

/// Row kernels of the bilateral grid.
namespace pixmill::detail {

/// The grid position of edge values: value * alpha + beta in single precision.
struct GridAxis {
    float alpha, beta;

    template <class T>
    float operator()(T value) const
    {
        return float(value) * alpha + beta;
    }
};

/// Cells of a row of edge values, rounded, limited to `top`.
template <class T>
inline void cellRow(const T* __restrict edge, GridAxis axis, int top, uchar* __restrict cells, int n)
{
    for (int x = 0; x < n; ++x)
        cells[x] = uchar(limit(int(toPixel8(axis(edge[x]))), 0, top));
}

/// Where a row's samples are read: the offset of their cell, and the signed fraction to the next along the edge value.
template <class T>
inline void readRow(const T* __restrict edge, GridAxis axis, int top, const int* __restrict xOffset,
                    int* __restrict offset, float* __restrict fraction, int n)
{
    for (int x = 0; x < n; ++x) {
        const float z = axis(edge[x]);
        const int cell = toPixel8(z);
        fraction[x] = z - float(cell);
        offset[x] = xOffset[x] + (cell < top ? cell : top);
    }
}

} // namespace pixmill::detail
