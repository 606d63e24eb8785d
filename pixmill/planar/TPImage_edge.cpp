#include <pixmill/planar/TPImage.h>

#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/core/detail/scratch.h>
#include <pixmill/curves/detail/look_up.h>
#include <pixmill/planar/detail/edge_gain.h>
#include <pixmill/primitives/lookup.h>
#include <pixmill/resample/detail/doubling.h>
#include <pixmill/resample/detail/pyramid.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>

#include <omp.h>

#include <array>
#include <cmath>
#include <vector>

using namespace pixmill::detail;

namespace {

constexpr int kPyramidStep = 257;

/// Calls `use(y, up)` for each row `up` of `small` enlarged to `size` by the pyramid step, in any order. The enlarged
/// plane exists only where the step's rows are not of the common form.
template <class Use>
void forEachEnlargedRow(const cv::Mat& small, cv::Size size, const Use& use)
{
    CV_Assert(small.type() == CV_16UC1);
    if (!canExpand(small.cols, size.width) || !canExpand(small.rows, size.height) || size.height > 2 * small.rows) {
        cv::Mat up(size, CV_16UC1);
        upSize2X(small, up, kPyramidStep);
        forEachRow(size, [&](int y) { use(y, up.ptr<ushort>(y)); });
        return;
    }
    TeamScratch<int> sums(pyramidScratch(small.cols, 1));
    TeamScratch<ushort> enlarged(size.width + 2);
    forEachRow(size, [&](int y) {
        const ushort* rows[3];
        for (int k = 0; k < 3; ++k)
            rows[k] = small.ptr<ushort>(expanded(y / 2 - 1 + k, small.rows));
        ushort* up = enlarged.mine();
        pyrUpRow<1>(rows, y % 2 != 0, small.cols, up, size.width, sums.mine());
        use(y, up);
    });
}

/// A picture's own half, through the pyramid step. The step fills a plane of one row and column more than half;
/// enlarging reads of it what belongs to the picture.
cv::Mat ownHalf(const cv::Mat& full)
{
    cv::Mat reduced(full.rows / 2 + 1, full.cols / 2 + 1, CV_16UC1);
    downSize2X(full, reduced, kPyramidStep);
    return reduced(cv::Range(0, halfSize(full.rows)), cv::Range(0, halfSize(full.cols)));
}

inline void differenceRow(const ushort* full, const ushort* up, ushort* difference, int n)
{
    for (int x = 0; x < n; ++x)
        difference[x] = clamp16((full[x] - up[x]) / 2 + 32768);
}

/// The stored differences of a row of edge bytes. Kept out of line, so that it stays the plain loop at every processor
/// level: a vector of table look-ups is slower.
__attribute__((noinline)) void pickRow(const float* table, const uchar* edge, float* picked, int n)
{
    for (int x = 0; x < n; ++x)
        picked[x] = table[edge[x]];
}

/// The centred half difference of every edge byte, times `strength`.
std::array<float, 256> differences(float strength)
{
    std::array<float, 256> d;
    for (int e = 0; e < 256; ++e)
        d[e] = (float(TPImage::m_lutEdgeToFull_p[e]) - 32768.0f) * strength;
    return d;
}

/// Adds to the enlarged `after` the stored differences times the gain between `before`, of T, and `after`.
template <class T>
void restoreByGain(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, cv::Mat& full, float epsilon,
                   float strength)
{
    const int team = omp_get_max_threads(), n = edge.cols;
    std::vector<EdgeGainRows<T>> walkers;
    for (int k = 0; k < team; ++k)
        walkers.emplace_back(before, after, epsilon);
    const std::array<float, 256> scaled = differences(strength * 0.0234375f); // 6 / 256: a byte of gain is up to 6
    TeamScratch<uchar> gains(n);
    TeamScratch<float> stored(n);
    forEachEnlargedRow(after, edge.size(), [&](int y, const ushort* up) {
        EdgeGainRows<T>& gain = walkers[omp_get_thread_num()];
        const uchar* above = gain.row(inside(y / 2, after.rows));
        const uchar* below = gain.row(inside(y / 2 + 1, after.rows));
        uchar* g = gains.mine();
        float* d = stored.mine();
        ushort* out = full.ptr<ushort>(y);
        doubleRowLinear(above, below, y % 2 != 0, after.cols, g, n);
        pickRow(scaled.data(), edge.ptr<uchar>(y), d, n);
        for (int x = 0; x < n; ++x)
            out[x] = toPixel16(float(up[x]) + d[x] * float(g[x]));
    });
}

} // namespace

