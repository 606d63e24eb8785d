#include <pixmill/filters/BilateralFilter.h>

#include <pixmill/filters/detail/bilateral_avx512.h>
#include <pixmill/filters/detail/bilateral_blur.h>
#include <pixmill/filters/detail/bilateral_grid.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstring>
#include <vector>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

/// Calls `work` with the edge picture's row type; depths other than 8 and 16 bits unsigned go through float.
template <class Work>
void withEdge(const cv::Mat& edge, const Work& work)
{
    if (edge.depth() == CV_8U)
        return work(edge, uchar());
    if (edge.depth() == CV_16U)
        return work(edge, ushort());
    cv::Mat wide;
    edge.convertTo(wide, CV_32F);
    work(wide, float());
}

/// The grid column of one cell's width of pixels, at its splat.
struct Cell {
    float* values;
    float* weights;
};

/// Whether nothing was added to a column yet, so that its sums and counts will be whole numbers.
inline bool isEmpty(Cell cell, int gridZ)
{
    bool empty = true;
    for (int k = 0; k < gridZ; ++k)
        empty &= cell.values[k] == 0.0f && cell.weights[k] == kEmptyWeight;
    return empty;
}

/// Adds up to `n` neighbouring pixels of one row to their cell. Sums go in the picture's order.
template <class T>
inline void splatPixels(const T* pixels, const uchar* z, int n, Cell cell)
{
    for (int i = 0; i < n; ++i) {
        cell.values[z[i]] += float(pixels[i]);
        cell.weights[z[i]] += 1.0f;
    }
}

/// Sums and counts of a block of at most 256 pixels: whole numbers below 2^24, which any order adds up to the same.
///
/// Four sets take turns, so that pixels of one cell need not wait for each other.
struct BlockSums {
    static constexpr int kTurns = 4;
    static constexpr int kSet = 264; ///< 252 cells in whole pieces; sets must not lie a multiple of a page apart

    std::uint64_t sets[kTurns][kSet]; ///< sum in the low half, count in the high

    template <class T>
    static void add(std::uint64_t* set, T pixel, uchar z)
    {
        set[z] += (std::uint64_t(1) << 32) + pixel;
    }

    template <class T>
    void addRow(const T* pixels, const uchar* z, int n)
    {
        int x = 0;
        for (; x + kTurns <= n; x += kTurns) {
            add(sets[0], pixels[x], z[x]);
            add(sets[1], pixels[x + 1], z[x + 1]);
            add(sets[2], pixels[x + 2], z[x + 2]);
            add(sets[3], pixels[x + 3], z[x + 3]);
        }
        for (; x < n; ++x)
            add(sets[0], pixels[x], z[x]);
    }

    /// Adds the sums of gridZ cells to empty ones, and clears them. Up to `room` cells are written, with no more than
    /// what empty ones hold.
    void moveTo(Cell cell, int gridZ, std::ptrdiff_t room)
    {
        constexpr int kPiece = 16;
        for (int k = 0; k < gridZ; k += kPiece) {
            float sum[kPiece], count[kPiece];
            for (int i = 0; i < kPiece; ++i) {
                const std::uint64_t all = sets[0][k + i] + sets[1][k + i] + sets[2][k + i] + sets[3][k + i];
                sum[i] = float(int(all & 0xffffffff));
                count[i] = kEmptyWeight + float(int(all >> 32));
            }
            if (k + kPiece <= room) {
                std::memcpy(cell.values + k, sum, sizeof sum);
                std::memcpy(cell.weights + k, count, sizeof count);
            } else {
                std::copy_n(sum, gridZ - k, cell.values + k);
                std::copy_n(count, gridZ - k, cell.weights + k);
            }
            for (auto& set : sets)
                std::fill_n(set + k, kPiece, 0);
        }
    }
};

/// The cells of two slabs side by side: y, then y + 1.
inline void pairSlabs(const float* __restrict slab, const float* __restrict below, float* __restrict pairs,
                      std::size_t cells)
{
    for (std::size_t i = 0; i < cells; ++i) {
        pairs[2 * i] = slab[i];
        pairs[2 * i + 1] = below[i];
    }
}

template <class Edge>
inline void cellRow(const Edge* edge, GridAxis axis, int top, uchar* cells, int n)
{
    wideThenPlain(
        n, [=](int count) { return cellRow512(edge, axis, top, cells, count); },
        [=](int x, int end) { cellPixels(edge, axis, top, cells, x, end); });
}

