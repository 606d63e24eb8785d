#pragma once

#include <emmintrin.h>

/// Sixteen rows side by side, so that a recursion which is serial along a row runs in lanes across rows.
///
/// In lane form sample i of row r stands at lanes[16 * i + r].
namespace pixmill::detail {

constexpr int kLanes = 16;

/// Writes samples first..end-1 of sixteen rows in lane form, sample `first` at `lanes`.
inline void toLanes(const float* const* rows, int first, int end, float* __restrict lanes)
{
    int i = first;
    for (; i + 4 <= end; i += 4, lanes += 4 * kLanes)
        for (int r = 0; r < kLanes; r += 4) {
            __m128 a = _mm_loadu_ps(rows[r] + i), b = _mm_loadu_ps(rows[r + 1] + i);
            __m128 c = _mm_loadu_ps(rows[r + 2] + i), d = _mm_loadu_ps(rows[r + 3] + i);
            _MM_TRANSPOSE4_PS(a, b, c, d);
            _mm_storeu_ps(lanes + r, a);
            _mm_storeu_ps(lanes + kLanes + r, b);
            _mm_storeu_ps(lanes + 2 * kLanes + r, c);
            _mm_storeu_ps(lanes + 3 * kLanes + r, d);
        }
    for (; i < end; ++i, lanes += kLanes)
        for (int r = 0; r < kLanes; ++r)
            lanes[r] = rows[r][i];
}

/// Writes samples first..end-1 back into sixteen rows, sample `first` from `lanes`.
inline void fromLanes(const float* __restrict lanes, int first, int end, float* const* rows)
{
    int i = first;
    for (; i + 4 <= end; i += 4, lanes += 4 * kLanes)
        for (int r = 0; r < kLanes; r += 4) {
            __m128 a = _mm_loadu_ps(lanes + r), b = _mm_loadu_ps(lanes + kLanes + r);
            __m128 c = _mm_loadu_ps(lanes + 2 * kLanes + r), d = _mm_loadu_ps(lanes + 3 * kLanes + r);
            _MM_TRANSPOSE4_PS(a, b, c, d);
            _mm_storeu_ps(rows[r] + i, a);
            _mm_storeu_ps(rows[r + 1] + i, b);
            _mm_storeu_ps(rows[r + 2] + i, c);
            _mm_storeu_ps(rows[r + 3] + i, d);
        }
    for (; i < end; ++i, lanes += kLanes)
        for (int r = 0; r < kLanes; ++r)
            rows[r][i] = lanes[r];
}

} // namespace pixmill::detail
