#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/doubling.h>
#include <pixmill/rows/doubling_avx512.h>

#include <cstdint>

/// Rows of 16-bit planes doubled for processors with AVX-512; linearly past the caches where the plane is large.
namespace pixmill::resample {

using namespace rows;

#if PIXMILL_X86

/// (a + b + c + d + 2) / 4 of 16-bit pixels, from ab = (a + b + 1) / 2, cd = (c + d + 1) / 2 and a word whose lowest
/// bit tells that one of these was rounded up. Their mean then is one too many where it is rounded up again.
PIXMILL_AVX512_KERNEL __m512i meanOfFour512(__m512i ab, __m512i cd, __m512i rounded)
{
    const __m512i again = _mm512_and_si512(_mm512_xor_si512(ab, cd), rounded);
    return _mm512_sub_epi16(_mm512_avg_epu16(ab, cd), _mm512_and_si512(again, _mm512_set1_epi16(1)));
}

template <bool kStream>
PIXMILL_AVX512_KERNEL int doubleLinear512(const ushort* above, const ushort* below, bool between, int n, ushort* out,
                                          int cols)
{
    alignas(64) static constexpr ushort kLow[32] = {0, 32, 1, 33, 2,  34, 3,  35, 4,  36, 5,  37, 6,  38, 7,  39,
                                                    8, 40, 9, 41, 10, 42, 11, 43, 12, 44, 13, 45, 14, 46, 15, 47};
    const __m512i low = _mm512_load_si512(kLow), high = _mm512_add_epi16(low, _mm512_set1_epi16(16));
    const auto write = [](ushort* to, __m512i v) PIXMILL_AVX512_CODE {
        if (kStream)
            _mm512_stream_si512(reinterpret_cast<__m512i*>(to), v);
        else
            _mm512_storeu_si512(to, v);
    };
    int i = 0;
    for (; i + 33 <= n && 2 * i + 64 <= cols; i += 32) {
        const __m512i a = _mm512_loadu_si512(above + i), right = _mm512_loadu_si512(above + i + 1);
        __m512i even = a, odd;
        if (between) {
            const __m512i b = _mm512_loadu_si512(below + i), belowRight = _mm512_loadu_si512(below + i + 1);
            even = _mm512_avg_epu16(a, b);
            odd = meanOfFour512(even, _mm512_avg_epu16(right, belowRight),
                                _mm512_or_si512(_mm512_xor_si512(a, b), _mm512_xor_si512(right, belowRight)));
        } else {
            odd = _mm512_avg_epu16(a, right);
        }
        write(out + 2 * i, _mm512_permutex2var_epi16(even, low, odd));
        write(out + 2 * i + 32, _mm512_permutex2var_epi16(even, high, odd));
    }
    return i;
}

/// doubleRowLinear; returns how many source pixels it took.
PIXMILL_AVX512_KERNEL int doubleLinear512(const ushort* above, const ushort* below, bool between, int n, ushort* out,
                                          int cols, bool stream)
{
    return stream ? doubleLinear512<true>(above, below, between, n, out, cols)
                  : doubleLinear512<false>(above, below, between, n, out, cols);
}

template <class Row>
PIXMILL_AVX512_KERNEL int doubleCubic512(Row row, int n, ushort* out, int cols)
{
    Doubled512<Row> doubled(row, n);
    __m512i v[2];
    int i = 0;
    for (; i + 48 <= n; i += 32) {
        doubled.template next<true>(i, v);
        _mm512_storeu_si512(out + 2 * i, v[0]);
        _mm512_storeu_si512(out + 2 * i + 32, v[1]);
    }
    for (; i < n; i += 32) {
        doubled.template next<false>(i, v);
        const __mmask64 held = ~__mmask64(0) >> std::max(64 - (cols - 2 * i), 0);
        _mm512_mask_storeu_epi16(out + 2 * i, __mmask32(held), v[0]);
        _mm512_mask_storeu_epi16(out + 2 * i + 32, __mmask32(held >> 32), v[1]);
    }
    return cols;
}

/// doubleRowCubic of a row that takesDoubled512 admits.
PIXMILL_AVX512_KERNEL int doubleCubic512(const ushort* const rows[4], bool between, int n, ushort* out, int cols)
{
    return between ? doubleCubic512(HalfwayRow512{rows}, n, out, cols) : doubleCubic512(OwnRow512{rows}, n, out, cols);
}

#else

constexpr auto doubleLinear512 = kNoKernel;
constexpr auto doubleCubic512 = kNoKernel;

#endif // PIXMILL_X86

/// One row of a plane doubled by doubleRowLinear; past the caches, in whole lines of them, where that is asked for and
/// there is a kernel.
template <class T>
inline void doubleWideLinear(const T* above, const T* below, bool between, int n, T* out, int cols, bool)
{
    doubleRowLinear(above, below, between, n, out, cols);
}

template <>
inline void doubleWideLinear(const ushort* above, const ushort* below, bool between, int n, ushort* out, int cols,
                             bool stream)
{
    int done = 0;
    if (takesAvx512()) {
        const int toLine = int(-reinterpret_cast<std::uintptr_t>(out) % 64); // bytes
        const bool inLines = stream && toLine % 4 == 0;
        const int head = inLines ? limit(toLine / 4, 0, limit(cols / 2, 0, n)) : 0;
        if (head > 0)
            doubleRowLinear(above, below, between, n, out, 2 * head);
        done = head +
               doubleLinear512(above + head, below + head, between, n - head, out + 2 * head, cols - 2 * head, inLines);
    }
    doubleRowLinear(above + done, below + done, between, n - done, out + 2 * done, cols - 2 * done);
}

/// One row doubled by doubleRowCubic, or by the kernel.
template <class T>
inline void doubleWideCubic(const T* const rows[4], bool between, int n, T* out, int cols, int* scratch)
{
    if constexpr (sizeof(T) == 2)
        if (takesDoubled512(n, cols)) {
            doubleCubic512(rows, between, n, out, cols);
            return;
        }
    doubleRowCubic(rows, between, n, out, cols, scratch);
}

} // namespace pixmill::resample
