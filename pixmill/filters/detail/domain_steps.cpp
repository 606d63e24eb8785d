#include <pixmill/filters/detail/domain_steps.h>

#include <pixmill/rows/largepages.h>

namespace pixmill::filters {

DomainSteps::DomainSteps(const std::vector<cv::Mat>& guides, float ratio, bool lastRow, bool overwritten)
    : m_guides(guides), m_size(guides[0].size()), m_ratio(ratio), m_lastRow(lastRow),
      m_tileStep(wholeLanes(m_size.width) * kLanes), m_stripStep(wholeLanes(m_size.height) * kLanes),
      m_across(m_tileStep * (wholeLanes(m_size.height) / kLanes)),
      m_down(m_stripStep * (wholeLanes(m_size.width) / kLanes))
{
    preferLargePages(m_across.data(), m_across.size() * sizeof(float));
    preferLargePages(m_down.data(), m_down.size() * sizeof(float));
    for (const cv::Mat& guide : guides) {
        if (!overwritten)
            break;
        cv::Mat kept((m_size.height - 1) / kLanes, m_size.width, guide.type());
        for (int t = 0; t < kept.rows; ++t)
            guide.row((t + 1) * kLanes).copyTo(kept.row(t));
        m_below.push_back(kept);
    }
}

} // namespace pixmill::filters
