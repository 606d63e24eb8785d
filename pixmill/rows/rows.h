#pragma once

#include <pixmill/rows/processor.h>
#include <pixmill/rows/team.h>

#include <opencv2/core/types.hpp>

#include <algorithm>

/// The one place that hands work to threads, and the one place that knows processor levels.
///
/// A body is compiled three times from the same source: for what every x86-64 has, for AVX2 and for AVX-512; for other
/// processors once. None of these has fused multiply-add, so all give the same bits. Bodies must write disjoint memory,
/// so neither the team's size nor the order of the pieces changes anything. What a body throws, for want of memory,
/// reaches the caller when all threads are done; pieces that have not started may then be left out.
namespace pixmill::rows {

struct RowPolicy {
    int level;                ///< 0 every processor, 1 AVX2, 2 AVX-512; from the processor, tests lower it.
    long leastParallelPixels; ///< Work below this many pixels stays on the calling thread.
    bool fixedShares = false; ///< A member runs its own share alone, from the last piece to the first; tests set it.
    bool handKernels = true;  ///< Level 2 runs the kernels of rows/avx512.h; benchmarks clear it to compare.
};

/// The process's policy. Hosts leave it alone; tests change it between calls.
PIXMILL_SISTER_API RowPolicy& rowPolicy();

template <class Body>
__attribute__((noinline, flatten)) void spanBase(const Body& body, int first, int end)
{
    body(first, end);
}

#if PIXMILL_X86
template <class Body>
__attribute__((noinline, flatten, target("avx2"))) void spanAvx2(const Body& body, int first, int end)
{
    body(first, end);
}

// The one list of features. clang knows no preference for a vector's width in a target list, and would drop the whole
// list.
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
#else
template <class Body>
void runSpan(const Body& body, int first, int end)
{
    spanBase(body, first, end);
}
#endif

/// How many pieces a thread's share of a loop has where pieces cost nothing to start. A thread that lost its core then
/// holds one of them up, not a whole share.
constexpr int kFinePieces = 4;

/// Runs `piece(body, k)` once for each of 0..pieces-1 on a team of at most `team` threads. A member takes its own
/// contiguous share from the front, then what is left of the others'.
PIXMILL_SISTER_API void runPieces(int pieces, int team, void (*piece)(const void* body, int k), const void* body);

/// Splits 0..count into contiguous spans and runs `body(first, end)` once on each; none is empty.
///
/// `pixels` is the work of the whole range, compared with the least that is worth a team. A span costs a start (running
/// sums, a window's first rows), so there is one a thread; where it costs none, ask for kFinePieces.
template <class Body>
void forEachSpan(int count, long pixels, const Body& body, int piecesPerThread = 1)
{
    if (count <= 0)
        return;
    const int team = count > 1 && pixels >= rowPolicy().leastParallelPixels ? teamSize() : 1;
    if (team == 1) { // handing out costs as much as a small brush dot
        runSpan(body, 0, count);
        return;
    }
    const long pieces = std::min<long>(count, long(team) * piecesPerThread);
    const auto piece = [&](long k) { runSpan(body, int(count * k / pieces), int(count * (k + 1) / pieces)); };
    runPieces(
        int(pieces), team, [](const void* p, int k) { (*static_cast<decltype(&piece)>(p))(k); }, &piece);
}

/// Runs `body(i)` once for each of 0..count-1: table nodes, planes, tiles. `pixels` as in forEachSpan.
template <class Body>
void forEachIndex(int count, long pixels, const Body& body)
{
    const auto span = [&body](int i, int end) {
        for (; i < end; ++i)
            body(i);
    };
    forEachSpan(count, pixels, span, kFinePieces);
}

/// Runs `body(y)` once for every row of a plane of this size.
template <class Body>
void forEachRow(cv::Size plane, const Body& body)
{
    forEachIndex(plane.height, long(plane.width) * plane.height, body);
}

} // namespace pixmill::rows
