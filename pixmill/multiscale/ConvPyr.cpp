#include <pixmill/core/detail/plane.h>
#include <pixmill/multiscale/ConvPyr.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

namespace {

using namespace pixmill::detail;

void filter(const cv::Mat& in, cv::Mat& out, const cv::Mat& kernel)
{
    constexpr int kZeroOutside = cv::BORDER_CONSTANT | cv::BORDER_ISOLATED; // also around a view
    cv::sepFilter2D(in, out, CV_32F, kernel, kernel, cv::Point(-1, -1), 0, kZeroOutside);
}

/// floor(log2) of the longer side. Sizes are halved upward, so the coarsest level may have two pixels left.
int stepsDown(cv::Size size)
{
    int steps = 0;
    for (int n = std::max(size.width, size.height) >> 1; n != 0; n >>= 1)
        ++steps;
    return steps;
}

} // namespace

ConvPyr::ConvPyr(const cv::Mat& h1, const cv::Mat& h2, const cv::Mat& g) : m_h1(h1), m_h2(h2), m_g(g)
{
}

bool ConvPyr::proc(const cv::Mat& in, cv::Mat& out)
{
    const int depth = stepsDown(in.size());
    std::vector<cv::Mat> analysis(depth + 1), synthesis(depth + 1);
    analysis[0] = in;
    for (int i = 1; i <= depth; ++i)
        pyrDown(analysis[i - 1], analysis[i]);
    filter(analysis[depth], synthesis[depth], m_g);
    for (int i = depth; i >= 1; --i)
        pyrUp(synthesis[i], analysis[i - 1], synthesis[i - 1]);

    ensure(out, synthesis[0].size(), CV_32FC1);
    synthesis[0].copyTo(out);
    return true;
}

bool ConvPyr::pyrDown(const cv::Mat& in, cv::Mat& out)
{
    CV_Assert(in.dims <= 2 && in.channels() == 1);
    cv::Mat smooth;
    filter(in, smooth, m_h1);

    ensure(out, halfSize(in.size()), CV_32FC1);
    for (int y = 0; y < out.rows; ++y) {
        const float* from = smooth.ptr<float>(2 * y);
        float* to = out.ptr<float>(y);
        for (int x = 0; x < out.cols; ++x)
            to[x] = from[2 * x];
    }
    ++m_level;
    return true;
}

bool ConvPyr::pyrUp(const cv::Mat& coarse, const cv::Mat& fine, cv::Mat& out)
{
    CV_Assert(fine.dims <= 2 && fine.channels() == 1);
    const cv::Size most = halfSize(fine.size());
    CV_Assert(coarse.dims <= 2 && coarse.type() == CV_32FC1 && coarse.cols <= most.width && coarse.rows <= most.height);

    cv::Mat up = cv::Mat::zeros(fine.size(), CV_32FC1);
    for (int y = 0; y < coarse.rows; ++y) {
        const float* from = coarse.ptr<float>(y);
        float* to = up.ptr<float>(2 * y);
        for (int x = 0; x < coarse.cols; ++x)
            to[2 * x] = from[x];
    }
    filter(up, up, m_h2);

    ensure(out, fine.size(), CV_32FC1);
    filter(fine, out, m_g);
    cv::add(out, up, out);
    --m_level;
    return true;
}
