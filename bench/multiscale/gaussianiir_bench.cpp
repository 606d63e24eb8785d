#include <pixmill/core/TImage.h>
#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/multiscale/tFilterBox.h>
#include <reference/gaussian_iir.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

using namespace pixmill;

namespace {

cv::Mat input(const benchmark::State& state)
{
    return bench::plane(int(state.range(0)), int(state.range(1)), CV_32FC1, 0, 1);
}

void done(benchmark::State& state, double bytes)
{
    const double pixels = double(state.range(0)) * double(state.range(1));
    bench::report(state, pixels, pixels * bytes);
}

template <int sigma>
void gaussianiir2d_any(benchmark::State& state)
{
    const cv::Mat in = input(state);
    cv::Mat out = in.clone();
    for (auto _ : state)
        gaussianiir2d(out, float(sigma), 2);
    done(state, 8);
}

void plainGauss(benchmark::State& state)
{
    cv::Mat m = input(state);
    for (auto _ : state)
        reference::gaussianPlane(m, 8.0f, 2);
    done(state, 8);
}

void threeBlurs(benchmark::State& state)
{
    const cv::Mat in = input(state);
    cv::Mat a, b;
    for (auto _ : state) {
        cv::blur(in, a, {15, 15});
        cv::blur(a, b, {15, 15});
        cv::blur(b, a, {15, 15});
    }
    done(state, 8);
}

void gaussianBlur(benchmark::State& state)
{
    const cv::Mat in = input(state);
    cv::Mat out;
    for (auto _ : state)
        cv::GaussianBlur(in, out, {0, 0}, 8);
    done(state, 8);
}

template <int radius>
void tFilterBox_16u(benchmark::State& state)
{
    const TSize size{int(state.range(0)), int(state.range(1))};
    TImage in(TImage::IMTYPE(0), size), out(TImage::IMTYPE(0), size);
    in.fromMat(bench::scene(size.width, size.height, CV_16UC1, 0, 65536), 0);
    for (auto _ : state)
        tFilterBox(&in, &out, radius, 1, nullptr);
    done(state, 4);
}

template <int radius>
void blur16(benchmark::State& state)
{
    const cv::Mat in = bench::scene(int(state.range(0)), int(state.range(1)), CV_16UC1, 0, 65536);
    cv::Mat out;
    for (auto _ : state)
        cv::blur(in, out, {2 * radius + 1, 2 * radius + 1});
    done(state, 4);
}

} // namespace

BENCHMARK_TEMPLATE(gaussianiir2d_any, 8)->Name("gaussianiir2d_sigma8")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(gaussianiir2d_any, 80)->Name("gaussianiir2d_sigma80")->Apply(bench::sizes);
BENCHMARK(plainGauss)->Name("gaussianiir2d_sigma8:plain")->Apply(bench::sizes);
BENCHMARK(threeBlurs)->Name("gaussianiir2d_sigma8:three_cv_blur")->Apply(bench::sizes);
BENCHMARK(gaussianBlur)->Name("gaussianiir2d_sigma8:cv_GaussianBlur")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(tFilterBox_16u, 9)->Name("tFilterBox_r9")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(blur16, 9)->Name("tFilterBox_r9:cv_blur")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(tFilterBox_16u, 27)->Name("tFilterBox_r27")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(blur16, 27)->Name("tFilterBox_r27:cv_blur")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(tFilterBox_16u, 200)->Name("tFilterBox_r200")->Apply(bench::sizes);
BENCHMARK_TEMPLATE(blur16, 200)->Name("tFilterBox_r200:cv_blur")->Apply(bench::sizes);
