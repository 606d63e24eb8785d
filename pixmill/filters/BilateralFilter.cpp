#include <pixmill/filters/BilateralFilter.h>

#include <pixmill/core/TProgress.h>
#include <pixmill/filters/detail/bilateral_blur.h>
#include <pixmill/filters/detail/bilateral_grid.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

constexpr unsigned kGuard = 0x6d6d6d6d;
constexpr int kMostZ = 252;    ///< The cell of an edge value is held in 8 bits.
constexpr int kMostPadZ = 124; ///< More would leave no cell for the values.

bool refused(TProgress* progress)
{
    return progress && !progress->prog();
}

/// Cells for `size` steps of `step`, the last one begun counted, with the padding on both sides and one more each.
long cellsFor(int size, int step, int pad)
{
    return long(size) / step + (size % step > 0) + 2L * pad + 2;
}

/// Cells of a grid; none where that is not a number of cells that an int holds.
std::size_t cellCount(long x, long y, long z)
{
    const bool counted = x > 0 && y > 0 && z > 0 && x <= INT_MAX && y <= INT_MAX / x && z <= INT_MAX / (x * y);
    return counted ? std::size_t(x * y * z) : 0;
}

float* newGrid(std::size_t cells)
{
    float* grid = new (std::nothrow) float[cells + 1];
    if (!grid)
        throw "ERROR - BilateralFilter::alloc()";
    std::memcpy(grid + cells, &kGuard, sizeof kGuard);
    return grid;
}

/// Frees a grid and forgets it; true if its guard was whole.
bool freeGrid(float*& grid, std::size_t cells)
{
    const bool whole = !grid || std::memcmp(grid + cells, &kGuard, sizeof kGuard) == 0;
    delete[] grid;
    grid = nullptr;
    return whole;
}

} // namespace

BilateralFilter::~BilateralFilter() noexcept(false)
{
    try {
        dealloc();
    } catch (...) {
        freeGrid(m_values_p, m_cells); // what a broken first guard left
        throw;
    }
}

int BilateralFilter::proc(const cv::Mat& edge, cv::Mat& inOut, int sampleS, int sampleR, TProgress* progress)
{
    if (progress && !progress->prog(0, 4))
        return 0;
    const cv::Mat edgeImage = edge.empty() ? inOut : edge;
    if (inOut.size() != edgeImage.size())
        throw "ERROR - bool BilateralFilter::proc - inOut.size !=  edge.size";
    constexpr const char* kCall = "BilateralFilter::proc";
    PIXMILL_CHECK(inOut.type() == CV_8UC1 || inOut.type() == CV_16UC1, kCall, "inOut", describe(inOut),
                  "CV_8UC1 or CV_16UC1");
    PIXMILL_CHECK(edgeImage.channels() == 1, kCall, "edge", describe(edgeImage), "one channel");
    checkPixels(inOut, kCall, "inOut");
    checkPlane(edgeImage, kCall, "edge");

    setup(edgeImage, inOut.cols, inOut.rows, sampleS, sampleR, inOut.type() == CV_16UC1);
    if (refused(progress))
        return 0;
    // Cells are emptied as they are filled, unless nothing will fill them.
    const bool fits = hasGridFor(inOut), stopped = refused(progress);
    if (!fits || stopped)
        gridInit(kEmptyWeight, 0);
    if (stopped)
        return 0;
    if (fits)
        build(inOut, edgeImage, true);
    if (refused(progress))
        return 0;
    if (fits)
        interpGrid(inOut, edgeImage);
    if (refused(progress))
        return 0;
    m_gridDirty = 0;
    return 1;
}

int BilateralFilter::setup(const cv::Mat& edge, int width, int height, int sampleS, int sampleR, bool is16Bit)
{
    m_is16Bit = is16Bit;
    if (sampleS < 2)
        return 0;
    const cv::Size cells = checkedCells(edge, width, height, sampleS, sampleR);
    const bool resized = width != m_width || height != m_height;
    m_width = width;
    m_height = height;
    m_sampleS = sampleS;
    m_sampleR = sampleR;
    const int gridZ = fitDepth(edge);
    m_gridDirty = 1;
    m_gridPadXY = m_padXY;
    m_gridPadZ = m_padZ;
    if (hasGrid() && !resized && cells == cv::Size(m_gridX, m_gridY) && gridZ == m_gridZ)
        return 1;
    dealloc();
    m_gridX = cells.width;
    m_gridY = cells.height;
    m_gridZ = gridZ;
    alloc();
    return 1;
}

