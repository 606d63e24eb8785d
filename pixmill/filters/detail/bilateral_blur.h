#pragma once

#include <pixmill/rows/lanes.h>
#include <pixmill/rows/recursive_gaussian.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

/// The blur of the bilateral grid: counts and sums side by side, so that the recursions of both run at the same time.
namespace pixmill::filters {

using namespace rows;

/// The grid's Gaussian: its gains follow from nu as it was narrowed to float, unlike the picture filters'.
struct GridGaussian {
    float nu, edgeGain, scale;

    static GridGaussian make(float sigma, int K)
    {
        const float q = sigma * sigma / float(2.0 * K);
        const double wide = q;
        const float nu = float(((2 * wide + 1) - std::sqrt(4 * wide + 1)) / (2 * wide));
        return {nu, 1 / (1 - nu), wholePower(nu / q, K)};
    }

    static GridGaussian ofGrid() { return make(0.85f, 2); }
};

constexpr int kGridLanes = 32; ///< lines of each grid blurred at a time

/// Where lines of both grids stand side by side: sample i of line l at counts[i * stride + l] and sums[i * stride + l].
template <class T>
struct GridLines {
    T* counts;
    T* sums;
    std::ptrdiff_t stride;
};

/// The samples that the sweeps have come to.
struct GridFront {
    float counts[kGridLanes], sums[kGridLanes];

    static void start(float (&at)[kGridLanes], const float* __restrict from, float* __restrict to, float gain)
    {
        for (int l = 0; l < kGridLanes; ++l)
            to[l] = at[l] = from[l] * gain;
    }
    static void step(float (&at)[kGridLanes], const float* __restrict from, float* __restrict to, float nu)
    {
        for (int l = 0; l < kGridLanes; ++l)
            to[l] = at[l] = from[l] + nu * at[l];
    }
    static void startHere(float (&at)[kGridLanes], float* here, float gain, float scale)
    {
        for (int l = 0; l < kGridLanes; ++l) {
            at[l] = here[l] * gain;
            here[l] = at[l] * scale;
        }
    }
    static void stepHere(float (&at)[kGridLanes], float* here, float nu, float scale)
    {
        for (int l = 0; l < kGridLanes; ++l) {
            at[l] = here[l] + nu * at[l];
            here[l] = at[l] * scale;
        }
    }
};

/// A forward sweep over kGridLanes lines of n samples of each grid.
inline void sweepForward(GridLines<const float> from, GridLines<float> to, int n, const GridGaussian& gauss)
{
    const float nu = gauss.nu;
    GridFront front;
    GridFront::start(front.counts, from.counts, to.counts, gauss.edgeGain);
    GridFront::start(front.sums, from.sums, to.sums, gauss.edgeGain);
    for (std::ptrdiff_t i = 1; i < n; ++i) {
        GridFront::step(front.counts, from.counts + i * from.stride, to.counts + i * to.stride, nu);
        GridFront::step(front.sums, from.sums + i * from.stride, to.sums + i * to.stride, nu);
    }
}

/// A sweep in place, its results multiplied by `scale`; a negative stride goes back.
inline void sweepHere(GridLines<float> lines, int n, const GridGaussian& gauss, float scale)
{
    const float nu = gauss.nu;
    GridFront front;
    GridFront::startHere(front.counts, lines.counts, gauss.edgeGain, scale);
    GridFront::startHere(front.sums, lines.sums, gauss.edgeGain, scale);
    for (std::ptrdiff_t i = 1; i < n; ++i) {
        GridFront::stepHere(front.counts, lines.counts + i * lines.stride, nu, scale);
        GridFront::stepHere(front.sums, lines.sums + i * lines.stride, nu, scale);
    }
}

/// What follows the first forward sweep.
inline void finishLines(GridLines<float> lines, int n, const GridGaussian& gauss)
{
    const std::ptrdiff_t last = (n - 1) * lines.stride;
    const GridLines<float> back{lines.counts + last, lines.sums + last, -lines.stride};
    sweepHere(back, n, gauss, 1.0f);
    sweepHere(lines, n, gauss, 1.0f);
    sweepHere(back, n, gauss, gauss.scale);
}

/// Blurs lines in place.
inline void blurLines(GridLines<float> lines, int n, const GridGaussian& gauss)
{
    sweepHere(lines, n, gauss, 1.0f);
    finishLines(lines, n, gauss);
}

/// Blurs lines into others.
inline void blurLines(GridLines<const float> from, GridLines<float> to, int n, const GridGaussian& gauss)
{
    sweepForward(from, to, n, gauss);
    finishLines(to, n, gauss);
}

/// Rows of n samples, side by side in memory, to lanes kGridLanes * 2 apart; lanes from `rows` on become 0.
inline void gridToLanes(const float* in, int rows, int n, float* out)
{
    rowsToLanes<kGridLanes>([=](int l) { return in + std::ptrdiff_t(l) * n; }, rows, n, out, 2 * kGridLanes);
}

/// Such lanes back to rows `width` apart.
inline void lanesToGrid(const float* in, int rows, int n, float* out, std::ptrdiff_t width)
{
    lanesToRows<kGridLanes>(
        in, rows, n, [=](int l) { return out + l * width; }, 2 * kGridLanes);
}

/// Rows of n samples `width` apart to rows side by side. Each is written in whole pieces as long as a row follows that
/// is written later.
inline void packRows(const float* in, std::ptrdiff_t width, int rows, int n, float* out)
{
    constexpr int kPiece = 8;
    const std::ptrdiff_t end = std::ptrdiff_t(rows) * n;
    for (int y = 0; y < rows; ++y) {
        const std::ptrdiff_t to = std::ptrdiff_t(y) * n;
        if (to + width > end) {
            std::copy_n(in + y * width, n, out + to);
            continue;
        }
        for (int x = 0; x < n; x += kPiece) {
            typedef float Piece __attribute__((vector_size(sizeof(float) * kPiece)));
            Piece piece;
            std::memcpy(&piece, in + y * width + x, sizeof piece);
            std::memcpy(out + to + x, &piece, sizeof piece);
        }
    }
}

/// Blurs slabs of both grids along z, then along x.
class SlabBlur {
public:
    SlabBlur(int gridX, int gridZ)
        : m_gridX(gridX), m_gridZ(gridZ), m_width((gridZ + kGridLanes - 1) / kGridLanes * kGridLanes),
          m_half(std::size_t(gridX) * m_width), m_rows(m_half * 2), m_tiles(std::size_t(gridZ) * kGridLanes * 2)
    {
    }

