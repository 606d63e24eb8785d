// The live view: set-up of a picture, whole renders, one slider moved.
#include <pixmill/core/TPixmill.h>
#include <pixmill/core/Threads.h>
#include <pixmill/engine/TQuillet3.h>
#include <reference/render.h>
#include <support/bench.h>

#include <opencv2/imgproc.hpp>
#ifdef PIXMILL_HAVE_XIMGPROC
#include <opencv2/ximgproc/edge_filter.hpp>
#endif

#include <memory>
#include <vector>

using namespace pixmill;

namespace {

constexpr int kWidth = 4896, kHeight = 3264; // 16 megapixels

struct Picture {
    cv::Mat Y = bench::scene(kWidth, kHeight, CV_16UC1, 0, 65536, 1), detail[3];
    cv::Mat Dr = bench::scene(kWidth / 2, kHeight / 2, CV_16UC1, 20000, 46000, 2);
    cv::Mat Db = bench::scene(kWidth / 2, kHeight / 2, CV_16UC1, 26000, 40000, 3);

    Picture()
    {
        for (int i = 0; i < 3; ++i) {
            cv::Mat noise(kHeight, kWidth, CV_32FC1);
            cv::RNG(10 + i).fill(noise, cv::RNG::NORMAL, 32768, 1500);
            noise.convertTo(detail[i], CV_16U);
        }
    }
};

const Picture& picture()
{
    static const Picture p;
    return p;
}

/// Keeps the standard output clean of what set-up says there.
struct Silence {
    Silence() { TPixmill::setConsole(false); }
    ~Silence() { TPixmill::setConsole(true); }
};

TQuillet3& engine()
{
    static std::unique_ptr<TQuillet3> e;
    if (!e) {
        const Silence silence;
        e = std::make_unique<TQuillet3>();
        e->setup(picture().Y, picture().detail[0], picture().detail[1], picture().detail[2], picture().Dr, picture().Db,
                 nullptr);
        const float light[6] = {0.2f, 0.3f, -0.4f, 0.5f, 0.1f, -0.2f};
        std::copy_n(light, 6, e->m_lightParams);
        for (int l = 0; l < 3; ++l)
            for (int z = 0; z < 3; ++z) {
                e->m_detailK[l][z] = 0.3f + 0.1f * z;
                e->m_detailT[l][z] = -0.1f * l;
            }
    }
    return *e;
}

/// The engine's planes and controls, for the plain form.
struct Plain {
    reference::RenderPlanes planes;
    reference::RenderControls controls;

    explicit Plain(const TQuillet3& e)
        : planes{e.m_Y, e.m_fullDr, e.m_fullDb, {e.m_detail[0], e.m_detail[1], e.m_detail[2]}, e.m_smoothScale + 1}
    {
        std::copy_n(e.m_lightParams, 6, controls.light);
        std::copy_n(e.m_colorWeights, 3, controls.colour);
        std::copy_n(&e.m_detailK[0][0], 9, &controls.k[0][0]);
        std::copy_n(&e.m_detailT[0][0], 9, &controls.t[0][0]);
    }
};

void views(benchmark::internal::Benchmark* b)
{
    b->ArgName("scale")->Arg(1)->Arg(2)->Arg(3)->Arg(4)->Unit(benchmark::kMillisecond)->UseRealTime();
}

cv::Rect viewAt(int scale)
{
    const int w = std::min(1920, kWidth / scale), h = std::min(1080, kHeight / scale);
    return {(kWidth - w * scale) / 2, (kHeight - h * scale) / 2, w, h};
}

void TQuillet3_render(benchmark::State& state)
{
    TQuillet3& e = engine();
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    float moved = 0.3f;
    for (auto _ : state) {
        moved = moved == 0.3f ? 0.31f : 0.3f; // the tables of all levels are built anew
        for (int l = 0; l < 3; ++l)
            e.m_detailK[l][0] = moved;
        e.m_dirty = true;
        e.proc(roi, scale, cv::Mat());
    }
    bench::report(state, roi.area(), roi.area() * 10.0);
}

void TQuillet3_slider(benchmark::State& state)
{
    TQuillet3& e = engine();
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    e.proc(roi, scale, cv::Mat());
    for (auto _ : state) {
        e.m_detailK[1][1] = e.m_detailK[1][1] == 0.4f ? 0.41f : 0.4f;
        e.m_levelDirty[1] = true;
        e.proc(roi, scale, cv::Mat());
    }
    bench::report(state, roi.area(), roi.area() * 12.0);
}

void plainRender(benchmark::State& state)
{
    const Plain plain(engine());
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    for (auto _ : state)
        benchmark::DoNotOptimize(reference::rendered(plain.planes, plain.controls, roi, scale).data);
    bench::report(state, roi.area(), roi.area() * 10.0);
}

void plainSlider(benchmark::State& state)
{
    const Plain plain(engine());
    const int scale = int(state.range(0));
    const cv::Rect roi = viewAt(scale);
    const cv::Mat Y = reference::renderedLuma(plain.planes, plain.controls, roi, scale);
    const auto level = [&](int i) {
        return reference::renderedLevel(plain.planes, plain.controls, i, Y, roi, scale, cv::Mat());
    };
    const cv::Mat first = level(0), last = level(2);
    for (auto _ : state)
        benchmark::DoNotOptimize(reference::detailAdded(Y, first, level(1), last).data);
    bench::report(state, roi.area(), roi.area() * 12.0);
}

void TQuillet3_setup(benchmark::State& state)
{
    const Picture& p = picture();
    TQuillet3 e;
    const ThreadScope team(threads()); // set-up would take a thread for every processor
    const Silence silence;
    for (auto _ : state)
        e.setup(p.Y, p.detail[0], p.detail[1], p.detail[2], p.Dr, p.Db, nullptr);
    bench::report(state, double(kWidth) * kHeight, double(kWidth) * kHeight * 5);
}

#ifdef PIXMILL_HAVE_XIMGPROC
void resizeAndDtFilter(benchmark::State& state)
{
    const Picture& p = picture();
    for (auto _ : state) {
        cv::Mat Dr, Db, merged, wide;
        cv::resize(p.Dr, Dr, p.Y.size(), 0, 0, cv::INTER_CUBIC);
        cv::resize(p.Db, Db, p.Y.size(), 0, 0, cv::INTER_CUBIC);
        cv::merge(std::vector<cv::Mat>{Dr, Db}, merged);
        merged.convertTo(wide, CV_32F);
        cv::ximgproc::dtFilter(wide, wide, wide, 31.9, 4259.71, cv::ximgproc::DTF_RF, 3);
        wide.convertTo(merged, CV_16U);
        cv::split(merged, std::vector<cv::Mat>{Dr, Db});
    }
    bench::report(state, double(kWidth) * kHeight, double(kWidth) * kHeight * 5);
}
#endif

} // namespace

BENCHMARK(TQuillet3_render)->Apply(views);
BENCHMARK(plainRender)->Name("TQuillet3_render:plain")->Apply(views);
BENCHMARK(TQuillet3_slider)->Apply(views);
BENCHMARK(plainSlider)->Name("TQuillet3_slider:plain")->Apply(views);
BENCHMARK(TQuillet3_setup)->Unit(benchmark::kMillisecond)->UseRealTime();
#ifdef PIXMILL_HAVE_XIMGPROC
BENCHMARK(resizeAndDtFilter)->Name("TQuillet3_setup:resize_dtFilter")->Unit(benchmark::kMillisecond)->UseRealTime();
#endif