/// The grid's cells across and down, once all is found that a grid needs.
cv::Size BilateralFilter::checkedCells(const cv::Mat& edge, int width, int height, int sampleS, int sampleR) const
{
    constexpr const char* kCall = "BilateralFilter::setup";
    PIXMILL_CHECK(sampleR > 0, kCall, "sampleR", sampleR, "1 or more");
    PIXMILL_CHECK(width > 0, kCall, "width", width, "1 or more");
    PIXMILL_CHECK(height > 0, kCall, "height", height, "1 or more");
    PIXMILL_CHECK(!edge.empty() && edge.channels() == 1, kCall, "edge", describe(edge), "pixels of one channel");
    PIXMILL_CHECK(m_padXY >= 0, kCall, "m_padXY", m_padXY, "0 or more");
    PIXMILL_CHECK(m_padZ >= 0 && m_padZ <= kMostPadZ, kCall, "m_padZ", m_padZ, "0 to 124");
    const long gx = cellsFor(width, sampleS, m_padXY), gy = cellsFor(height, sampleS, m_padXY);
    PIXMILL_CHECK(cellCount(gx, gy, kMostZ + 1) > 0 || cellCount(gx, gy, 2 * m_padZ + 3) > 0, kCall, "the grid",
                  std::to_string(gx) + " x " + std::to_string(gy), "fewer cells than 2^31");
    return {int(gx), int(gy)};
}

/// Takes in the range of the edge values, in coarser steps where it has too many. Returns the grid's cells in depth.
int BilateralFilter::fitDepth(const cv::Mat& edge)
{
    double least = 0, most = 0;
    cv::minMaxIdx(edge, &least, &most);
    const double range = most - least;
    m_minVal = int(least);
    int gridZ = kMostZ + 1;
    if (range / m_sampleR < kMostZ) {
        const int k = int(range / m_sampleR);
        gridZ = k + (range > double(m_sampleR) * k) + 2 * m_padZ + 2;
    }
    if (gridZ <= kMostZ)
        return gridZ;
    m_sampleR = int(range / (250 - 2 * m_padZ));
    return kMostZ;
}

void BilateralFilter::alloc()
{
    const std::size_t cells = cellCount(m_gridX, m_gridY, m_gridZ);
    const bool none = m_gridX >= 0 && m_gridY >= 0 && m_gridZ >= 0 && std::min({m_gridX, m_gridY, m_gridZ}) == 0;
    PIXMILL_CHECK((cells > 0 || none) && cells < std::size_t(INT_MAX), "BilateralFilter::alloc", "the grid",
                  std::to_string(m_gridX) + " x " + std::to_string(m_gridY) + " x " + std::to_string(m_gridZ),
                  "fewer cells than 2^31");
    dealloc();
    m_cells = cells;
    m_weights_p = newGrid(cells);
    m_values_p = newGrid(cells);
}

void BilateralFilter::dealloc()
{
    for (float** grid : {&m_weights_p, &m_values_p})
        if (!freeGrid(*grid, m_cells))
            throw "BilateralFilter::dealloc() - != 0x6d6d6d6d";
}

bool BilateralFilter::hasGrid() const
{
    return m_weights_p && m_values_p && m_cells > 0 && cellCount(m_gridX, m_gridY, m_gridZ) == m_cells;
}

/// The grid stands, and every pixel's cells lie in it.
bool BilateralFilter::hasGridFor(const cv::Mat& picture) const
{
    return hasGrid() && picture.cols == m_width && picture.rows == m_height && m_sampleS >= 2 && m_sampleR >= 1 &&
           m_gridX == cellsFor(m_width, m_sampleS, m_gridPadXY) &&
           m_gridY == cellsFor(m_height, m_sampleS, m_gridPadXY) && m_gridZ >= 2 && m_gridZ <= kMostZ;
}

void BilateralFilter::checkGridFor(const char* call, const cv::Mat& inOut, const cv::Mat& edge) const
{
    checkPixels(inOut, call, "inOut");
    PIXMILL_CHECK(hasGridFor(inOut), call, "inOut", describe(inOut), "a picture of the size that the grid is for");
    checkPlane(edge, call, "edge");
    PIXMILL_CHECK(edge.size() == inOut.size() && edge.channels() == 1, call, "edge", describe(edge),
                  "one channel, the size of inOut");
    PIXMILL_CHECK(inOut.type() == (m_is16Bit ? CV_16UC1 : CV_8UC1), call, "inOut", describe(inOut),
                  m_is16Bit ? "CV_16UC1" : "CV_8UC1");
}

void BilateralFilter::gridInit(float weight, float value)
{
    if (!hasGrid())
        return;
    const std::size_t slab = std::size_t(m_gridX) * m_gridZ;
    forEachSpan(m_gridY, long(m_cells), [&](int y, int end) {
        fillGrids(m_weights_p + y * slab, m_values_p + y * slab, (end - y) * slab, weight, value);
    });
}

void BilateralFilter::buildGrid(cv::Mat& inOut, const cv::Mat& edge)
{
    checkGridFor("BilateralFilter::buildGrid", inOut, edge);
    build(inOut, edge, false);
}

void BilateralFilter::iir(float* line, int n, int stride, float sigma, int K)
{
    constexpr const char* kCall = "BilateralFilter::iir";
    PIXMILL_CHECK(K <= kMostSweeps, kCall, "K", K, "65536 or less");
    PIXMILL_CHECK(line || n < 1, kCall, "line", describe(line), "samples");
    const GridGaussian gauss = GridGaussian::make(sigma, K);
    for (int round = 0; round < K; ++round)
        sweepLine(line, stride, n, gauss.nu, gauss.edgeGain);
    for (int i = 0; i < n; ++i)
        line[std::ptrdiff_t(i) * stride] *= gauss.scale;
}