    /// Once for each thread before its first slab: the lanes beyond the last cell are 0 and stay so.
    void start() { std::fill_n(m_rows.mine(), m_half * 2, 0.0f); }

    void blur(float* counts, float* sums)
    {
        alongZ(counts, sums);
        float *rows = m_rows.mine(), *rows2 = rows + m_half;
        for (int z = 0; z < m_width; z += kGridLanes)
            blurLines(GridLines<float>{rows + z, rows2 + z, m_width}, m_gridX, m_gauss);
        packRows(rows, m_width, m_gridX, m_gridZ, counts);
        packRows(rows2, m_width, m_gridX, m_gridZ, sums);
    }

private:
    void alongZ(const float* counts, const float* sums)
    {
        float *tile = m_tiles.mine(), *tile2 = tile + kGridLanes, *rows = m_rows.mine();
        const int lanes = std::min(kGridLanes, m_gridX);
        const GridLines<float> lines{tile, tile2, 2 * kGridLanes};
        for (int x = 0; x < m_gridX; x += kGridLanes) {
            const int at = std::min(x, m_gridX - lanes); // the last tile takes some lines once more
            const std::ptrdiff_t cell = std::ptrdiff_t(at) * m_gridZ, row = std::ptrdiff_t(at) * m_width;
            gridToLanes(counts + cell, lanes, m_gridZ, tile);
            gridToLanes(sums + cell, lanes, m_gridZ, tile2);
            blurLines(lines, m_gridZ, m_gauss);
            lanesToGrid(tile, lanes, m_gridZ, rows + row, m_width);
            lanesToGrid(tile2, lanes, m_gridZ, rows + m_half + row, m_width);
        }
    }

    const GridGaussian m_gauss = GridGaussian::ofGrid();
    const int m_gridX, m_gridZ, m_width;
    const std::size_t m_half;
    TeamScratch<float> m_rows, m_tiles; ///< rows of m_width floats a cell in x, counts then sums; lines along z
};

} // namespace pixmill::filters
