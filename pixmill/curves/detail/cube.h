#pragma once

#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

/// Trilinear look-ups in a grid of colour triples.
namespace pixmill::curves {

using namespace rows;

/// One axis of the grid: where a value lies between its points. At the last point that is all the way from the one
/// before, which gives its value to the bit and leaves every cell its upper corners.
struct CubeAxis {
    float low, scale, last;
    int lastCell;
    int stride; ///< Triples from cell to cell.
    int upper;  ///< Triples from a lower to an upper corner: 0 where there is one point alone.

    CubeAxis(float min, float max, int size, int triples)
        : low(min), scale(float(size - 1) / (max - min)), last(float(size - 1)), lastCell(std::max(size - 2, 0)),
          stride(triples), upper(size > 1 ? triples : 0)
    {
    }
};

struct Cube {
    const ushort* table;
    CubeAxis axes[3];

    /// No axis has one point alone, so that there are entries before and behind all corners but the outermost.
    bool roomy() const { return axes[0].upper > 0 && axes[1].upper > 0 && axes[2].upper > 0; }
};

inline int between(int a, int b, float f)
{
    return int(float(a) + float(b - a) * f);
}

/// Pixels worked on at a time: first their places in the grid, then their corners one after the other, and then all
/// channels of all of them in the lanes of one loop.
constexpr int kCubeTile = 128;

struct CubeTile {
    int cell[kCubeTile]; ///< The lower corner, in triples.
    float fraction[3][kCubeTile];
    ushort corner[8][kCubeTile * 3 + 1];
    float spread[3][kCubeTile * 3]; ///< The fractions, for every channel.
};

/// Adds where the n values v[0], v[3], v[6] ... lie on an axis.
inline void placeOnAxis(const ushort* __restrict v, const CubeAxis& axis, int n, int* __restrict cell,
                        float* __restrict fraction)
{
    const CubeAxis on = axis;
    for (int x = 0; x < n; ++x) {
        const float p = limit((float(v[3 * x]) - on.low) * on.scale, 0.0f, on.last);
        const int place = int(p), i = place < on.lastCell ? place : on.lastCell;
        cell[x] += i * on.stride;
        fraction[x] = p - float(i);
    }
}

/// Fetches the corners of n pixels, in the order of `TLut3D::linearInterpolateRGB`. In a roomy cube a triple is copied
/// with an entry more, behind it, or before it at the last corner; the next copy takes that one's place.
template <bool roomy>
inline void fetchCorners(const Cube& cube, int n, CubeTile& t)
{
    const std::ptrdiff_t a = 3 * cube.axes[0].upper, b = 3 * cube.axes[1].upper, c = 3 * cube.axes[2].upper;
    const std::ptrdiff_t corner[8] = {0, c, b, b + c, a, a + c, a + b, a + b + c};
    for (int x = 0; x < n; ++x) {
        const ushort* cell = cube.table + std::ptrdiff_t(t.cell[x]) * 3;
        for (int i = 0; i < 7; ++i)
            std::memcpy(t.corner[i] + 3 * x, cell + corner[i], (roomy ? 4 : 3) * sizeof *cell);
        std::memcpy(t.corner[7] + 3 * x, cell + corner[7], 3 * sizeof *cell);
        for (int k = 0; k < 3; ++k) {
            t.spread[0][3 * x + k] = t.fraction[0][x];
            t.spread[1][3 * x + k] = t.fraction[1][x];
            t.spread[2][3 * x + k] = t.fraction[2][x];
        }
    }
}

inline void interpolateTile(const CubeTile& t, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        const float f0 = t.spread[0][x], f1 = t.spread[1][x], f2 = t.spread[2][x];
        const int low =
            between(between(t.corner[0][x], t.corner[1][x], f2), between(t.corner[2][x], t.corner[3][x], f2), f1);
        const int high =
            between(between(t.corner[4][x], t.corner[5][x], f2), between(t.corner[6][x], t.corner[7][x], f2), f1);
        out[x] = ushort(between(low, high, f0));
    }
}

/// Looks n pixels of three channels up. `out` may be `in`.
inline void lookUpCube(const Cube& cube, const ushort* in, ushort* out, int n)
{
    CubeTile t;
    for (int x = 0; x < n; x += kCubeTile) {
        const int tile = std::min(kCubeTile, n - x);
        std::fill_n(t.cell, tile, 0);
        for (int k = 0; k < 3; ++k)
            placeOnAxis(in + 3 * x + k, cube.axes[k], tile, t.cell, t.fraction[k]);
        if (cube.roomy())
            fetchCorners<true>(cube, tile, t);
        else
            fetchCorners<false>(cube, tile, t);
        interpolateTile(t, out + 3 * x, 3 * tile);
    }
}

} // namespace pixmill::curves
