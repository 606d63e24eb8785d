#pragma once

#include <pixmill/rows/rows.h>

#if PIXMILL_X86

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

#endif // PIXMILL_X86

/// The frame of the kernels written by hand for row level 2; each stands in a file named `..._avx512.h`.
///
/// A kernel takes as many whole vectors as a row has and tells where it stopped; the plain form beside it goes on from
/// there, and is the form of all other processors. `pixmill_bench --no-hand-kernels` shows what they are worth.
/// Where the compiler builds for another processor than x86 each of those files names its kernels and no more.
namespace pixmill::rows {

#if PIXMILL_X86

/// Before a kernel and before what it calls; and, where `inline` cannot stand, as behind a lambda's parameters.
#define PIXMILL_AVX512_KERNEL inline PIXMILL_AVX512_CODE
#define PIXMILL_AVX512_CODE __attribute__((target(PIXMILL_AVX512)))

/// Before the steps of a kernel's loop, whose state stays in registers.
#define PIXMILL_AVX512_STEP __attribute__((always_inline)) PIXMILL_AVX512_KERNEL

/// Sixteen values of 16 bits in lanes of 32.
PIXMILL_AVX512_STEP __m512i widened512(const unsigned short* v)
{
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(v)));
}

/// Quarters put together in halves, which takes half the time.
PIXMILL_AVX512_STEP __m512i fromQuarters512(__m128i a, __m128i b, __m128i c, __m128i d)
{
    const __m256i low = _mm256_inserti128_si256(_mm256_castsi128_si256(a), b, 1);
    const __m256i high = _mm256_inserti128_si256(_mm256_castsi128_si256(c), d, 1);
    return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
}

PIXMILL_AVX512_STEP __m512 lowerHalves512(__m512 a, __m512 b)
{
    return _mm512_shuffle_f32x4(a, b, 0x44);
}

PIXMILL_AVX512_STEP __m512 upperHalves512(__m512 a, __m512 b)
{
    return _mm512_shuffle_f32x4(a, b, 0xee);
}

/// Whether kernels written for AVX-512 run.
inline bool takesAvx512()
{
    return rowPolicy().level == 2 && rowPolicy().handKernels;
}

#else

/// What a kernel's name stands for then: it takes nothing, and is never called.
constexpr auto kNoKernel = [](auto...) { return 0; };

constexpr bool takesAvx512()
{
    return false;
}

#endif

/// n samples of a row: `wide(n)` at row level 2, which returns how many it took, then `plain(first, n)` from there on.
template <class Wide, class Plain>
inline void wideThenPlain(int n, const Wide& wide, const Plain& plain)
{
    plain(takesAvx512() ? wide(n) : 0, n);
}

} // namespace pixmill::rows
