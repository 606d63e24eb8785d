#include <pixmill/filters/DomainTransform.h>

#include <pixmill/filters/detail/domain_planes.h>
#include <pixmill/filters/detail/domain_recursion.h>
#include <pixmill/filters/recursive_filter.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <memory>

using namespace pixmill::rows;
using namespace pixmill::filters;

namespace {

constexpr const char* kCall = "DomainTransform::RecursiveFilter";

/// The factor k with exp(step * k) = exp(-sqrt(2) / sigma)^step, as float: the precision that planes are scaled in.
float exponent(float sigma)
{
    return roundedToFloat(-std::sqrt(2.0) / double(sigma));
}

/// Filters pictures of one size into `out` (of the same sizes and types; may be the same pixels), with the steps of the
/// guides.
void recurse(const std::vector<cv::Mat>& in, const std::vector<cv::Mat>& out, const std::vector<cv::Mat>& guides,
             float sigmaS, float sigmaR, bool lastRow, DomainRoom& room)
{
    const double r = std::sqrt(3.0) / std::sqrt(63.0);
    float k[3], sigma = sigmaS;
    for (int i = 0; i < 3; ++i) {
        sigma = roundedToFloat((4 >> i) * r * double(sigma)); // goes on from the iteration before
        k[i] = exponent(sigma);
    }

    DomainSteps steps(guides, sigmaS / sigmaR, lastRow, overlap(guides[0], out[0]), room);
    DomainRecursion recursion(out);
    recursion.firstRows(in, steps, k[0]);
    recursion.columns(steps, k[0]);
    for (int i = 1; i < 3; ++i) {
        recursion.rows(steps, k[i]);
        recursion.columns(steps, k[i]);
    }
}

void checkPlanes(const std::vector<cv::Mat>& planes, cv::Size size, const char* call, const char* argument)
{
    for (const cv::Mat& plane : planes) {
        checkPlane(plane, call, argument);
        PIXMILL_CHECK(plane.size() == size, call, argument, describe(plane), "planes of one size");
        checkFloats(plane, call, argument);
    }
}

} // namespace

int DomainTransform::RFcompute(cv::Mat& img, cv::Mat& D, float sigma)
{
    std::vector<cv::Mat> one{img};
    return RFcompute(one, D, sigma);
}

int DomainTransform::RFcompute(std::vector<cv::Mat>& img, cv::Mat& D, float sigma)
{
    constexpr const char* kPass = "DomainTransform::RFcompute";
    checkPlane(D, kPass, "D");
    checkPlanes(img, D.size(), kPass, "img");
    PIXMILL_CHECK(D.empty() || D.type() == CV_32FC1, kPass, "D", describe(D), "CV_32FC1");
    if (img.empty() || D.empty())
        return 1;
    DomainRecursion recursion(img);
    recursion.rows(D, exponent(sigma));
    return 1;
}

int DomainTransform::RecursiveFilter(const cv::Mat& in, cv::Mat& out, float sigmaS, float sigmaR)
{
    checkFloats(in, kCall);
    const cv::Mat source = unsharedOrSame(in, out);
    ensure(out, source.size(), source.type());
    DomainRoom room;
    if (!out.empty())
        recurse({source}, {out}, {source}, sigmaS, sigmaR, false, room);
    return 1;
}

int DomainTransform::RecursiveFilter(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out, float sigmaS,
                                     float sigmaR, const std::vector<cv::Mat>& joint)
{
    const std::vector<cv::Mat> planes = in, guides = joint; // `out` may be either
    if (!planes.empty()) {
        checkPlanes(planes, planes[0].size(), kCall, "in");
        checkPlanes(guides, planes[0].size(), kCall, "joint");
        PIXMILL_CHECK(!guides.empty(), kCall, "joint", guides.size(), "a guide at least");
    }
    out.resize(planes.size());
    for (std::size_t i = 0; i < planes.size(); ++i)
        out[i] = cv::Mat(planes[i].size(), planes[i].type());
    DomainRoom room;
    if (!planes.empty() && !planes[0].empty())
        recurse(planes, out, guides, sigmaS, sigmaR, true, room);
    return 1;
}

RecursiveFilter::RecursiveFilter() : m_room(std::make_unique<DomainRoom>())
{
}

RecursiveFilter::~RecursiveFilter() = default;

void RecursiveFilter::run(const cv::Mat& picture, float sigmaS, float sigmaR)
{
    recurse({picture}, {picture}, {picture}, sigmaS, sigmaR, false, *m_room);
}
