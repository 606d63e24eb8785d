#include <pixmill/multiscale/pardisoSolver.h>

#include <multiscale/least_squares.h>

#include <algorithm>
#include <vector>

namespace {

using namespace pixmill;

/// 1/4, 1, 2 and 4 megapixels.
void megapixels(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h"})
        ->Args({512, 512})
        ->Args({1024, 1024})
        ->Args({1448, 1448})
        ->Args({2000, 2000})
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

template <class T, class Form>
void solve(benchmark::State& state, const char* name, Form* form)
{
    bench::LeastSquares picture(state);
    picture.assemble();
    const TWLSFilter& f = picture.filter;
    const int n = f.m_numPixels;
    std::vector<T> a(f.m_a_p, f.m_a_p + f.m_ia_p[n] - 1), b(n), x(n);
    const auto run = [&] {
        std::copy_n(picture.plane.ptr<float>(), n, b.begin());
        form(n, a.data(), f.m_ia_p, f.m_ja_p, b.data(), x.data(), 1, 2);
    };
    bench::measureOnce(name, state, run);
    for (auto _ : state)
        run();
    bench::report(state, n, 0);
}

void pardisoSolver_inCore(benchmark::State& state)
{
    solve<float, bool(int, float*, int*, int*, float*, float*, int, int)>(state, "pardisoSolver_inCore",
                                                                          pardisoSolverIC);
}
BENCHMARK(pardisoSolver_inCore)->Apply(megapixels);

void pardisoSolver_outOfCore(benchmark::State& state)
{
    solve<float, bool(int, float*, int*, int*, float*, float*, int, int)>(state, "pardisoSolver_outOfCore",
                                                                          pardisoSolverOOC);
}
BENCHMARK(pardisoSolver_outOfCore)->Apply(megapixels);

void pardisoSolver_inCoreDouble(benchmark::State& state)
{
    solve<double, bool(int, double*, int*, int*, double*, double*, int, int)>(state, "pardisoSolver_inCoreDouble",
                                                                              pardisoSolverIC);
}
BENCHMARK(pardisoSolver_inCoreDouble)->Apply(megapixels);

} // namespace
