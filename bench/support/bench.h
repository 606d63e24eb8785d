#pragma once

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

#include <cstddef>

/// Names. An operation is "Family_operation"; a peer or plain form beside it is "Family_operation:peer", registered
/// with the same arguments, and the table then shows how many times faster the operation is. Sizes go in as Args({w,
/// h}).
namespace pixmill::bench {

/// Milliseconds that `memcpy` of so many bytes takes in this process, on this many threads: the yardstick.
double copyMilliseconds(std::size_t bytes);

/// Tells the table what one iteration did: pixels out, and the bytes it must read and write at the least.
/// The share of the copy compares with a copy that moves the same bytes in all (half read, half written).
inline void report(benchmark::State& state, double pixels, double bytesReadAndWritten)
{
    state.SetItemsProcessed(std::int64_t(double(state.iterations()) * pixels));
    state.counters["bytes"] = bytesReadAndWritten;
}

/// A reproducible plane of random values, touched so that its pages exist.
inline cv::Mat plane(int width, int height, int type, double low, double high, unsigned seed = 1)
{
    cv::Mat m(height, width, type);
    cv::RNG rng(seed);
    rng.fill(m, cv::RNG::UNIFORM, low, high);
    return m;
}

/// A scene with smooth ground, edges and mild noise; closer to a photograph than noise is.
cv::Mat scene(int width, int height, int type, double low, double high, unsigned seed = 1);

/// The sizes every operation is measured at: 1, 8, 16 and 24 megapixels.
inline void sizes(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"w", "h"})
        ->Args({1024, 1024})
        ->Args({3456, 2304})
        ->Args({4896, 3264})
        ->Args({6000, 4000})
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

/// The same and 64 megapixels, where no plane fits any cache.
inline void sizesUpTo64(benchmark::internal::Benchmark* b)
{
    sizes(b);
    b->Args({9792, 6528});
}

} // namespace pixmill::bench
