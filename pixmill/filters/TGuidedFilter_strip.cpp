#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/primitives/filter.h>
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
    ensure(out, size, CV_32FC1);
    const int strips = (size.height - m) / stripHeight + 1;
    forEachIndex(strips, long(size.area()), [&](int k) {
        const int y0 = k * stripHeight;
        const bool whole = size.height >= long(y0) + stripHeight + m;
        const int hIn = whole ? stripHeight + m : size.height - y0, hOut = whole ? stripHeight : size.height - m - y0;
        if (hOut <= 0)
            return;
        const cv::Rect in(0, y0, size.width, hIn);
        cv::Mat view = out(cv::Rect(m, m + y0, size.width - m, hOut));
        TGuidedFilter::gFc1_blkGuide(g(in), s(in), view, r, eps);
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
    const int side = 2 * r + 1;
    const IppiSize full = {size.width, size.height}, valid = {size.width - 2 * r, size.height - 2 * r};
    const IppiSize inner = {size.width - 4 * r, size.height - 4 * r}, mask = {side, side};
    const IppiPoint anchor = {r, r};
    const auto mean = [&](const cv::Mat& in, int at, cv::Mat& to, IppiSize roi) {
        ippiFilterBox_32f_C1R(in.ptr<float>(at) + at, int(in.step), to.ptr<float>(), int(to.step), roi, mask, anchor);
    };
    const cv::Size validSize(valid.width, valid.height);
    cv::Mat meanG(validSize, CV_32FC1), meanS(validSize, CV_32FC1), cov(validSize, CV_32FC1), var(validSize, CV_32FC1);
    cv::Mat a(size, CV_32FC1), b(size, CV_32FC1), tmp1, tmp2;
    mean(g, r, meanG, valid);
    mean(s, r, meanS, valid);
    calcov2(cov, g, s, meanG, meanS, tmp1, tmp2, full, valid, mask, anchor, false);
    calvar2(var, g, meanG, tmp1, tmp2, full, valid, mask, anchor, false);
    for (int y = 0; y < valid.height; ++y)
        for (int x = 0; x < valid.width; ++x) {
            const float slope = cov.at<float>(y, x) / (var.at<float>(y, x) + eps);
            a.at<float>(y + r, x + r) = slope;
            b.at<float>(y + r, x + r) = meanS.at<float>(y, x) - slope * meanG.at<float>(y, x);
        }
    ensure(out, {inner.width, inner.height}, CV_32FC1);
    mean(a, 2 * r, meanG, inner);
    mean(b, 2 * r, out, inner);
    for (int y = 0; y < inner.height; ++y)
        for (int x = 0; x < inner.width; ++x)
            out.at<float>(y, x) += meanG.at<float>(y, x) * g.at<float>(y + 2 * r, x + 2 * r);
    return 1;
}
