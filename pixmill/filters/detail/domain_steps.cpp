#include <pixmill/filters/detail/domain_steps.h>

#include <pixmill/filters/detail/domain_gaps.h>
#include <pixmill/filters/detail/domain_lanes.h>
#include <pixmill/rows/largepages.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <algorithm>

namespace pixmill::filters {

using namespace rows;
namespace {

constexpr int kBlock = 256; // columns whose steps stay in the first cache on their way into lanes

std::size_t roundUp(int n, int unit)
{
    return std::size_t(n + unit - 1) / unit * unit;
}

} // namespace

DomainSteps::DomainSteps(cv::Size size, float ratio, bool lastRow)
    : m_size(size), m_ratio(ratio), m_lastRow(lastRow), m_tileStep(roundUp(size.width, kLanes) * kLanes),
      m_stripStep(roundUp(size.height, kLanes) * kLanes),
      m_across(m_tileStep * (roundUp(size.height, kLanes) / kLanes)),
      m_down(m_stripStep * (roundUp(size.width, kLanes) / kLanes))
{
    preferLargePages(m_across.data(), m_across.size() * sizeof(float));
    preferLargePages(m_down.data(), m_down.size() * sizeof(float));
}

void DomainSteps::fill(const cv::Mat* guides, int count, int first, int end)
{
    const int width = m_size.width, height = m_size.height, gaps = gapColumns(width);
    forEachIndex(end - first, long(width) * height, [&](int index) {
        const int tile = first + index;
        alignas(64) float across[kLanes][kBlock], down[kBlock];
        const float* rows[kLanes];
        for (int r = 0; r < kLanes; ++r)
            rows[r] = across[r];
        for (int x = 0; x < width; x += kBlock) {
            const int n = int(roundUp(std::min(kBlock, width - x), kLanes)), seen = limit(gaps - x, 0, n);
            for (int r = 0; r < kLanes; ++r) {
                const int y = tile * kLanes + r;
                std::fill_n(across[r], n, 0.0f);
                std::fill_n(down, n, 0.0f);
                for (int i = 0; i < count && y < height; ++i) {
                    const int channels = guides[i].channels();
                    const float* from = guides[i].ptr<float>(y) + x * channels;
                    if (y < height - 1 || m_lastRow)
                        addGaps(from, from + channels, seen, channels, across[r]);
                    if (y < height - 1)
                        addGaps(from, guides[i].ptr<float>(y + 1) + x * channels, seen, channels, down);
                }
                sumsToSteps(m_ratio, n, across[r]);
                sumsToSteps(m_ratio, n, down);
                for (int i = 0; i < n; i += kLanes)
                    std::copy_n(down + i, kLanes,
                                m_down.data() + (x + i) / kLanes * m_stripStep + std::size_t(y) * kLanes);
            }
            toLanes(rows, 0, n, m_across.data() + tile * m_tileStep + std::size_t(x) * kLanes);
        }
    });
}

} // namespace pixmill::filters
