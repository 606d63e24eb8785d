// The toolbox's filters of luma, with their parameters; the colours stay as they are.
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
#include <pixmill/resample/blend.h>
#include <pixmill/resample/resample.h>

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

const std::vector<Parameter> kDomain = {{"sigmaS", 0.1, 1000, 40, "reach in pixels"},
                                        {"sigmaR", 0.001, 10, 0.4, "how much of an edge stops it, of full luma"}};

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
    cv::Mat guide = planes.lumaAsFloat(), in, out;
    cv::log(guide + filter.m_logEps, in);
    filter.Proc(in.ptr<float>(), in.cols, in.rows, real(values, "lambda"), real(values, "alpha"), guide.ptr<float>(),
                true);
    cv::exp(in, out);
    planes.setLuma(out - filter.m_logEps);
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

const std::vector<Parameter> kGuided = {{"radius", 1, 500, 8, "of the window, in pixels"},
                                        {"eps", 1e-6, 1, 0.01, "variance that counts as flat, of luma 0..1"}};

} // namespace

const std::vector<Filter>& lumaFilters()
{
    static const std::vector<Filter> filters = {
        {"recursive", "Smooths texture and stops at edges, at a cost that does not grow with its reach.", kDomain,
         domainTransform<&DomainTransform::RecursiveFilter>},
        {"convolution", "Averages what is near in place and in brightness: flatter areas, sharper corners.", kDomain,
         domainTransform<&DomainTransform::NormalizedConvolutionFilter>},
        {"interpolated", "The same means, interpolated between the pixels.", kDomain,
         domainTransform<&DomainTransform::InterpolatedConvolutionFilter>},
        {"guided", "Smooths where the luma is flat and follows it where it is not, without halos.", kGuided, guided},
        {"guided-by-colour", "The same with red, green and blue as guides: edges of colour count too.", kGuided,
         guidedByColour},
        {"bilateral",
         "Smooths by distance and by brightness at once, in a coarse grid of both.",
         {{"cell", 1, 512, 8, "pixels of a cell"}, {"range", 16, 65535, 6000, "brightness of a cell, of 65535"}},
         bilateral},
        {"gradient-guide",
         "Blurs, and gives the edges back: texture stays out.",
         {{"blur", 1, 53, 3, "radius of the blur, in pixels"},
          {"radius", 1, 100, 3, "of the edges' window, in pixels"}},
         gradientGuide},
        {"local-laplacian",
         "Flattens detail of all sizes, or brings it out, without halos.",
         {{"sigma", -1, 1, -0.3, "above 0 flattens, below 0 brings out; the size of an edge, of half the luma"},
          {"smooth", 0, 2, 0.3, "softness of the curve"},
          {"references", 10, 24, 16, "brightnesses that are worked out: 10, 16 or 24"},
          {"levels", 0, 16, 0, "depth of the pyramid; 0: by the picture's size"}},
         localLaplacian},
        {"gaussian",
         "A Gaussian blur by recursion: any width at the same cost.",
         {{"sigma", 0.1, 1000, 5, "in pixels"}, {"steps", 1, 16, 3, "more come closer to a true Gaussian"}},
         gaussian},
        {"box",
         "A blur by repeated box means.",
         {{"radius", 1, 1000, 5, "in pixels"}, {"passes", 1, 16, 3, "of the mean"}},
         box},
        {"glow",
         "A blur with a very long tail, out of three small kernels.",
         {{"falloff", 0.1, 1, 0.8, "weight of each wider level"}},
         glow},
        {"sharpen",
         "Moves every pixel to the nearer end of its surroundings: soft edges become steps.",
         {{"times", 1, 50, 1, "how often"}},
         sharpen},
        {"least-squares",
         "The smoothest plane that keeps the edges, from one large system of equations: slow.",
         {{"lambda", 0, 100, 0.5, "smoothness"}, {"alpha", 0.1, 4, 1.2, "how much gradients count"}},
         leastSquares},
        {"finest-detail",
         "Smooths at half the size and puts the finest detail back on.",
         {{"sigmaS", 0.1, 1000, 10, "reach in half-size pixels"},
          {"sigmaR", 0.001, 10, 0.3, "how much of an edge stops it, of full luma"},
          {"strength", 0, 10, 2, "of the finest detail; 2 is as it was"}},
         finestDetail},
        {"light",
         "One tone curve.",
         {{"brightness", -1, 1, 0, "the whole picture darker or brighter"},
          {"contrast", -1, 1, 0, "flatter or stronger"},
          {"highlights", -1, 1, 0, "bright parts down or up"},
          {"shadows", -1, 1, 0, "dark parts down or up"},
          {"whites", -1, 1, 0, "where white begins"},
          {"blacks", -1, 1, 0, "where black ends"}},
         light},
    };
    return filters;
}
