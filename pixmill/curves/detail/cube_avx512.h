#pragma once

#include <pixmill/curves/detail/cube.h>
#include <pixmill/rows/avx512.h>

#include <array>
#include <cstddef>

/// Trilinear look-ups for processors with AVX-512: a corner and the next along the last axis come in one read of eight
/// entries, and whole numbers stay floats from step to step, truncated as such.
///
/// Red and green of eight pixels fill a vector, and so does blue of two corners of theirs.
namespace pixmill::curves {

#if PIXMILL_X86

/// An index for permutexvar: the entries wanted, in the even words of the lanes that the others are 0 in.
using WordIndex = std::array<ushort, 32>;

constexpr float kEntryBias = 0x1p23f; ///< Added to a whole number below it, that is in the sum's low bits as it is.

/// Channel `first` of eight pixels' reads in the lower lanes, `second` in the upper ones; with what makes the lanes
/// floats that are kEntryBias more.
constexpr WordIndex channelsOfReads(int first, int second)
{
    WordIndex words = {};
    for (int i = 0; i < 16; ++i) {
        words[2 * i] = ushort(i % 8 * 8 + (i < 8 ? first : second));
        words[2 * i + 1] = 0x4b00;
    }
    return words;
}

/// Channel k of sixteen packed pixels in their lanes.
constexpr WordIndex channelOfPixels(int k)
{
    WordIndex words = {};
    for (int i = 0; i < 16; ++i)
        words[2 * i] = ushort(3 * i + k);
    return words;
}

/// For the entries from `first` on of sixteen packed pixels: red and green of two vectors of eight, or blue of one of
/// sixteen.
constexpr WordIndex packedFrom(int first, bool blue)
{
    WordIndex words = {};
    for (int i = 0; i < 32 && first + i < 48; ++i) {
        const int x = (first + i) / 3, k = (first + i) % 3;
        words[i] = ushort(blue ? 2 * x : x / 8 * 32 + (x % 8 + 8 * (k % 2)) * 2);
    }
    return words;
}

constexpr unsigned bluesFrom(int first)
{
    unsigned mask = 0;
    for (int i = 0; i < 32; ++i)
        mask |= unsigned((first + i) % 3 == 2) << i;
    return mask;
}

/// The reads of eight pixels at one corner, and the corner behind it along the last axis.
struct CornerWords {
    WordIndex redGreen, nextRedGreen, blues;

    /// `first` is where in a read its corner begins.
    constexpr explicit CornerWords(int first)
        : redGreen(channelsOfReads(first, first + 1)), nextRedGreen(channelsOfReads(first + 3, first + 4)),
          blues(channelsOfReads(first + 2, first + 5))
    {
    }
};

alignas(64) constexpr CornerWords kReadAhead(0), kReadBehind(2);
alignas(64) constexpr WordIndex kPixelWords[3] = {channelOfPixels(0), channelOfPixels(1), channelOfPixels(2)};
alignas(64) constexpr WordIndex kPackedRedGreen[2] = {packedFrom(0, false), packedFrom(32, false)};
alignas(64) constexpr WordIndex kPackedBlue[2] = {packedFrom(0, true), packedFrom(32, true)};

PIXMILL_AVX512_KERNEL __m512i words512(const WordIndex& index)
{
    return _mm512_loadu_si512(index.data());
}

/// `between` of floats that are whole numbers.
PIXMILL_AVX512_KERNEL __m512 between512(__m512 a, __m512 b, __m512 f)
{
    const __m512 v = _mm512_add_ps(a, _mm512_mul_ps(_mm512_sub_ps(b, a), f));
    return _mm512_roundscale_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}

/// The same of floats that are kEntryBias more. All differences are exact.
PIXMILL_AVX512_KERNEL __m512 betweenEntries512(__m512 a, __m512 b, __m512 f)
{
    const __m512 part = _mm512_mul_ps(_mm512_sub_ps(b, a), f);
    const __m512 v = _mm512_add_ps(_mm512_sub_ps(a, _mm512_set1_ps(kEntryBias)), part);
    return _mm512_roundscale_ps(v, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
}

/// Four reads of eight entries.
PIXMILL_AVX512_KERNEL __m512i reads512(const ushort* corner, const int* cell)
{
    const auto read = [=](int i) PIXMILL_AVX512_CODE {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(corner + std::ptrdiff_t(cell[i]) * 3));
    };
    return fromQuarters512(read(0), read(1), read(2), read(3));
}

/// Red and green of eight pixels at a corner after the step along the last axis; and blue before it.
struct Corner512 {
    __m512 redGreen, blues;

    PIXMILL_AVX512_CODE Corner512(const ushort* corner, const int* cell, const CornerWords& words, __m512 f2)
    {
        const __m512i first = reads512(corner, cell), second = reads512(corner, cell + 4);
        const auto pick = [&](const WordIndex& index) PIXMILL_AVX512_CODE {
            return _mm512_castsi512_ps(_mm512_mask2_permutex2var_epi16(first, words512(index), 0x55555555, second));
        };
        redGreen = betweenEntries512(pick(words.redGreen), pick(words.nextRedGreen), f2);
        blues = pick(words.blues);
    }
};

/// The step along the second axis: red and green of eight pixels, and blue before it, of both its corners.
struct Face512 {
    __m512 redGreen, blues;

    PIXMILL_AVX512_CODE Face512(const Corner512& low, const Corner512& high, __m512 f1, __m512 f2)
        : redGreen(between512(low.redGreen, high.redGreen, f1)),
          blues(betweenEntries512(lowerHalves512(low.blues, high.blues), upperHalves512(low.blues, high.blues), f2))
    {
    }
};

/// Eight pixels: red and green looked up, and blue before the step along the first axis, of both its corners.
struct Colours512 {
    __m512 redGreen, blues;

