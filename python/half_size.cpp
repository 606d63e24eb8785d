// The filters that keep a part of a picture at half its size: the finest detail, and the compact picture.
#include "bindings.h"
#include "filter_frame.h"

#include <pixmill/core/TImage.h>
#include <pixmill/filters/DomainTransform.h>
#include <pixmill/planar/TPImage.h>
#include <pixmill/primitives/vector.h>
#include <pixmill/resample/resample.h>

#include <opencv2/core.hpp>

namespace pixmill::python {

namespace {

constexpr double kWordsPerByte = 257;

bool finestDetail(const Job& job)
{
    constexpr int kPyramid = 257;
    cv::Mat half((job.p.rows + 1) / 2, (job.p.cols + 1) / 2, CV_16UC1), smooth, edge;
    downSize2X(job.p, half, kPyramid);
    half.convertTo(smooth, CV_32F, 1.0 / 65535.0);
    DomainTransform().RecursiveFilter(smooth, smooth, float(job.values[0]), float(job.values[1]));
    smooth.convertTo(smooth, CV_16U, 65535.0);
    TPImage::fullToEdge(job.p, half, edge);
    TPImage::edgeToFull(edge, smooth, job.out, float(job.values[2]));
    return true;
}

/// R, G, B as B, G, R, A of bytes.
cv::Mat asBgra(const cv::Mat& colours)
{
    cv::Mat bytes, bgra(colours.size(), CV_8UC4, cv::Scalar::all(255));
    colours.convertTo(bytes, CV_8U, colours.depth() == CV_16U ? 1 / kWordsPerByte : 1);
    const int fromTo[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&bytes, 1, &bgra, 1, fromTo, 3);
    return bgra;
}

/// Back, of this depth.
cv::Mat asColours(const cv::Mat& bgra, int depth)
{
    cv::Mat colours(bgra.size(), CV_8UC3);
    const int fromTo[] = {2, 0, 1, 1, 0, 2};
    cv::mixChannels(&bgra, 1, &colours, 1, fromTo, 3);
    colours.convertTo(colours, depth, depth == CV_16U ? kWordsPerByte : 1);
    return colours;
}

/// Luma of 16 bits, raised to a power.
cv::Mat raised(const cv::Mat& words, float power)
{
    cv::Mat luma;
    words.convertTo(luma, CV_32F, 1 / 65535.0);
    for (int y = 0; y < luma.rows; ++y)
        vsPowx(luma.cols, luma.ptr<float>(y), power, luma.ptr<float>(y));
    luma.convertTo(luma, CV_16U, 65535.0);
    return luma;
}

/// The compact picture has even sides; what is beyond them repeats their ends.
bool compact(const Job& job)
{
    const cv::Size size(job.p.cols / 2 * 2, job.p.rows / 2 * 2);
    if (size.area() == 0) {
        job.p.copyTo(job.out);
        return true;
    }
    const cv::Mat bgra = asBgra(job.p(cv::Rect({}, size)));
    TImage Y(TImage::IM_Y, {}), C(TImage::IM_C, {}), M(TImage::IM_M, {});
    TImage::bgra8uToTImage(bgra.data, size.width, size.height, int(bgra.step), Y, C, M);
    TImage newY(TImage::IM_Y, {size.width, size.height}), newC(C);
    newY.fromMat(raised(Y.toMat(0), float(job.values[0])), 0);
    TImage::updateCfromYChange(Y, C, newY, newC, 0.1f);
    TImage::timageToBgra8u(newY, newC, M, bgra.data, int(bgra.step));
    cv::copyMakeBorder(asColours(bgra, job.out.depth()), job.out, 0, job.out.rows - size.height, 0,
                       job.out.cols - size.width, cv::BORDER_REPLICATE);
    return true;
}

constexpr GuideRow kNoGuide;

const FilterRow kFilters[] = {
    {"finest_detail",
     "finest-detail",
     {kU16, kPlane},
     kNoGuide,
     nullptr,
     Output::kInPlace,
     finestDetail,
     "The domain transform on luma of half the size; what that size cannot hold is kept in 8 bits."},
    {"compact",
     "compact",
     {kU8 | kU16, kThree},
     kNoGuide,
     nullptr,
     Output::kInPlace,
     compact,
     "Pixels in the order R, G, B, of which 8 bits count."},
};

} // namespace

void bindHalfSize(py::module_& module)
{
    for (const FilterRow& row : kFilters)
        bindFilter(module, row);
}

} // namespace pixmill::python
