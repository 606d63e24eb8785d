#include <support/bench.h>

#include <pixmill/filters/BilateralFilter.h>

#include <opencv2/imgproc.hpp>

#include <vector>

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

/// The grid as the words put it: splat, six passes line by line, one trilinear read a pixel.
template <int S, int R>
void plain(benchmark::State& state)
{
    const cv::Mat in = input(state, CV_16UC1);
    cv::Mat out = in.clone();
    const int gx = (in.cols + S - 1) / S + 4, gy = (in.rows + S - 1) / S + 4, gz = 65535 / R + 5;
    std::vector<float> weights(std::size_t(gx) * gy * gz), values(weights.size());
    const auto at = [=](int x, int y, int z) { return (std::size_t(y) * gx + x) * gz + z; };
    const auto line = [](float* a, std::size_t stride, int n) {
        for (int round = 0; round < 2; ++round) {
            a[0] *= 1.1562202f;
            for (int i = 1; i < n; ++i)
                a[i * stride] += 0.13511288f * a[(i - 1) * stride];
            a[(n - 1) * stride] *= 1.1562202f;
            for (int i = n - 2; i >= 0; --i)
                a[i * stride] += 0.13511288f * a[(i + 1) * stride];
        }
        for (int i = 0; i < n; ++i)
            a[i * stride] *= 0.55954856f;
    };
    for (auto _ : state) {
        std::fill(weights.begin(), weights.end(), 1e-20f);
        std::fill(values.begin(), values.end(), 0.0f);
        cv::Mat zIdx, zf, zi, back;
        in.convertTo(zIdx, CV_8U, 1.0 / R, 2.0);
        for (int y = 0; y < in.rows; ++y)
            for (int x = 0; x < in.cols; ++x) {
                const std::size_t cell = at(x / S + 2, y / S + 2, zIdx.at<uchar>(y, x));
                values[cell] += float(in.at<ushort>(y, x));
                weights[cell] += 1.0f;
            }
        for (auto* grid : {&weights, &values}) {
            for (int y = 0; y < gy; ++y)
                for (int x = 0; x < gx; ++x)
                    line(&(*grid)[at(x, y, 0)], 1, gz);
            for (int y = 0; y < gy; ++y)
                for (int z = 0; z < gz; ++z)
                    line(&(*grid)[at(0, y, z)], gz, gx);
            for (int x = 0; x < gx; ++x)
                for (int z = 0; z < gz; ++z)
                    line(&(*grid)[at(x, 0, z)], std::size_t(gx) * gz, gy);
        }
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] /= weights[i];
        in.convertTo(zf, CV_32F, 1.0 / R, 1.5);
        zf.convertTo(zi, CV_8U);
        zi.convertTo(back, CV_32F);
        zf -= back;
        for (int y = 0; y < in.rows; ++y) {
            const float yf = float(y) / S + 1.5f, fy = yf - int(yf);
            for (int x = 0; x < in.cols; ++x) {
                const float xf = float(x) / S + 1.5f, fx = xf - int(xf), f = zf.at<float>(y, x);
                const float* p = &values[at(int(xf), int(yf), zi.at<uchar>(y, x))];
                const float *q = p + gz, *r = p + std::size_t(gx) * gz, *s = r + gz;
                const float c0 = p[0] + (p[1] - p[0]) * f, c1 = q[0] + (q[1] - q[0]) * f;
                const float c2 = r[0] + (r[1] - r[0]) * f, c3 = s[0] + (s[1] - s[0]) * f;
                const float top = c0 + (c1 - c0) * fx, bottom = c2 + (c3 - c2) * fx;
                out.at<ushort>(y, x) = cv::saturate_cast<ushort>(top + (bottom - top) * fy);
            }
        }
    }
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
