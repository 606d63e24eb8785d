#include <pixmill/multiscale/LocalLaplacian.h>
#include <reference/local_laplacian.h>
#include <support/bench.h>

using namespace pixmill;

namespace {

constexpr int kLevels = 5;

void sizes(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h"})->Args({1024, 1024})->Args({4896, 3264})->Unit(benchmark::kMillisecond)->UseRealTime();
}

cv::Mat input(const benchmark::State& state)
{
    return bench::scene(int(state.range(0)), int(state.range(1)), CV_16UC1, 0, 65536);
}

void done(benchmark::State& state)
{
    const double pixels = double(state.range(0)) * double(state.range(1));
    bench::report(state, pixels, pixels * 4);
}

template <void (LocalLaplacian::*proc)(const cv::Mat&, cv::Mat&, float, float, int)>
void filter(benchmark::State& state)
{
    const cv::Mat in = input(state);
    cv::Mat out = in.clone();
    LocalLaplacian laplacian;
    for (auto _ : state)
        (laplacian.*proc)(in, out, -0.15f, 0.3f, kLevels);
    done(state);
}

template <int K>
void plain(benchmark::State& state)
{
    const cv::Mat in = input(state);
    const float step = K == 24 ? 2730.0f : K == 16 ? 4095.0f : 6553.0f;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            reference::localLaplacian(in, reference::remapTable(-0.15f, 0.3f), {K, step, 1 / step}, kLevels).data);
    done(state);
}

} // namespace

BENCHMARK_TEMPLATE(filter, &LocalLaplacian::proc24K)->Name("LocalLaplacian_24")->Apply(sizes);
BENCHMARK_TEMPLATE(plain, 24)->Name("LocalLaplacian_24:plain")->Apply(sizes);
BENCHMARK_TEMPLATE(filter, &LocalLaplacian::proc16K)->Name("LocalLaplacian_16")->Apply(sizes);
BENCHMARK_TEMPLATE(plain, 16)->Name("LocalLaplacian_16:plain")->Apply(sizes);
BENCHMARK_TEMPLATE(filter, &LocalLaplacian::proc10K)->Name("LocalLaplacian_10")->Apply(sizes);
BENCHMARK_TEMPLATE(plain, 10)->Name("LocalLaplacian_10:plain")->Apply(sizes);
