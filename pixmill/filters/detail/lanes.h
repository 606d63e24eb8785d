#pragma once

#include <emmintrin.h>

/// Sixteen rows side by side, so that a recursion which is serial along a row runs in lanes across rows.
///
/// In lane form sample i of row r stands at lanes[16 * i + r].
namespace pixmill::detail {

constexpr int kLanes = 16;

/// Writes samples first..end-1 of sixteen rows in lane form, sample `first` at `lanes`.
///
/// Four rows at a time: rows a power of two apart fall on the same few places of the first cache, which does not hold
/// lines of sixteen.
inline void toLanes(const float* const* rows, int first, int end, float* __restrict lanes)
{
    for (int r = 0; r < kLanes; r += 4) {
        const float *row0 = rows[r], *row1 = rows[r + 1], *row2 = rows[r + 2], *row3 = rows[r + 3];
        float* __restrict to = lanes + r;
        int i = first;
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
    for (int r = 0; r < kLanes; r += 4) {
        float *row0 = rows[r], *row1 = rows[r + 1], *row2 = rows[r + 2], *row3 = rows[r + 3];
        const float* __restrict from = lanes + r;
        int i = first;
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

} // namespace pixmill::detail
