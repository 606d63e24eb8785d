#include <pixmill/planar/TPImage.h>
#include <support/bench.h>

#include <vector>

using namespace pixmill;

namespace {

struct Planes {
    explicit Planes(const benchmark::State& state)
    {
        static std::vector<unsigned char> toEdge(65536);
        static std::vector<unsigned short> toFull(256);
        TPImage::m_lutFullToEdge_p = toEdge.data();
        TPImage::m_lutEdgeToFull_p = toFull.data();
        TPImage::computeLUT();
        const int w = int(state.range(0)), h = int(state.range(1));
        full = bench::scene(w, h, CV_16UC1, 0, 65536, 1);
        half = bench::scene(w / 2, h / 2, CV_16UC1, 0, 65536, 1);
        after = bench::scene(w / 2, h / 2, CV_16UC1, 0, 65536, 2);
        edge = bench::plane(w, h, CV_8UC1, 100, 156, 3);
    }
    double pixels() const { return double(full.total()); }
    cv::Mat full, half, after, edge;
};

void fullToEdge(benchmark::State& state)
{
    Planes p(state);
    for (auto _ : state)
        TPImage::fullToEdge(p.full, p.half, p.edge);
    bench::report(state, p.pixels(), p.pixels() * 3.5);
}

void edgeToFull(benchmark::State& state)
{
    Planes p(state);
    for (auto _ : state)
        TPImage::edgeToFull(p.edge, p.half, p.full, 1.5f);
    bench::report(state, p.pixels(), p.pixels() * 3.5);
}

void edgeToFullByGain(benchmark::State& state)
{
    Planes p(state);
    for (auto _ : state)
        TPImage::edgeToFull(p.edge, p.half, p.after, p.full, 0.01f, 1.5f);
    bench::report(state, p.pixels(), p.pixels() * 4);
}

} // namespace

BENCHMARK(fullToEdge)->Name("TPImage_fullToEdge")->Apply(bench::sizes);
BENCHMARK(edgeToFull)->Name("TPImage_edgeToFull")->Apply(bench::sizes);
BENCHMARK(edgeToFullByGain)->Name("TPImage_edgeToFull_gain")->Apply(bench::sizes);
