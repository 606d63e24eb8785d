#include <pixmill/filters/TGuidedFilter.h>

#include <pixmill/filters/detail/guided_planes.h>
#include <pixmill/primitives/arithmetic.h>
#include <pixmill/primitives/detail/region.h>
#include <pixmill/primitives/filter.h>

using namespace pixmill::detail;

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
float* checkMoment(cv::Mat& result, IppiSize fullSize, IppiSize roi, IppiSize mask, IppiPoint anchor, bool offsetDst)
{
    CV_Assert(mask.width > 0 && mask.height > 0 && anchor.x >= 0 && anchor.y >= 0 && anchor.x < mask.width &&
              anchor.y < mask.height);
    CV_Assert(roi.width > 0 && roi.height > 0 && fullSize.width - roi.width >= mask.width - 1 &&
              fullSize.height - roi.height >= mask.height - 1);
    const IppiPoint at = offsetDst ? anchor : IppiPoint{0, 0};
    CV_Assert(result.type() == CV_32FC1 && holdsFloats(result, {at.x + roi.width, at.y + roi.height}));
    return result.ptr<float>(at.y) + at.x;
}

} // namespace

int TGuidedFilter::setup(const std::vector<cv::Mat>& guide, const cv::Mat& src, int r, float eps)
{
    if (guide.size() == 3)
        return gFc3_estimate(guide, src, r, eps);
    if (guide.size() == 1)
        return gFc1_estimate(guide[0], src, r, eps);
    throw "ERROR - TGuidedFilter::setup - input vector size is not correct.";
}

int TGuidedFilter::proc(const std::vector<cv::Mat>& guide, cv::Mat& out) const
{
    if (guide.size() == 3)
        return gFc3_apply(guide, out);
    if (guide.size() == 1)
        return gFc1_applyLoop(guide[0], out);
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
    float* result = checkMoment(cov, fullSize, roi, mask, anchor, offsetDst);
    CV_Assert(holdsFloats(x, sizeOf(fullSize)) && holdsFloats(y, sizeOf(fullSize)));
    CV_Assert(holdsFloats(meanX, sizeOf(roi)) && holdsFloats(meanY, sizeOf(roi)));
    needFloats(tmp1, fullSize);
    needFloats(tmp2, roi);

    ippiMul_32f_C1R(x.ptr<float>(), int(x.step), y.ptr<float>(), int(y.step), tmp1.ptr<float>(), int(tmp1.step),
                    fullSize);
    ippiFilterBox_32f_C1R(tmp1.ptr<float>(anchor.y) + anchor.x, int(tmp1.step), result, int(cov.step), roi, mask,
                          anchor);
    ippiMul_32f_C1R(meanX.ptr<float>(), int(meanX.step), meanY.ptr<float>(), int(meanY.step), tmp2.ptr<float>(),
                    int(tmp2.step), roi);
    ippiSub_32f_C1IR(tmp2.ptr<float>(), int(tmp2.step), result, int(cov.step), roi);
}

void TGuidedFilter::calvar2(cv::Mat& var, const cv::Mat& x, const cv::Mat& meanX, cv::Mat& tmp1, cv::Mat& tmp2,
                            IppiSize fullSize, IppiSize roi, IppiSize mask, IppiPoint anchor, bool offsetDst)
{
    calcov2(var, x, x, meanX, meanX, tmp1, tmp2, fullSize, roi, mask, anchor, offsetDst); // x * x is the square
}
