#include <support/bench.h>

#include <pixmill/filters/DomainTransform.h>

#include <opencv2/core.hpp>
#ifdef PIXMILL_HAVE_XIMGPROC
#include <opencv2/ximgproc/edge_filter.hpp>
#endif

#include <cmath>

using namespace pixmill::bench;

namespace {

constexpr float kSigmaS = 16.0f, kSigmaR = 4259.71f;

template <int C>
cv::Mat picture(const benchmark::State& state)
{
    std::vector<cv::Mat> planes;
    for (int c = 0; c < C; ++c)
        planes.push_back(scene(int(state.range(0)), int(state.range(1)), CV_32FC1, 0, 65536, 1 + c));
    cv::Mat merged;
    cv::merge(planes, merged);
    return merged;
}

template <int C, class Operation>
void measure(benchmark::State& state, const Operation& operation)
{
    const cv::Mat in = picture<C>(state);
    cv::Mat out = in.clone();
    for (auto _ : state)
        operation(in, out);
    report(state, double(in.total()), 2.0 * double(in.total()) * C * sizeof(float));
}

void plainSums(const cv::Mat& gaps, cv::Mat& steps)
{
    const int c = gaps.channels();
    for (int y = 0; y < gaps.rows; ++y)
        for (int x = 0; x < gaps.cols; ++x) {
            float sum = 0.0f;
            for (int i = 0; i < c && y < gaps.rows - 1 && x < gaps.cols - 2; ++i)
                sum += std::fabs(gaps.ptr<float>(y)[x * c + i]);
            steps.at<float>(y, x) = 1.0f + kSigmaS / kSigmaR * sum;
        }
}

void plainPass(cv::Mat& img, const cv::Mat& steps, float sigma)
{
    cv::Mat weights;
    cv::exp(steps * (-std::sqrt(2.0) / sigma), weights);
    const int c = img.channels();
    for (int y = 0; y < img.rows; ++y) {
        float* p = img.ptr<float>(y);
        const float* w = weights.ptr<float>(y);
        for (int x = 1; x < img.cols; ++x)
            for (int i = x * c; i < (x + 1) * c; ++i)
                p[i] += (p[i - c] - p[i]) * w[x];
        for (int x = img.cols - 2; x >= 0; --x)
            for (int i = x * c; i < (x + 1) * c; ++i)
                p[i] += (p[i + c] - p[i]) * w[x + 1];
    }
}

/// The filter step by step over whole planes.
void plainRecursive(const cv::Mat& in, cv::Mat& out)
{
    DomainTransform filter;
    cv::Mat gaps, across(in.size(), CV_32FC1), down(in.size(), CV_32FC1), turned;
    filter.diffx(in, gaps);
    plainSums(gaps, across);
    filter.diffy(in, gaps);
    plainSums(gaps, down);
    down = down.t();
    in.copyTo(out);
    float sigma = kSigmaS;
    for (const float power : {4.0f, 2.0f, 1.0f}) {
        sigma *= power * 0.2182179f;
        plainPass(out, across, sigma);
        cv::transpose(out, turned);
        plainPass(turned, down, sigma);
        cv::transpose(turned, out);
    }
}

template <int C>
void recursive(benchmark::State& state)
{
    measure<C>(state,
               [](const cv::Mat& in, cv::Mat& out) { DomainTransform().RecursiveFilter(in, out, kSigmaS, kSigmaR); });
}

template <int C>
void recursivePlain(benchmark::State& state)
{
    measure<C>(state, plainRecursive);
}

#ifdef PIXMILL_HAVE_XIMGPROC
template <int C>
void recursivePeer(benchmark::State& state)
{
    measure<C>(state, [](const cv::Mat& in, cv::Mat& out) {
        cv::ximgproc::dtFilter(in, in, out, kSigmaS, kSigmaR, cv::ximgproc::DTF_RF, 3);
    });
}
#endif

void convolution(benchmark::State& state)
{
    const cv::Mat in = pixmill::bench::plane(int(state.range(0)), int(state.range(1)), CV_32FC3, 0, 1);
    cv::Mat out = in.clone();
    DomainTransform filter;
    for (auto _ : state)
        filter.NormalizedConvolutionFilter(in, out, 20, 0.3f);
    pixmill::bench::report(state, double(in.total()), double(in.total()) * 24);
}

#ifdef PIXMILL_HAVE_XIMGPROC
void convolutionPeer(benchmark::State& state)
{
    const cv::Mat in = pixmill::bench::plane(int(state.range(0)), int(state.range(1)), CV_32FC3, 0, 1);
    cv::Mat out = in.clone();
    for (auto _ : state)
        cv::ximgproc::dtFilter(in, in, out, 20, 0.3, cv::ximgproc::DTF_NC, 3);
    pixmill::bench::report(state, double(in.total()), double(in.total()) * 24);
}
#endif

} // namespace

#ifdef PIXMILL_HAVE_XIMGPROC
#define DOMAIN_TRANSFORM_ROWS(C)                                                                                       \
    BENCHMARK(recursive<C>)->Name("DomainTransform_recursive" #C "C")->Apply(sizes);                                   \
    BENCHMARK(recursivePeer<C>)->Name("DomainTransform_recursive" #C "C:ximgproc")->Apply(sizes);                      \
    BENCHMARK(recursivePlain<C>)->Name("DomainTransform_recursive" #C "C:plain")->Apply(sizes)
#else
#define DOMAIN_TRANSFORM_ROWS(C)                                                                                       \
    BENCHMARK(recursive<C>)->Name("DomainTransform_recursive" #C "C")->Apply(sizes);                                   \
    BENCHMARK(recursivePlain<C>)->Name("DomainTransform_recursive" #C "C:plain")->Apply(sizes)
#endif

DOMAIN_TRANSFORM_ROWS(1);
DOMAIN_TRANSFORM_ROWS(2);
DOMAIN_TRANSFORM_ROWS(3);

BENCHMARK(convolution)->Name("DomainTransform_convolution3C")->Apply(sizes);
#ifdef PIXMILL_HAVE_XIMGPROC
BENCHMARK(convolutionPeer)->Name("DomainTransform_convolution3C:ximgproc")->Apply(sizes);
#endif
