#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/filter.h>
#include <pixmill/primitives/region.h>

using namespace pixmill::rows;
using namespace pixmill::primitives;
using namespace pixmill::filters;

namespace {

constexpr long kLeastStripPixels = 2250000;
constexpr int kStripHeight = 600;

void needFloats(cv::Mat& scratch, IppiSize size)
{
    if (scratch.type() != CV_32FC1 || !holdsFloats(scratch, sizeOf(size)))
        scratch.create(sizeOf(size), CV_32FC1);
}

/// What the covariance and the variance must find before they start: all that the mask reads lies within the product,
/// and all that is written within the result. Returns the first sample of the result.
float* checkMoment(const char* call, const char* name, cv::Mat& result, IppiSize fullSize, IppiSize roi, IppiSize mask,
                   IppiPoint anchor, bool offsetDst)
{
    PIXMILL_CHECK(mask.width > 0 && mask.height > 0, call, "mask", describe(sizeOf(mask)), "a pixel or more");
    PIXMILL_CHECK(anchor.x >= 0 && anchor.y >= 0 && anchor.x < mask.width && anchor.y < mask.height, call, "anchor",
                  describe(cv::Size(anchor.x, anchor.y)), "a place in the mask");
    PIXMILL_CHECK(roi.width > 0 && roi.height > 0, call, "roi", describe(sizeOf(roi)), "a pixel or more");
    PIXMILL_CHECK(long(fullSize.width) - roi.width >= mask.width - 1L &&
                      long(fullSize.height) - roi.height >= mask.height - 1L,
                  call, "fullSize", describe(sizeOf(fullSize)), "room for the mask around roi");
    const IppiPoint at = offsetDst ? anchor : IppiPoint{0, 0};
    PIXMILL_CHECK(result.type() == CV_32FC1 && holdsFloats(result, {at.x + roi.width, at.y + roi.height}), call, name,
                  describe(result), "CV_32FC1 with room for roi");
    return result.ptr<float>(at.y) + at.x;
}

/// cov = mean(x * y) - meanX * meanY. The planes come as headers of their own, as scratch may be one of the caller's.
void covariance(const char* call, const char* name, cv::Mat cov, cv::Mat x, cv::Mat y, cv::Mat meanX, cv::Mat meanY,
                cv::Mat& tmp1, cv::Mat& tmp2, IppiSize fullSize, IppiSize roi, IppiSize mask, IppiPoint anchor,
                bool offsetDst)
{
    float* const result = checkMoment(call, name, cov, fullSize, roi, mask, anchor, offsetDst);
    checkHoldsFloats(x, sizeOf(fullSize), call, "x");
    checkHoldsFloats(y, sizeOf(fullSize), call, "y");
    checkHoldsFloats(meanX, sizeOf(roi), call, "meanX");
    checkHoldsFloats(meanY, sizeOf(roi), call, "meanY");
    needFloats(tmp1, fullSize);
    needFloats(tmp2, roi);
    const cv::Mat a = asFloats(x, sizeOf(fullSize)), b = asFloats(y, sizeOf(fullSize));
    const cv::Mat meanA = asFloats(meanX, sizeOf(roi)), meanB = asFloats(meanY, sizeOf(roi));

    ippiMul_32f_C1R(a.ptr<float>(), int(a.step), b.ptr<float>(), int(b.step), tmp1.ptr<float>(), int(tmp1.step),
                    fullSize);
    ippiFilterBox_32f_C1R(tmp1.ptr<float>(anchor.y) + anchor.x, int(tmp1.step), result, int(cov.step), roi, mask,
                          anchor);
    ippiMul_32f_C1R(meanA.ptr<float>(), int(meanA.step), meanB.ptr<float>(), int(meanB.step), tmp2.ptr<float>(),
                    int(tmp2.step), roi);
    ippiSub_32f_C1IR(tmp2.ptr<float>(), int(tmp2.step), result, int(cov.step), roi);
}

} // namespace

int TGuidedFilter::setup(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps)
{
    if (guide.size() == 3)
        return estimate3("TGuidedFilter::setup", guide, src, r, eps);
    if (guide.size() == 1)
        return estimate1("TGuidedFilter::setup", guide[0], src, r, eps);
    throw "ERROR - TGuidedFilter::setup - input vector size is not correct.";
}

int TGuidedFilter::proc(const std::vector<cv::Mat>& guide, cv::Mat& out) const
{
    if (guide.size() == 3)
        return apply3("TGuidedFilter::proc", guide, out);
    if (guide.size() == 1)
        return applyLoop1("TGuidedFilter::proc", guide[0], out);
    throw "ERROR - TGuidedFilter::proc - input vector size is not correct.";
}

int TGuidedFilter::checkBlkSz(int a, int b)
{
    return long(a) * b < kLeastStripPixels || b < kStripHeight ? b : kStripHeight;
}

void TGuidedFilter::calcov2(cv::Mat& cov, const cv::Mat& x, const cv::Mat& y, const cv::Mat& meanX,
                            const cv::Mat& meanY, cv::Mat& tmp1, cv::Mat& tmp2, IppiSize fullSize, IppiSize roi,
                            IppiSize mask, IppiPoint anchor, bool offsetDst)
{
    covariance("TGuidedFilter::calcov2", "cov", cov, x, y, meanX, meanY, tmp1, tmp2, fullSize, roi, mask, anchor,
               offsetDst);
}

void TGuidedFilter::calvar2(cv::Mat& var, const cv::Mat& x, const cv::Mat& meanX, cv::Mat& tmp1, cv::Mat& tmp2,
                            IppiSize fullSize, IppiSize roi, IppiSize mask, IppiPoint anchor, bool offsetDst)
{
    covariance("TGuidedFilter::calvar2", "var", var, x, x, meanX, meanX, tmp1, tmp2, fullSize, roi, mask, anchor,
               offsetDst); // x * x is the square
}
