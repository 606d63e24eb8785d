#include <pixmill/filters/detail/domain_recursion.h>
#include <pixmill/filters/detail/domain_walk.h>
#include <pixmill/rows/rows.h>

#include <algorithm>

namespace pixmill::filters {

using namespace rows;
namespace {

constexpr int kBlock = kStripRows;

/// Strips of sixteen columns on their way down and up again, and one thread's working memory for them.
struct Strips {
    float* samples; ///< of one strip
    float* weights;
    std::ptrdiff_t line; ///< from one strip's weights to the next one's
    int count;
    int left, columns; ///< the part of the picture that they cover
};

/// Full strips down and up where they stand, rows `stride` apart from `top` on. `make(y, n)` sees to the weights of n
/// rows from y on.
template <int C, class Make>
inline void walkStanding(float* top, std::ptrdiff_t stride, int height, const Strips& strips, const Make& make)
{
    constexpr std::ptrdiff_t pixel = C * kLanes;
    const float* weights = strips.weights;
    // Rows whole pages apart fall on so few places of the second cache that it loses them before the way back.
    const bool crowded = stride * sizeof(float) % 4096 == 0;
    const auto fetchRow = [&](int y, int first, int end) {
        float* const row = top + std::min(y, height - 1) * stride;
        for (std::ptrdiff_t i = first * pixel; i < end * pixel; i += 16)
            __builtin_prefetch(row + i, 1, 2);
    };
    const auto fetch = [&](int y, int end) {
        for (y = std::max(y, 0); y < end; ++y)
            fetchRow(y, 0, strips.count);
    };
    for (int y = 0; y < height; y += kBlock) {
        const int n = std::min(kBlock, height - y), start = y == 0; // the first row has none above
        if (!make(y, n, [&](int t, int i) { fetchRow(y + n + i, t, t + 1); }))
            fetch(y + n, std::min(y + 2 * kBlock, height));
        walkLines<C>({top + (y + start) * stride, weights + std::ptrdiff_t(y + start) * kLanes, n - start, stride,
                      kLanes, pixel, strips.line},
                     strips.count);
    }
    for (int y = (height - 1) / kBlock * kBlock; y >= 0; y -= kBlock) {
        const int last = std::min(y + kBlock, height - 1) - 1; // the last row has none below
        if (crowded)
            fetch(y - kBlock, y);
        walkLines<C>({top + last * stride, weights + std::ptrdiff_t(last + 1) * kLanes, last + 1 - y, -stride, -kLanes,
                      pixel, strips.line},
                     strips.count);
    }
}

/// A picture's part down and up. A strip that the right edge cuts is walked in working memory.
template <int C, class Make>
inline void walkColumns(cv::Mat& picture, Strips strips, const Make& make)
{
    const int height = picture.rows, cut = strips.columns % kLanes * C, full = strips.columns / kLanes;
    const std::ptrdiff_t stride = std::ptrdiff_t(picture.step1()), pixel = C * kLanes;
    float* const top = picture.ptr<float>() + std::ptrdiff_t(strips.left) * C;
    strips.count = full;
    if (full > 0)
        walkStanding<C>(top, stride, height, strips, make);
    if (cut == 0)
        return;
    strips.count = 1;
    strips.weights += full * strips.line;
    for (int y = 0; y < height; ++y)
        std::copy_n(top + y * stride + full * pixel, cut, strips.samples + y * pixel);
    walkStanding<C>(strips.samples, pixel, height, strips, make);
    for (int y = 0; y < height; ++y)
        std::copy_n(strips.samples + y * pixel, cut, top + y * stride + full * pixel);
}

/// The same for more channels than have a form of their own: in the picture, sample by sample.
inline void walkManyChannels(cv::Mat& picture, const Strips& strips)
{
    const int channels = picture.channels(), n = strips.columns * channels;
    const auto pull = [&](int y, int from, int weightRow) {
        float* row = picture.ptr<float>(y) + strips.left * channels;
        const float* before = picture.ptr<float>(from) + strips.left * channels;
        for (int i = 0; i < n; ++i) {
            const int x = i / channels;
            const float w = strips.weights[x / kLanes * strips.line + std::ptrdiff_t(weightRow) * kLanes + x % kLanes];
            row[i] = row[i] + (before[i] - row[i]) * w;
        }
    };
    for (int y = 1; y < picture.rows; ++y)
        pull(y, y - 1, y);
    for (int y = picture.rows - 2; y >= 0; --y)
        pull(y, y + 1, y + 1);
}

} // namespace

void DomainRecursion::columns(const DomainSteps& steps, float k)
{
    const int width = m_size.width, height = m_size.height, all = (width + kLanes - 1) / kLanes;
    const Feedback feedback{k, steps.rise()};
    const int most = stripsAside(height, m_channels);
    const std::ptrdiff_t padded = (height + kBlock - 1) / kBlock * kBlock;
    forEachIndex((all + most - 1) / most, long(width) * height, [&](int index) {
        const int first = index * most, left = first * kLanes;
        const std::ptrdiff_t line = padded * kLanes;
        float* weights = m_scratch.mine();
        const Strips strips{weights + most * line,       weights, line,
                            std::min(most, all - first), left,    std::min(most * kLanes, width - left)};
        bool made = false;
        const auto make = [&](int y, int n, const auto& fetch) {
            if (made)
                return false;
            for (int t = 0; t < strips.count; ++t)
                weigh(steps.down(first + t) + std::ptrdiff_t(y) * kLanes, feedback, n,
                      weights + t * line + std::ptrdiff_t(y) * kLanes, [&](int i) { fetch(t, i); });
            made = y + n == height;
            return true;
        };
        for (cv::Mat& picture : m_pictures) {
            switch (picture.channels()) {
            case 1:
                walkColumns<1>(picture, strips, make);
                break;
            case 2:
                walkColumns<2>(picture, strips, make);
                break;
            case 3:
                walkColumns<3>(picture, strips, make);
                break;
            case 4:
                walkColumns<4>(picture, strips, make);
                break;
            default:
                for (int y = 0; y < height; y += kBlock)
                    make(y, std::min(kBlock, height - y), [](int, int) {});
                walkManyChannels(picture, strips);
            }
        }
    });
}

} // namespace pixmill::filters
