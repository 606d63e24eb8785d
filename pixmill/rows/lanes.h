#pragma once

#include <pixmill/rows/rows.h>

#include <emmintrin.h>

/// Sixteen rows side by side, so that a recursion which is serial along a row runs in lanes across rows.
///
/// In lane form sample i of row r stands at lanes[16 * i + r].
namespace pixmill::rows {

constexpr int kLanes = 16;

typedef float Vector16 __attribute__((vector_size(64)));
typedef float Vector16Unaligned __attribute__((vector_size(64), aligned(4), may_alias));

#define PIXMILL_SHUFFLE16(a, b, i, j, k, l, m, n, o, p)                                                                \
    __builtin_shufflevector(a, b, i, j, k, l, m, n, o, p, i + 8, j + 8, k + 8, l + 8, m + 8, n + 8, o + 8, p + 8)

/// The even quarters of registers four apart side by side, and their odd quarters.
__attribute__((target("avx512f"), always_inline)) inline void pairQuarters(const Vector16 (&from)[kLanes],
                                                                           Vector16 (&to)[kLanes])
{
#pragma GCC unroll 16
    for (int s = 0; s < 4; ++s)
        for (int half = 0; half < 2; ++half) {
            const Vector16 &low = from[s + 8 * half], &high = from[s + 8 * half + 4];
            to[s + 4 * half] =
                __builtin_shufflevector(low, high, 0, 1, 2, 3, 8, 9, 10, 11, 16, 17, 18, 19, 24, 25, 26, 27);
            to[s + 4 * half + 8] =
                __builtin_shufflevector(low, high, 4, 5, 6, 7, 12, 13, 14, 15, 20, 21, 22, 23, 28, 29, 30, 31);
        }
}

/// A square of sixteen rows of sixteen samples in registers, turned over: in quarters of four by four, which then
/// change places.
__attribute__((target("avx512f"))) inline void turn(Vector16 (&a)[kLanes])
{
    Vector16 b[kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; i += 2) {
        b[i] = PIXMILL_SHUFFLE16(a[i], a[i + 1], 0, 16, 1, 17, 4, 20, 5, 21);
        b[i + 1] = PIXMILL_SHUFFLE16(a[i], a[i + 1], 2, 18, 3, 19, 6, 22, 7, 23);
    }
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; i += 4)
        for (int half = 0; half < 2; ++half) {
            a[i + 2 * half] = PIXMILL_SHUFFLE16(b[i + half], b[i + half + 2], 0, 1, 16, 17, 4, 5, 20, 21);
            a[i + 2 * half + 1] = PIXMILL_SHUFFLE16(b[i + half], b[i + half + 2], 2, 3, 18, 19, 6, 7, 22, 23);
        }
    // Now a[4 * g + s] holds the samples s, s + 4, s + 8, s + 12 of the rows 4 * g to 4 * g + 3.
    pairQuarters(a, b);
    pairQuarters(b, a);
}

#undef PIXMILL_SHUFFLE16

__attribute__((target("avx512f"))) inline void turnIn(const float* const* rows, int at, float* lanes)
{
    Vector16 a[kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i)
        a[i] = *reinterpret_cast<const Vector16Unaligned*>(rows[i] + at);
    turn(a);
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i)
        *reinterpret_cast<Vector16Unaligned*>(lanes + i * kLanes) = a[i];
}

__attribute__((target("avx512f"))) inline void turnOut(const float* lanes, float* const* rows, int at)
{
    Vector16 a[kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i)
        a[i] = *reinterpret_cast<const Vector16Unaligned*>(lanes + i * kLanes);
    turn(a);
#pragma GCC unroll 16
    for (int i = 0; i < kLanes; ++i)
        *reinterpret_cast<Vector16Unaligned*>(rows[i] + at) = a[i];
}

/// Writes samples first..end-1 of sixteen rows in lane form, sample `first` at `lanes`.
///
/// Four rows at a time: rows a power of two apart fall on the same few places of the first cache, which does not hold
/// lines of sixteen.
inline void toLanes(const float* const* rows, int first, int end, float* __restrict lanes)
{
    int start = first;
    for (const bool wide = rowPolicy().level == 2; wide && start + kLanes <= end; start += kLanes)
        turnIn(rows, start, lanes + (start - first) * kLanes);
    for (int r = 0; r < kLanes; r += 4) {
        const float *row0 = rows[r], *row1 = rows[r + 1], *row2 = rows[r + 2], *row3 = rows[r + 3];
        float* __restrict to = lanes + (start - first) * kLanes + r;
        int i = start;
        for (; i + 4 <= end; i += 4, to += 4 * kLanes) {
            __m128 a = _mm_loadu_ps(row0 + i), b = _mm_loadu_ps(row1 + i);
            __m128 c = _mm_loadu_ps(row2 + i), d = _mm_loadu_ps(row3 + i);
            _MM_TRANSPOSE4_PS(a, b, c, d);
            _mm_storeu_ps(to, a);
            _mm_storeu_ps(to + kLanes, b);
            _mm_storeu_ps(to + 2 * kLanes, c);
            _mm_storeu_ps(to + 3 * kLanes, d);
        }
        for (; i < end; ++i, to += kLanes)
            for (int k = 0; k < 4; ++k)
                to[k] = rows[r + k][i];
    }
}

/// Writes samples first..end-1 back into sixteen rows, sample `first` from `lanes`.
inline void fromLanes(const float* __restrict lanes, int first, int end, float* const* rows)
{
    int start = first;
    for (const bool wide = rowPolicy().level == 2; wide && start + kLanes <= end; start += kLanes)
        turnOut(lanes + (start - first) * kLanes, rows, start);
    for (int r = 0; r < kLanes; r += 4) {
        float *row0 = rows[r], *row1 = rows[r + 1], *row2 = rows[r + 2], *row3 = rows[r + 3];
        const float* __restrict from = lanes + (start - first) * kLanes + r;
        int i = start;
        for (; i + 4 <= end; i += 4, from += 4 * kLanes) {
            __m128 a = _mm_loadu_ps(from), b = _mm_loadu_ps(from + kLanes);
            __m128 c = _mm_loadu_ps(from + 2 * kLanes), d = _mm_loadu_ps(from + 3 * kLanes);
            _MM_TRANSPOSE4_PS(a, b, c, d);
            _mm_storeu_ps(row0 + i, a);
            _mm_storeu_ps(row1 + i, b);
            _mm_storeu_ps(row2 + i, c);
            _mm_storeu_ps(row3 + i, d);
        }
        for (; i < end; ++i, from += kLanes)
            for (int k = 0; k < 4; ++k)
                rows[r + k][i] = from[k];
    }
}

} // namespace pixmill::rows
