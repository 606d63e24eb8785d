#include <pixmill/multiscale/tFilterBox.h>

#include <pixmill/core/TImage.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/multiscale/detail/stretch.h>
#include <pixmill/rows/box_integer.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/scratch.h>

#include <opencv2/core.hpp>

#include <algorithm>

using namespace pixmill::rows;
using namespace pixmill::multiscale;

namespace {

constexpr int kMostPasses = 65536;

bool refused(TProgress* progress)
{
    return progress && !progress->prog();
}

/// The box mean of a plane mirrored at its edges; `out` is another plane of its size.
template <class T>
void mirroredBoxMean(const cv::Mat& in, int r, cv::Mat& out)
{
    const cv::Size mask{2 * r + 1, 2 * r + 1};
    TeamScratch<uchar> scratch(boxScratch<T>(in.cols, mask));
    const auto row = [&in, r](int y) { return in.ptr<T>(mirrored(y - r, in.rows)); };
    forEachSpan(in.rows, long(in.total()), [&](int first, int end) {
        boxSpan(row, r, out.ptr<T>(), int(out.step), in.cols, mask, first, end, scratch.mine());
    });
}

void boxMean(const cv::Mat& in, int r, cv::Mat& out)
{
    ensure(out, in.size(), in.type());
    if (in.depth() == CV_16U)
        mirroredBoxMean<ushort>(in, r, out);
    else
        mirroredBoxMean<uchar>(in, r, out);
}

/// Stretches `in` to the size of `out`, which is another plane of its type.
void stretchTo(const cv::Mat& in, cv::Mat& out)
{
    if (in.depth() == CV_16U)
        stretch<ushort>(in, out);
    else
        stretch<uchar>(in, out);
}

/// Large radii filter a smaller picture.
cv::Mat stretched(const cv::Mat& in, cv::Size size)
{
    if (in.size() == size)
        return in;
    cv::Mat out(size, in.type());
    stretchTo(in, out);
    return out;
}

/// Replaces `picture` by its mean of means; false where the host cancels. The last pass writes straight to `target`
/// where that is of the picture's size and not read.
bool repeatMean(cv::Mat& picture, int r, int passes, cv::Mat target, TProgress* progress)
{
    cv::Mat results[2]; // taken in turns
    for (int pass = 0; pass < passes; ++pass) {
        const bool straight = pass == passes - 1 && target.size() == picture.size() && !overlap(picture, target);
        cv::Mat& result = straight ? target : results[pass % 2];
        boxMean(picture, r, result);
        picture = result;
        if (refused(progress))
            return false;
    }
    return true;
}

} // namespace

bool tFilterBox(const TImage* in_p, TImage* out_p, int radius, int passes, TProgress* progress_p)
{
    constexpr const char* kCall = "tFilterBox";
    PIXMILL_CHECK(in_p, kCall, "in_p", describe(in_p), "an image");
    PIXMILL_CHECK(out_p, kCall, "out_p", describe(out_p), "an image");
    if (in_p->type() != out_p->type())
        throw "tFilterBox - in_p->type() != out_p->type()";
    if (radius < 1 || passes < 1) {
        out_p->copyFrom(*in_p);
        return refused(progress_p);
    }
    cv::Mat current = in_p->toMat(0), target = out_p->toMat(0);
    if (current.type() != CV_16UC1 && current.type() != CV_8UC1)
        throw "tFilterBox - type not supported";
    checkPixels(current, kCall, "in_p");
    PIXMILL_CHECK(passes <= kMostPasses, kCall, "passes", passes, "65536 or less");

    const int scale = int(float(radius) * 0.018518519f) + 1;
    const cv::Size full = current.size();
    current = stretched(current, {std::max(1, full.width / scale), std::max(1, full.height / scale)});
    const bool canWrite = !progress_p && scale == 1; // a host may cancel even the last pass
    if (!repeatMean(current, radius / scale, passes, canWrite ? target : cv::Mat(), progress_p))
        return true;
    if (current.size() != full && target.size() == full)
        stretchTo(current, target);
    else if (current.data != target.data)
        out_p->fromMat(stretched(current, full), 0);
    return refused(progress_p);
}
