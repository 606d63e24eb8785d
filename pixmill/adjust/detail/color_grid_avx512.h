#pragma once

#include <pixmill/rows/avx512.h>
#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <array>
#include <cstddef>

/// Trilinear look-ups in TColorAdjQ3's tables for processors with AVX-512: a cell's four corners at one luma come in
/// one read, and both differences of eight pixels fill a vector.
namespace pixmill::adjust {

using namespace rows;

/// Dr and Db of a node, of the next along Db, of the next along Dr, and of the next along both.
struct alignas(16) CellFace {
    ushort corners[8];
};

/// The tables, and how a value is split into its cell and where it lies within.
struct ColorGrid {
    const CellFace* faces;
    int nodes; ///< Along each axis.
    int shift; ///< Of a value to its cell.
};

/// One row: inputs, outputs; an output may be the input of its name.
struct ColorRow {
    const ushort *oldY, *newY, *inDr, *inDb;
    ushort *outDr, *outDb;

    ColorRow from(int x) const { return {oldY + x, newY + x, inDr + x, inDb + x, outDr + x, outDb + x}; }
};

#if PIXMILL_X86

/// For corner k of the faces of eight pixels in two vectors: Dr in the even words of the lower lanes, Db of the upper.
constexpr std::array<ushort, 32> faceWords(int k)
{
    std::array<ushort, 32> words = {};
    for (int i = 0; i < 16; ++i)
        words[2 * i] = ushort(i % 8 * 8 + 2 * k + i / 8);
    return words;
}

alignas(64) constexpr std::array<ushort, 32> kFaceWords[4] = {faceWords(0), faceWords(1), faceWords(2), faceWords(3)};

/// a * (1 - f) + b * f.
PIXMILL_AVX512_STEP __m512 mixed512(__m512 a, __m512 b, __m512 f)
{
    const __m512 rest = _mm512_sub_ps(_mm512_set1_ps(1.0f), f);
    return _mm512_add_ps(_mm512_mul_ps(a, rest), _mm512_mul_ps(b, f));
}

PIXMILL_AVX512_STEP __m512i cells512(__m512i v, int shift)
{
    return _mm512_srl_epi32(v, _mm_cvtsi32_si128(shift));
}

PIXMILL_AVX512_STEP __m512 fractions512(__m512i v, int shift)
{
    const __m512i within = _mm512_and_si512(v, _mm512_set1_epi32((1 << shift) - 1));
    return _mm512_mul_ps(_mm512_cvtepi32_ps(within), _mm512_set1_ps(1 / float(1 << shift)));
}

/// Where some sixteens of pixels lie in the tables. Found ahead of the look-ups, so that these wait for no arithmetic.
struct ColorPlaces512 {
    static constexpr int kPixels = 128;
    alignas(64) int cell[kPixels];
    alignas(64) float fractionY[kPixels], fractionDr[kPixels], fractionDb[kPixels];

