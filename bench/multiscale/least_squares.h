#pragma once

#include <pixmill/core/TProgress.h>
#include <pixmill/multiscale/TWLSFilter.h>
#include <support/bench.h>

#include <dlfcn.h>
#include <malloc.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>

/// A picture's least squares, solved by the filter or by the direct solver.
namespace pixmill::bench {

constexpr float kLambda = 0.35f, kAlpha = 1.2f;

inline double statusMegabytes(const std::string& key)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.compare(0, key.size(), key) == 0)
            return std::stod(line.substr(key.size() + 1)) / 1024;
    return 0;
}

inline double processorSeconds()
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

struct LeastSquares {
    explicit LeastSquares(const benchmark::State& state, bool logGuide = false)
        : width(int(state.range(0))), height(int(state.range(1))), plane(scene(width, height, CV_32FC1, 0.0, 2.0)),
          out(plane.clone()), guide(plane.clone())
    {
        if (logGuide)
            cv::log(plane + filter.m_logEps, guide);
        filter.realloc(width, height);
        std::fill_n(filter.m_a_p, filter.m_nnzCapacity, 0.0f); // touched, so that the pages exist
        std::fill_n(filter.m_ja_p, filter.m_nnzCapacity, 0);
        std::fill_n(filter.m_work_p, filter.m_numPixels, 0.0f);
    }

    void proc(TProgress* progress = nullptr)
    {
        plane.copyTo(out);
        filter.Proc(out.ptr<float>(), width, height, kLambda, kAlpha, guide.ptr<float>(), false, progress);
    }

    /// The filter's weights and matrix alone: the first report is refused.
    void assemble()
    {
        TProgress refused([](int, void*) { return false; }, this);
        proc(&refused);
    }

    int width, height;
    cv::Mat plane, out, guide;
    TWLSFilter filter;
};

} // namespace pixmill::bench
