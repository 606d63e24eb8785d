// The toolbox's filters of luma; the colours stay as they are.
#include "filters.h"
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/core/TImage.h>
#include <pixmill/filters/BilateralFilter.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/filters/TGuidedFilter.h>
#include <pixmill/multiscale/ConvPyr.h>
#include <pixmill/multiscale/LocalLaplacian.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <pixmill/primitives/vector.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/exponential.h>

#include <opencv2/core.hpp>

namespace {

constexpr int kPyramid = 257;

float real(const Values& values, const char* name)
{
    return float(values.at(name));
}

int whole(const Values& values, const char* name)
{
    return int(values.at(name) + 0.5);
}

template <int (DomainTransform::*Form)(const cv::Mat&, cv::Mat&, float, float)>
void domainTransform(Planes& planes, const Values& values)
{
    cv::Mat in = planes.lumaAsFloat(), out;
    DomainTransform filter;
    (filter.*Form)(in, out, real(values, "sigmaS"), real(values, "sigmaR"));
    planes.setLuma(out);
}

void guided(Planes& planes, const Values& values)
{
    TGuidedFilter filter;
    const cv::Mat luma = planes.lumaAsFloat();
    cv::Mat out;
    filter.setup({luma}, luma, whole(values, "radius"), real(values, "eps"));
    filter.proc({planes.picture.m_Y}, out);
    planes.setLuma(out);
}

void guidedByColour(Planes& planes, const Values& values)
{
    std::vector<cv::Mat> rgb;
    cv::split(planes.rgb, rgb);
    for (cv::Mat& plane : rgb)
        plane.convertTo(plane, CV_32F, 1.0 / 65535.0);
    TGuidedFilter filter;
    cv::Mat out;
    filter.setup(rgb, planes.lumaAsFloat(), whole(values, "radius"), real(values, "eps"));
    filter.proc(rgb, out);
    planes.setLuma(out);
}

void bilateral(Planes& planes, const Values& values)
{
    BilateralFilter filter;
    filter.proc(cv::Mat(), planes.picture.m_Y, whole(values, "cell"), whole(values, "range"), nullptr);
}

cv::Mat boxBlurred(const cv::Mat& luma, int radius, int passes)
{
    const TSize size(luma.cols, luma.rows);
    TImage in(TImage::IM_Y, size), out(TImage::IM_Y, size);
    in.fromMat(luma, 0);
    tFilterBox(&in, &out, radius, passes, nullptr);
    return out.toMat(0).clone();
}

void gradientGuide(Planes& planes, const Values& values)
{
    cv::Mat soft = boxBlurred(planes.picture.m_Y, whole(values, "blur"), 2);
    BilateralFilter::gradientGuide(planes.picture.m_Y, soft, whole(values, "radius"));
    planes.setLuma(soft);
}

void localLaplacian(Planes& planes, const Values& values)
{
    const cv::Mat& Y = planes.picture.m_Y;
    const int told = whole(values, "levels");
    const int levels = told ? told : LocalLaplacian::levelJ(Y.cols, Y.rows, 1);
    const int references = whole(values, "references");
    LocalLaplacian filter;
    cv::Mat out;
    const auto form = references > 16   ? &LocalLaplacian::proc24K
                      : references > 10 ? &LocalLaplacian::proc16K
                                        : &LocalLaplacian::proc10K;
    (filter.*form)(Y, out, real(values, "sigma"), real(values, "smooth"), levels);
    planes.setLuma(out);
}

void gaussian(Planes& planes, const Values& values)
{
    cv::Mat luma = planes.lumaAsFloat();
    gaussianiir3d(luma.ptr<float>(), luma.cols, luma.rows, 1, real(values, "sigma"), whole(values, "steps"));
    planes.setLuma(luma);
}

void box(Planes& planes, const Values& values)
{
    planes.setLuma(boxBlurred(planes.picture.m_Y, whole(values, "radius"), whole(values, "passes")));
}

/// Each level up weighs as much as the fall-off says; the answer to a white plane evens the sums out.
void glow(Planes& planes, const Values& values)
{
    const cv::Mat down = (cv::Mat_<float>(1, 5) << 1, 4, 6, 4, 1) / 16.0f;
    const cv::Mat across = (cv::Mat_<float>(1, 3) << 1, 2, 1) / 4.0f;
    const cv::Mat luma = planes.lumaAsFloat(), white(luma.size(), CV_32FC1, cv::Scalar(1));
    ConvPyr pyramid(down, down * (2 * values.at("falloff")), across);
    cv::Mat weight, out;
    pyramid.proc(white, weight);
    pyramid.proc(luma, out);
    planes.setLuma(out / weight);
}

void sharpen(Planes& planes, const Values& values)
{
    cv::Mat out;
    for (int i = 0; i < whole(values, "times"); ++i) {
        extremeSharpen(planes.picture.m_Y, out);
        cv::swap(planes.picture.m_Y, out);
    }
}

void leastSquares(Planes& planes, const Values& values)
{
    TWLSFilter filter;
    cv::Mat guide = planes.lumaAsFloat(), in = guide + filter.m_logEps;
    vsLn(int(in.total()), in.ptr<float>(), in.ptr<float>());
    filter.Proc(in.ptr<float>(), in.cols, in.rows, real(values, "lambda"), real(values, "alpha"), guide.ptr<float>(),
                true);
    for (float& v : cv::Mat_<float>(in))
        v = float(pixmill::rows::exponential(double(v))) - filter.m_logEps;
    planes.setLuma(in);
}

/// Tables for TPImage's edge planes, for as long as this lives.
class EdgeTables {
public:
    EdgeTables() : m_toEdge(65536), m_toFull(256)
    {
        TPImage::m_lutFullToEdge_p = m_toEdge.data();
        TPImage::m_lutEdgeToFull_p = m_toFull.data();
        TPImage::computeLUT();
    }
    ~EdgeTables()
    {
        TPImage::m_lutFullToEdge_p = nullptr;
        TPImage::m_lutEdgeToFull_p = nullptr;
    }

private:
    std::vector<unsigned char> m_toEdge;
    std::vector<unsigned short> m_toFull;
};

void finestDetail(Planes& planes, const Values& values)
{
    const EdgeTables tables;
    const cv::Mat& Y = planes.picture.m_Y;
    cv::Mat half((Y.rows + 1) / 2, (Y.cols + 1) / 2, CV_16UC1), smooth, edge, out;
    downSize2X(Y, half, kPyramid);
    half.convertTo(smooth, CV_32F, 1.0 / 65535.0);
    DomainTransform().RecursiveFilter(smooth, smooth, real(values, "sigmaS"), real(values, "sigmaR"));
    smooth.convertTo(smooth, CV_16U, 65535.0);
    TPImage::fullToEdge(Y, half, edge);
    TPImage::edgeToFull(edge, smooth, out, real(values, "strength"));
    planes.setLuma(out);
}

void light(Planes& planes, const Values& values)
{
    TLightAdjLUTq3 curve;
    curve.setupParams(real(values, "brightness"), real(values, "contrast"), real(values, "highlights"),
                      real(values, "shadows"), real(values, "whites"), real(values, "blacks"));
    curve.setupYLUT();
    curve.computeLUT16U(true);
    cv::Mat out;
    curve.applyYLUT(planes.picture.m_Y, out);
    planes.setLuma(out);
}

} // namespace

const std::vector<FilterRun>& lumaFilters()
{
    static const std::vector<FilterRun> runs = {
        {"recursive", domainTransform<&DomainTransform::RecursiveFilter>},
        {"convolution", domainTransform<&DomainTransform::NormalizedConvolutionFilter>},
        {"interpolated", domainTransform<&DomainTransform::InterpolatedConvolutionFilter>},
        {"guided", guided},
        {"guided-by-colour", guidedByColour},
        {"bilateral", bilateral},
        {"gradient-guide", gradientGuide},
        {"local-laplacian", localLaplacian},
        {"gaussian", gaussian},
        {"box", box},
        {"glow", glow},
        {"sharpen", sharpen},
        {"least-squares", leastSquares},
        {"finest-detail", finestDetail},
        {"light", light},
    };
    return runs;
}
