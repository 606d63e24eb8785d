#include <pixmill/adjust/TColorAdjQ3.h>
#include <reference/colour_table.h>
#include <support/bench.h>

#include <iostream>
#include <sstream>

using namespace pixmill;

namespace {

/// Takes up what the tables say of their time.
class Quiet {
public:
    Quiet() : m_was(std::cout.rdbuf(m_text.rdbuf())) {}
    ~Quiet() { std::cout.rdbuf(m_was); }

private:
    std::ostringstream m_text;
    std::streambuf* m_was;
};

struct Planes {
    explicit Planes(const benchmark::State& state)
    {
        const int w = int(state.range(0)), h = int(state.range(1));
        oldY = bench::scene(w, h, CV_16UC1, 0, 65536, 1);
        newY = bench::scene(w, h, CV_16UC1, 0, 65536, 2);
        Dr = bench::scene(w, h, CV_16UC1, 20000, 46000, 3);
        Db = bench::scene(w, h, CV_16UC1, 26000, 40000, 4);
        outDr = Dr.clone();
        outDb = Db.clone();
    }
    cv::Mat oldY, newY, Dr, Db, outDr, outDb;
};

void TColorAdjQ3_proc(benchmark::State& state)
{
    const Quiet quiet;
    Planes p(state);
    TColorAdjQ3 adjust(1, 1, 1, 1, 2, 1);
    for (auto _ : state)
        adjust.proc(p.oldY, p.newY, p.Dr, p.Db, p.outDr, p.outDb);
    bench::report(state, double(p.Dr.total()), double(p.Dr.total()) * 12);
}

void plain(benchmark::State& state)
{
    Planes p(state);
    const TColorAdjQ3 t(1, 1, 1, 1, 2, 1);
    for (auto _ : state)
        for (int y = 0; y < p.Dr.rows; ++y)
            for (int x = 0; x < p.Dr.cols; ++x) {
                const cv::Vec2w mapped =
                    reference::colourMapped(t.m_gridDr, t.m_gridDb, p.oldY.at<ushort>(y, x), p.newY.at<ushort>(y, x),
                                            p.Dr.at<ushort>(y, x), p.Db.at<ushort>(y, x));
                p.outDr.at<ushort>(y, x) = mapped[0];
                p.outDb.at<ushort>(y, x) = mapped[1];
            }
    bench::report(state, double(p.Dr.total()), double(p.Dr.total()) * 12);
}

void TColorAdjQ3_computeLUT16U(benchmark::State& state)
{
    const Quiet quiet;
    TColorAdjQ3 adjust(1, 1, 1, 1, 2, 1);
    adjust.m_saturation = 0.5f;
    adjust.m_chromaFloor = 0.3f;
    for (auto _ : state) {
        adjust.m_dirty = 1;
        adjust.computeLUT16U();
    }
}

} // namespace

BENCHMARK(TColorAdjQ3_proc)->Apply(bench::sizes);
BENCHMARK(plain)->Name("TColorAdjQ3_proc:plain")->Apply(bench::sizes);
BENCHMARK(TColorAdjQ3_computeLUT16U)->Unit(benchmark::kMillisecond)->UseRealTime();
