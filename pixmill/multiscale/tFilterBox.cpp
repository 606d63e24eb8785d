#include <pixmill/multiscale/tFilterBox.h>

#include <pixmill/core/TImage.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/core/detail/plane.h>
#include <pixmill/primitives/filter.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

using namespace pixmill::detail;

namespace {

bool refused(TProgress* progress)
{
    return progress && !progress->prog();
}

/// The box mean of `out`'s pixels from a plane that carries r more on every side of them; `from` is the first.
void boxMean(const cv::Mat& plane, cv::Point from, int r, cv::Mat out)
{
    if (out.empty())
        return;
    const IppiSize roi{out.cols, out.rows}, mask{2 * r + 1, 2 * r + 1};
    const int step = int(plane.step), outStep = int(out.step);
    if (out.depth() == CV_16U)
        ippiFilterBox_16u_C1R(plane.ptr<ushort>(from.y) + from.x, step, out.ptr<ushort>(), outStep, roi, mask, {r, r});
    else
        ippiFilterBox_8u_C1R(plane.ptr<uchar>(from.y) + from.x, step, out.ptr<uchar>(), outStep, roi, mask, {r, r});
}

/// The box mean of a plane mirrored at its edges. The inside is read where it stands; only strips along the edges, of
/// which a mean reaches outside, are copied with the mirrored pixels beside them.
void mirroredBoxMean(const cv::Mat& in, int r, cv::Mat& out)
{
    const int w = in.cols, h = in.rows;
    cv::Mat bordered;
    if (w <= 2 * r || h <= 2 * r) {
        cv::copyMakeBorder(in, bordered, r, r, r, r, cv::BORDER_REFLECT_101);
        boxMean(bordered, {r, r}, r, out);
        return;
    }
    boxMean(in, {r, r}, r, out(cv::Rect(r, r, w - 2 * r, h - 2 * r)));
    const int reach = 2 * r; // rows or columns that the means of r of them read inside the plane
    cv::copyMakeBorder(in.rowRange(0, reach), bordered, r, 0, r, r, cv::BORDER_REFLECT_101 | cv::BORDER_ISOLATED);
    boxMean(bordered, {r, r}, r, out.rowRange(0, r));
    cv::copyMakeBorder(in.rowRange(h - reach, h), bordered, 0, r, r, r, cv::BORDER_REFLECT_101 | cv::BORDER_ISOLATED);
    boxMean(bordered, {r, r}, r, out.rowRange(h - r, h));
    cv::copyMakeBorder(in.colRange(0, reach), bordered, 0, 0, r, 0, cv::BORDER_REFLECT_101 | cv::BORDER_ISOLATED);
    boxMean(bordered, {r, r}, r, out(cv::Rect(0, r, r, h - 2 * r)));
    cv::copyMakeBorder(in.colRange(w - reach, w), bordered, 0, 0, 0, r, cv::BORDER_REFLECT_101 | cv::BORDER_ISOLATED);
    boxMean(bordered, {r, r}, r, out(cv::Rect(w - r, r, r, h - 2 * r)));
}

} // namespace

bool tFilterBox(const TImage* in_p, TImage* out_p, int radius, int passes, TProgress* progress_p)
{
    if (in_p->type() != out_p->type())
        throw "tFilterBox - in_p->type() != out_p->type()";
    if (radius < 1 || passes < 1) {
        out_p->copyFrom(*in_p);
        return refused(progress_p);
    }
    cv::Mat current = in_p->toMat(0), target = out_p->toMat(0);
    if (current.type() != CV_16UC1 && current.type() != CV_8UC1)
        throw "tFilterBox - type not supported";
    CV_Assert(!current.empty());

    const int scale = int(float(radius) * 0.018518519f) + 1, r = radius / scale;
    const cv::Size full = current.size();
    const cv::Size small(std::max(1, full.width / scale), std::max(1, full.height / scale));
    if (scale > 1) {
        cv::Mat reduced;
        cv::resize(current, reduced, small, 0, 0, cv::INTER_LINEAR);
        current = reduced;
    }
    cv::Mat results[2]; // taken in turns
    for (int pass = 0; pass < passes; ++pass) {
        // Without a host to cancel it, the last pass may write where the result is wanted.
        const bool straight = !progress_p && pass == passes - 1 && scale == 1 && target.size() == small;
        cv::Mat& result = straight && !overlap(current, target) ? target : results[pass % 2];
        ensure(result, small, current.type());
        mirroredBoxMean(current, r, result);
        current = result;
        if (refused(progress_p))
            return true;
    }
    if (scale > 1) {
        cv::Mat enlarged;
        cv::resize(current, enlarged, full, 0, 0, cv::INTER_LINEAR);
        current = enlarged;
    }
    if (current.data != target.data)
        out_p->fromMat(current, 0);
    return refused(progress_p);
}
