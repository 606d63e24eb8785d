#include <pixmill/rows/rows.h>
#include <support/bench.h>

#include <omp.h>
#include <opencv2/core/utility.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace pixmill::bench {

double copyMilliseconds(std::size_t bytes)
{
    static std::map<std::size_t, double> known;
    const auto found = known.find(bytes);
    if (found != known.end())
        return found->second;

    const std::size_t half = bytes / 2;
    std::vector<char> from(half, 1), to(half, 2);
    double best = 1e9;
    for (int i = 0; i < 15; ++i) {
        const auto start = std::chrono::steady_clock::now();
#pragma omp parallel
        {
            const std::size_t n = omp_get_num_threads(), k = omp_get_thread_num();
            const std::size_t first = half * k / n, end = half * (k + 1) / n;
            std::memcpy(to.data() + first, from.data() + first, end - first);
        }
        benchmark::ClobberMemory();
        const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return known[bytes] = best;
}

cv::Mat scene(int width, int height, int type, double low, double high, unsigned seed)
{
    cv::Mat noise = plane(width, height, CV_32FC1, -0.02, 0.02, seed), out(height, width, CV_32FC1);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const float wave = 0.5f + 0.25f * std::sin(x * 0.011f + seed) + 0.15f * std::cos(y * 0.007f + x * 0.0013f);
            const bool block = (x / 230 + y / 310) % 2 != 0;
            const float v = wave * (block ? 1.0f : 0.55f) + noise.at<float>(y, x);
            out.at<float>(y, x) = float(low + std::clamp(v, 0.0f, 1.0f) * (high - 1 - low));
        }
    cv::Mat typed;
    out.convertTo(typed, type);
    return typed;
}

namespace {

/// op | MPix/s | ms | share of the copy | times the peer: the best of the repetitions of each row.
class Table : public benchmark::ConsoleReporter {
public:
    explicit Table(int threads) : m_threads(threads) {}

    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
                continue;
            }
            if (run.run_type != Run::RT_Iteration)
                continue;
            Row& row = rowOf(run);
            const double ms = run.real_accumulated_time / double(run.iterations) * 1e3;
            row.ms = std::min(row.ms, ms);
            const auto items = run.counters.find("items_per_second");
            if (items != run.counters.end())
                row.pixels = items->second.value * ms * 1e-3;
            const auto bytes = run.counters.find("bytes");
            if (bytes != run.counters.end())
                row.bytes = bytes->second.value;
            const auto wall = run.counters.find("wall"), cpu = run.counters.find("cpu");
            if (wall != run.counters.end() && cpu != run.counters.end() && wall->second.value < row.wall) {
                row.wall = wall->second.value;
                row.cpu = cpu->second.value;
            }
        }
    }

    void Finalize() override
    {
        const rows::RowPolicy& policy = rows::rowPolicy();
        std::printf("\n%d thread%s, row level %d%s, best of the repetitions\n", m_threads, m_threads == 1 ? "" : "s",
                    policy.level, policy.handKernels ? "" : " without its hand kernels");
        std::printf("%-58s | %9s | %10s | %13s | %s\n", "operation", "MPix/s", "ms", "share of copy", "times the peer");
        for (const Row& row : m_rows) {
            std::printf("%-58s | %9.1f | %10.3f | ", row.name.c_str(), row.pixels / row.ms * 1e-3, row.ms);
            if (row.bytes > 0)
                std::printf("%11.0f %% | ", 100.0 * copyMilliseconds(std::size_t(row.bytes)) / row.ms);
            else
                std::printf("%13s | ", "");
            if (const Row* own = ownOf(row))
                std::printf("%.2f", row.ms / own->ms);
            if (row.cpu > 0)
                std::printf("wall x %.2f, processor x %.2f", row.wall, row.cpu);
            std::printf("\n");
        }
    }

private:
    struct Row {
        std::string name, function, arguments;
        double ms = 1e18, pixels = 0, bytes = 0;
        double wall = 1e18, cpu = 0; ///< times those of the way it is compared with
    };

    Row& rowOf(const Run& run)
    {
        const std::string& name = run.run_name.function_name;
        for (Row& row : m_rows)
            if (row.function == name && row.arguments == run.run_name.args)
                return row;
        Row row;
        row.name = name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args);
        row.function = name;
        row.arguments = run.run_name.args;
        m_rows.push_back(row);
        return m_rows.back();
    }

    /// The library's own row that a peer's row is compared with.
    const Row* ownOf(const Row& peer) const
    {
        const std::size_t colon = peer.function.find(':');
        if (colon == std::string::npos)
            return nullptr;
        for (const Row& row : m_rows)
            if (row.function == peer.function.substr(0, colon) && row.arguments == peer.arguments)
                return &row;
        return nullptr;
    }

    int m_threads;
    std::vector<Row> m_rows;
};

} // namespace
} // namespace pixmill::bench

/// pixmill_bench [--threads=N] [--level=0|1|2] [--no-hand-kernels] [Google Benchmark's own options]
///
/// One thread and the processor's own row level unless told; a level that it has not stays its own.
int main(int argc, char** argv)
{
    int threads = 1;
    pixmill::rows::RowPolicy& policy = pixmill::rows::rowPolicy();
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i)
        if (std::strncmp(argv[i], "--threads=", 10) == 0)
            threads = std::max(1, std::atoi(argv[i] + 10));
        else if (std::strncmp(argv[i], "--level=", 8) == 0)
            policy.level = std::clamp(std::atoi(argv[i] + 8), 0, policy.level);
        else if (std::strcmp(argv[i], "--no-hand-kernels") == 0)
            policy.handKernels = false;
        else
            rest.push_back(argv[i]);
    char repetitions[] = "--benchmark_repetitions=3";
    rest.insert(rest.begin() + 1, repetitions); // first, so that the caller's own choice wins
    int count = int(rest.size());
    benchmark::Initialize(&count, rest.data());
    if (benchmark::ReportUnrecognizedArguments(count, rest.data()))
        return 1;
    omp_set_num_threads(threads);
    cv::setNumThreads(threads);
    pixmill::bench::Table table(threads);
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
