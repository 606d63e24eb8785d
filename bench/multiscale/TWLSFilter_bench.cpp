#include <multiscale/least_squares.h>

namespace {

using namespace pixmill;

/// 1, 4 and 16 megapixels.
void megapixels(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h"})
        ->Args({1024, 1024})
        ->Args({2000, 2000})
        ->Args({4000, 4000})
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

void proc(benchmark::State& state, const char* name, bool logGuide)
{
    bench::LeastSquares picture(state, logGuide);
    picture.filter.freemem(); // all that it takes counts
    bench::measureOnce(name, state, [&] { picture.proc(); });
    for (auto _ : state)
        picture.proc();
    bench::report(state, double(picture.plane.total()), 0);
}

void TWLSFilter_linearGuide(benchmark::State& state)
{
    proc(state, "TWLSFilter_linearGuide", false);
}
BENCHMARK(TWLSFilter_linearGuide)->Apply(megapixels);

void TWLSFilter_logGuide(benchmark::State& state)
{
    proc(state, "TWLSFilter_logGuide", true);
}
BENCHMARK(TWLSFilter_logGuide)->Apply(megapixels);

void TWLSFilter_weightsAndMatrix(benchmark::State& state)
{
    bench::LeastSquares picture(state);
    for (auto _ : state)
        picture.assemble();
    bench::report(state, double(picture.plane.total()), 52.0 * double(picture.plane.total()));
}
BENCHMARK(TWLSFilter_weightsAndMatrix)->Apply(megapixels);

} // namespace
