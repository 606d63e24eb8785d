#include <pixmill/resample/resample.h>

#include <pixmill/core/TPixmill.h>
#include <pixmill/core/detail/message.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/resample/border.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <memory>

namespace {

constexpr int kPyramid = 257;
constexpr int kBorder = cv::BORDER_REFLECT_101;

bool isReady(const cv::Mat& in, const cv::Mat& out)
{
    return out.data && out.total() != 0 && out.type() == in.type();
}

struct Recipe {
    double factor, shift;
    int moreBuffer; ///< bytes beyond what the primitive asks for
    const char* noBuffer;
    const char* badType;
};

void resizeWhole(const cv::Mat& in, cv::Mat& out, const Recipe& recipe, int interpolation)
{
    const IppiRect from = {0, 0, in.cols, in.rows}, to = {0, 0, out.cols, out.rows};
    int size = 0;
    ippiResizeGetBufSize(from, to, 1, interpolation, &size);
    const std::unique_ptr<unsigned char, void (*)(void*)> buffer(ippsMalloc_8u(size + recipe.moreBuffer), ippsFree);
    if (!buffer)
        throw recipe.noBuffer;

    const auto run = [&](auto resize, auto* pixel) {
        using T = std::remove_pointer_t<decltype(pixel)>;
        resize(in.ptr<T>(), {in.cols, in.rows}, int(in.step), from, out.ptr<T>(), int(out.step), to, recipe.factor,
               recipe.factor, recipe.shift, recipe.shift, interpolation, buffer.get());
    };
    switch (in.type()) {
    case CV_8UC1:
        return run(ippiResizeSqrPixel_8u_C1R, static_cast<unsigned char*>(nullptr));
    case CV_16UC1:
        return run(ippiResizeSqrPixel_16u_C1R, static_cast<unsigned short*>(nullptr));
    case CV_32FC1:
        return run(ippiResizeSqrPixel_32f_C1R, static_cast<float*>(nullptr));
    default:
        throw recipe.badType;
    }
}

/// Fills the columns right of the input's image. Rows below it keep what the resize left in them.
void fillSurplus(cv::Mat& out, long long exactCols, long long exactRows)
{
    const auto surplus = [](long long n) { return int(std::clamp<long long>(n, 0, INT_MAX)); };
    extendBorder(out, 0, 0, surplus(out.cols - exactCols), surplus(out.rows - exactRows));
}

/// cv::pyrUp without its fault: where the result has an odd number of rows, 2 * rows - 1, its vector code stores the
/// wrong row last. So it enlarges into twice the rows, and those asked for are kept.
void pyramidUp(const cv::Mat& in, cv::Mat& out)
{
    if (out.rows != 2 * in.rows - 1 || out.dims > 2)
        return cv::pyrUp(in, out, out.size(), kBorder);
    cv::Mat whole;
    cv::pyrUp(in, whole, cv::Size(out.cols, 2 * in.rows), kBorder);
    whole.rowRange(0, out.rows).copyTo(out);
}

} // namespace

void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interpolation)
{
    if (!isReady(in, out2X))
        throw pixmill::detail::keepMessage(TPixmill::traceMsg("upSize2X", 103, "out2X is not allocated"));
    if (interpolation == kPyramid)
        pyramidUp(in, out2X);
    else
        resizeWhole(in, out2X, {2.0, -0.5, 0, "ERROR - up2X - ippsMalloc_8u(pBufferSize)", "ERROR - up2X - type"},
                    interpolation);
    fillSurplus(out2X, 2LL * in.cols, 2LL * in.rows);
}

void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int factor, int interpolation)
{
    if (!isReady(in, outNX))
        throw "ERROR - upSizeNX - outNX is not allocated";
    resizeWhole(in, outNX,
                {double(factor), -1.0 / factor, 0, "ERROR - upNX - ippsMalloc_8u(pBufferSize)", "ERROR - upNX - type"},
                interpolation);
    fillSurplus(outNX, (long long)factor * in.cols, (long long)factor * in.rows);
}

void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interpolation)
{
    if (!isReady(in, outHalf))
        throw "ERROR - downSize2X - outHalf must be allocated!";
    if (interpolation == kPyramid)
        cv::pyrDown(in, outHalf, outHalf.size(), kBorder);
    else
        resizeWhole(in, outHalf,
                    {0.5, 0.25, 1024, "ERROR - down2X - ippsMalloc_8u(pBufferSize)", "ERROR - down2X - type"},
                    interpolation);
    fillSurplus(outHalf, in.cols / 2, in.rows / 2);
}

void downSizeNX(const cv::Mat& in, cv::Mat& out, int factor, int interpolation)
{
    if (!isReady(in, out))
        throw "downSizeNX - out is not allocated";
    CV_Assert(factor != 0);
    resizeWhole(in, out,
                {1.0 / factor, 0.5 / factor, 1024, "ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)",
                 "ERROR - downSizeNX - type"},
                interpolation);
    fillSurplus(out, (long long)in.cols / factor, (long long)in.rows / factor);
}
