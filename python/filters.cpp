// The filters, a row each; their names, ranges and usual values are those of the command (filter_table.h).
#include "bindings.h"
#include "filter_frame.h"

#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/TImage.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <pixmill/resample/blend.h>
#include <pixmill/version.h>

#if PIXMILL_HAS_SOLVER
#include <pixmill/multiscale/TWLSFilter.h>
#endif

#include <opencv2/core.hpp>

namespace pixmill::python {

namespace {

double fullScale(const cv::Mat& plane)
{
    return plane.depth() == CV_8U ? 255.0 : plane.depth() == CV_16U ? 65535.0 : 1.0;
}

/// Of 0..1, and the plane's own samples where it has floats.
cv::Mat asFloat(const cv::Mat& plane)
{
    if (plane.depth() == CV_32F)
        return plane;
    cv::Mat floats;
    plane.convertTo(floats, CV_32F, 1 / fullScale(plane));
    return floats;
}

void start(const Job& job)
{
    if (job.out.data != job.p.data)
        job.p.copyTo(job.out);
}

/// The result of floats 0..1 in the type of the output.
void store(const cv::Mat& floats, const Job& job)
{
    floats.convertTo(job.out, job.out.depth(), fullScale(job.out));
}

std::vector<cv::Mat> planesOf(const cv::Mat& picture)
{
    std::vector<cv::Mat> planes;
    if (picture.channels() == 1)
        return {picture};
    cv::split(picture, planes);
    return planes;
}

bool recursive(const Job& job)
{
    const float sigmaS = float(job.values[0]), sigmaR = float(job.values[1]);
    if (job.guide.empty())
        return DomainTransform().RecursiveFilter(job.p, job.out, sigmaS, sigmaR);
    std::vector<cv::Mat> planes;
    DomainTransform().RecursiveFilter(planesOf(job.p), planes, sigmaS, sigmaR, planesOf(job.guide));
    cv::merge(planes, job.out);
    return true;
}

bool convolution(const Job& job)
{
    return DomainTransform().NormalizedConvolutionFilter(job.p, job.out, float(job.values[0]), float(job.values[1]));
}

/// The filter works in its input's pixels, which are the caller's.
bool interpolated(const Job& job)
{
    start(job);
    const cv::Mat in = job.out;
    return DomainTransform().InterpolatedConvolutionFilter(in, job.out, float(job.values[0]), float(job.values[1]));
}

void guidedByColour(const Job& job, TGuidedFilter& filter)
{
    const std::vector<cv::Mat> guides = planesOf(asFloat(job.guide));
    cv::Mat floats;
    filter.setup(guides, asFloat(job.p), int(job.values[0]), float(job.values[1]));
    filter.proc(guides, floats);
    store(floats, job);
}

bool guided(const Job& job)
{
    TGuidedFilter filter;
    if (job.guide.channels() == 3) {
        guidedByColour(job, filter);
        return true;
    }
    const cv::Mat& guide = job.guide.empty() ? job.p : job.guide;
    const int r = int(job.values[0]);
    const float eps = float(job.values[1]);
    if (guide.depth() == CV_32F)
        return TGuidedFilter::gFc1_oneMean(guide, asFloat(job.p), job.out, r, eps);
    filter.gFc1_estimate(asFloat(guide), asFloat(job.p), r, eps);
    return filter.gFc1_applyLoop(guide, job.out);
}

bool bilateral(const Job& job)
{
    const cv::Mat edge = job.guide.empty() ? job.guide : job.guide.clone(); // no one changes it between two looks
    start(job);
    return BilateralFilter().proc(edge, job.out, int(job.values[0]), int(job.values[1]), job.progress);
}

/// An image over a plane: nothing is copied and nothing owned.
class Borrowed : public TImage {
public:
    explicit Borrowed(const cv::Mat& plane) : TImage(plane.depth() == CV_16U ? IM_Y : IM_M, {})
    {
        m_owner = false;
        m_width = plane.cols;
        m_height = plane.rows;
        m_plane_p[0] = plane.data;
        m_step = int(plane.step);
        m_pixelBytes = int(plane.elemSize());
    }
};

bool boxMean(const cv::Mat& in, cv::Mat& out, int radius, int passes, TProgress* progress)
{
    const Borrowed source(in);
    Borrowed target(out);
    return !tFilterBox(&source, &target, radius, passes, progress);
}

bool box(const Job& job)
{
    return boxMean(job.p, job.out, int(job.values[0]), int(job.values[1]), job.progress);
}

bool gradientGuide(const Job& job)
{
    const cv::Mat p = job.p.data == job.out.data ? job.p.clone() : job.p;
    if (job.guide.empty())
        boxMean(p, job.out, int(job.values[0]), 2, nullptr);
    else
        job.guide.copyTo(job.out);
    return BilateralFilter::gradientGuide(p, job.out, int(job.values[1]));
}

bool localLaplacian(const Job& job)
{
    const int references = int(job.values[2]), told = int(job.values[3]);
    const int levels = told ? told : LocalLaplacian::levelJ(job.p.cols, job.p.rows, 1);
    const auto form = references > 16   ? &LocalLaplacian::proc24K
                      : references > 10 ? &LocalLaplacian::proc16K
                                        : &LocalLaplacian::proc10K;
    LocalLaplacian filter;
    (filter.*form)(job.p, job.out, float(job.values[0]), float(job.values[1]), levels);
    return true;
}

bool gaussian(const Job& job)
{
    start(job);
    cv::Mat dense = job.out.isContinuous() ? job.out : job.out.clone();
    gaussianiir3d(dense.ptr<float>(), dense.cols, dense.rows, 1, float(job.values[0]), int(job.values[1]));
    if (dense.data != job.out.data)
        dense.copyTo(job.out);
    return true;
}

/// Each level up weighs as much as the fall-off says; the answer to a white plane evens the sums out.
bool glow(const Job& job)
{
    const cv::Mat down = (cv::Mat_<float>(1, 5) << 1, 4, 6, 4, 1) / 16.0f;
    const cv::Mat across = (cv::Mat_<float>(1, 3) << 1, 2, 1) / 4.0f;
    const cv::Mat white(job.p.size(), CV_32FC1, cv::Scalar(1));
    ConvPyr pyramid(down, down * (2 * job.values[0]), across);
    cv::Mat weight, sum;
    pyramid.proc(white, weight);
    pyramid.proc(job.p, sum);
    cv::divide(sum, weight, job.out);
    return true;
}

bool sharpen(const Job& job)
{
    cv::Mat in = job.p;
    for (int i = 0; i < int(job.values[0]); ++i) {
        extremeSharpen(in, job.out);
        in = job.out;
    }
    return true;
}

#if PIXMILL_HAS_SOLVER
bool leastSquares(const Job& job)
{
    cv::Mat guide = (job.guide.empty() ? job.p : job.guide).clone(), in = job.p.clone();
    TWLSFilter().Proc(in.ptr<float>(), in.cols, in.rows, float(job.values[0]), float(job.values[1]), guide.ptr<float>(),
                      true);
    in.copyTo(job.out);
    return true;
}
#endif

bool light(const Job& job)
{
    const double* v = job.values;
    TLightAdjLUTq3 curve;
    curve.setupParams(float(v[0]), float(v[1]), float(v[2]), float(v[3]), float(v[4]), float(v[5]));
    curve.computeLUT16U(true);
    curve.applyYLUT(job.p, job.out);
    return true;
}

constexpr Wanted kFloats = {kF32, kPlane | kChannels}, kFloatPlane = {kF32, kPlane}, kWordPlane = {kU16, kPlane},
                 kIntegerPlane = {kU8 | kU16, kPlane};
constexpr auto kInPlace = Output::kInPlace;
constexpr GuideRow kNoGuide;
constexpr auto kSilent = nullptr;

int fiveTimes(const double*)
{
    return 5;
}

int eachPass(const double* values)
{
    return int(values[1]) + 1;
}

const FilterRow kFilters[] = {
    {"recursive_filter",
     "recursive",
     kFloats,
     {kF32, kPlane | kChannels, false, "its edges stop the filter instead of p's own."},
     kSilent,
     kInPlace,
     recursive,
     "The domain transform (Gastal and Oliveira 2011) by recursion; samples of 0..1 as a rule, all channels by the "
     "same "
     "edges."},
    {"convolution_filter", "convolution", kFloats, kNoGuide, kSilent, kInPlace, convolution,
     "The domain transform by normalized convolution."},
    {"interpolated_filter", "interpolated", kFloats, kNoGuide, kSilent, kInPlace, interpolated,
     "The domain transform by interpolated convolution."},
    {"guided_filter",
     "guided",
     {kU8 | kU16 | kF32, kPlane},
     {kU8 | kU16 | kF32, kPlane | kThree, true,
      "of p's type: the plane, or the colours, whose edges the result follows; None: p itself."},
     kSilent,
     kInPlace,
     guided,
     "The guided filter (He, Sun, Tang 2010), one guide with one mean of the window and three with both. Integer types "
     "count as 0..1 by their range, floats as they are."},
    {"bilateral_filter",
     "bilateral",
     kIntegerPlane,
     {kU8 | kU16, kPlane, false, "whose values tell edges apart; None: p itself."},
     fiveTimes,
     kInPlace,
     bilateral,
     "The bilateral grid (Chen, Paris, Durand 2007)."},
    {"gradient_guide",
     "gradient-guide",
     kIntegerPlane,
     {kU8 | kU16, kPlane, true, "of p's type: the plane to sharpen; None: p blurred twice by a box of radius `blur`."},
     kSilent,
     kInPlace,
     gradientGuide,
     "Sharpens the guide where p is steep, by the extremes of its surroundings."},
    {"local_laplacian", "local-laplacian", kWordPlane, kNoGuide, kSilent, kInPlace, localLaplacian,
     "The fast local Laplacian filter (Aubry and others 2014) on luma."},
    {"gaussian_filter", "gaussian", kFloatPlane, kNoGuide, kSilent, kInPlace, gaussian,
     "By recursion (Alvarez and Mazorra 1994); beyond an end the plane goes on with its end values."},
    {"box_filter", "box", kIntegerPlane, kNoGuide, eachPass, kInPlace, box,
     "Means of (2 radius + 1) squared, mirrored at the edges; above a radius of 53 at a reduced size."},
    {"glow", "glow", kFloatPlane, kNoGuide, kSilent, kInPlace, glow,
     "Three kernels up and down a convolution pyramid (Farbman, Fattal, Lischinski 2011)."},
    {"extreme_sharpen", "sharpen", kWordPlane, kNoGuide, kSilent, kInPlace, sharpen,
     "The maximum or the minimum of 3 x 3 pixels, whichever is nearer (Kramer and Bruckner 1975)."},
#if PIXMILL_HAS_SOLVER
    {"least_squares",
     "least-squares",
     kFloatPlane,
     {kF32, kPlane, false, "above 0; its logarithm's edges are kept instead of p's."},
     kSilent,
     kInPlace,
     leastSquares,
     "Weighted least squares (Farbman and others 2008): one sparse system, about 0.55 GB a megapixel. Ctrl-C is seen "
     "after it."},
#endif
    {"light_curve", "light", kWordPlane, kNoGuide, kSilent, kInPlace, light,
     "The tone curve of the detail engine, on luma."},
};

} // namespace

void bindFilters(py::module_& module)
{
    for (const FilterRow& row : kFilters)
        bindFilter(module, row);
}

} // namespace pixmill::python
