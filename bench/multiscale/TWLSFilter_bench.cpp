#include <pixmill/multiscale/TWLSFilter.h>
#include <pixmill/multiscale/detail/sparse_solver.h>
#include <pixmill/multiscale/pardisoSolver.h>
#include <support/bench.h>

#include <dlfcn.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace {

using namespace pixmill;

constexpr float kLambda = 0.35f, kAlpha = 1.2f;

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

double statusMegabytes(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, key.size(), key) == 0)
            return std::stod(line.substr(key.size() + 1)) / 1024;
    return 0;
}

double processorSeconds()
{
    rusage used;
    getrusage(RUSAGE_SELF, &used);
    return double(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           1e-6 * double(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
}

/// Prints what the operation takes besides its time, once a row: processor time, and the peak of memory above what
/// the process held before. The dense kernels in use explain most of the difference between machines.
template <class Run>
void measureOnce(const char* name, const benchmark::State& state, const Run& run)
{
    static std::set<std::string> seen;
    const std::string row =
        std::string(name) + "/" + std::to_string(state.range(0)) + "/" + std::to_string(state.range(1));
    if (!seen.insert(row).second)
        return;
    auto* const core = reinterpret_cast<const char* (*)()>(dlsym(RTLD_DEFAULT, "openblas_get_corename"));
    malloc_trim(0);                                // or what earlier rows left would hide a part of the need
    std::ofstream("/proc/self/clear_refs") << "5"; // the peak starts anew
    const double heldBefore = statusMegabytes("VmRSS"), before = processorSeconds();
    run();
    std::printf("%-40s %7.2f s of processor time, peak %6.0f MB above before, dense kernels: %s\n", row.c_str(),
                processorSeconds() - before, statusMegabytes("VmHWM") - heldBefore, core ? core() : "unknown BLAS");
}

struct Picture {
    explicit Picture(const benchmark::State& state)
        : width(int(state.range(0))), height(int(state.range(1))),
          plane(bench::scene(width, height, CV_32FC1, 0.0, 2.0)), out(plane.clone()), guide(plane.clone())
    {
        filter.realloc(width, height);
        std::fill_n(filter.m_a_p, filter.m_nnzCapacity, 0.0f); // touched, so that the pages exist
        std::fill_n(filter.m_ja_p, filter.m_nnzCapacity, 0);
        std::fill_n(filter.m_work_p, filter.m_numPixels, 0.0f);
    }

    void proc()
    {
        plane.copyTo(out);
        filter.Proc(out.ptr<float>(), width, height, kLambda, kAlpha, guide.ptr<float>(), false);
    }

    int width, height;
    cv::Mat plane, out, guide;
    TWLSFilter filter;
};

/// The filter's weights and matrix alone: the solver is refused its memory.
void assemble(Picture& picture)
{
    const multiscale::SolverLimits limits = multiscale::solverLimits();
    multiscale::solverLimits().bytes = 0;
    picture.proc();
    multiscale::solverLimits() = limits;
}

void TWLSFilter_Proc(benchmark::State& state)
{
    Picture picture(state);
    measureOnce("TWLSFilter_Proc", state, [&] { picture.proc(); });
    for (auto _ : state)
        picture.proc();
    bench::report(state, double(picture.plane.total()), 0);
}
BENCHMARK(TWLSFilter_Proc)->Apply(megapixels);

void TWLSFilter_weightsAndMatrix(benchmark::State& state)
{
    Picture picture(state);
    for (auto _ : state)
        assemble(picture);
    bench::report(state, double(picture.plane.total()), 52.0 * double(picture.plane.total()));
}
BENCHMARK(TWLSFilter_weightsAndMatrix)->Apply(megapixels);

template <class T, class Form>
void solve(benchmark::State& state, const char* name, Form* form)
{
    Picture picture(state);
    assemble(picture);
    const TWLSFilter& f = picture.filter;
    const int n = f.m_numPixels;
    std::vector<T> a(f.m_a_p, f.m_a_p + f.m_ia_p[n] - 1), b(n), x(n);
    const auto run = [&] {
        std::copy_n(picture.plane.ptr<float>(), n, b.begin());
        form(n, a.data(), f.m_ia_p, f.m_ja_p, b.data(), x.data(), 1, 2);
    };
    measureOnce(name, state, run);
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