    PIXMILL_AVX512_CODE Colours512(const Cube& cube, const int* cell, __m512 f0, __m512 f1, __m512 f2)
    {
        const ushort* table = cube.table;
        const std::ptrdiff_t a = 3 * std::ptrdiff_t(cube.axes[0].upper), b = 3 * std::ptrdiff_t(cube.axes[1].upper);
        // What lies behind the last corner may be no memory of ours, so that one is read from before it.
        const Face512 low(Corner512(table, cell, kReadAhead, f2), Corner512(table + b, cell, kReadAhead, f2), f1, f2);
        const Face512 high(Corner512(table + a, cell, kReadAhead, f2),
                           Corner512(table + a + b - 2, cell, kReadBehind, f2), f1, f2);
        redGreen = between512(low.redGreen, high.redGreen, f0);
        blues = between512(lowerHalves512(low.blues, high.blues), upperHalves512(low.blues, high.blues), f1);
    }
};

/// One axis's constants, and where sixteen values lie on it.
struct Axis512 {
    __m512 low, scale, last;
    __m512i lastCell, stride;

    PIXMILL_AVX512_CODE explicit Axis512(const CubeAxis& axis)
        : low(_mm512_set1_ps(axis.low)), scale(_mm512_set1_ps(axis.scale)), last(_mm512_set1_ps(axis.last)),
          lastCell(_mm512_set1_epi32(axis.lastCell)), stride(_mm512_set1_epi32(axis.stride))
    {
    }

    PIXMILL_AVX512_CODE __m512i cells(__m512i v, __m512& fraction) const
    {
        const __m512 p = _mm512_mul_ps(_mm512_sub_ps(_mm512_cvtepi32_ps(v), low), scale);
        const __m512 inside = _mm512_min_ps(_mm512_max_ps(p, _mm512_setzero_ps()), last); // a NaN becomes 0
        const __m512i i = _mm512_min_epi32(_mm512_cvttps_epi32(inside), lastCell);
        fraction = _mm512_sub_ps(inside, _mm512_cvtepi32_ps(i));
        return _mm512_mullo_epi32(i, stride);
    }
};

/// Where some sixteens of pixels lie in the grid. Found ahead of the look-ups, so that these wait for no arithmetic.
struct Places512 {
    static constexpr int kPixels = 128;
    alignas(64) int cell[kPixels];
    alignas(64) float fraction[3][kPixels];

    PIXMILL_AVX512_CODE void find(const Axis512 (&axes)[3], const ushort* in, int n)
    {
        for (int x = 0; x < n; x += 16, in += 48) {
            const __m512i first = _mm512_loadu_si512(in);
            const __m512i second =
                _mm512_zextsi256_si512(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 32)));
            __m512i sum = _mm512_setzero_si512();
            for (int k = 0; k < 3; ++k) {
                const __m512i v = _mm512_maskz_permutex2var_epi16(0x55555555, first, words512(kPixelWords[k]), second);
                __m512 f;
                sum = _mm512_add_epi32(sum, axes[k].cells(v, f));
                _mm512_store_ps(fraction[k] + x, f);
            }
            _mm512_store_si512(cell + x, sum);
        }
    }
};

/// Sixteen pixels.
PIXMILL_AVX512_KERNEL void lookUpSixteen512(const Cube& cube, const Places512& places, int x, ushort* out)
{
    const __m512 f0 = _mm512_load_ps(places.fraction[0] + x), f1 = _mm512_load_ps(places.fraction[1] + x),
                 f2 = _mm512_load_ps(places.fraction[2] + x);
    const Colours512 left(cube, places.cell + x, lowerHalves512(f0, f0), lowerHalves512(f1, f1),
                          lowerHalves512(f2, f2));
    const Colours512 right(cube, places.cell + x + 8, upperHalves512(f0, f0), upperHalves512(f1, f1),
                           upperHalves512(f2, f2));
    const __m512 blue =
        between512(lowerHalves512(left.blues, right.blues), upperHalves512(left.blues, right.blues), f0);

    const __m512i redGreen[2] = {_mm512_cvttps_epi32(left.redGreen), _mm512_cvttps_epi32(right.redGreen)};
    const auto packed = [&](int i, unsigned blues) PIXMILL_AVX512_CODE {
        const __m512i words = _mm512_permutex2var_epi16(redGreen[0], words512(kPackedRedGreen[i]), redGreen[1]);
        return _mm512_mask_permutexvar_epi16(words, blues, words512(kPackedBlue[i]), _mm512_cvttps_epi32(blue));
    };
    _mm512_storeu_si512(out, packed(0, bluesFrom(0)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32), _mm512_castsi512_si256(packed(1, bluesFrom(32))));
}

/// lookUpCube of whole sixteens of pixels, in a roomy cube.
PIXMILL_AVX512_KERNEL int lookUpCube512(const Cube& cube, const ushort* in, ushort* out, int n)
{
    const Axis512 axes[3] = {Axis512(cube.axes[0]), Axis512(cube.axes[1]), Axis512(cube.axes[2])};
    const int whole = n / 16 * 16;
    Places512 places;
    for (int x = 0; x < whole; x += Places512::kPixels) {
        const int count = std::min(Places512::kPixels, whole - x);
        places.find(axes, in + 3 * x, count);
        for (int i = 0; i < count; i += 16)
            lookUpSixteen512(cube, places, i, out + 3 * (x + i));
    }
    return whole;
}

#else

constexpr auto lookUpCube512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::curves
