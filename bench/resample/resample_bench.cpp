#include <pixmill/resample/blend.h>
#include <pixmill/resample/resample.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

#include <string>

using namespace pixmill::bench;

namespace {

double topOf(int type)
{
    return CV_MAT_DEPTH(type) == CV_8U ? 256 : CV_MAT_DEPTH(type) == CV_16U ? 65536 : 1;
}

/// Half the size given to the size given: the pixels counted are those written.
template <class Operation>
void enlarge(benchmark::State& state, int type, int times, const Operation& operation)
{
    cv::Mat out(int(state.range(1)), int(state.range(0)), type, cv::Scalar(0));
    const cv::Mat in = scene(out.cols / times, out.rows / times, type, 0, topOf(type));
    for (auto _ : state) {
        operation(in, out);
        benchmark::ClobberMemory();
    }
    report(state, double(out.total()), double(in.total() + out.total()) * double(in.elemSize()));
}

/// The size given to its part: the pixels counted are those read.
template <class Operation>
void reduce(benchmark::State& state, int type, int times, const Operation& operation)
{
    const cv::Mat in = scene(int(state.range(0)), int(state.range(1)), type, 0, topOf(type));
    cv::Mat out(in.rows / times, in.cols / times, type, cv::Scalar(0));
    for (auto _ : state) {
        operation(in, out);
        benchmark::ClobberMemory();
    }
    report(state, double(in.total()), double(in.total() + out.total()) * double(in.elemSize()));
}

auto byOpenCV(int code)
{
    return [code](const cv::Mat& in, cv::Mat& out) { cv::resize(in, out, out.size(), 0, 0, code); };
}

template <class Operation>
void add(const char* name, const Operation& operation)
{
    sizes(benchmark::RegisterBenchmark(name, operation));
}

void addEnlarging(const std::string& name, int type, int times, int code, int peer,
                  void (*over)(benchmark::internal::Benchmark*) = sizes)
{
    over(benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        enlarge(state, type, times, [=](const cv::Mat& in, cv::Mat& out) {
            times == 2 ? upSize2X(in, out, code) : upSizeNX(in, out, times, code);
        });
    }));
    add((name + ":cv::resize").c_str(), [=](benchmark::State& state) { enlarge(state, type, times, byOpenCV(peer)); });
}

void addReducing(const std::string& name, int type, int times, int code, int peer)
{
    add((name).c_str(), [=](benchmark::State& state) {
        reduce(state, type, times, [=](const cv::Mat& in, cv::Mat& out) {
            times == 2 ? downSize2X(in, out, code) : downSizeNX(in, out, times, code);
        });
    });
    add((name + ":cv::resize").c_str(), [=](benchmark::State& state) { reduce(state, type, times, byOpenCV(peer)); });
}

void addPyramids(const std::string& kind, int type)
{
    add(("upSize2X_pyramid_" + kind).c_str(), [=](benchmark::State& state) {
        enlarge(state, type, 2, [](const cv::Mat& in, cv::Mat& out) { upSize2X(in, out, 257); });
    });
    add(("upSize2X_pyramid_" + kind + ":cv::pyrUp").c_str(), [=](benchmark::State& state) {
        enlarge(state, type, 2, [](const cv::Mat& in, cv::Mat& out) { cv::pyrUp(in, out, out.size(), 4); });
    });
    add(("downSize2X_pyramid_" + kind).c_str(), [=](benchmark::State& state) {
        reduce(state, type, 2, [](const cv::Mat& in, cv::Mat& out) { downSize2X(in, out, 257); });
    });
    add(("downSize2X_pyramid_" + kind + ":cv::pyrDown").c_str(), [=](benchmark::State& state) {
        reduce(state, type, 2, [](const cv::Mat& in, cv::Mat& out) { cv::pyrDown(in, out, out.size(), 4); });
    });
}

