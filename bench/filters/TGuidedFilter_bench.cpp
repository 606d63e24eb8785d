#include <pixmill/filters/TGuidedFilter.h>
#include <reference/guided_filter.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>

#ifdef PIXMILL_HAVE_XIMGPROC
#include <opencv2/ximgproc.hpp>
#endif

using namespace pixmill::bench;

namespace {

constexpr float kEps = 0.0001f;

struct Planes {
    std::vector<cv::Mat> guide;
    cv::Mat src, out;

    Planes(const benchmark::State& state, int guides)
    {
        const int w = int(state.range(0)), h = int(state.range(1));
        for (int i = 0; i < guides; ++i)
            guide.push_back(scene(w, h, CV_32FC1, 0, 2, i + 1)); // values of 0..1
        src = scene(w, h, CV_32FC1, 0, 2, 4);
    }

    double pixels() const { return double(src.total()); }
};

void radii(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h", "r"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int r : {1, 8})
        b->Args({1024, 1024, r})->Args({4896, 3264, r});
    b->Args({4896, 3264, 32});
}

/// Estimate and application by one guide: the coefficients of each window, one mean. For pictures of two sizes.
void TGuidedFilter_oneMean(benchmark::State& state)
{
    Planes p(state, 1);
    for (auto _ : state) {
        TGuidedFilter filter;
        filter.gFc1_estimate(p.guide[0], p.src, int(state.range(2)), kEps);
        filter.gFc1_apply(p.guide[0], p.out);
    }
    report(state, p.pixels(), p.pixels() * 4 * 3);
}
BENCHMARK(TGuidedFilter_oneMean)->Apply(radii);

/// The same in one walk, without an estimate that is kept.
void TGuidedFilter_oneMeanInOneWalk(benchmark::State& state)
{
    Planes p(state, 1);
    for (auto _ : state)
        TGuidedFilter::gFc1_oneMean(p.guide[0], p.src, p.out, int(state.range(2)), kEps);
    report(state, p.pixels(), p.pixels() * 4 * 3);
}
BENCHMARK(TGuidedFilter_oneMeanInOneWalk)->Apply(radii);

/// The same one mean by whole planes.
void oneMeanByBlur(benchmark::State& state)
{
    Planes p(state, 1);
    const cv::Mat &I = p.guide[0], &s = p.src;
    const int side = 2 * int(state.range(2)) + 1;
    const auto mean = [side](const cv::Mat& in) {
        cv::Mat out;
        cv::blur(in, out, {side, side}, {-1, -1}, cv::BORDER_REPLICATE);
        return out;
    };
    for (auto _ : state) {
        const cv::Mat meanI = mean(I), meanS = mean(s);
        const cv::Mat covariance = mean(I.mul(s)) - meanI.mul(meanS), variance = mean(I.mul(I)) - meanI.mul(meanI);
        const cv::Mat a = covariance / (variance + double(kEps));
        p.out = a.mul(I) + meanS - a.mul(meanI);
    }
    report(state, p.pixels(), p.pixels() * 4 * 3);
}
BENCHMARK(oneMeanByBlur)->Name("TGuidedFilter_oneMean:blur")->Apply(radii);

/// The plain form, where it takes less than seconds.
void smallRadii(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h", "r"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int r : {1, 8})
        b->Args({1024, 1024, r});
}

void oneMeanPlain(benchmark::State& state)
{
    Planes p(state, 1);
    for (auto _ : state) {
        const auto model = pixmill::reference::guidedEstimate(p.guide[0], p.src, int(state.range(2)), kEps);
        p.out = model.a[0].mul(p.guide[0]) + model.b;
    }
    report(state, p.pixels(), p.pixels() * 4 * 3);
}
BENCHMARK(oneMeanPlain)->Name("TGuidedFilter_oneMean:plain")->Apply(smallRadii);

/// Both means, as the peer has them: coefficients averaged over the window again.
void TGuidedFilter_threeGuides(benchmark::State& state)
{
    Planes p(state, 3);
    for (auto _ : state) {
        TGuidedFilter filter;
        filter.setup(p.guide, p.src, int(state.range(2)), kEps);
        filter.proc(p.guide, p.out);
    }
    report(state, p.pixels(), p.pixels() * 4 * 5);
}
BENCHMARK(TGuidedFilter_threeGuides)->Apply(radii);

/// The whole filter by one guide, both means.
void TGuidedFilter_whole(benchmark::State& state)
{
    Planes p(state, 1);
    for (auto _ : state)
        TGuidedFilter::stripProc(p.guide[0], p.src, p.out, int(state.range(2)), kEps);
    report(state, p.pixels(), p.pixels() * 4 * 3);
}
BENCHMARK(TGuidedFilter_whole)->Apply(radii);

void wholePlain(benchmark::State& state)
{
    Planes p(state, 1);
    for (auto _ : state)
        p.out = pixmill::reference::guidedBlock(p.guide[0], p.src, int(state.range(2)), kEps);
    report(state, p.pixels(), p.pixels() * 4 * 3);
}
BENCHMARK(wholePlain)->Name("TGuidedFilter_whole:plain")->Apply(smallRadii);

#ifdef PIXMILL_HAVE_XIMGPROC
void ximgprocGuided(benchmark::State& state, int guides)
{
    Planes p(state, guides);
    cv::Mat guide;
    cv::merge(p.guide, guide);
    for (auto _ : state)
        cv::ximgproc::guidedFilter(guide, p.src, p.out, int(state.range(2)), kEps);
    report(state, p.pixels(), p.pixels() * 4 * (guides + 2));
}
BENCHMARK_CAPTURE(ximgprocGuided, whole, 1)->Name("TGuidedFilter_whole:ximgproc")->Apply(radii);
BENCHMARK_CAPTURE(ximgprocGuided, three, 3)->Name("TGuidedFilter_threeGuides:ximgproc")->Apply(radii);
#endif

void TGuidedFilter_applyLoop(benchmark::State& state)
{
    const int w = int(state.range(0)), h = int(state.range(1));
    const cv::Mat guide = scene(w, h, CV_16UC1, 0, 65536);
    TGuidedFilter filter;
    filter.m_a0 = plane(w / 2, h / 2, CV_32FC1, 0, 1);
    filter.m_b = plane(w / 2, h / 2, CV_32FC1, 0, 0.5);
    cv::Mat out;
    for (auto _ : state)
        filter.gFc1_applyLoop(guide, out);
    report(state, double(w) * h, double(w) * h * 6);
}
BENCHMARK(TGuidedFilter_applyLoop)->Apply(sizes);

} // namespace
