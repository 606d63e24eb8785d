#include <support/bench.h>

#include <pixmill/adjust/TColorAdjQ3.h>

#include <cmath>
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
                const int Y = p.newY.at<ushort>(y, x);
                const float ratio = std::max(1.0f, (float(Y) + 655.3f) / (float(p.oldY.at<ushort>(y, x)) + 655.3f));
                const int dr = cv::saturate_cast<ushort>((float(p.Dr.at<ushort>(y, x)) - 32768) * ratio + 32768);
                const int db = cv::saturate_cast<ushort>((float(p.Db.at<ushort>(y, x)) - 32768) * ratio + 32768);
                const int iY = Y >> 11, iDr = dr >> 11, iDb = db >> 11;
                const float w = 1.0f / 2048, fY = (Y & 2047) * w, fDr = (dr & 2047) * w, fDb = (db & 2047) * w;
                const auto read = [&](const unsigned short(*g)[33][33]) {
                    float v[2];
                    for (int k = 0; k < 2; ++k) {
                        const unsigned short *a = g[iY + k][iDr] + iDb, *b = g[iY + k][iDr + 1] + iDb;
                        const float lo = a[0] * (1 - fDb) + a[1] * fDb, hi = b[0] * (1 - fDb) + b[1] * fDb;
                        v[k] = lo * (1 - fDr) + hi * fDr;
                    }
                    return cv::saturate_cast<ushort>(v[0] * (1 - fY) + v[1] * fY);
                };
                p.outDr.at<ushort>(y, x) = read(t.m_gridDr);
                p.outDb.at<ushort>(y, x) = read(t.m_gridDb);
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