    PIXMILL_AVX512_CODE void find(const ColorGrid& grid, const ColorRow& row, int n)
    {
        const __m512 dark = _mm512_set1_ps(655.3f), none = _mm512_set1_ps(32768.0f), one = _mm512_set1_ps(1.0f);
        const __m512i nodes = _mm512_set1_epi32(grid.nodes);
        for (int x = 0; x < n; x += 16) {
            const __m512i y = widened512(row.newY + x);
            const __m512 old = _mm512_cvtepi32_ps(widened512(row.oldY + x));
            const __m512 quotient = _mm512_div_ps(_mm512_add_ps(_mm512_cvtepi32_ps(y), dark), _mm512_add_ps(old, dark));
            const __m512 ratio = _mm512_max_ps(quotient, one);
            const auto grown = [&](const ushort* d) PIXMILL_AVX512_CODE {
                const __m512 away = _mm512_sub_ps(_mm512_cvtepi32_ps(widened512(d + x)), none);
                const __m512 v = _mm512_add_ps(_mm512_mul_ps(away, ratio), none);
                const __m512 inside = _mm512_min_ps(_mm512_max_ps(v, _mm512_setzero_ps()), _mm512_set1_ps(65535.0f));
                return _mm512_cvtps_epi32(inside);
            };
            const __m512i dr = grown(row.inDr), db = grown(row.inDb);
            const __m512i plane =
                _mm512_add_epi32(_mm512_mullo_epi32(cells512(y, grid.shift), nodes), cells512(dr, grid.shift));
            _mm512_store_si512(cell + x, _mm512_add_epi32(_mm512_mullo_epi32(plane, nodes), cells512(db, grid.shift)));
            _mm512_store_ps(fractionY + x, fractions512(y, grid.shift));
            _mm512_store_ps(fractionDr + x, fractions512(dr, grid.shift));
            _mm512_store_ps(fractionDb + x, fractions512(db, grid.shift));
        }
    }
};

PIXMILL_AVX512_STEP __m512i readFaces512(const CellFace* faces, const int* cell)
{
    const auto read = [=](int i) PIXMILL_AVX512_CODE {
        return _mm_load_si128(reinterpret_cast<const __m128i*>(faces + cell[i]));
    };
    return fromQuarters512(read(0), read(1), read(2), read(3));
}

/// Dr of eight pixels, then their Db, at one luma of their cells.
PIXMILL_AVX512_STEP __m512 onFaces512(const CellFace* faces, const int* cell, __m512 fDr, __m512 fDb)
{
    const __m512i first = readFaces512(faces, cell), second = readFaces512(faces, cell + 4);
    const auto corner = [&](int k) PIXMILL_AVX512_CODE {
        const __m512i words = _mm512_load_si512(kFaceWords[k].data());
        return _mm512_cvtepi32_ps(_mm512_maskz_permutex2var_epi16(0x55555555, first, words, second));
    };
    return mixed512(mixed512(corner(0), corner(1), fDb), mixed512(corner(2), corner(3), fDb), fDr);
}

/// The same after the step along luma.
PIXMILL_AVX512_STEP __m512 lookedUp512(const ColorGrid& grid, const int* cell, __m512 fY, __m512 fDr, __m512 fDb)
{
    const __m512 below = onFaces512(grid.faces, cell, fDr, fDb);
    const __m512 above = onFaces512(grid.faces + grid.nodes * grid.nodes, cell, fDr, fDb);
    return mixed512(below, above, fY);
}

/// Whole numbers of 0 to 65535, to nearest.
PIXMILL_AVX512_STEP void storeNearest512(__m512 v, ushort* out)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm512_cvtusepi32_epi16(_mm512_cvtps_epi32(v)));
}

PIXMILL_AVX512_STEP void mapSixteen512(const ColorGrid& grid, const ColorPlaces512& places, int x, ushort* outDr,
                                       ushort* outDb)
{
    const __m512 fY = _mm512_load_ps(places.fractionY + x), fDr = _mm512_load_ps(places.fractionDr + x),
                 fDb = _mm512_load_ps(places.fractionDb + x);
    const __m512 left =
        lookedUp512(grid, places.cell + x, lowerHalves512(fY, fY), lowerHalves512(fDr, fDr), lowerHalves512(fDb, fDb));
    const __m512 right = lookedUp512(grid, places.cell + x + 8, upperHalves512(fY, fY), upperHalves512(fDr, fDr),
                                     upperHalves512(fDb, fDb));
    storeNearest512(lowerHalves512(left, right), outDr);
    storeNearest512(upperHalves512(left, right), outDb);
}

PIXMILL_AVX512_KERNEL void mapSixteens512(const ColorGrid& grid, const ColorRow& row, int n)
{
    ColorPlaces512 places;
    for (int x = 0; x < n; x += ColorPlaces512::kPixels) {
        const int count = std::min(ColorPlaces512::kPixels, n - x);
        places.find(grid, row.from(x), count);
        for (int i = 0; i < count; i += 16)
            mapSixteen512(grid, places, i, row.outDr + x + i, row.outDb + x + i);
    }
}

/// A row of any length: its last pixels, fewer than sixteen, in buffers of sixteen.
PIXMILL_AVX512_KERNEL void mapColors512(const ColorGrid& grid, const ColorRow& row, int n)
{
    const int whole = n / 16 * 16, rest = n - whole;
    mapSixteens512(grid, row, whole);
    if (rest == 0)
        return;
    const ColorRow last = row.from(whole);
    ushort in[4][16] = {}, out[2][16];
    std::copy_n(last.oldY, rest, in[0]);
    std::copy_n(last.newY, rest, in[1]);
    std::copy_n(last.inDr, rest, in[2]);
    std::copy_n(last.inDb, rest, in[3]);
    mapSixteens512(grid, {in[0], in[1], in[2], in[3], out[0], out[1]}, 16);
    std::copy_n(out[0], rest, last.outDr);
    std::copy_n(out[1], rest, last.outDb);
}

#else

constexpr auto mapColors512 = kNoKernel;

#endif // PIXMILL_X86

} // namespace pixmill::adjust
