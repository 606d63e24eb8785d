#include <pixmill/develop/detail/smoothing.h>

#include <pixmill/develop/detail/core.h>

#include <algorithm>
#include <cmath>

namespace pixmill::develop {

namespace {

constexpr int kRowsAtOnce = 8; ///< Serial recursions side by side, so that none waits for the one before.
constexpr int kStrip = 64;     ///< Columns whose whole height stays in the cache.

/// How strongly each sample of a row is coupled to the one `a` holds.
inline void coupleRow(const float* __restrict a, const float* __restrict b, float flat, float steep,
                      float* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = exponential(std::max(flat + steep * std::abs(b[x] - a[x]), -80.0f));
}

/// Couplings of each pixel with its left and its upper neighbour, for the largest sigma.
void couple(const cv::Mat& plane, float sigma, float contrast, cv::Mat& left, cv::Mat& up)
{
    const float flat = -std::sqrt(2.0f) / (sigma * 4 * std::sqrt(3.0f / 63)), steep = flat * sigma / contrast;
    forEachRow(plane.size(), [&](int y) {
        const float* row = plane.ptr<float>(y);
        float* out = left.ptr<float>(y);
        out[0] = 0;
        coupleRow(row, row + 1, flat, steep, out + 1, plane.cols - 1);
        if (y > 0)
            coupleRow(plane.ptr<float>(y - 1), row, flat, steep, up.ptr<float>(y), plane.cols);
    });
}

/// A coupling for half the sigma is its square.
template <int iteration>
inline float narrower(float v)
{
    if (iteration == 0)
        return v;
    return iteration == 1 ? v * v : (v * v) * (v * v);
}

/// Forward and back along `count` rows at once; `step` and `couplingStep` lead from row to row.
template <int iteration, int count>
inline void recurseRows(float* row, std::ptrdiff_t step, const float* coupling, std::ptrdiff_t couplingStep, int n)
{
    float last[count];
    for (int k = 0; k < count; ++k)
        last[k] = row[k * step];
    for (int x = 1; x < n; ++x)
        for (int k = 0; k < count; ++k) {
            float& v = row[k * step + x];
            v = last[k] = v + (last[k] - v) * narrower<iteration>(coupling[k * couplingStep + x]);
        }
    for (int x = n - 2; x >= 0; --x)
        for (int k = 0; k < count; ++k) {
            float& v = row[k * step + x];
            v = last[k] = v + (last[k] - v) * narrower<iteration>(coupling[k * couplingStep + x + 1]);
        }
}

template <int iteration>
inline void pullRow(const float* __restrict from, const float* __restrict coupling, float* __restrict row, int n)
{
    for (int x = 0; x < n; ++x)
        row[x] += (from[x] - row[x]) * narrower<iteration>(coupling[x]);
}

template <int iteration>
void recurseAlong(cv::Mat& plane, const cv::Mat& coupling)
{
    const int groups = (plane.rows + kRowsAtOnce - 1) / kRowsAtOnce;
    const auto step = std::ptrdiff_t(plane.step1()), couplingStep = std::ptrdiff_t(coupling.step1());
    forEachIndex(groups, long(plane.total()), [&](int group) {
        const int y = group * kRowsAtOnce, end = std::min(y + kRowsAtOnce, plane.rows);
        if (end - y == kRowsAtOnce)
            return recurseRows<iteration, kRowsAtOnce>(plane.ptr<float>(y), step, coupling.ptr<float>(y), couplingStep,
                                                       plane.cols);
        for (int row = y; row < end; ++row)
            recurseRows<iteration, 1>(plane.ptr<float>(row), step, coupling.ptr<float>(row), couplingStep, plane.cols);
    });
}

template <int iteration>
void recurseDown(cv::Mat& plane, const cv::Mat& coupling)
{
    const int strips = (plane.cols + kStrip - 1) / kStrip;
    forEachIndex(strips, long(plane.total()), [&](int strip) {
        const int x = strip * kStrip, n = std::min(kStrip, plane.cols - x);
        const auto at = [&](int y) { return plane.ptr<float>(y) + x; };
        for (int y = 1; y < plane.rows; ++y)
            pullRow<iteration>(at(y - 1), coupling.ptr<float>(y) + x, at(y), n);
        for (int y = plane.rows - 2; y >= 0; --y)
            pullRow<iteration>(at(y + 1), coupling.ptr<float>(y + 1) + x, at(y), n);
    });
}

} // namespace

void smoothEdgeAware(cv::Mat& plane, float sigma, float contrast, cv::Mat& left, cv::Mat& up)
{
    couple(plane, sigma, contrast, left, up);
    recurseAlong<0>(plane, left);
    recurseDown<0>(plane, up);
    recurseAlong<1>(plane, left);
    recurseDown<1>(plane, up);
    recurseAlong<2>(plane, left);
    recurseDown<2>(plane, up);
}

} // namespace pixmill::develop
