#include "hostile.h"

#include <omp.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#ifndef __has_feature
#define __has_feature(name) 0 // only clang tells its sanitizers this way
#endif
#if defined(__SANITIZE_ADDRESS__)
#define PIXMILL_SANITIZER_OPTIONS __asan_default_options
#elif defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#define PIXMILL_SANITIZER_OPTIONS __tsan_default_options
#endif
#ifdef PIXMILL_SANITIZER_OPTIONS
extern "C" const char* PIXMILL_SANITIZER_OPTIONS()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=1024:detect_leaks=0";
}
constexpr bool kCapped = false; // the sanitizer's own map of memory passes any cap
#else
constexpr bool kCapped = true;
#endif

namespace pixmill::hostile {

namespace {

constexpr std::size_t kLog = 4096;
constexpr int kBatch = 20;           ///< Calls a child.
constexpr rlim_t kSeconds = 5;       ///< Of processor time a call.
constexpr rlim_t kMemory = 2L << 30; ///< Address space of a child.

/// What a child tells its parent.
struct Report {
    unsigned long seed;
    char log[kLog];
};

void limitCall()
{
    rusage used;
    getrusage(RUSAGE_SELF, &used);
    const rlim_t seconds = rlim_t(used.ru_utime.tv_sec + used.ru_stime.tv_sec) + 1 + kSeconds;
    const rlimit time{seconds, RLIM_INFINITY};
    setrlimit(RLIMIT_CPU, &time);
    alarm(20 * kSeconds); // for what hangs without working
}

/// Any exception that a host can catch by type is an answer.
void runCall(const Row& row, Rng& r)
{
    try {
        row.run(r);
    } catch (const char*) {
    } catch (const std::exception&) {
    }
}

[[noreturn]] void runBatch(const Row& row, unsigned long first, unsigned long end, Report& report)
{
    omp_set_num_threads(1); // a team may not survive the fork
    const rlimit memory{kMemory, kMemory}, core{0, 0};
    setrlimit(RLIMIT_CORE, &core);
    if (kCapped)
        setrlimit(RLIMIT_AS, &memory);
    if (!std::freopen("/dev/null", "w", stdout))
        _exit(1);
    for (report.seed = first; report.seed < end; ++report.seed) {
        limitCall();
        report.log[0] = 0;
        Rng r(report.seed, row.name, report.log, kLog);
        runCall(row, r);
    }
    _exit(0);
}

/// Runs seeds first..end-1, each batch in a child; returns how many calls failed.
int runRow(const Row& row, unsigned long first, unsigned long end, Report& report)
{
    int failed = 0;
    while (first < end) {
        const unsigned long last = std::min(end, first + kBatch);
        const pid_t child = fork();
        if (child == 0)
            runBatch(row, first, last, report);
        int status = 0;
        waitpid(child, &status, 0);
        first = last;
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
            continue;
        ++failed;
        const std::string how =
            WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "exit " + std::to_string(status >> 8);
        std::printf("FAILED: %s\n  hostile_tests --seed %lu --function '%s'\n  %s\n", how.c_str(), report.seed,
                    row.name, report.log);
        std::fflush(stdout);
        first = report.seed + 1;
    }
    return failed;
}

} // namespace

Rng::Rng(unsigned long seed, const char* function, char* log, std::size_t room) : m_log(log), m_room(room)
{
    std::uint64_t mixed = 1469598103934665603ull ^ seed;
    for (const char* c = function; *c; ++c)
        mixed = (mixed ^ std::uint64_t(*c)) * 1099511628211ull;
    m_engine.seed(mixed);
    static const int kTypes[] = {CV_16UC1, CV_16UC1, CV_16UC1, CV_8UC1, CV_32FC1};
    common = {size(), size()};
    type = kTypes[below(5)];
}

void Rng::tell(const std::string& argument)
{
    const std::size_t used = std::strlen(m_log);
    std::snprintf(m_log + used, m_room - used, "%s%s", used ? ", " : "", argument.c_str());
}

int Rng::number()
{
    static const int kEdges[] = {INT_MIN, INT_MIN + 1, -2, -1, 0, 1, 2, 3, 4, 5, 8, 65536, INT_MAX - 1, INT_MAX};
    const int v = oneIn(2) ? kEdges[below(14)] : below(40);
    tell(std::to_string(v));
    return v;
}

int Rng::side()
{
    static const int kEdges[] = {INT_MIN, -1, 0, 1};
    const int v = oneIn(4) ? kEdges[below(4)] : 1 + below(48);
    tell(std::to_string(v));
    return v;
}

int Rng::size()
{
    return oneIn(16) ? 300 : oneIn(4) ? 1 + below(3) : 1 + below(48);
}

double Rng::real()
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    static const double kEdges[] = {0, -0.0, 1, -1, NAN, kInfinity, -kInfinity, 1e-38, 1e38, -1e38, 65535, 0.05};
    const double v = oneIn(2) ? kEdges[below(12)] : below(4000) * 0.001 - 1;
    tell(std::to_string(v));
    return v;
}