const bool kResampling = [] {
    const struct {
        const char* name;
        int type;
    } kinds[] = {{"16u", CV_16UC1}, {"8u", CV_8UC1}, {"32f", CV_32FC1}};
    for (const auto& kind : kinds) {
        const std::string name = kind.name;
        addEnlarging("upSize2X_cubic_" + name, kind.type, 2, 4, cv::INTER_CUBIC);
        addEnlarging("upSize2X_linear_" + name, kind.type, 2, 2, cv::INTER_LINEAR,
                     kind.type == CV_16UC1 ? sizesUpTo64 : sizes);
        addReducing("downSize2X_cubic_" + name, kind.type, 2, 4, cv::INTER_NEAREST);
        addPyramids(name, kind.type);
    }
    addEnlarging("upSizeNX4_cubic_16u", CV_16UC1, 4, 4, cv::INTER_CUBIC);
    addEnlarging("upSizeNX4_cubic_32f", CV_32FC1, 4, 4, cv::INTER_CUBIC);
    for (const int times : {3, 4, 5, 8})
        addReducing("downSizeNX" + std::to_string(times) + "_cubic_16u", CV_16UC1, times, 4,
                    times % 2 != 0 ? cv::INTER_CUBIC : cv::INTER_NEAREST);
    return true;
}();

void blend(benchmark::State& state, int type)
{
    const int w = int(state.range(0)), h = int(state.range(1));
    const cv::Mat in0 = plane(w, h, type, 0, topOf(type), 1), in1 = plane(w, h, type, 0, topOf(type), 2);
    const cv::Mat alpha = plane(w, h, CV_8UC1, 0, 256, 3);
    cv::Mat out(h, w, type, cv::Scalar(0));
    for (auto _ : state) {
        blendAlpha(in0, in1, alpha, out, 0.8f);
        benchmark::ClobberMemory();
    }
    report(state, double(out.total()), double(out.total()) * double(3 * in0.elemSize() + 1));
}

const bool kBlends = [] {
    add("blendAlpha_8u", [](benchmark::State& state) { blend(state, CV_8UC1); });
    add("blendAlpha_16u", [](benchmark::State& state) { blend(state, CV_16UC1); });
    add("blendAlpha_32f", [](benchmark::State& state) { blend(state, CV_32FC1); });
    add("blendC", [](benchmark::State& state) {
        const cv::Mat in = plane(int(state.range(0)), int(state.range(1)), CV_8UC1, 0, 256);
        cv::Mat out(in.size(), CV_8UC1, cv::Scalar(0));
        for (auto _ : state) {
            blendC(in.data, int(in.step), out.data, int(out.step), in.cols, in.rows, 0.7f);
            benchmark::ClobberMemory();
        }
        report(state, double(in.total()), 2.0 * double(in.total()));
    });
    return true;
}();

void sharpen(benchmark::State& state, bool inPlace)
{
    const cv::Mat in = scene(int(state.range(0)), int(state.range(1)), CV_16UC1, 0, 65536);
    cv::Mat out = in.clone();
    for (auto _ : state) {
        extremeSharpen(inPlace ? out : in, out);
        benchmark::ClobberMemory();
    }
    report(state, double(in.total()), 4.0 * double(in.total()));
}

/// The peer stops at the two extremes; the choice between them is not yet made.
void erodeAndDilate(benchmark::State& state)
{
    const cv::Mat in = scene(int(state.range(0)), int(state.range(1)), CV_16UC1, 0, 65536);
    cv::Mat low = in.clone(), high = in.clone();
    for (auto _ : state) {
        cv::erode(in, low, cv::Mat());
        cv::dilate(in, high, cv::Mat());
        benchmark::ClobberMemory();
    }
    report(state, double(in.total()), 6.0 * double(in.total()));
}

const bool kSharpening = [] {
    add("extremeSharpen", [](benchmark::State& state) { sharpen(state, false); });
    add("extremeSharpen:cv::erode+dilate", erodeAndDilate);
    add("extremeSharpen_inPlace", [](benchmark::State& state) { sharpen(state, true); });
    add("extremeSharpen_inPlace:cv::erode+dilate", erodeAndDilate);
    return true;
}();

} // namespace
