#include <pixmill/filters/detail/domain_recursion.h>

#include <pixmill/core/detail/rows.h>
#include <pixmill/filters/detail/lanes.h>

#include <opencv2/core/hal/hal.hpp>

#include <algorithm>

namespace pixmill::detail {
namespace {

constexpr int kBlock = 64;    // columns of a tile that are turned into lanes and filtered while in the first cache
constexpr int kColumns = 512; // columns of a row whose weights are made at once

std::size_t roundUp(int n, int unit)
{
    return std::size_t(n + unit - 1) / unit * unit;
}

/// weights = exp(steps * k), by the function behind cv::exp. `count` is a multiple of 64: the function's scalar end has
/// another answer to a step that is not a number than its vector body.
inline void weigh(const float* __restrict steps, float k, int count, float* __restrict scaled,
                  float* __restrict weights)
{
    for (int i = 0; i < count; ++i)
        scaled[i] = steps[i] * k;
    cv::hal::exp32f(scaled, weights, count);
}

/// `n` pixels of C channels in lane form, `step` floats from one to the next; each is pulled towards the one before it
/// in the walk, whose samples stand at p - step. The weights walk along.
template <int C>
inline void walk(float* __restrict p, const float* __restrict w, int n, std::ptrdiff_t step, std::ptrdiff_t weightStep)
{
    float state[C * kLanes];
    for (int i = 0; i < C * kLanes; ++i)
        state[i] = p[i - step];
    for (; n > 0; --n, p += step, w += weightStep)
        for (int c = 0; c < C; ++c)
            for (int r = 0; r < kLanes; ++r) {
                const int i = c * kLanes + r;
                const float sample = p[i];
                state[i] = sample + (state[i] - sample) * w[r];
                p[i] = state[i];
            }
}

inline void walk(float* p, const float* w, int n, int channels, int direction)
{
    const std::ptrdiff_t step = std::ptrdiff_t(direction) * channels * kLanes, weightStep = direction * kLanes;
    for (; channels > 4; channels -= 4, p += 4 * kLanes)
        walk<4>(p, w, n, step, weightStep);
    switch (channels) {
    case 1:
        return walk<1>(p, w, n, step, weightStep);
    case 2:
        return walk<2>(p, w, n, step, weightStep);
    case 3:
        return walk<3>(p, w, n, step, weightStep);
    default:
        return walk<4>(p, w, n, step, weightStep);
    }
}

template <int C>
inline void pull(float* __restrict row, const float* __restrict neighbour, const float* __restrict weights, int n)
{
    for (int x = 0; x < n; ++x)
        for (int c = 0; c < C; ++c)
            row[x * C + c] = row[x * C + c] + (neighbour[x * C + c] - row[x * C + c]) * weights[x];
}

inline void pull(float* __restrict row, const float* __restrict neighbour, const float* __restrict weights, int n,
                 int channels)
{
    switch (channels) {
    case 1:
        return pull<1>(row, neighbour, weights, n);
    case 2:
        return pull<2>(row, neighbour, weights, n);
    case 3:
        return pull<3>(row, neighbour, weights, n);
    case 4:
        return pull<4>(row, neighbour, weights, n);
    default:
        for (int i = 0; i < n * channels; ++i)
            row[i] = row[i] + (neighbour[i] - row[i]) * weights[i / channels];
    }
}

int mostChannels(const std::vector<cv::Mat>& pictures)
{
    int most = 1;
    for (const cv::Mat& picture : pictures)
        most = std::max(most, picture.channels());
    return most;
}

} // namespace

/// One thread's scratch for a tile.
struct DomainRecursion::Share {
    float *lanes, *weights, *steps, *spare, *scaled;
};

DomainRecursion::DomainRecursion(const std::vector<cv::Mat>& pictures)
    : m_pictures(pictures), m_size(pictures[0].size()), m_channels(mostChannels(pictures))
{
    const std::size_t width = roundUp(m_size.width, kBlock);
    m_shareSize = width * (m_channels * (kLanes + 1) + 2 * kLanes) + kBlock * kLanes;
    m_shares = AlignedArray<float>(m_shareSize * omp_get_max_threads());
}

template <class StepsOf>
void DomainRecursion::eachTile(const std::vector<cv::Mat>& from, int first, int end, float k, const StepsOf& stepsOf)
{
    const int width = m_size.width, height = m_size.height;
    forEachIndex(end - first, long(width) * height, [&](int index) {
        const std::size_t lanesSize = roundUp(width, kBlock) * kLanes;
        float* lanes = m_shares.data() + omp_get_thread_num() * m_shareSize;
        float *weights = lanes + lanesSize * m_channels, *ownSteps = weights + lanesSize;
        float *scaled = ownSteps + lanesSize, *spare = scaled + kBlock * kLanes;
        const int tile = first + index;
        const float* steps = stepsOf(tile, ownSteps);
        for (std::size_t i = 0; i < m_pictures.size(); ++i) {
            const int channels = m_pictures[i].channels();
            const float* sources[kLanes];
            float* rows[kLanes];
            for (int r = 0; r < kLanes; ++r) {
                const int y = tile * kLanes + r;
                sources[r] = y < height ? from[i].ptr<float>(y) : spare;
                rows[r] = y < height ? m_pictures[i].ptr<float>(y) : spare;
            }
            const std::ptrdiff_t pixel = std::ptrdiff_t(channels) * kLanes;
            for (int x = 0; x < width; x += kBlock) {
                const int n = std::min(kBlock, width - x);
                const std::ptrdiff_t at = std::ptrdiff_t(x) * kLanes;
                if (i == 0)
                    weigh(steps + at, k, int(roundUp(n, 4)) * kLanes, scaled, weights + at);
                toLanes(sources, x * channels, (x + n) * channels, lanes + x * pixel);
                const int start = x == 0; // the first pixel has none before it
                walk(lanes + (x + start) * pixel, weights + (x + start) * kLanes, n - start, channels, 1);
            }
            for (int x = (width - 1) / kBlock * kBlock; x >= 0; x -= kBlock) {
                const int n = std::min(kBlock, width - x), last = std::min(x + n, width - 1) - 1;
                walk(lanes + last * pixel, weights + (last + 1) * kLanes, last + 1 - x, channels, -1);
                fromLanes(lanes + x * pixel, x * channels, (x + n) * channels, rows);
            }
        }
    });
}

void DomainRecursion::rows(const std::vector<cv::Mat>& from, const DomainSteps& steps, int first, int end, float k)
{
    eachTile(from, first, end, k, [&](int tile, float*) { return steps.across(tile); });
}

void DomainRecursion::rows(const std::vector<cv::Mat>& from, const cv::Mat& steps, int first, int end, float k)
{
    eachTile(from, first, end, k, [&](int tile, float* lanes) {
        const float* rows[kLanes];
        for (int r = 0; r < kLanes; ++r)
            rows[r] = steps.ptr<float>(std::min(tile * kLanes + r, steps.rows - 1));
        toLanes(rows, 0, steps.cols, lanes);
        std::fill(lanes + std::size_t(steps.cols) * kLanes, lanes + roundUp(steps.cols, 4) * kLanes, 1.0f);
        return lanes;
    });
}

template <class Body>
void DomainRecursion::eachColumns(const Body& body)
{
    const int units = int(roundUp(m_size.width, 64) / 64);
    forEachSpan(units, long(m_size.width) * m_size.height, [&](int first, int end) {
        alignas(64) float scaled[kColumns], weights[kColumns];
        for (int x = first * 64; x < end * 64; x += kColumns) {
            const int n = std::min(kColumns, end * 64 - x);
            body(x, n, std::min(n, m_size.width - x), scaled, weights);
        }
    });
}

void DomainRecursion::columnsDown(const DomainSteps& steps, int first, int end, float k)
{
    eachColumns([&](int x, int padded, int n, float* scaled, float* weights) {
        for (int y = std::max(1, first); y < end; ++y) {
            weigh(steps.down(y) + x, k, padded, scaled, weights);
            for (cv::Mat& picture : m_pictures) {
                const int channels = picture.channels();
                pull(picture.ptr<float>(y) + x * channels, picture.ptr<float>(y - 1) + x * channels, weights, n,
                     channels);
            }
        }
    });
}

void DomainRecursion::columnsUp(const DomainSteps& steps, int first, int end, float k)
{
    eachColumns([&](int x, int padded, int n, float* scaled, float* weights) {
        for (int y = std::min(end, m_size.height - 1) - 1; y >= first; --y) {
            weigh(steps.down(y + 1) + x, k, padded, scaled, weights);
            for (cv::Mat& picture : m_pictures) {
                const int channels = picture.channels();
                pull(picture.ptr<float>(y) + x * channels, picture.ptr<float>(y + 1) + x * channels, weights, n,
                     channels);
            }
        }
    });
}

} // namespace pixmill::detail