void TPImage::computeLUT()
{
    if (!m_lutFullToEdge_p || !m_lutEdgeToFull_p)
        throw "ERROR - TPImage::computeLUT: LUT is not allocated.";
    for (int i = 0; i < 32768; ++i) {
        m_lutFullToEdge_p[i] = toPixel8(128 - 0.7071f * std::sqrt(float(32768 - i)));
        m_lutFullToEdge_p[32768 + i] = toPixel8(128 + 0.7071f * std::sqrt(float(i)));
    }
    for (int i = 0; i < 128; ++i) {
        const float below = 1.4142271f * float(128 - i), above = 1.4142271f * float(i);
        m_lutEdgeToFull_p[i] = clamp16(int(32768.0f - below * below));
        m_lutEdgeToFull_p[128 + i] = clamp16(int(32768.0f + above * above));
    }
}

void TPImage::fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge)
{
    CV_Assert(full.type() == CV_16UC1 && !full.empty() && m_lutFullToEdge_p);
    const cv::Mat small = half.empty() ? ownHalf(full) : half;
    const cv::Mat source = full; // keeps the pixels should `edge` be the same object
    ensure(edge, full.size(), CV_8UC1);
    const uchar* table = m_lutFullToEdge_p;
    TeamScratch<ushort> differences(source.cols);
    forEachEnlargedRow(small, source.size(), [&](int y, const ushort* up) {
        ushort* d = differences.mine();
        differenceRow(source.ptr<ushort>(y), up, d, source.cols);
        lookUpRow<16>(d, edge.ptr<uchar>(y), table, source.cols);
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float strength)
{
    CV_Assert(edge.type() == CV_8UC1 && !edge.empty() && m_lutEdgeToFull_p);
    const cv::Mat bytes = edge, small = half;
    ensure(full, edge.size(), CV_16UC1);
    if (std::abs(strength - 1.0f) <= 0.01f) {
        const ushort* table = m_lutEdgeToFull_p;
        TeamScratch<ushort> stored(bytes.cols);
        forEachEnlargedRow(small, bytes.size(), [&](int y, const ushort* up) {
            ushort *d = stored.mine(), *out = full.ptr<ushort>(y);
            lookUpRow<8>(bytes.ptr<uchar>(y), d, table, bytes.cols);
            for (int x = 0; x < bytes.cols; ++x)
                out[x] = clamp16(up[x] + d[x] - 32768);
        });
        return;
    }
    const std::array<float, 256> scaled = differences(strength);
    TeamScratch<float> stored(bytes.cols);
    forEachEnlargedRow(small, bytes.size(), [&](int y, const ushort* up) {
        float* d = stored.mine();
        ushort* out = full.ptr<ushort>(y);
        pickRow(scaled.data(), bytes.ptr<uchar>(y), d, bytes.cols);
        for (int x = 0; x < bytes.cols; ++x)
            out[x] = toPixel16(float(up[x]) + d[x]);
    });
}

void TPImage::edgeToFull(const cv::Mat& edge, const cv::Mat& before, const cv::Mat& after, cv::Mat& full, float epsilon,
                         float strength)
{
    CV_Assert(edge.type() == CV_8UC1 && !edge.empty() && m_lutEdgeToFull_p);
    CV_Assert(after.type() == CV_16UC1 && before.channels() == 1 && before.size() == after.size());
    const cv::Mat bytes = edge, small = after, filtered = before;
    ensure(full, edge.size(), after.type());
    if (filtered.type() == CV_16UC1) {
        restoreByGain<ushort>(bytes, filtered, small, full, epsilon, strength);
        return;
    }
    cv::Mat floats;
    filtered.convertTo(floats, CV_32F);
    restoreByGain<float>(bytes, floats, small, full, epsilon, strength);
}

void TPImage::applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& edge)
{
    if (!m_lutFullToEdge_p)
        throw "ERROR - TPImage::applyFullToEdgeLUT: LUT is NULL.";
    CV_Assert(in.type() == CV_16UC1);
    const cv::Mat source = in;
    ensure(edge, in.size(), CV_8UC1);
    ippiLUTPalette_16u8u_C1R(source.ptr<ushort>(), int(source.step), edge.ptr<uchar>(), int(edge.step),
                             {source.cols, source.rows}, m_lutFullToEdge_p, 16);
}
