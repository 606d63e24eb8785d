#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_apply.h>
#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/filters/detail/guided_rows.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstring>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

/// Copies the samples of `src` that lie in the margin of m on all sides of `out`.
void copyMargins(const cv::Mat& src, cv::Mat& out, int m)
{
    const auto copy = [&](int y, int from, int end) {
        std::memcpy(out.ptr<float>(y) + from, src.ptr<float>(y) + from, sizeof(float) * std::size_t(end - from));
    };
    for (int y = 0; y < out.rows; ++y)
        if (y < m || y >= out.rows - m) {
            copy(y, 0, out.cols);
        } else {
            copy(y, 0, m);
            copy(y, out.cols - m, out.cols);
        }
}

/// What every form of the whole filter must find. Returns the picture's size.
cv::Size checkFilter(const char* call, const cv::Mat& guide, const cv::Mat& src, int r)
{
    checkPlane(src, call, "src");
    const cv::Size size = src.size();
    checkRadius(r, size, call);
    checkHoldsFloats(src, size, call, "src");
    checkHoldsFloats(guide, size, call, "guide");
    return size;
}

/// Rows first..end-1 of the filtered block of planes `g` and `s`.
void filterRows(const cv::Mat& g, const cv::Mat& s, int r, float eps, int first, int end, cv::Mat out)
{
    const cv::Mat planes[] = {g, s};
    AveragedModels<OneGuide>(planes, r, 0, eps).forEachRow(first, end, [&](int y, int left, int) {
        float* const to = out.ptr<float>(y - first) + left;
        return AppliedAverages{g.ptr<float>(y + 2 * r) + 2 * r + left, to, fetchedAhead(out, y - first)};
    });
}

int strips(const char* call, const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps, int stripHeight)
{
    const cv::Size size = checkFilter(call, guide, src, r);
    const int m = 4 * r;
    const cv::Mat guideCopy = unshared(guide, out), srcCopy = unshared(src, out);
    if (size.width <= m || size.height <= m) {
        srcCopy.copyTo(out);
        return 1;
    }
    PIXMILL_CHECK(stripHeight > 0, call, "stripHeight", stripHeight, "a row or more");
    const cv::Mat g = asFloats(guideCopy, size), s = asFloats(srcCopy, size);
    ensureLarge(out, size, CV_32FC1);
    forEachSpan(size.height - m, long(size.area()), [&](int y, int end) {
        while (y < end) {
            const int top = y / stripHeight * stripHeight, next = int(std::min<long>(end, long(top) + stripHeight));
            const cv::Rect strip(0, top, size.width, int(std::min<long>(stripHeight + long(m), size.height - top)));
            filterRows(g(strip), s(strip), r, eps, y - top, next - top,
                       out(cv::Rect(m, m + y, size.width - m, next - y)));
            y = next;
        }
    });
    copyMargins(s, out, m);
    return 1;
}

} // namespace

int TGuidedFilter::stripProc(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps)
{
    return strips("TGuidedFilter::stripProc", guide, src, out, r, eps, checkBlkSz(guide.cols, guide.rows));
}

int TGuidedFilter::gFc1_stripproc(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps,
                                  int stripHeight)
{
    return strips("TGuidedFilter::gFc1_stripproc", guide, src, out, r, eps, stripHeight);
}

int TGuidedFilter::gFc1_blkGuide(const cv::Mat& guide, const cv::Mat& src, cv::Mat& out, int r, float eps)
{
    const cv::Size size = checkFilter("TGuidedFilter::gFc1_blkGuide", guide, src, r);
    const cv::Mat guideCopy = unshared(guide, out), srcCopy = unshared(src, out);
    if (size.width <= 4 * r || size.height <= 4 * r) {
        srcCopy.copyTo(out);
        return 1;
    }
    const cv::Mat g = asFloats(guideCopy, size), s = asFloats(srcCopy, size);
    ensureLarge(out, {size.width - 4 * r, size.height - 4 * r}, CV_32FC1);
    forEachSpan(out.rows, long(size.area()),
                [&](int first, int end) { filterRows(g, s, r, eps, first, end, out.rowRange(first, end)); });
    return 1;
}
