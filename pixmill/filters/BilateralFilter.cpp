#include <pixmill/filters/BilateralFilter.h>

#include <pixmill/core/TProgress.h>
#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/filters/detail/bilateral_blur.h>
#include <pixmill/filters/detail/bilateral_grid.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>

using namespace pixmill::detail;

namespace {

constexpr unsigned kGuard = 0x6d6d6d6d;
constexpr int kMostZ = 252; ///< The cell of an edge value is held in 8 bits.

bool refused(TProgress* progress)
{
    return progress && !progress->prog();
}

/// Cells for `size` steps of `step`, the last one begun counted, with the padding on both sides and one more each.
int cellsFor(int size, int step, int pad)
{
    return size / step + (size % step > 0) + 2 * pad + 2;
}

std::size_t cellCount(const BilateralFilter& f)
{
    return std::size_t(f.m_gridX) * f.m_gridY * f.m_gridZ;
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
        freeGrid(m_values_p, cellCount(*this)); // what a broken first guard left
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
    CV_Assert(inOut.type() == CV_8UC1 || inOut.type() == CV_16UC1);
    CV_Assert(edgeImage.channels() == 1 && !inOut.empty());

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
    CV_Assert(sampleR > 0 && width > 0 && height > 0 && !edge.empty());

    const bool resized = width != m_width || height != m_height;
    m_width = width;
    m_height = height;
    m_sampleS = sampleS;
    m_sampleR = sampleR;
    double least = 0, most = 0;
    cv::minMaxIdx(edge, &least, &most);
    const double range = most - least;
    m_minVal = int(least);

    const int gx = cellsFor(width, sampleS, m_padXY), gy = cellsFor(height, sampleS, m_padXY);
    int gz = kMostZ + 1;
    if (range / sampleR < kMostZ) {
        const int k = int(range / sampleR);
        gz = k + (range > double(sampleR) * k) + 2 * m_padZ + 2;
    }
    if (gz > kMostZ) {
        gz = kMostZ;
        m_sampleR = int(range / (250 - 2 * m_padZ));
    }
    m_gridDirty = 1;
    if (m_weights_p && m_values_p && !resized && gx == m_gridX && gy == m_gridY && gz == m_gridZ)
        return 1;
    dealloc();
    m_gridX = gx;
    m_gridY = gy;
    m_gridZ = gz;
    alloc();
    return 1;
}

void BilateralFilter::alloc()
{
    const std::size_t cells = cellCount(*this);
    CV_Assert(cells < std::size_t(INT_MAX));
    m_weights_p = newGrid(cells);
    m_values_p = newGrid(cells);
}

void BilateralFilter::dealloc()
{
    const std::size_t cells = cellCount(*this);
    for (float** grid : {&m_weights_p, &m_values_p})
        if (!freeGrid(*grid, cells))
            throw "BilateralFilter::dealloc() - != 0x6d6d6d6d";
}

bool BilateralFilter::hasGridFor(const cv::Mat& picture) const
{
    return m_weights_p && m_values_p && picture.cols == m_width && picture.rows == m_height && m_sampleS >= 2 &&
           m_sampleR >= 1;
}

void BilateralFilter::gridInit(float weight, float value)
{
    if (!m_weights_p || !m_values_p)
        return;
    const std::size_t slab = std::size_t(m_gridX) * m_gridZ;
    forEachSpan(m_gridY, long(cellCount(*this)), [&](int y, int end) {
        fillGrids(m_weights_p + y * slab, m_values_p + y * slab, (end - y) * slab, weight, value);
    });
}

void BilateralFilter::buildGrid(cv::Mat& inOut, const cv::Mat& edge)
{
    CV_Assert(hasGridFor(inOut) && edge.size() == inOut.size() && edge.channels() == 1);
    CV_Assert(inOut.type() == (m_is16Bit ? CV_16UC1 : CV_8UC1));
    build(inOut, edge, false);
}

void BilateralFilter::iir(float* line, int n, int stride, float sigma, int K)
{
    const GridGaussian gauss = GridGaussian::make(sigma, K);
    for (int round = 0; round < K; ++round)
        sweepLine(line, stride, n, gauss.nu, gauss.edgeGain);
    for (int i = 0; i < n; ++i)
        line[std::ptrdiff_t(i) * stride] *= gauss.scale;
}
