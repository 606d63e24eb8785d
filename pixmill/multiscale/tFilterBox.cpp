#include <pixmill/multiscale/tFilterBox.h>

#include <pixmill/core/TImage.h>
#include <pixmill/core/TProgress.h>
#include <pixmill/primitives/filter.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace {

bool refused(TProgress* progress)
{
    return progress && !progress->prog();
}

/// The box mean of the inside of a plane that carries r pixels of border.
cv::Mat boxMean(const cv::Mat& bordered, cv::Size size, int r)
{
    cv::Mat out(size, bordered.type());
    const IppiSize roi{size.width, size.height}, mask{2 * r + 1, 2 * r + 1};
    const int from = int(bordered.step), to = int(out.step);
    if (out.depth() == CV_16U)
        ippiFilterBox_16u_C1R(bordered.ptr<ushort>(r) + r, from, out.ptr<ushort>(), to, roi, mask, {r, r});
    else
        ippiFilterBox_8u_C1R(bordered.ptr<uchar>(r) + r, from, out.ptr<uchar>(), to, roi, mask, {r, r});
    return out;
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
    cv::Mat current = in_p->toMat(0);
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
    cv::Mat bordered;
    for (int pass = 0; pass < passes; ++pass) {
        cv::copyMakeBorder(current, bordered, r, r, r, r, cv::BORDER_REFLECT_101);
        current = boxMean(bordered, small, r);
        if (refused(progress_p))
            return true;
    }
    if (scale > 1) {
        cv::Mat enlarged;
        cv::resize(current, enlarged, full, 0, 0, cv::INTER_LINEAR);
        current = enlarged;
    }
    out_p->fromMat(current, 0);
    return refused(progress_p);
}
