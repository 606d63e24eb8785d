#include <pixmill/filters/DomainTransform.h>

#include <pixmill/core/console.h>
#include <pixmill/filters/detail/domain_gaps.h>
#include <pixmill/filters/detail/domain_planes.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <omp.h>

#include <cmath>
#include <ostream>

using namespace pixmill::rows;
using namespace pixmill::core;
using namespace pixmill::filters;

namespace {

constexpr const char* kSum = "DomainTransform::channelSum";

} // namespace

int DomainTransform::setup(float sigmaS, float sigmaR)
{
    m_sigmaS = sigmaS;
    m_sigmaR = sigmaR;
    const int processors = omp_get_num_procs();
    omp_set_num_threads(processors);
    omp_set_max_active_levels(omp_get_supported_active_levels());
    omp_set_dynamic(0);
    tell([=](std::ostream& out) { out << "system has " << processors << " cores"; });
    return 1;
}

int DomainTransform::proc(const cv::Mat& in, cv::Mat& out, int mode)
{
    if (mode == 0)
        return RecursiveFilter(in, out, m_sigmaS, m_sigmaR);
    if (mode == 1)
        return NormalizedConvolutionFilter(in, out, m_sigmaS, m_sigmaR);
    return 1;
}

int DomainTransform::proc(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out, int mode,
                          const std::vector<cv::Mat>& joint)
{
    return mode == 0 ? RecursiveFilter(in, out, m_sigmaS, m_sigmaR, joint) : 1;
}

int DomainTransform::diffx(const cv::Mat& in, cv::Mat& out)
{
    checkFloats(in, "DomainTransform::diffx");
    const cv::Mat source = unsharedOrSame(in, out);
    ensure(out, source.size(), source.type());
    const int c = source.channels(), n = gapColumns(source.cols) * c;
    forEachRow(source.size(), [&](int y) {
        const float* row = source.ptr<float>(y);
        float* gaps = out.ptr<float>(y);
        for (int i = 0; i < n; ++i)
            gaps[i] = row[i + c] - row[i];
    });
    return 1;
}

int DomainTransform::diffy(const cv::Mat& in, cv::Mat& out)
{
    checkFloats(in, "DomainTransform::diffy");
    const cv::Mat source = unshared(in, out); // a row is still read after the one above is written
    ensure(out, source.size(), source.type());
    const int n = gapColumns(source.cols) * source.channels();
    forEachRow({source.cols, source.rows - 1}, [&](int y) {
        const float *row = source.ptr<float>(y), *below = source.ptr<float>(y + 1);
        float* gaps = out.ptr<float>(y);
        for (int i = 0; i < n; ++i)
            gaps[i] = below[i] - row[i];
    });
    return 1;
}

int DomainTransform::diffx(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out)
{
    out.resize(in.size());
    for (std::size_t i = 0; i < in.size(); ++i)
        diffx(in[i], out[i]);
    return 1;
}

int DomainTransform::diffy(const std::vector<cv::Mat>& in, std::vector<cv::Mat>& out)
{
    out.resize(in.size());
    for (std::size_t i = 0; i < in.size(); ++i)
        diffy(in[i], out[i]);
    return 1;
}

int DomainTransform::channelSum(const cv::Mat& in, cv::Mat& out, int)
{
    checkFloats(in, kSum);
    const cv::Mat source = unsharedOrSame(in, out);
    ensure(out, source.size(), CV_32FC1);
    out = 0.0f;
    const int n = gapColumns(source.cols), c = source.channels();
    forEachRow({source.cols, source.rows - 1}, [&](int y) {
        const float* row = source.ptr<float>(y);
        float* sum = out.ptr<float>(y);
        for (int x = 0; x < n; ++x)
            for (int k = 0; k < c; ++k)
                sum[x] += std::fabs(row[x * c + k]);
    });
    return 1;
}

int DomainTransform::channelSum(const std::vector<cv::Mat>& in, cv::Mat& out, int)
{
    if (in.empty())
        return 1;
    for (const cv::Mat& plane : in)
        checkPlane(plane, kSum, "in");
    ensure(out, in[0].size(), CV_32FC1);
    out = 0.0f;
    for (const cv::Mat& plane : in)
        out += cv::abs(plane);
    return 1;
}
