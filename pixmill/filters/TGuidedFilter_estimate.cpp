#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/filters/detail/guided_rows.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

/// Rows first..end-1 of the averaged coefficients of three guides.
void averageModels(const cv::Mat planes[4], int r, float eps, int first, int end, cv::Mat* const to[4])
{
    const cv::Size size = planes[0].size();
    const int strip = stripWidth(8L * 17 * (2 * r + 2), r, size.width);
    ThreeGuides::Moments moments(ThreeGuides::kTable, r, std::min(strip + 2 * r, size.width));
    AveragedModels<4> averages(size, r, r, strip);
    std::vector<ThreeGuides::Inverse> kept(std::size_t(std::min(end - first + 2 * r, size.height)),
                                           ThreeGuides::Inverse{});
    const PaddedRows rows(planes, r);
    for (int left = 0; left < size.width; left += strip) {
        const int n = std::min(strip, size.width - left);
        averages.begin(left, n, first, end);
        const int from = averages.firstColumn(), width = averages.endColumn() - from;
        const int firstRow = averages.firstRow(), endRow = averages.endRow();
        const int keepAt = std::max(left + n - r, 0) - 1 - from; // left of the next strip's models
        moments.begin(from, width, firstRow);
        for (int row = firstRow; row < endRow + 2 * r; ++row) {
            if (!moments.push(rows, row))
                continue;
            const int y = row - 2 * r;
            ThreeGuides::model(moments.means(), eps, kept[std::size_t(y - firstRow)], keepAt, averages.models(0),
                               averages.models(1), averages.models(2), averages.models(3), width);
            averages.push(y, [&](int at, const float* const* means) {
                for (int i = 0; i < 4; ++i)
                    std::copy_n(means[i], n, to[i]->ptr<float>(at) + left);
            });
        }
    }
}

/// Windows far beyond the picture cost memory and time by their side alone: an end to that, past any that still tell
/// pictures apart.
void checkReach(const char* call, int r, cv::Size size, long moments)
{
    constexpr long kMostBeyond = 32768, kMostBytes = 1L << 30;
    const long beyond = long(r) - std::max(size.width, size.height);
    const long bytes = 8 * moments * (2L * r + 2) * stripWidth(8 * moments * (2L * r + 2), r, size.width);
    PIXMILL_CHECK(beyond <= 0 || (beyond <= kMostBeyond && bytes <= kMostBytes), call, "r", r,
                  "at most 32768 more than the picture's sides, and windows whose sums take 2^30 bytes at most");
}

/// A plane to be read while the members are written: a copy where it is one of theirs.
template <std::size_t count>
cv::Mat readable(const char* call, const char* argument, const cv::Mat& plane, cv::Size size,
                 cv::Mat* const (&members)[count])
{
    checkHoldsFloats(plane, size, call, argument);
    const cv::Mat floats = asFloats(plane, size);
    for (const cv::Mat* m : members)
        if (overlap(plane, *m))
            return floats.clone();
    return floats;
}

} // namespace

int TGuidedFilter::gFc1_estimate(const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    return estimate1("TGuidedFilter::gFc1_estimate", guide, src, r, eps);
}

int TGuidedFilter::gFc3_estimate(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps)
{
    return estimate3("TGuidedFilter::gFc3_estimate", guide, src, r, eps);
}

int TGuidedFilter::estimate1(const char* call, const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    checkPlane(src, call, "src");
    const cv::Size size = src.size();
    checkRadius(r, size, call);
    cv::Mat* const members[] = {&m_a0, &m_b};
    const cv::Mat planes[] = {readable(call, "guide", guide, size, members), readable(call, "src", src, size, members)};
    checkReach(call, r, size, OneGuide::kMoments);
    for (cv::Mat* m : members)
        ensure(*m, size, CV_32FC1);
    forEachSpan(size.height, long(size.area()), [&](int first, int end) {
        forEachModelRow(PaddedRows(planes, r), size.width, r, eps, first, end,
                        [&](int y, int left, int n, const float* a, const float* b) {
                            std::copy_n(a, n, m_a0.ptr<float>(y) + left);
                            std::copy_n(b, n, m_b.ptr<float>(y) + left);
                        });
    });
    return 1;
}

int TGuidedFilter::estimate3(const char* call, const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps)
{
    checkPlane(src, call, "src");
    const cv::Size size = src.size();
    PIXMILL_CHECK(guide.size() >= 3, call, "guide", guide.size(), "three planes");
    checkRadius(r, size, call);
    cv::Mat* const members[] = {&m_a0, &m_a1, &m_a2, &m_b};
    const cv::Mat planes[] = {
        readable(call, "guide[0]", guide[0], size, members), readable(call, "guide[1]", guide[1], size, members),
        readable(call, "guide[2]", guide[2], size, members), readable(call, "src", src, size, members)};
    checkReach(call, r, size, ThreeGuides::kMoments + 4);
    for (cv::Mat* m : members)
        ensure(*m, size, CV_32FC1);
    forEachSpan(size.height, long(size.area()),
                [&](int first, int end) { averageModels(planes, r, eps, first, end, members); });
    return 1;
}
