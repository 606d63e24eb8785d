#include <pixmill/resample/guidedUpsize.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

using namespace pixmill::bench;

namespace {

struct Planes {
    cv::Mat guide, in, out;

    explicit Planes(const benchmark::State& state)
    {
        const int w = int(state.range(0)), h = int(state.range(1));
        guide = scene(w, h, CV_16UC1, 0, 65536, 1);
        in = scene(w / 2, h / 2, CV_16UC1, 0, 65536, 2);
    }

    void reportTo(benchmark::State& state) const
    {
        const double pixels = double(guide.total());
        report(state, pixels, pixels * 4.5);
    }
};

void upSize2XGuidedByY_guided(benchmark::State& state)
{
    Planes p(state);
    for (auto _ : state)
        upSize2XGuidedByY(p.guide, p.in, p.out, true, 4);
    p.reportTo(state);
}
BENCHMARK(upSize2XGuidedByY_guided)->Apply(sizes);

/// The same filter, written with whole-plane operations.
void blurComposition(benchmark::State& state)
{
    Planes p(state);
    const cv::Size side(3, 3);
    for (auto _ : state) {
        cv::Mat small, g, s, meanG, meanS, product, cov, square, var, a, b, largeA, largeB, guideF;
        cv::resize(p.guide, small, p.in.size(), 0, 0, cv::INTER_NEAREST);
        small.convertTo(g, CV_32F, 1.0 / 65535);
        p.in.convertTo(s, CV_32F, 1.0 / 65535);
        cv::blur(g, meanG, side, {-1, -1}, cv::BORDER_REPLICATE);
        cv::blur(s, meanS, side, {-1, -1}, cv::BORDER_REPLICATE);
        cv::multiply(g, s, product);
        cv::blur(product, cov, side, {-1, -1}, cv::BORDER_REPLICATE);
        cv::multiply(meanG, meanS, product);
        cv::subtract(cov, product, cov);
        cv::multiply(g, g, square);
        cv::blur(square, var, side, {-1, -1}, cv::BORDER_REPLICATE);
        cv::multiply(meanG, meanG, square);
        cv::subtract(var, square, var);
        cv::add(var, 0.0001, var);
        cv::divide(cov, var, a);
        cv::multiply(meanG, a, product);
        cv::subtract(meanS, product, b);
        cv::resize(a, largeA, p.guide.size(), 0, 0, cv::INTER_NEAREST);
        cv::resize(b, largeB, p.guide.size(), 0, 0, cv::INTER_NEAREST);
        p.guide.convertTo(guideF, CV_32F);
        cv::multiply(guideF, largeA, guideF);
        cv::scaleAdd(largeB, 65535, guideF, guideF);
        guideF.convertTo(p.out, CV_16U);
    }
    p.reportTo(state);
}
BENCHMARK(blurComposition)->Name("upSize2XGuidedByY_guided:blur")->Apply(sizes);

void upSize2XGuidedByY_plain(benchmark::State& state)
{
    Planes p(state);
    for (auto _ : state)
        upSize2XGuidedByY(p.guide, p.in, p.out, false, 4);
    p.reportTo(state);
}
BENCHMARK(upSize2XGuidedByY_plain)->Apply(sizes);

void cubicResize(benchmark::State& state)
{
    Planes p(state);
    for (auto _ : state)
        cv::resize(p.in, p.out, p.guide.size(), 0, 0, cv::INTER_CUBIC);
    p.reportTo(state);
}
BENCHMARK(cubicResize)->Name("upSize2XGuidedByY_plain:cvResize")->Apply(sizes);

} // namespace
