#pragma once

#include <cstddef>
#include <cstring>

/// Small transpositions between memory rows and lanes, for recursions that run along a row: eight rows side by side
/// become eight lanes of one vector loop.
namespace pixmill::rows {

/// out[x][y] = in[y][x] for an 8 x 8 block of floats; strides in floats. Vectors of eight, which the compiler splits
/// where the processor has only four.
inline void transpose8x8(const float* in, std::ptrdiff_t inStride, float* out, std::ptrdiff_t outStride)
{
    typedef float Eight __attribute__((vector_size(32)));
    Eight r[8], t[8], u[8];
    for (int y = 0; y < 8; ++y)
        std::memcpy(&r[y], in + y * inStride, sizeof(Eight));
    for (int k = 0; k < 8; k += 2) {
        t[k] = __builtin_shufflevector(r[k], r[k + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        t[k + 1] = __builtin_shufflevector(r[k], r[k + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    for (int k = 0; k < 8; k += 4) {
        u[k] = __builtin_shufflevector(t[k], t[k + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        u[k + 1] = __builtin_shufflevector(t[k], t[k + 2], 2, 3, 10, 11, 6, 7, 14, 15);
        u[k + 2] = __builtin_shufflevector(t[k + 1], t[k + 3], 0, 1, 8, 9, 4, 5, 12, 13);
        u[k + 3] = __builtin_shufflevector(t[k + 1], t[k + 3], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (int k = 0; k < 4; ++k) {
        r[k] = __builtin_shufflevector(u[k], u[k + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        r[k + 4] = __builtin_shufflevector(u[k], u[k + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
    for (int x = 0; x < 8; ++x)
        std::memcpy(out + x * outStride, &r[x], sizeof(Eight));
}

/// Rows to lanes: out[x * L + l] = in[l][x] for `rows` rows of n samples; lanes from `rows` on become 0. L is a
/// multiple of 8, `out` holds n * L floats.
template <int L>
inline void rowsToLanes(const float* in, std::ptrdiff_t stride, int rows, int n, float* out)
{
    static_assert(L % 8 == 0, "blocks of eight rows");
    const int whole = rows == L ? n / 8 * 8 : 0;
    for (int x = 0; x < whole; x += 8)
        for (int l = 0; l < L; l += 8)
            transpose8x8(in + l * stride + x, stride, out + std::ptrdiff_t(x) * L + l, L);
    for (int x = whole; x < n; ++x)
        for (int l = 0; l < L; ++l)
            out[std::ptrdiff_t(x) * L + l] = l < rows ? in[l * stride + x] : 0.0f;
}

/// Lanes back to rows: out[l][x] = in[x * L + l] for l below `rows`.
template <int L>
inline void lanesToRows(const float* in, int rows, int n, float* out, std::ptrdiff_t stride)
{
    static_assert(L % 8 == 0, "blocks of eight rows");
    const int whole = rows == L ? n / 8 * 8 : 0;
    for (int x = 0; x < whole; x += 8)
        for (int l = 0; l < L; l += 8)
            transpose8x8(in + std::ptrdiff_t(x) * L + l, L, out + l * stride + x, stride);
    for (int x = whole; x < n; ++x)
        for (int l = 0; l < rows; ++l)
            out[l * stride + x] = in[std::ptrdiff_t(x) * L + l];
}

} // namespace pixmill::rows
