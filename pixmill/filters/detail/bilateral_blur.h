#pragma once

#include <pixmill/core/detail/scratch.h>
#include <pixmill/core/detail/transpose.h>
#include <pixmill/multiscale/detail/recursive_gaussian.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

/// The blur of the bilateral grid: counts and sums side by side, so that the recursions of both run at the same time.
namespace pixmill::detail {

/// The grid's Gaussian: its gains follow from nu as it was narrowed to float, unlike the picture filters'.
struct GridGaussian {
    float nu, edgeGain, scale;

    static GridGaussian make(float sigma, int K)
    {
        const float q = sigma * sigma / float(K + K);
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

    void gain(float by)
    {
        for (int l = 0; l < kGridLanes; ++l)
            counts[l] *= by;
        for (int l = 0; l < kGridLanes; ++l)
            sums[l] *= by;
    }
    void step(float nu, const float* nextCounts, const float* nextSums)
    {
        for (int l = 0; l < kGridLanes; ++l)
            counts[l] = nextCounts[l] + nu * counts[l];
        for (int l = 0; l < kGridLanes; ++l)
            sums[l] = nextSums[l] + nu * sums[l];
    }
    void store(float* toCounts, float* toSums, float scale) const
    {
        for (int l = 0; l < kGridLanes; ++l)
            toCounts[l] = counts[l] * scale;
        for (int l = 0; l < kGridLanes; ++l)
            toSums[l] = sums[l] * scale;
    }
};

/// Blurs kGridLanes lines of n samples of each grid into `to`, which may be `from`.
inline void blurLines(GridLines<const float> from, GridLines<float> to, int n, const GridGaussian& gauss)
{
    const float nu = gauss.nu, edgeGain = gauss.edgeGain;
    for (int round = 0; round < 2; ++round) {
        GridFront front;
        std::copy_n(from.counts, kGridLanes, front.counts);
        std::copy_n(from.sums, kGridLanes, front.sums);
        front.gain(edgeGain);
        front.store(to.counts, to.sums, 1.0f); // a product with 1 changes nothing
        std::ptrdiff_t at = 0;
        for (int i = 1; i < n; ++i) {
            at += to.stride;
            front.step(nu, from.counts + i * from.stride, from.sums + i * from.stride);
            front.store(to.counts + at, to.sums + at, 1.0f);
        }
        const float scale = round ? gauss.scale : 1.0f;
        front.gain(edgeGain);
        front.store(to.counts + at, to.sums + at, scale);
        for (int i = n - 2; i >= 0; --i) {
            at -= to.stride;
            front.step(nu, to.counts + at, to.sums + at);
            front.store(to.counts + at, to.sums + at, scale);
        }
        from = {to.counts, to.sums, to.stride};
    }
}

/// Rows of n samples, side by side in memory, to lanes kGridLanes * 2 apart; lanes from `rows` on become 0.
inline void gridToLanes(const float* in, int rows, int n, float* out)
{
    constexpr int stride = 2 * kGridLanes;
    if (rows == kGridLanes && n >= 8) {
        for (int x = 0; x < n; x += 8) {
            const int at = std::min(x, n - 8); // the last block takes some samples once more
            for (int l = 0; l < kGridLanes; l += 8)
                transpose8x8(in + std::ptrdiff_t(l) * n + at, n, out + at * stride + l, stride);
        }
        return;
    }
    for (int x = 0; x < n; ++x)
        for (int l = 0; l < kGridLanes; ++l)
            out[x * stride + l] = l < rows ? in[std::ptrdiff_t(l) * n + x] : 0.0f;
}

/// Such lanes back to rows `width` apart.
inline void lanesToGrid(const float* in, int rows, int n, float* out, std::ptrdiff_t width)
{
    constexpr int stride = 2 * kGridLanes;
    if (rows == kGridLanes && n >= 8) {
        for (int x = 0; x < n; x += 8) {
            const int at = std::min(x, n - 8);
            for (int l = 0; l < kGridLanes; l += 8)
                transpose8x8(in + at * stride + l, stride, out + l * width + at, width);
        }
        return;
    }
    for (int l = 0; l < rows; ++l)
        for (int x = 0; x < n; ++x)
            out[l * width + x] = in[x * stride + l];
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
            blurLines({rows + z, rows2 + z, m_width}, {rows + z, rows2 + z, m_width}, m_gridX, m_gauss);
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
            blurLines({tile, tile2, lines.stride}, lines, m_gridZ, m_gauss);
            lanesToGrid(tile, lanes, m_gridZ, rows + row, m_width);
            lanesToGrid(tile2, lanes, m_gridZ, rows + m_half + row, m_width);
        }
    }

    const GridGaussian m_gauss = GridGaussian::ofGrid();
    const int m_gridX, m_gridZ, m_width;
    const std::size_t m_half;
    TeamScratch<float> m_rows, m_tiles; ///< rows of m_width floats a cell in x, counts then sums; lines along z
};

} // namespace pixmill::detail
