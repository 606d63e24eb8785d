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

/// What is left of a picture without `margin` samples on every side.
cv::Rect inset(cv::Size size, int margin)
{
    return {margin, margin, size.width - 2 * margin, size.height - 2 * margin};
}

/// Means of the windows of radius r that lie within `in`: `out` is smaller by r on every side.
void windowMean(const cv::Mat& in, int r, cv::Mat& out)
{
    ippiFilterBox_32f_C1R(in.ptr<float>(r) + r, int(in.step), out.ptr<float>(), int(out.step), {out.cols, out.rows},
                          {2 * r + 1, 2 * r + 1}, {r, r});
}

/// A line for every window: src is about a * guide + b there.
struct Model {
    cv::Mat a, b;
};

/// The models of the windows of radius r that lie within the picture.
Model modelOf(const cv::Mat& guide, const cv::Mat& src, int r, float eps)
{
    const cv::Rect valid = inset(guide.size(), r);
    const IppiSize full = {guide.cols, guide.rows}, roi = {valid.width, valid.height}, mask = {2 * r + 1, 2 * r + 1};
    const IppiPoint anchor = {r, r};
    const auto plane = [&] { return cv::Mat(valid.size(), CV_32FC1); };
    cv::Mat meanG = plane(), meanS = plane(), cov = plane(), var = plane(), tmp1, tmp2;
    windowMean(guide, r, meanG);
    windowMean(src, r, meanS);
    TGuidedFilter::calcov2(cov, guide, src, meanG, meanS, tmp1, tmp2, full, roi, mask, anchor, false);
    TGuidedFilter::calvar2(var, guide, meanG, tmp1, tmp2, full, roi, mask, anchor, false);
    for (int y = 0; y < valid.height; ++y)
        for (int x = 0; x < valid.width; ++x) {
            float &slope = cov.at<float>(y, x), &mean = meanS.at<float>(y, x);
            slope = slope / (var.at<float>(y, x) + eps);
            mean = mean - slope * meanG.at<float>(y, x);
        }
    return {cov, meanS};
}

/// out += x * y.
void addProduct(const cv::Mat& x, const cv::Mat& y, cv::Mat& out)
{
    for (int row = 0; row < out.rows; ++row)
        for (int i = 0; i < out.cols; ++i)
            out.at<float>(row, i) += x.at<float>(row, i) * y.at<float>(row, i);
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
    const Model model = modelOf(g, s, r, eps);
    const cv::Rect inner = inset(size, 2 * r);
    cv::Mat slope(inner.size(), CV_32FC1);
    ensure(out, inner.size(), CV_32FC1);
    windowMean(model.a, r, slope);
    windowMean(model.b, r, out);
    addProduct(slope, g(inner), out);
    return 1;
}
