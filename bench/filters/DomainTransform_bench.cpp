#include <pixmill/filters/DomainTransform.h>
#include <reference/domain_transform.h>
#include <support/bench.h>

#include <opencv2/core.hpp>
#ifdef PIXMILL_HAVE_XIMGPROC
#include <opencv2/ximgproc/edge_filter.hpp>
#endif

#include <vector>

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

template <int C>
void recursive(benchmark::State& state)
{
    measure<C>(state,
               [](const cv::Mat& in, cv::Mat& out) { DomainTransform().RecursiveFilter(in, out, kSigmaS, kSigmaR); });
}

template <int C>
void recursivePlain(benchmark::State& state)
{
    measure<C>(state, [](const cv::Mat& in, cv::Mat& out) {
        out = pixmill::reference::domainRecursive(in, kSigmaS, kSigmaR);
    });
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
