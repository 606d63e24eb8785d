#include <pixmill/mask/TDrawMask.h>
#include <support/bench.h>

namespace {

using pixmill::bench::scene;

enum Brush { kHard, kSoft, kEdge };

const cv::Size kMask(3000, 2000); // of a picture of 24 megapixels

TDrawMask& painter()
{
    static TDrawMask m;
    if (m.m_mask.empty())
        m.setInImage(scene(kMask.width, kMask.height, CV_8UC1, 0, 256, 1),
                     scene(kMask.width, kMask.height, CV_16UC1, 28000, 38000, 2),
                     scene(kMask.width, kMask.height, CV_16UC1, 28000, 38000, 3));
    return m;
}

TMaskParam dot(int radius, int brush)
{
    TMaskParam p;
    p.m_outerRadius = radius;
    p.m_innerRadius = brush == kHard ? radius : radius / 4;
    p.m_edge = brush == kEdge ? 0.3f : 0.0f;
    p.m_opacity = 0.8f;
    return p;
}

/// Centres of a stroke that sways over the mask in steps of a quarter of the radius.
cv::Point along(int i, int radius)
{
    const int w = kMask.width - 2 * radius - 2, h = kMask.height - 2 * radius - 2;
    const int step = i * (radius / 4 + 1);
    return {radius + 1 + step % w, radius + 1 + (step / w * (radius / 2 + 1)) % h};
}

// Time a pixel of a dot, the dots of a stroke that has begun; a stroke's first dot also clears its layers. A new stroke
// begins, untimed, after 100 dots, so that coverage is neither always empty nor always full.
void TDrawMask_dot(benchmark::State& state)
{
    TDrawMask& m = painter();
    const int radius = int(state.range(0));
    TMaskParam p = dot(radius, int(state.range(1)));
    int i = 0;
    for (auto _ : state) {
        p.m_center = along(i, radius);
        if (i++ % 100 == 0) {
            state.PauseTiming();
            m.resetMask(m.m_mask, 255);
            m.drawStrokeDot(true, &p);
            state.ResumeTiming();
        }
        m.drawStrokeDot(false, &p);
    }
    state.SetItemsProcessed(std::int64_t(state.iterations()) * (2 * radius + 1) * (2 * radius + 1));
}

// A masked fill of the same rectangles.
void TDrawMask_dot_setTo(benchmark::State& state)
{
    const int radius = int(state.range(0)), D = 2 * radius + 1;
    cv::Mat cover(kMask, CV_8UC1, cv::Scalar(0)), disc(D, D, CV_8UC1);
    for (int y = 0; y < D; ++y)
        for (int x = 0; x < D; ++x) {
            const int dx = x - radius, dy = y - radius;
            disc.at<uchar>(y, x) = dx * dx + dy * dy <= radius * radius ? 255 : 0;
        }
    int i = 0;
    for (auto _ : state) {
        const cv::Point c = along(i++, radius);
        cover(cv::Rect(c.x - radius, c.y - radius, D, D)).setTo(255, disc);
    }
    state.SetItemsProcessed(std::int64_t(state.iterations()) * D * D);
}

void brushes(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"radius", "brush"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int radius : {10, 100, 500})
        for (const int brush : {kHard, kSoft, kEdge})
            b->Args({radius, brush});
}
BENCHMARK(TDrawMask_dot)->Apply(brushes);
BENCHMARK(TDrawMask_dot_setTo)->Name("TDrawMask_dot:setTo")->Apply(brushes);

const int kStrokes = 200, kDots = 50, kStrokeRadius = 40;

/// One stroke of a document of 200; its dots stand in its own part of the mask.
void stroke(TDrawMask& m, int s)
{
    m.drawStart(0, 0);
    for (int i = 0; i < kDots; ++i) {
        const cv::Point at(60 + s % 20 * 140 + i, 60 + s / 20 * 180 + i);
        m.drawADot(2 * at, uchar(s), 2 * kStrokeRadius, kStrokeRadius, 0.8f, s % 2 ? 0.3f : 0.0f);
    }
    m.drawEnd();
}

void drawStrokes(TDrawMask& m)
{
    m.emptyCmdStack();
    for (int s = 0; s < kStrokes; ++s)
        stroke(m, s);
}

/// The dots of a document alone; strokes begin with a copy of the mask.
double dotPixels()
{
    return double(kStrokes) * kDots * (2 * kStrokeRadius + 1) * (2 * kStrokeRadius + 1);
}

// Undo of the last of 200 strokes of 50 dots, and the replay of those left; the peer draws 199 strokes fresh.
void TDrawMask_undo(benchmark::State& state)
{
    TDrawMask& m = painter();
    for (auto _ : state) {
        state.PauseTiming();
        drawStrokes(m);
        m.m_cmdDone = int(m.m_cmdStack.size()) - 1;
        if (state.range(0)) { // a fill below the last ten strokes cuts the replay short
            for (int i = 0; i < 10; ++i)
                m.undo();
            m.setValue(255);
            for (int s = kStrokes - 10; s < kStrokes; ++s)
                stroke(m, s);
            m.m_cmdDone = int(m.m_cmdStack.size()) - 1;
        }
        state.ResumeTiming();
        m.undo();
        m.proc();
    }
    state.SetItemsProcessed(
        std::int64_t(double(state.iterations()) * dotPixels() * (state.range(0) ? 9.0 / 200 : 199.0 / 200)));
}
BENCHMARK(TDrawMask_undo)->ArgName("fill")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void TDrawMask_undo_fresh(benchmark::State& state)
{
    TDrawMask& m = painter();
    const int strokes = state.range(0) ? 9 : kStrokes - 1;
    for (auto _ : state) {
        state.PauseTiming();
        m.emptyCmdStack();
        for (int s = kStrokes - 1 - strokes; s < kStrokes - 1; ++s)
            stroke(m, s);
        state.ResumeTiming();
        m.proc();
    }
    state.SetItemsProcessed(std::int64_t(double(state.iterations()) * dotPixels() * strokes / kStrokes));
}
BENCHMARK(TDrawMask_undo_fresh)
    ->Name("TDrawMask_undo:fresh")
    ->ArgName("fill")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
