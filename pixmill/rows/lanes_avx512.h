#pragma once

#include <pixmill/rows/avx512.h>

#include <cstddef>

/// Squares of rows turned over, for processors with AVX-512.
namespace pixmill::rows {

typedef float Vector16 __attribute__((vector_size(64)));
typedef float Vector16Unaligned __attribute__((vector_size(64), aligned(4), may_alias));

#define PIXMILL_SHUFFLE16(a, b, i, j, k, l, m, n, o, p)                                                                \
    __builtin_shufflevector(a, b, i, j, k, l, m, n, o, p, i + 8, j + 8, k + 8, l + 8, m + 8, n + 8, o + 8, p + 8)

/// The even quarters of registers four apart side by side, and their odd quarters.
__attribute__((always_inline)) PIXMILL_AVX512_KERNEL void pairQuarters(const Vector16 (&from)[16], Vector16 (&to)[16])
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
PIXMILL_AVX512_KERNEL void turn512(Vector16 (&a)[16])
{
    Vector16 b[16];
#pragma GCC unroll 16
    for (int i = 0; i < 16; i += 2) {
        b[i] = PIXMILL_SHUFFLE16(a[i], a[i + 1], 0, 16, 1, 17, 4, 20, 5, 21);
        b[i + 1] = PIXMILL_SHUFFLE16(a[i], a[i + 1], 2, 18, 3, 19, 6, 22, 7, 23);
    }
#pragma GCC unroll 16
    for (int i = 0; i < 16; i += 4)
        for (int half = 0; half < 2; ++half) {
            a[i + 2 * half] = PIXMILL_SHUFFLE16(b[i + half], b[i + half + 2], 0, 1, 16, 17, 4, 5, 20, 21);
            a[i + 2 * half + 1] = PIXMILL_SHUFFLE16(b[i + half], b[i + half + 2], 2, 3, 18, 19, 6, 7, 22, 23);
        }
    // Now a[4 * g + s] holds the samples s, s + 4, s + 8, s + 12 of the rows 4 * g to 4 * g + 3.
    pairQuarters(a, b);
    pairQuarters(b, a);
}

#undef PIXMILL_SHUFFLE16

/// Sixteen lines of sixteen floats, line k read at from(k) and column k written at to(k).
template <class From, class To>
PIXMILL_AVX512_KERNEL void turnSquare512(const From& from, const To& to)
{
    Vector16 a[16];
#pragma GCC unroll 16
    for (int i = 0; i < 16; ++i)
        a[i] = *reinterpret_cast<const Vector16Unaligned*>(from(i));
    turn512(a);
#pragma GCC unroll 16
    for (int i = 0; i < 16; ++i)
        *reinterpret_cast<Vector16Unaligned*>(to(i)) = a[i];
}

/// rowsToLanes for as many squares as there are, of L full lanes; tells how many samples of each row that was.
template <int L, class Row>
PIXMILL_AVX512_KERNEL int rowsToLanes512(const Row& row, int n, float* lanes, std::ptrdiff_t stride)
{
    const int whole = n / 16 * 16;
    for (int x = 0; x < whole; x += 16)
        for (int l = 0; l < L; l += 16)
            turnSquare512([&](int k) { return row(l + k) + x; }, [&](int k) { return lanes + (x + k) * stride + l; });
    return whole;
}

/// lanesToRows, likewise.
template <int L, class Row>
PIXMILL_AVX512_KERNEL int lanesToRows512(const float* lanes, std::ptrdiff_t stride, int n, const Row& row)
{
    const int whole = n / 16 * 16;
    for (int x = 0; x < whole; x += 16)
        for (int l = 0; l < L; l += 16)
            turnSquare512([&](int k) { return lanes + (x + k) * stride + l; }, [&](int k) { return row(l + k) + x; });
    return whole;
}

} // namespace pixmill::rows
