#include <pixmill/filters/BilateralFilter.h>
#include <reference/bilateral_grid.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

using namespace pixmill;

namespace {

cv::Mat input(const benchmark::State& state, int type)
{
    return bench::scene(int(state.range(0)), int(state.range(1)), type, 0, type == CV_8UC1 ? 256 : 65536);
}

void done(benchmark::State& state, double bytes)
{
    const double pixels = double(state.range(0)) * double(state.range(1));
    bench::report(state, pixels, pixels * bytes);
}

template <int type, int sampleS, int sampleR>
void filter(benchmark::State& state)
{
    const cv::Mat in = input(state, type);
    cv::Mat out = in.clone();
    BilateralFilter bilateral;
    for (auto _ : state)
        bilateral.proc(in, out, sampleS, sampleR, nullptr);
    done(state, 2 * in.elemSize());
}

template <int sampleS, int sampleR>
void plain(benchmark::State& state)
{
    const cv::Mat in = input(state, CV_16UC1);
    for (auto _ : state)
        benchmark::DoNotOptimize(reference::BilateralGrid(in, sampleS, sampleR).filter(in, in).data);
    done(state, 4);
}

void cvBilateral(benchmark::State& state)
{
    const cv::Mat in = input(state, CV_8UC1);
    cv::Mat out;
    for (auto _ : state)
        cv::bilateralFilter(in, out, 9, 12, 8);
    done(state, 2);
}

} // namespace

BENCHMARK_TEMPLATE(filter, CV_16UC1, 8, 3072)->Name("BilateralFilter_16u_8_3072")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(plain, 8, 3072)->Name("BilateralFilter_16u_8_3072:plain")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(filter, CV_16UC1, 16, 4096)->Name("BilateralFilter_16u_16_4096")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(plain, 16, 4096)->Name("BilateralFilter_16u_16_4096:plain")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(filter, CV_8UC1, 8, 12)->Name("BilateralFilter_8u_8_12")->Apply(bench::sizes);
BENCHMARK(cvBilateral)->Name("BilateralFilter_8u_8_12:cv_bilateralFilter")->Apply(bench::sizes);
