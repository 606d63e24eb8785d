#pragma once

#include <pixmill/rows/rows.h>

// g++ 12 takes the deliberately undefined vectors of its own header for mistakes wherever they are inlined.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

#include <immintrin.h>

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

/// The frame of the kernels written by hand for row level 2; each stands in a file named `..._avx512.h`.
///
/// A kernel takes as many whole vectors as a row has and tells where it stopped; the plain form beside it goes on from
/// there, and is the form of all other processors. `pixmill_bench --no-hand-kernels` shows what they are worth.
namespace pixmill::rows {

/// Before a kernel and before what it calls; and, where `inline` cannot stand, as behind a lambda's parameters.
#define PIXMILL_AVX512_KERNEL inline PIXMILL_AVX512_CODE
#define PIXMILL_AVX512_CODE __attribute__((target(PIXMILL_AVX512)))

/// Whether kernels written for AVX-512 run.
inline bool takesAvx512()
{
    return rowPolicy().level == 2 && rowPolicy().handKernels;
}

/// n samples of a row: `wide(n)` at row level 2, which returns how many it took, then `plain(first, n)` from there on.
template <class Wide, class Plain>
inline void wideThenPlain(int n, const Wide& wide, const Plain& plain)
{
    plain(takesAvx512() ? wide(n) : 0, n);
}

} // namespace pixmill::rows