/// A picture's way into the grid, a row of cells at a time.
struct Splat {
    GridAxis axis;
    Cell grid; ///< The first of all.
    std::ptrdiff_t slab;
    int step, pad, columns, gridZ;
    cv::Size size;
    bool fresh, blocks; ///< Whether the grid is empty, and whether whole blocks pay.

    /// `z` is scratch for the cells of the row's pixels.
    template <class Edge, class Pixel>
    void addRow(const cv::Mat& edges, const cv::Mat& picture, int row, uchar* z) const
    {
        BlockSums sums = {};
        const int y0 = row * step, rows = std::min(step, size.height - y0);
        for (int y = 0; y < rows; ++y)
            cellRow(edges.ptr<Edge>(y0 + y), axis, gridZ - 2, z + std::ptrdiff_t(y) * size.width, size.width);
        for (int column = 0; column < columns; ++column) {
            const int x0 = column * step, n = std::min(step, size.width - x0);
            const std::ptrdiff_t inSlab = std::ptrdiff_t(column + pad) * gridZ, at = (row + pad) * slab + inSlab;
            const Cell cell{grid.values + at, grid.weights + at};
            if (blocks && (fresh || isEmpty(cell, gridZ))) {
                for (int y = 0; y < rows; ++y)
                    sums.addRow(picture.ptr<Pixel>(y0 + y) + x0, z + std::ptrdiff_t(y) * size.width + x0, n);
                sums.moveTo(cell, gridZ, fresh ? slab - inSlab : gridZ);
            } else {
                for (int y = 0; y < rows; ++y)
                    splatPixels(picture.ptr<Pixel>(y0 + y) + x0, z + std::ptrdiff_t(y) * size.width + x0, n, cell);
            }
        }
    }
};

template <class Edge, class Pixel>
inline void readBackRow(const GridRead& grid, const Edge* edge, float yFraction, Pixel* out, int n)
{
    wideThenPlain(
        n, [&](int count) { return readBackRow512(grid, edge, yFraction, out, count); },
        [&](int x, int end) { readBackPixels(grid, edge, yFraction, out, x, end); });
}

} // namespace

void BilateralFilter::build(const cv::Mat& picture, const cv::Mat& edge, bool fresh)
{
    const double alpha = 1.0 / m_sampleR;
    const GridAxis axis{float(alpha), float(double(float(m_gridPadZ) + 1.0f) - m_minVal * alpha)};
    const int step = m_sampleS, first = m_gridPadXY + 1, columns = m_gridX - 2 * first, gridRows = m_gridY - 2 * first;
    const std::size_t slab = std::size_t(m_gridX) * m_gridZ;
    // Whole blocks pay where they are larger than the cells to go through; sums must stay exact in float.
    const bool blocks = step <= 16 && step * step >= 2 * m_gridZ;
    const Splat splat = {axis,
                         {m_values_p, m_weights_p},
                         std::ptrdiff_t(slab),
                         step,
                         first,
                         columns,
                         m_gridZ,
                         {m_width, m_height},
                         fresh,
                         blocks};

    TeamScratch<uchar> cells(std::size_t(m_width) * std::min(step, m_height));
    withEdge(edge, [&](const cv::Mat& edges, auto edgeType) {
        using Edge = decltype(edgeType);
        blurSlabs(long(m_width) * m_height, [&](int y, int end) {
            if (fresh)
                fillGrids(m_weights_p + y * slab, m_values_p + y * slab, (end - y) * slab, kEmptyWeight, 0.0f);
            for (int row = std::max(y - first, 0); row < std::min(end - first, gridRows); ++row)
                if (m_is16Bit)
                    splat.addRow<Edge, ushort>(edges, picture, row, cells.mine());
                else
                    splat.addRow<Edge, uchar>(edges, picture, row, cells.mine());
        });
    });
    blurAlongY(true);
}

void BilateralFilter::filterGrids()
{
    if (!hasGrid())
        return;
    blurSlabs(0, [](int, int) {});
    blurAlongY(false);
}

