#include <pixmill/filters/DomainTransform.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>

#include <opencv2/core.hpp>

#include <cmath>

using namespace pixmill::detail;

namespace {

void recurseRow(float* row, const float* weight, int width, int channels)
{
    for (int x = 1; x < width; ++x)
        for (int i = x * channels; i < (x + 1) * channels; ++i)
            row[i] = row[i] + (row[i - channels] - row[i]) * weight[x];
    for (int x = width - 2; x >= 0; --x)
        for (int i = x * channels; i < (x + 1) * channels; ++i)
            row[i] = row[i] + (row[i + channels] - row[i]) * weight[x + 1];
}

void recurseRows(cv::Mat& img, const cv::Mat& D, float sigma)
{
    CV_Assert(img.dims <= 2 && img.depth() == CV_32F && D.type() == CV_32FC1 && D.size() == img.size());
    cv::Mat weights = D * (-std::sqrt(2.0) / double(sigma));
    cv::exp(weights, weights);
    forEachRow(img.size(),
               [&](int y) { recurseRow(img.ptr<float>(y), weights.ptr<float>(y), img.cols, img.channels()); });
}

cv::Mat steps(const cv::Mat& sums, float ratio)
{
    cv::Mat steps(sums.size(), CV_32FC1);
    forEachRow(sums.size(), [&](int y) {
        for (int x = 0; x < sums.cols; ++x)
            steps.at<float>(y, x) = 1.0f + ratio * sums.at<float>(y, x);
    });
    return steps;
}

void recurse(cv::Mat& picture, const cv::Mat& dHdx, const cv::Mat& dVdyT, float sigmaS)
{
    const double r = std::sqrt(3.0) / std::sqrt(63.0);
    float sigma = sigmaS;
    cv::Mat transposed;
    for (int e = 2; e >= 0; --e) {
        sigma = float((1 << e) * r * double(sigma)); // each iteration goes on from the sigma before
        recurseRows(picture, dHdx, sigma);
        cv::transpose(picture, transposed);
        recurseRows(transposed, dVdyT, sigma);
        cv::transpose(transposed, picture);
    }
}

} // namespace

int DomainTransform::RFcompute(cv::Mat& img, cv::Mat& D, float sigma)
{
    if (!img.empty())
        recurseRows(img, D, sigma);
    return 1;
}

int DomainTransform::RFcompute(std::vector<cv::Mat>& img, cv::Mat& D, float sigma)
{
    for (cv::Mat& plane : img)
        RFcompute(plane, D, sigma);
    return 1;
}

int DomainTransform::RecursiveFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    CV_Assert(in.empty() || (in.dims <= 2 && in.depth() == CV_32F));
    const cv::Mat source = in.data != out.data && overlap(in, out) ? in.clone() : in;
    ensure(out, source.size(), source.type());
    if (out.empty())
        return 1;
    cv::Mat gaps, sums;
    diffx(source, gaps);
    channelSum(gaps, sums, gaps.channels());
    const cv::Mat dHdx = steps(sums, sigmaS / sigmaR);
    diffy(source, gaps);
    channelSum(gaps, sums, gaps.channels());
    const cv::Mat dVdyT = steps(sums, sigmaS / sigmaR).t();
    source.copyTo(out);
    recurse(out, dHdx, dVdyT, sigmaS);
    return 1;
}

int DomainTransform::RecursiveFilter(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out, float sigmaS,
                                     float sigmaR, const std::vector<cv::Mat>& joint)
{
    const std::vector<cv::Mat> planes = in, guide = joint; // `out` may be either
    for (const cv::Mat& plane : planes)
        CV_Assert(plane.dims <= 2 && plane.depth() == CV_32F && plane.size() == planes[0].size());
    CV_Assert(planes.empty() || !guide.empty());
    for (const cv::Mat& plane : guide)
        CV_Assert(planes.empty() || (plane.type() == CV_32FC1 && plane.size() == planes[0].size()));
    out.resize(planes.size());
    if (planes.empty() || planes[0].empty())
        return 1;

    std::vector<cv::Mat> gaps(guide.size());
    for (cv::Mat& plane : gaps)
        plane = cv::Mat::zeros(planes[0].size(), CV_32FC1); // the gaps that nobody looks at are flat
    cv::Mat sums;
    diffx(guide, gaps);
    channelSum(gaps, sums, int(gaps.size()));
    const cv::Mat dHdx = steps(sums, sigmaS / sigmaR);
    for (cv::Mat& plane : gaps)
        plane = 0.0f;
    diffy(guide, gaps);
    channelSum(gaps, sums, int(gaps.size()));
    const cv::Mat dVdyT = steps(sums, sigmaS / sigmaR).t();
    for (std::size_t i = 0; i < planes.size(); ++i) {
        out[i] = planes[i].clone();
        recurse(out[i], dHdx, dVdyT, sigmaS);
    }
    return 1;
}
