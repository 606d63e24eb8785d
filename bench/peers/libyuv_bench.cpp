#include <support/bench.h>

#include <libyuv.h>
#include <opencv2/imgproc.hpp>

using namespace pixmill::bench;

/// Rows of libyuv, on one thread whatever is asked. Its colours have 8 bits where ours have 16.
namespace {

/// Every sample lies a quarter or three quarters of the way between two, where of ours every other one is a copy.
void doubling16(benchmark::State& state)
{
    cv::Mat out(int(state.range(1)), int(state.range(0)), CV_16UC1, cv::Scalar(0));
    const cv::Mat in = scene(out.cols / 2, out.rows / 2, CV_16UC1, 0, 65536);
    for (auto _ : state) {
        libyuv::ScalePlane_16(in.ptr<ushort>(), int(in.step1()), in.cols, in.rows, out.ptr<ushort>(), int(out.step1()),
                              out.cols, out.rows, libyuv::kFilterBilinear);
        benchmark::ClobberMemory();
    }
    report(state, double(out.total()), double(in.total() + out.total()) * 2);
}

void doubling8(benchmark::State& state)
{
    cv::Mat out(int(state.range(1)), int(state.range(0)), CV_8UC1, cv::Scalar(0));
    const cv::Mat in = scene(out.cols / 2, out.rows / 2, CV_8UC1, 0, 256);
    for (auto _ : state) {
        libyuv::ScalePlane(in.data, int(in.step), in.cols, in.rows, out.data, int(out.step), out.cols, out.rows,
                           libyuv::kFilterBilinear);
        benchmark::ClobberMemory();
    }
    report(state, double(out.total()), double(in.total() + out.total()));
}

/// 8-bit planes of BT.601 in full range, and packed pixels.
struct Picture {
    cv::Mat y, u, v, pixels;

    explicit Picture(const benchmark::State& state)
    {
        const int w = int(state.range(0)), h = int(state.range(1));
        y = scene(w, h, CV_8UC1, 0, 256, 1);
        u = scene(w / 2, h / 2, CV_8UC1, 80, 160, 2);
        v = scene(w / 2, h / 2, CV_8UC1, 80, 160, 3);
        cv::merge(std::vector<cv::Mat>{y, y, y, y}, pixels);
    }

    void reportTo(benchmark::State& state) const
    {
        report(state, double(y.total()), double(y.total()) * (1 + 0.5 + 4));
    }
};

/// Chroma is the mean of four pixels, where ours is that of the even ones.
void planesIn(benchmark::State& state)
{
    Picture p(state);
    for (auto _ : state) {
        libyuv::ARGBToJ420(p.pixels.data, int(p.pixels.step), p.y.data, int(p.y.step), p.u.data, int(p.u.step),
                           p.v.data, int(p.v.step), p.y.cols, p.y.rows);
        benchmark::ClobberMemory();
    }
    p.reportTo(state);
}

/// Chroma is enlarged linearly, as with us.
void display(benchmark::State& state)
{
    Picture p(state);
    for (auto _ : state) {
        libyuv::I420ToARGBMatrixFilter(p.y.data, int(p.y.step), p.u.data, int(p.u.step), p.v.data, int(p.v.step),
                                       p.pixels.data, int(p.pixels.step), &libyuv::kYuvJPEGConstants, p.y.cols,
                                       p.y.rows, libyuv::kFilterBilinear);
        benchmark::ClobberMemory();
    }
    p.reportTo(state);
}

BENCHMARK(doubling16)->Name("upSize2X_linear_16u:libyuv")->Apply(sizesUpTo64);
BENCHMARK(doubling8)->Name("upSize2X_linear_8u:libyuv")->Apply(sizes);
BENCHMARK(planesIn)->Name("TPImage_convertFrom8:libyuv8")->Apply(sizes);
BENCHMARK(display)->Name("TPImage_convertTo:libyuv8")->Apply(sizes);

} // namespace
