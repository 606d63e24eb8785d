#include <pixmill/filters/detail/domain_steps.h>

#include <pixmill/rows/largepages.h>

namespace pixmill::filters {
namespace {

float* withRoom(AlignedArray<float>& room, std::size_t size)
{
    if (room.size() < size) {
        room = AlignedArray<float>(); // the smaller one goes first
        room = AlignedArray<float>(size);
        preferLargePages(room.data(), size * sizeof(float));
    }
    return room.data();
}

} // namespace

DomainSteps::DomainSteps(const std::vector<cv::Mat>& guides, float ratio, bool lastRow, bool overwritten,
                         DomainRoom& room)
    : m_guides(guides), m_size(guides[0].size()), m_ratio(ratio), m_lastRow(lastRow),
      m_tileStep(wholeLanes(m_size.width) * kLanes), m_stripStep(wholeLanes(m_size.height) * kLanes),
      m_across(withRoom(room.across, m_tileStep * (wholeLanes(m_size.height) / kLanes))),
      m_down(withRoom(room.down, m_stripStep * (wholeLanes(m_size.width) / kLanes)))
{
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