/// Blurs every slab along z and x, right after `prepare(y, y + 1)` while it is near. `pixels`: the work of preparing
/// all.
template <class Prepare>
void BilateralFilter::blurSlabs(long pixels, const Prepare& prepare)
{
    const std::size_t slab = std::size_t(m_gridX) * m_gridZ;
    SlabBlur slabs(m_gridX, m_gridZ);
    const auto blur = [&](int y, int) { slabs.blur(m_weights_p + y * slab, m_values_p + y * slab); };
    forEachSpan(m_gridY, long(slab) * m_gridY + pixels, [&](int y, int end) {
        slabs.start();
        for (; y < end; ++y) { // each by a call of its own: there are many forms of the first and one of the second
            runSpan(prepare, y, y + 1);
            runSpan(blur, y, y + 1);
        }
    });
}

void BilateralFilter::blurAlongY(bool divide)
{
    const std::size_t slab = std::size_t(m_gridX) * m_gridZ;
    const GridGaussian gauss = GridGaussian::ofGrid();
    const int strips = int((slab + kGridLanes - 1) / kGridLanes);
    const std::size_t column = std::size_t(m_gridY) * kGridLanes;
    TeamScratch<float> scratch(column * 2);
    forEachIndex(strips, long(slab) * m_gridY, [&](int strip) {
        const std::size_t x = std::size_t(strip) * kGridLanes;
        const int count = int(std::min<std::size_t>(kGridLanes, slab - x));
        float *counts = scratch.mine(), *sums = counts + column;
        const GridLines<float> lines{counts, sums, kGridLanes};
        if (count == kGridLanes) {
            blurLines(GridLines<const float>{m_weights_p + x, m_values_p + x, std::ptrdiff_t(slab)}, lines, m_gridY,
                      gauss);
        } else {
            std::fill_n(counts, column * 2, 0.0f);
            for (int y = 0; y < m_gridY; ++y) {
                std::copy_n(m_weights_p + y * slab + x, count, counts + std::ptrdiff_t(y) * kGridLanes);
                std::copy_n(m_values_p + y * slab + x, count, sums + std::ptrdiff_t(y) * kGridLanes);
            }
            blurLines(lines, m_gridY, gauss);
        }
        for (int y = 0; y < m_gridY; ++y) {
            const float *w = counts + std::ptrdiff_t(y) * kGridLanes, *v = sums + std::ptrdiff_t(y) * kGridLanes;
            float *outW = m_weights_p + y * slab + x, *outV = m_values_p + y * slab + x;
            for (int l = 0; l < count; ++l) {
                outW[l] = w[l];
                outV[l] = divide ? v[l] / w[l] : v[l];
            }
        }
    });
}

void BilateralFilter::interpGrid(cv::Mat& inOut, const cv::Mat& edge)
{
    checkGridFor("BilateralFilter::interpGrid", inOut, edge);
    const double alpha = 1.0 / m_sampleR;
    const GridAxis axis{float(alpha), float((m_gridPadZ + 0.5) - m_minVal * alpha)};
    const int width = m_width;
    const std::size_t slab = std::size_t(m_gridX) * m_gridZ;

    std::vector<int> xOffset(width);
    std::vector<float> xFraction(width);
    for (int x = 0; x < width; ++x) {
        const float position = float(x) / float(m_sampleS) + float(m_gridPadXY) + 0.5f;
        xOffset[x] = int(position) * m_gridZ;
        xFraction[x] = position - float(int(position));
    }
    TeamScratch<float> scratch(slab * 2);
    const auto readRows = [&](const cv::Mat& edges, auto edgeType) {
        using Edge = decltype(edgeType);
        forEachSpan(m_height, long(width) * m_height, [&](int y, int end) {
            float* const pairs = scratch.mine();
            const GridRead grid{pairs, m_gridZ, axis, xOffset.data(), xFraction.data()};
            for (int paired = -1; y < end; ++y) {
                const float position = float(y) / float(m_sampleS) + float(m_gridPadXY) + 0.5f;
                const int yi = int(position);
                if (yi != paired)
                    pairSlabs(m_values_p + yi * slab, m_values_p + (yi + 1) * slab, pairs, slab);
                paired = yi;
                if (m_is16Bit)
                    readBackRow(grid, edges.ptr<Edge>(y), position - float(yi), inOut.ptr<ushort>(y), width);
                else
                    readBackRow(grid, edges.ptr<Edge>(y), position - float(yi), inOut.ptr<uchar>(y), width);
            }
        });
    };
    withEdge(edge, readRows);
}
