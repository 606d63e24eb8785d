#include <pixmill/resample/resample.h>

#include <pixmill/core/TPixmill.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/resample/border.h>
#include <pixmill/resample/planes.h>
#include <pixmill/rows/message.h>
#include <pixmill/rows/plane.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>

using namespace pixmill::rows;
using namespace pixmill::resample;

namespace {

constexpr int kWidest = 1 << 29; // twice its columns fit an int
constexpr int kTracedLine = 103; // the number in upSize2X's text, which hosts know; no line of this file

bool isReady(const cv::Mat& in, const cv::Mat& out)
{
    return out.data && out.total() != 0 && out.type() == in.type();
}

void checkPlanes(const char* call, const cv::Mat& in, const char* name, const cv::Mat& out)
{
    checkPlane(in, call, "in");
    checkPlane(out, call, name);
}

/// What the four functions differ in.
struct Recipe {
    bool enlarges;
    int times; ///< the whole factor
    double factor, shift;
    int moreBuffer; ///< bytes beyond what the primitive asks for
    const char* noBuffer;
    const char* badType;
};

using Buffer = std::unique_ptr<unsigned char, void (*)(void*)>;

/// The positions that most calls have, without tables of positions and weights.
bool resizeFast(const cv::Mat& in, cv::Mat& out, const Recipe& recipe, int interpolation)
{
    if (in.dims > 2 || out.dims > 2 || in.empty() || in.cols > kWidest)
        return false;
    try {
        if (recipe.enlarges)
            return recipe.times == 2 && doublePlane(in, out, interpolation);
        return reducePlane(in, out, recipe.times, interpolation);
    } catch (const std::bad_alloc&) {
        throw recipe.noBuffer;
    }
}

void resizeByPrimitive(const cv::Mat& in, cv::Mat& out, const Recipe& recipe, int interpolation)
{
    const IppiRect from = {0, 0, in.cols, in.rows}, to = {0, 0, out.cols, out.rows};
    int size = 0;
    ippiResizeGetBufSize(from, to, 1, interpolation, &size);
    const Buffer buffer(ippsMalloc_8u(size + recipe.moreBuffer), ippsFree);
    if (!buffer)
        throw recipe.noBuffer;

    const auto run = [&](auto resize, auto* pixel) {
        using T = std::remove_pointer_t<decltype(pixel)>;
        resize(in.ptr<T>(), {in.cols, in.rows}, int(in.step[0]), from, out.ptr<T>(), int(out.step[0]), to,
               recipe.factor, recipe.factor, recipe.shift, recipe.shift, interpolation, buffer.get());
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

/// The resize of whole planes. A status of the primitive is not looked at: `out` then stays as it is.
void resizeWhole(const cv::Mat& in, cv::Mat& out, const Recipe& recipe, int interpolation)
{
    if (!resizeFast(in, out, recipe, interpolation))
        resizeByPrimitive(in, out, recipe, interpolation);
}

/// Fills the columns right of the input's image. Rows below it keep what the resize left in them.
void fillSurplus(cv::Mat& out, long long exactCols, long long exactRows)
{
    const auto surplus = [](long long n) { return int(std::clamp<long long>(n, 0, INT_MAX)); };
    extendBorder(out, 0, 0, surplus(out.cols - exactCols), surplus(out.rows - exactRows));
}

} // namespace

void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interpolation)
{
    if (!isReady(in, out2X))
        throw keepMessage(TPixmill::traceMsg("upSize2X", kTracedLine, "out2X is not allocated"));
    checkPlanes("upSize2X", in, "out2X", out2X);
    if (interpolation == kPyramidStep)
        pyramidUp(in, out2X);
    else
        resizeWhole(in, out2X,
                    {true, 2, 2.0, -0.5, 0, "ERROR - up2X - ippsMalloc_8u(pBufferSize)", "ERROR - up2X - type"},
                    interpolation);
    fillSurplus(out2X, 2LL * in.cols, 2LL * in.rows);
}

void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int factor, int interpolation)
{
    if (!isReady(in, outNX))
        throw "ERROR - upSizeNX - outNX is not allocated";
    checkPlanes("upSizeNX", in, "outNX", outNX);
    resizeWhole(in, outNX,
                {true, factor, double(factor), -1.0 / factor, 0, "ERROR - upNX - ippsMalloc_8u(pBufferSize)",
                 "ERROR - upNX - type"},
                interpolation);
    fillSurplus(outNX, (long long)factor * in.cols, (long long)factor * in.rows);
}

void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interpolation)
{
    if (!isReady(in, outHalf))
        throw "ERROR - downSize2X - outHalf must be allocated!";
    checkPlanes("downSize2X", in, "outHalf", outHalf);
    if (interpolation == kPyramidStep)
        pyramidDown(in, outHalf);
    else
        resizeWhole(in, outHalf,
                    {false, 2, 0.5, 0.25, 1024, "ERROR - down2X - ippsMalloc_8u(pBufferSize)", "ERROR - down2X - type"},
                    interpolation);
    fillSurplus(outHalf, in.cols / 2, in.rows / 2);
}

void downSizeNX(const cv::Mat& in, cv::Mat& out, int factor, int interpolation)
{
    if (!isReady(in, out))
        throw "downSizeNX - out is not allocated";
    checkPlanes("downSizeNX", in, "out", out);
    PIXMILL_CHECK(factor != 0, "downSizeNX", "factor", factor, "another number");
    resizeWhole(in, out,
                {false, factor, 1.0 / factor, 0.5 / factor, 1024, "ERROR - downSizeNX - ippsMalloc_8u(pBufferSize)",
                 "ERROR - downSizeNX - type"},
                interpolation);
    fillSurplus(out, (long long)in.cols / factor, (long long)in.rows / factor);
}
