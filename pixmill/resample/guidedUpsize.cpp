#include <pixmill/resample/guidedUpsize.h>

#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/primitives/types.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/plane.h>

using namespace pixmill::rows;

namespace {

constexpr int kRadius = 1;
constexpr float kEps = 0.0001f;

/// A plane in floats of 0..1; black where its type has no such range.
cv::Mat normalised(const cv::Mat& plane)
{
    cv::Mat out = cv::Mat::zeros(plane.size(), CV_32FC1);
    if (plane.type() == CV_8UC1)
        plane.convertTo(out, CV_32F, 1.0 / 255);
    else if (plane.type() == CV_16UC1)
        plane.convertTo(out, CV_32F, 1.0 / 65535);
    return out;
}

template <class Reduce>
void upsizeGuided(const char* call, const cv::Mat& guideY, const cv::Mat& in, cv::Mat& out, const Reduce& reduce)
{
    checkPlane(guideY, call, "guideY");
    checkPlane(in, call, "in");
    cv::Mat small = cv::Mat::zeros(in.size(), guideY.type());
    reduce(small);
    TGuidedFilter filter;
    filter.setup({normalised(small)}, normalised(in), kRadius, kEps);
    filter.proc({guideY}, out);
}

} // namespace

void upSize2XGuidedByY(cv::Mat guideY, const cv::Mat& in, cv::Mat& out, bool useGuide, int interpolation)
{
    if (useGuide) {
        upsizeGuided("upSize2XGuidedByY", guideY, in, out,
                     [&](cv::Mat& small) { downSize2X(guideY, small, IPPI_INTER_CUBIC); });
        return;
    }
    const cv::Mat from = in; // `out` may be the same header
    ensure(out, guideY.size(), from.type());
    upSize2X(from, out, interpolation);
}

void upSizeNXGuidedByY(cv::Mat guideY, const cv::Mat& in, cv::Mat& out, int factor, bool useGuide, int interpolation)
{
    if (useGuide) {
        upsizeGuided("upSizeNXGuidedByY", guideY, in, out,
                     [&](cv::Mat& small) { downSizeNX(guideY, small, factor, IPPI_INTER_CUBIC); });
        return;
    }
    const cv::Mat from = in;
    ensure(out, guideY.size(), from.type());
    upSizeNX(from, out, factor, interpolation);
}
