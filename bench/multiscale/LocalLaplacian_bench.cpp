#include <support/bench.h>

#include <pixmill/multiscale/LocalLaplacian.h>

#include <opencv2/imgproc.hpp>

#include <vector>

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

/// All channels through the pyramid calls at once, every level as a whole.
template <int K>
void plain(benchmark::State& state)
{
    using Pixel = cv::Vec<ushort, K>;
    const cv::Mat in = input(state);
    LocalLaplacian laplacian;
    laplacian.m_sigma = -0.15f;
    const float step = K == 24 ? 2730.0f : K == 16 ? 4095.0f : 6553.0f;
    for (auto _ : state) {
        laplacian.calRemapLut();
        std::vector<cv::Mat> G(kLevels), R(kLevels);
        G[0] = in;
        for (int i = 1; i < kLevels; ++i)
            cv::pyrDown(G[i - 1], G[i], cv::Size(), 4);
        R[0].create(in.size(), CV_16UC(K));
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const int v = in.at<ushort>(y, x);
                Pixel& p = R[0].at<Pixel>(y, x);
                for (int k = 0; k < K; ++k) {
                    const auto idx = cv::saturate_cast<ushort>(((float)v - (float)k * step) * 0.5f + 32768.0f);
                    p[k] = cv::saturate_cast<ushort>(v + 2 * laplacian.m_remap_p[idx] - 65536);
                }
            }
        cv::Mat tmp, T;
        for (int i = 1; i < kLevels; ++i) {
            cv::pyrDown(R[i - 1], R[i], cv::Size(), 4);
            cv::pyrUp(R[i], tmp, R[i - 1].size(), 4);
            cv::addWeighted(R[i - 1], 1.0, tmp, -1.0, 32767.0, R[i - 1], -1);
        }
        for (int l = kLevels - 1; l >= 0; --l) {
            cv::Mat cur = G[l].clone();
            for (int y = 0; y < cur.rows; ++y)
                for (int x = 0; x < cur.cols; ++x) {
                    const float p = (float)cur.at<ushort>(y, x) * (1 / step);
                    const int i = LocalLaplacian::clamp((int)p, 0, K - 2);
                    const float f = p - (float)i;
                    const Pixel& r = R[l].at<Pixel>(y, x);
                    cur.at<ushort>(y, x) = (ushort)(int)((float)r[i + 1] * f + (float)r[i] * (1.0f - f));
                }
            if (T.empty()) {
                T = cur;
            } else {
                cv::pyrUp(T, tmp, cur.size(), 4);
                cv::addWeighted(cur, 1.0, tmp, 1.0, -32767.0, T, -1);
            }
        }
        benchmark::DoNotOptimize(T.data);
    }
    done(state);
}

} // namespace

BENCHMARK_TEMPLATE(filter, &LocalLaplacian::proc24K)->Name("LocalLaplacian_24")->Apply(sizes);
BENCHMARK_TEMPLATE(plain, 24)->Name("LocalLaplacian_24:plain")->Apply(sizes);
BENCHMARK_TEMPLATE(filter, &LocalLaplacian::proc16K)->Name("LocalLaplacian_16")->Apply(sizes);
BENCHMARK_TEMPLATE(plain, 16)->Name("LocalLaplacian_16:plain")->Apply(sizes);
BENCHMARK_TEMPLATE(filter, &LocalLaplacian::proc10K)->Name("LocalLaplacian_10")->Apply(sizes);
BENCHMARK_TEMPLATE(plain, 10)->Name("LocalLaplacian_10:plain")->Apply(sizes);
