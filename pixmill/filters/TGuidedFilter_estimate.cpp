#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/filters/detail/guided_rows.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

/// Windows far beyond the picture cost memory and time by their side alone: an end to that, past any that still tell
/// pictures apart.
void checkReach(const char* call, int r, cv::Size size, long moments)
{
    constexpr long kMostBeyond = 32768, kMostBytes = 1L << 30;
    const long beyond = long(r) - std::max(size.width, size.height);
    const long bytes = 8 * moments * (2L * r + 2) * size.width;
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
        ensureLarge(*m, size, CV_32FC1);
    forEachSpan(size.height, long(size.area()), [&](int first, int end) {
        forEachModelRow(planes, r, first, end, size.width, [&](int y, int left) {
            return OneGuideModels{eps, m_a0.ptr<float>(y) + left, m_b.ptr<float>(y) + left, fetchedAhead(m_b, y)};
        });
    });
    return 1;
}

int TGuidedFilter::gFc1_oneMean(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps)
{
    constexpr const char* kCall = "TGuidedFilter::gFc1_oneMean";
    checkPlane(src, kCall, "src");
    const cv::Size size = src.size();
    checkRadius(r, size, kCall);
    cv::Mat* const results[] = {&out};
    const cv::Mat planes[] = {readable(kCall, "guide", guide, size, results),
                              readable(kCall, "src", src, size, results)};
    checkReach(kCall, r, size, OneGuide::kMoments);
    ensureLarge(out, size, CV_32FC1);
    forEachSpan(size.height, long(size.area()), [&](int first, int end) {
        forEachModelRow(planes, r, first, end, size.width, [&](int y, int left) {
            return AppliedModels{eps, planes[0].ptr<float>(y) + left, out.ptr<float>(y) + left, fetchedAhead(out, y)};
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
        ensureLarge(*m, size, CV_32FC1);
    forEachSpan(size.height, long(size.area()), [&](int first, int end) {
        AveragedModels<ThreeGuides>(planes, r, r, eps).forEachRow(first, end, [&](int y, int left, int) {
            StoredMeans<4> row = {{}, fetchedAhead(m_b, y)};
            for (int i = 0; i < 4; ++i)
                row.to[i] = members[i]->ptr<float>(y) + left;
            return row;
        });
    });
    return 1;
}
