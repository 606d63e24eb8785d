#include <pixmill/filters/detail/domain_recursion.h>

#include <pixmill/filters/detail/domain_walk.h>
#include <pixmill/rows/rows.h>

#include <algorithm>

namespace pixmill::filters {

using namespace rows;
namespace {

/// Columns of a tile that are weighed, turned into lanes and walked together: few, since the processor then turns some
/// while it waits for the walk of others.
constexpr int kBlock = 16;
constexpr int kAhead = 64; ///< Columns between a block and the one that is fetched meanwhile.

int roundUp(int n, int unit)
{
    return (n + unit - 1) / unit * unit;
}

/// A walk along rows whose pixels have any number of channels.
inline void walkRows(float* p, const float* w, int pixels, int channels, int direction)
{
    const std::ptrdiff_t step = std::ptrdiff_t(direction) * channels * kLanes, weightStep = direction * kLanes;
    for (; channels > 4; channels -= 4, p += 4 * kLanes)
        walkPlanar<4>(p, w, pixels, step, weightStep);
    switch (channels) {
    case 1:
        return walkPlanar<1>(p, w, pixels, step, weightStep);
    case 2:
        return walkPlanar<2>(p, w, pixels, step, weightStep);
    case 3:
        return walkPlanar<3>(p, w, pixels, step, weightStep);
    default:
        return walkPlanar<4>(p, w, pixels, step, weightStep);
    }
}

int mostChannels(const std::vector<cv::Mat>& pictures)
{
    int most = 1;
    for (const cv::Mat& picture : pictures)
        most = std::max(most, picture.channels());
    return most;
}

/// Floats that a tile of rows needs: weights, lanes, and a place for what the rows below the picture receive.
std::size_t tileScratch(int width, int channels)
{
    return (std::size_t(roundUp(width, kBlock)) * (channels + 1)) * kLanes +
           std::size_t(roundUp(width, kBlock)) * channels;
}

/// Floats that strips of columns need: weights, and one strip's samples.
std::size_t stripsScratch(int height, int channels)
{
    return std::size_t(roundUp(height, kStripRows)) * (stripsAside(height, channels) + channels) * kLanes;
}

} // namespace

DomainRecursion::DomainRecursion(const std::vector<cv::Mat>& pictures)
    : m_pictures(pictures), m_size(pictures[0].size()), m_channels(mostChannels(pictures)),
      m_scratch(std::max(tileScratch(m_size.width, m_channels), stripsScratch(m_size.height, m_channels)))
{
}

/// `stepsOf(tile, x, scratch)` gives the steps of a tile, ready for the block that begins at x.
template <class StepsOf>
void DomainRecursion::eachTile(const std::vector<cv::Mat>& from, const Feedback& feedback, const StepsOf& stepsOf)
{
    const int width = m_size.width, height = m_size.height;
    forEachIndex(roundUp(height, kLanes) / kLanes, long(width) * height, [&](int tile) {
        const std::ptrdiff_t padded = roundUp(width, kBlock);
        float *weights = m_scratch.mine(), *lanes = weights + padded * kLanes;
        float* spare = lanes + padded * kLanes * m_channels;
        for (std::size_t i = 0; i < m_pictures.size(); ++i) {
            const int channels = m_pictures[i].channels();
            const std::ptrdiff_t pixel = std::ptrdiff_t(channels) * kLanes;
            const float* sources[kLanes];
            float* rows[kLanes];
            for (int r = 0; r < kLanes; ++r) {
                const int y = tile * kLanes + r;
                sources[r] = y < height ? from[i].ptr<float>(y) : spare;
                rows[r] = y < height ? m_pictures[i].ptr<float>(y) : spare;
            }
            for (int x = 0; x < width; x += kBlock) {
                const int n = std::min(kBlock, width - x), start = x == 0; // the first pixel has none before it
                if (i == 0)
                    weigh(stepsOf(tile, x, weights) + x * kLanes, feedback, n, weights + x * kLanes, [&](int r) {
                        for (int c = 0; c < channels; ++c)
                            __builtin_prefetch(sources[r] + (x + kAhead) * channels + c * kLanes);
                    });
                toLanes(sources, x * channels, (x + n) * channels, lanes + x * pixel);
                walkRows(lanes + (x + start) * pixel, weights + (x + start) * kLanes, n - start, channels, 1);
            }
            for (int x = (width - 1) / kBlock * kBlock; x >= 0; x -= kBlock) {
                const int n = std::min(kBlock, width - x), last = std::min(x + n, width - 1) - 1;
                walkRows(lanes + last * pixel, weights + (last + 1) * kLanes, last + 1 - x, channels, -1);
                fromLanes(lanes + x * pixel, x * channels, (x + n) * channels, rows);
            }
        }
    });
}

void DomainRecursion::firstRows(const std::vector<cv::Mat>& from, DomainSteps& steps, float k)
{
    constexpr int kFilled = DomainSteps::kColumns;
    static_assert(kFilled % kBlock == 0, "a block's steps are filled at once");
    eachTile(from, {k, steps.rise()}, [&](int tile, int x, float*) {
        if (x % kFilled == 0)
            steps.fill(tile, x, std::min(kFilled, m_size.width - x));
        return steps.across(tile);
    });
}

void DomainRecursion::rows(const DomainSteps& steps, float k)
{
    eachTile(m_pictures, {k, steps.rise()}, [&](int tile, int, float*) { return steps.across(tile); });
}

void DomainRecursion::rows(const cv::Mat& steps, float k)
{
    eachTile(m_pictures, {k, false}, [&](int tile, int x, float* lanes) -> const float* {
        const float* rows[kLanes];
        for (int r = 0; r < kLanes; ++r)
            rows[r] = steps.ptr<float>(std::min(tile * kLanes + r, steps.rows - 1));
        if (x == 0)
            toLanes(rows, 0, steps.cols, lanes);
        return lanes;
    });
}

} // namespace pixmill::filters
