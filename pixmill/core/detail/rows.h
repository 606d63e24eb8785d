#pragma once

#include <pixmill/core/Export.h>

#include <opencv2/core/types.hpp>

#include <omp.h>

#include <exception>

/// The one place with OpenMP pragmas, and the one place that knows processor levels.
///
/// A body is compiled three times from the same source: for what every x86-64 has, for AVX2 and for AVX-512. None of
/// the three has fused multiply-add, so all give the same bits. Bodies must write disjoint memory, so the team's size
/// changes nothing either. What a body throws, for want of memory, reaches the caller when all threads are done.
namespace pixmill::detail {

struct RowPolicy {
    int level;                ///< 0 every x86-64, 1 AVX2, 2 AVX-512; from the processor, tests lower it.
    long leastParallelPixels; ///< Work below this many pixels stays on the calling thread.
};

/// The process's policy. Hosts leave it alone; tests change it between calls.
PIXMILL_API RowPolicy& rowPolicy();

template <class Body>
__attribute__((noinline, flatten)) void spanBase(const Body& body, int first, int end)
{
    body(first, end);
}

template <class Body>
__attribute__((noinline, flatten, target("avx2"))) void spanAvx2(const Body& body, int first, int end)
{
    body(first, end);
}

// clang knows no preference for a vector's width in a target list, and would drop the whole list.
#if defined(__clang__)
#define PIXMILL_AVX512 "avx2,avx512f,avx512bw,avx512dq,avx512vl"
#else
#define PIXMILL_AVX512 "avx2,avx512f,avx512bw,avx512dq,avx512vl,prefer-vector-width=512"
#endif

template <class Body>
__attribute__((noinline, flatten, target(PIXMILL_AVX512))) void spanAvx512(const Body& body, int first, int end)
{
    body(first, end);
}

/// Runs `body(first, end)` on the calling thread, at the processor's level.
template <class Body>
void runSpan(const Body& body, int first, int end)
{
    switch (rowPolicy().level) {
    case 2:
        spanAvx512(body, first, end);
        break;
    case 1:
        spanAvx2(body, first, end);
        break;
    default:
        spanBase(body, first, end);
    }
}

/// Splits 0..count into one contiguous span a thread and runs `body(first, end)` once on each that is not empty.
///
/// `pixels` is the work of the whole range, compared with the least that is worth a team.
template <class Body>
void forEachSpan(int count, long pixels, const Body& body)
{
    if (count <= 0)
        return;
    const bool team = count > 1 && pixels >= rowPolicy().leastParallelPixels && !omp_in_parallel();
    if (!team || omp_get_max_threads() == 1) { // a team of one costs as much as a small brush dot
        runSpan(body, 0, count);
        return;
    }
    std::exception_ptr failure;
#pragma omp parallel
    {
        const long n = omp_get_num_threads(), k = omp_get_thread_num();
        const int first = int(count * k / n), end = int(count * (k + 1) / n);
        try {
            if (first < end)
                runSpan(body, first, end);
        } catch (...) { // may not leave the region
#pragma omp critical
            failure = std::current_exception();
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

/// Runs `body(i)` once for each of 0..count-1: table nodes, planes, tiles. `pixels` as in forEachSpan.
template <class Body>
void forEachIndex(int count, long pixels, const Body& body)
{
    forEachSpan(count, pixels, [&body](int i, int end) {
        for (; i < end; ++i)
            body(i);
    });
}

/// Runs `body(y)` once for every row of a plane of this size.
template <class Body>
void forEachRow(cv::Size plane, const Body& body)
{
    forEachIndex(plane.height, long(plane.width) * plane.height, body);
}

} // namespace pixmill::detail
