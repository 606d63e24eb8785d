#pragma once

#include <pixmill/develop/Developer.h>
#include <pixmill/develop/detail/color_rows.h>
#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/ring.h>

#include <algorithm>

/// From luma and half-size differences to packed pixels.
namespace pixmill::develop {

constexpr int kPackChunk = 256; ///< Pixels at a time, an even number: all of a chunk stays in the nearest cache.

struct PackChunk {
    ushort luma[kPackChunk];
    float dr[kPackChunk / 2 + 2], db[kPackChunk / 2 + 2]; ///< Twice the differences of a row.
    float red[kPackChunk], blue[kPackChunk];              ///< R - Y and B - Y of each pixel.
    float r[kPackChunk], g[kPackChunk], b[kPackChunk];
};

/// Twice the differences of a row: of a row of theirs, or of the middle between two.
inline void sumRows(const ushort* __restrict a, const ushort* __restrict b, float* __restrict sums, int n)
{
    for (int i = 0; i < n; ++i)
        sums[i] = float(int(a[i]) + int(b[i]) - 2 * kCentre);
}

/// One more along the row: even pixels have a difference of their own, odd ones the mean of its neighbours.
inline void spreadRow(const float* __restrict sums, float* __restrict out, int pairs)
{
    for (int i = 0; i < pairs; ++i) {
        out[2 * i] = sums[i];
        out[2 * i + 1] = 0.5f * (sums[i] + sums[i + 1]);
    }
}

/// Twice the differences of the pixels of row y from column 2 * first on, two for each of `pairs`, with `sums` for
/// scratch. `half` is the size of the differences in the picture, of which `ring` holds a part.
inline void fetchDifferences(const cv::Mat& ring, cv::Size half, int y, int first, int pairs, float* sums, float* out)
{
    ushort a[kPackChunk / 2 + 1], b[kPackChunk / 2 + 1];
    const int row = y / 2;
    fetch(ring, row, first, pairs + 1, half.width, a);
    fetch(ring, y % 2 == 0 ? row : std::min(row + 1, half.height - 1), first, pairs + 1, half.width, b);
    sumRows(a, b, sums, pairs + 1);
    spreadRow(sums, out, pairs);
}

/// 16-bit colours, not limited. Green is what luma leaves: of a grey it is exactly luma.
/// @return how far the worst of them lies outside 0..65535.
inline float joinRow(const ushort* __restrict luma, const float* __restrict red, const float* __restrict blue,
                     float* __restrict r, float* __restrict g, float* __restrict b, int n)
{
    int worst = 0;
    for (int x = 0; x < n; ++x) {
        const float y = float(luma[x]);
        r[x] = y + red[x];
        b[x] = y + blue[x];
        g[x] = y - (0.50936967f * red[x] + 0.19420783f * blue[x]);
        const float most = std::max(r[x], std::max(g[x], b[x])), least = std::min(r[x], std::min(g[x], b[x]));
        worst = std::max(worst, int(std::max(most - kFull, -least)));
    }
    return float(worst);
}

constexpr float kOutside = 2.0f; ///< Less is rounding, and simply cut off.

/// Colours out of range come back towards grey of the same luma, as far as they must: luma and hue stay.
inline void limitRow(const ushort* __restrict luma, float* __restrict r, float* __restrict g, float* __restrict b,
                     int n)
{
    for (int x = 0; x < n; ++x) {
        const float y = float(luma[x]);
        const float most = std::max(r[x], std::max(g[x], b[x])), least = std::min(r[x], std::min(g[x], b[x]));
        const float above = most > kFull + kOutside ? (kFull - y) / (most - y) : 1.0f;
        const float below = least < -kOutside ? y / (y - least) : 1.0f;
        const float k = std::min(above, below);
        r[x] = k < 1 ? y + k * (r[x] - y) : r[x];
        g[x] = k < 1 ? y + k * (g[x] - y) : g[x];
        b[x] = k < 1 ? y + k * (b[x] - y) : b[x];
    }
}

/// A colour table as it is looked up: entries R | G << 16 | B << 32, red varying fastest.
struct PackTable {
    const std::uint64_t* entries = nullptr;
    int size = 0;
    float strength = 1;
};

inline float unitLimit(float v)
{
    return limit(v, 0.0f, kFull);
}

inline void placeInTable(const float* __restrict r, const float* __restrict g, const float* __restrict b, int size,
                         GridPlaces& __restrict p, int n)
{
    const float scale = float(size - 1) * (2048.0f / kFull);
    const int last = size - 2;
    for (int i = 0; i < n; ++i) {
        const int x = roundToInt(unitLimit(r[i]) * scale), y = roundToInt(unitLimit(g[i]) * scale),
                  z = roundToInt(unitLimit(b[i]) * scale);
        const int cx = std::min(x >> 11, last), cy = std::min(y >> 11, last), cz = std::min(z >> 11, last);
        p.cell[i] = (cz * size + cy) * size + cx;
        p.first[i] = z - (cz << 11);
        p.second[i] = y - (cy << 11);
        p.third[i] = x - (cx << 11);
    }
}

inline void mixTable(const std::uint64_t (&__restrict picked)[4][kPackChunk], const GridCorners& __restrict c,
                     float strength, float* __restrict r, float* __restrict g, float* __restrict b, int n)
{
    for (int i = 0; i < n; ++i) {
        int sum[3] = {0, 0, 0};
        for (int k = 0; k < 4; ++k)
            for (int channel = 0; channel < 3; ++channel)
                sum[channel] += int(picked[k][i] >> (16 * channel) & 0xffff) * c.weight[k][i];
        r[i] = unitLimit(r[i]) + strength * (float(sum[0]) * (1.0f / 2048) - unitLimit(r[i]));
        g[i] = unitLimit(g[i]) + strength * (float(sum[1]) * (1.0f / 2048) - unitLimit(g[i]));
        b[i] = unitLimit(b[i]) + strength * (float(sum[2]) * (1.0f / 2048) - unitLimit(b[i]));
    }
}

inline void mapByTable(const PackTable& table, float* r, float* g, float* b, int n)
{
    static_assert(kPackChunk == kColorChunk, "both use one kind of scratch");
    GridPlaces places;
    GridCorners corners;
    std::uint64_t picked[4][kPackChunk];
    placeInTable(r, g, b, table.size, places, n);
    findCorners(places, table.size * table.size, table.size, 1, corners, n);
    for (int k = 0; k < 4; ++k)
        pickEntries(table.entries, corners.at[k], picked[k], n);
    mixTable(picked, corners, table.strength, r, g, b, n);
}

/// 8 bits: a 257th, to nearest.
inline std::uint32_t narrowed(float v)
{
    return std::uint32_t(clamp8(roundToInt(v * (1.0f / 257.0f))));
}

/// A 32-bit word at any address, over pixels of any type.
using AnyWord __attribute__((aligned(1), may_alias)) = std::uint32_t;

/// `first` is the channel of lowest address.
inline void storeWords(const float* __restrict first, const float* __restrict g, const float* __restrict last,
                       AnyWord* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = narrowed(first[x]) | narrowed(g[x]) << 8 | narrowed(last[x]) << 16 | 0xff000000u;
}

/// Four words of which the highest bytes are dropped fill three.
inline void dropFourths(const std::uint32_t* __restrict words, uchar* __restrict out, int n)
{
    auto* packed = reinterpret_cast<AnyWord*>(out);
    int x = 0;
    for (; x + 4 <= n; x += 4) {
        const std::uint32_t a = words[x] & 0xffffff, b = words[x + 1] & 0xffffff, c = words[x + 2] & 0xffffff,
                            d = words[x + 3];
        packed[0] = a | b << 24;
        packed[1] = b >> 8 | c << 16;
        packed[2] = c >> 16 | d << 8;
        packed += 3;
    }
    for (; x < n; ++x)
        std::memcpy(out + 3 * x, &words[x], 3);
}

template <int channels>
inline void store16(const float* __restrict first, const float* __restrict g, const float* __restrict last,
                    ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        out[channels * x] = nearPixel16(first[x]);
        out[channels * x + 1] = nearPixel16(g[x]);
        out[channels * x + 2] = nearPixel16(last[x]);
        if (channels == 4)
            out[channels * x + 3] = 65535;
    }
}

inline int bytesOf(Depth depth, Order order)
{
    const int channels = order == Order::RGB || order == Order::BGR ? 3 : 4;
    return depth == Depth::Bits8 ? channels : 2 * channels;
}

/// Stores `n` pixels as asked.
inline void storeRow(const float* r, const float* g, const float* b, Depth depth, Order order, void* out, int n)
{
    const bool swap = order == Order::BGR || order == Order::BGRA, three = order == Order::RGB || order == Order::BGR;
    const float *first = swap ? b : r, *last = swap ? r : b;
    if (depth == Depth::Bits16) {
        three ? store16<3>(first, g, last, static_cast<ushort*>(out), n)
              : store16<4>(first, g, last, static_cast<ushort*>(out), n);
    } else if (three) {
        std::uint32_t words[kPackChunk];
        storeWords(first, g, last, words, n);
        dropFourths(words, static_cast<uchar*>(out), n);
    } else {
        storeWords(first, g, last, static_cast<AnyWord*>(out), n);
    }
}

} // namespace pixmill::develop
