#include <pixmill/filters/detail/domain_coordinates.h>

#include <pixmill/filters/detail/domain_gaps.h>
#include <pixmill/filters/detail/domain_lanes.h>
#include <pixmill/filters/detail/domain_windows.h>
#include <pixmill/rows/largepages.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <limits>

namespace pixmill::filters {

using namespace rows;
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr int kColumns = 64; ///< Columns whose coordinates are summed at a time.

/// Room for n coordinates in whole lines of the cache, an odd number of them, so that neighbours do not fall on the
/// same places of it.
std::size_t lineStep(int n)
{
    return (std::size_t(kPadBefore + n + kPadBehind + kLanes - 1) / kLanes | 1) * kLanes;
}

/// Running sums in place of the samples of R lines.
template <int R>
inline void sumAlong(float* const* lines, int n)
{
    float sums[R];
    for (int r = 0; r < R; ++r)
        sums[r] = lines[r][0];
    for (int x = 1; x < n; ++x)
        for (int r = 0; r < R; ++r)
            lines[r][x] = sums[r] = sums[r] + lines[r][x];
}

} // namespace

DomainCoordinates::DomainCoordinates(const cv::Mat& guide, float ratio)
    : m_acrossStep(lineStep(guide.cols)), m_downStep(lineStep(guide.rows)), m_across(m_acrossStep * guide.rows),
      m_down(m_downStep * guide.cols)
{
    preferLargePages(m_across.data(), m_across.size() * sizeof(float));
    preferLargePages(m_down.data(), m_down.size() * sizeof(float));
    fillAcross(guide, ratio);
    fillDown(guide, ratio);
    constexpr float kExact = 1 << 20;
    m_apart = ratio >= 0.0f;
    for (int y = 0; y < guide.rows; ++y)
        m_apart = m_apart && across(y)[guide.cols - 1] < kExact;
    for (int x = 0; x < guide.cols; ++x)
        m_apart = m_apart && down(x)[guide.rows - 1] < kExact;
}

void DomainCoordinates::fillAcross(const cv::Mat& guide, float ratio)
{
    constexpr int kAside = 4; // lines that hide each other's latency
    const int width = guide.cols, height = guide.rows, channels = guide.channels();
    forEachIndex((height + kAside - 1) / kAside, long(guide.total()), [&](int group) {
        float* lines[kAside];
        const int first = group * kAside, count = std::min(kAside, height - first);
        for (int r = 0; r < count; ++r) {
            const int y = first + r;
            const float* row = guide.ptr<float>(y);
            lines[r] = m_across.data() + y * m_acrossStep + kPadBefore;
            std::fill_n(lines[r], width, 0.0f);
            if (y < height - 1)
                addGaps(row, row + channels, gapColumns(width), channels, lines[r]);
            sumsToSteps(ratio, width, lines[r]);
        }
        if (count == kAside)
            sumAlong<kAside>(lines, width);
        else
            for (int r = 0; r < count; ++r)
                sumAlong<1>(lines + r, width);
        for (int r = 0; r < count; ++r)
            padLine(lines[r], width);
    });
}

void DomainCoordinates::fillDown(const cv::Mat& guide, float ratio)
{
    const int width = guide.cols, height = guide.rows, channels = guide.channels();
    forEachIndex((width + kColumns - 1) / kColumns, long(guide.total()), [&](int strip) {
        const int left = strip * kColumns, columns = std::min(kColumns, width - left);
        const int seen = limit(gapColumns(width) - left, 0, columns);
        alignas(64) float sums[kLanes][kColumns], turned[kColumns * kLanes];
        const float* rows[kLanes];
        for (int r = 0; r < kLanes; ++r)
            rows[r] = sums[r];
        for (int y = 0; y < height; y += kLanes) {
            const int count = std::min(kLanes, height - y);
            for (int r = 0; r < count; ++r) {
                alignas(64) float steps[kColumns] = {};
                const float* row = guide.ptr<float>(y + r) + std::ptrdiff_t(left) * channels;
                if (y + r < height - 1)
                    addGaps(row, guide.ptr<float>(y + r + 1) + std::ptrdiff_t(left) * channels, seen, channels, steps);
                sumsToSteps(ratio, kColumns, steps);
                const float* above = sums[(r + kLanes - 1) % kLanes];
                for (int x = 0; x < kColumns; ++x)
                    sums[r][x] = y + r > 0 ? above[x] + steps[x] : steps[x];
            }
            for (int r = count; r < kLanes; ++r)
                std::fill_n(sums[r], kColumns, kInfinity);
            toLanes(rows, 0, columns, turned);
            for (int x = 0; x < columns; ++x)
                std::copy_n(turned + x * kLanes, kLanes, m_down.data() + (left + x) * m_downStep + kPadBefore + y);
        }
        for (int x = left; x < left + columns; ++x)
            padLine(m_down.data() + x * m_downStep + kPadBefore, height);
    });
}

} // namespace pixmill::filters