void* Rng::memory()
{
    static char* blocks[8] = {};
    static int next = 0;
    char*& block = blocks[next++ % 8];
    if (!block) {
        block = static_cast<char*>(std::malloc(kBuffer));
        for (std::size_t i = 0; i < kBuffer; ++i)
            block[i] = char(i * 37 >> 3);
    }
    return block + kBuffer / 2;
}

Mat Rng::plane()
{
    static const int kTypes[] = {CV_8UC1, CV_16UC1, CV_32FC1, CV_8UC3,  CV_16UC3, CV_16UC4,
                                 CV_8UC4, CV_32FC2, CV_32FC3, CV_64FC1, CV_32SC1, CV_8SC1};
    const int chosen = oneIn(4) ? kTypes[below(12)] : type;
    cv::Size extent = common;
    if (oneIn(3))
        extent = {(common.width + 1) / 2, (common.height + 1) / 2};
    else if (oneIn(4))
        extent = {size(), size()};

    Mat made;
    if (oneIn(24)) {
        tell("empty");
    } else if (oneIn(16)) {
        const int sizes[] = {extent.height, extent.width, 1 + below(3)};
        made.create(3, sizes, chosen);
    } else if (oneIn(8) && m_last.dims == 2 && m_last.rows > 1 && m_last.cols > 1) { // overlaps an earlier plane
        made = m_last(cv::Rect(below(2), below(2), m_last.cols - 1, m_last.rows - 1));
    } else if (oneIn(2)) {
        made = Mat(extent.height + 2, extent.width + 3, chosen)(cv::Rect({1 + below(2), 1}, extent));
    } else {
        made.create(extent, chosen);
    }
    if (!made.empty() && made.data != m_last.data)
        cv::randu(made, -10, oneIn(2) ? 70000 : 300);
    m_last = made;
    tell(std::to_string(made.rows) + " rows x " + std::to_string(made.cols) + " of type " +
         std::to_string(made.type()));
    return made;
}

} // namespace pixmill::hostile

int main(int count, char** arguments)
{
    using namespace pixmill::hostile;
    unsigned long seed = 1, calls = 0;
    std::string function;
    for (int i = 1; i + 1 < count; i += 2) {
        const std::string option = arguments[i];
        if (option == "--seed")
            seed = std::strtoul(arguments[i + 1], nullptr, 10);
        else if (option == "--calls")
            calls = std::strtoul(arguments[i + 1], nullptr, 10);
        else if (option == "--function")
            function = arguments[i + 1];
    }
    if (calls == 0)
        calls = function.empty() ? 20 : 1;
    void* shared = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        return 1;
    int failed = 0, functions = 0;
    for (const auto& rows : {pictureRows(), adjustmentRows(), filterRows(), primitiveRows()})
        for (const Row& row : rows)
            if (function.empty() || function == row.name) {
                ++functions;
                failed += runRow(row, seed, seed + calls, *static_cast<Report*>(shared));
            }
    std::printf("%d functions, %lu calls each, %d failures\n", functions, calls, failed);
    return failed || functions == 0;
}
