#pragma once

#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

/// Row kernels of the bilateral grid.
namespace pixmill::filters {

using namespace rows;

constexpr float kEmptyWeight = 1e-20f; ///< keeps a cell that received nothing from a division by zero

inline void fillGrids(float* weights, float* values, std::size_t cells, float weight, float value)
{
    std::fill_n(weights, cells, weight);
    std::fill_n(values, cells, value);
}

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
inline void cellPixels(const T* __restrict edge, GridAxis axis, int top, uchar* __restrict cells, int x, int n)
{
    for (; x < n; ++x)
        cells[x] = uchar(limit(int(toPixel8(axis(edge[x]))), 0, top));
}

/// What a row of pixels is read back from.
struct GridRead {
    const float* pairs; ///< for every (x, z) of two slabs: the cell at y, then the one at y + 1
    int gridZ;
    GridAxis axis;
    const int* xOffset;     ///< of every pixel: the first cell of its column
    const float* xFraction; ///< and how far it lies on the way to the next
};

/// A row in plain steps, each of them a loop over a piece that stays in the nearest cache.
///
/// Trilinear: along z for the four columns around a pixel, then along x, then along y. The fraction along z is signed:
/// its cell is the nearest.
template <class Edge, class Pixel>
inline void readBackPixels(const GridRead& grid, const Edge* edge, float yFraction, Pixel* out, int x, int n)
{
    constexpr int kPiece = 256;
    const auto between = [](float a, float b, float f) { return a + (b - a) * f; };
    const float* const next = grid.pairs + 2 * std::ptrdiff_t(grid.gridZ);
    const int top = grid.gridZ - 2;
    for (; x < n; x += kPiece) {
        int offset[kPiece];
        float fraction[kPiece], line[kPiece];
        const int piece = n - x < kPiece ? n - x : kPiece;
        for (int i = 0; i < piece; ++i) {
            const float z = grid.axis(edge[x + i]);
            const int cell = toPixel8(z);
            fraction[i] = z - float(cell);
            offset[i] = grid.xOffset[x + i] + (cell < top ? cell : top);
        }
        for (int i = 0; i < piece; ++i) {
            const float *p = grid.pairs + 2 * std::ptrdiff_t(offset[i]), *q = next + 2 * std::ptrdiff_t(offset[i]);
            const float f = fraction[i], xFraction = grid.xFraction[x + i];
            const float above = between(between(p[0], p[2], f), between(q[0], q[2], f), xFraction);
            const float below = between(between(p[1], p[3], f), between(q[1], q[3], f), xFraction);
            line[i] = between(above, below, yFraction);
        }
        for (int i = 0; i < piece; ++i)
            out[x + i] = sizeof(Pixel) == 1 ? toPixel8(line[i]) : toPixel16(line[i]);
    }
}

} // namespace pixmill::filters
