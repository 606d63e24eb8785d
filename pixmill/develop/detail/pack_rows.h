#pragma once

#include <pixmill/develop/Developer.h>
#include <pixmill/develop/detail/color_rows.h>
#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/ring.h>

#include <algorithm>

/// From luma and half-size differences to packed pixels.
namespace pixmill::develop {

constexpr int kPackChunk = 256; ///< Pixels at a time, an even number: all of a chunk stays in the nearest cache.

/// A 32-bit word at any address, over pixels of any type.
using AnyWord __attribute__((aligned(1), may_alias)) = std::uint32_t;

struct PackChunk {
    float red[kPackChunk], blue[kPackChunk]; ///< R - Y and B - Y of each pixel.
    float r[kPackChunk], g[kPackChunk], b[kPackChunk];
    std::uint32_t words[kPackChunk];
};

/// Twice the difference that row y of the picture has at site i: that of a row of sites, or the mean of two.
struct SiteRows {
    const ushort *row, *next;
    ushort copy[2][kPackChunk / 2 + 1]; ///< Where the sites do not lie side by side.

    /// The sites of `pairs` pairs of pixels and one more. `half` is the size of the differences in the picture, of
    /// which `ring` holds a part.
    void find(const cv::Mat& ring, cv::Size half, int y, int first, int pairs)
    {
        const int below = y % 2 == 0 ? y / 2 : std::min(y / 2 + 1, half.height - 1);
        row = span(ring, y / 2, first, pairs + 1, half.width, copy[0]);
        next = span(ring, below, first, pairs + 1, half.width, copy[1]);
    }
    int twice(int i) const { return row[i] + next[i] - 2 * kCentre; }
};

/// Differences of each pixel: even ones have one of their own, odd ones the mean of its neighbours. A row's twice the
/// difference at half a pixel's distance is a whole number, and so is the sum of two: exact in single precision.
inline void spreadRow(const ushort* __restrict row, const ushort* __restrict next, float* __restrict out, int pairs)
{
    for (int i = 0; i < pairs; ++i) {
        const int here = row[i] + next[i] - 2 * kCentre, beside = row[i + 1] + next[i + 1] - 2 * kCentre;
        out[2 * i] = float(here);
        out[2 * i + 1] = 0.5f * float(here + beside);
    }
}

/// The differences of the pixels of row y from column 2 * first on, two for each of `pairs`.
inline void fetchDifferences(const cv::Mat& ring, cv::Size half, int y, int first, int pairs, float* out)
{
    SiteRows sites;
    sites.find(ring, half, y, first, pairs);
    spreadRow(sites.row, sites.next, out, pairs);
}

/// 16-bit colours, not limited. Green is what luma leaves: of a grey it is exactly luma.
struct Joined {
    float r, g, b;

    Joined(float y, float red, float blue) : r(y + red), g(y - (0.50936967f * red + 0.19420783f * blue)), b(y + blue) {}
};

/// 8 bits: a 257th, to nearest; not limited.
inline int narrowed(float v)
{
    return roundToInt(v * (1.0f / 257.0f));
}

/// What does not fit 8 bits has bits above the lowest eight; closer to the range it is simply cut off.
inline bool outside(int bits)
{
    return (bits & ~255) != 0;
}

/// A word of values within 8 bits.
inline std::uint32_t joinBytes(int first, int g, int last)
{
    return std::uint32_t(first) | std::uint32_t(g) << 8 | std::uint32_t(last) << 16 | 0xff000000u;
}

/// Words of pairs of pixels, red or with `swap` blue lowest. @return whether a colour lies outside; the words are then
/// not to be used.
template <bool swap>
inline bool packPairs(const AnyWord* __restrict luma, const ushort* __restrict dr, const ushort* __restrict drNext,
                      const ushort* __restrict db, const ushort* __restrict dbNext, AnyWord* __restrict out, int pairs)
{
    int bits = 0;
    for (int i = 0; i < pairs; ++i) {
        const int red = dr[i] + drNext[i] - 2 * kCentre, redBeside = dr[i + 1] + drNext[i + 1] - 2 * kCentre;
        const int blue = db[i] + dbNext[i] - 2 * kCentre, blueBeside = db[i + 1] + dbNext[i + 1] - 2 * kCentre;
        const std::uint32_t both = luma[i];
        const Joined a(float(int(both & 0xffff)), float(red), float(blue));
        const Joined b(float(int(both >> 16)), 0.5f * float(red + redBeside), 0.5f * float(blue + blueBeside));
        const int ar = narrowed(a.r), ag = narrowed(a.g), ab = narrowed(a.b);
        const int br = narrowed(b.r), bg = narrowed(b.g), bb = narrowed(b.b);
        bits |= ar | ag | ab | br | bg | bb;
        out[2 * i] = swap ? joinBytes(ab, ag, ar) : joinBytes(ar, ag, ab);
        out[2 * i + 1] = swap ? joinBytes(bb, bg, br) : joinBytes(br, bg, bb);
    }
    return outside(bits);
}

inline void joinRow(const ushort* __restrict luma, PackChunk& __restrict c, int n)
{
    for (int x = 0; x < n; ++x) {
        const Joined p(float(luma[x]), c.red[x], c.blue[x]);
        c.r[x] = p.r;
        c.g[x] = p.g;
        c.b[x] = p.b;
    }
}

/// Colours outside come back towards grey of the same luma, as far as they must: luma and hue stay.
inline void limitRow(const ushort* __restrict luma, PackChunk& __restrict c, int n)
{
    for (int x = 0; x < n; ++x) {
        const float y = float(luma[x]), r = c.r[x], g = c.g[x], b = c.b[x];
        const float most = std::max(r, std::max(g, b)), least = std::min(r, std::min(g, b));
        const float above = most > kFull ? (kFull - y) / (most - y) : 1.0f;
        const float below = least < 0 ? y / (y - least) : 1.0f;
        const float k = std::min(above, below);
        const bool moved = ((narrowed(r) | narrowed(g) | narrowed(b)) & ~255) != 0;
        c.r[x] = moved ? y + k * (r - y) : r;
        c.g[x] = moved ? y + k * (g - y) : g;
        c.b[x] = moved ? y + k * (b - y) : b;
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
                         GridPlaces<int>& __restrict p, int n)
{
    const float scale = float(size - 1) * (2048.0f / kFull);
    const int last = size - 2;
    for (int i = 0; i < n; ++i) {
        const int x = roundToInt(unitLimit(r[i]) * scale), y = roundToInt(unitLimit(g[i]) * scale),
                  z = roundToInt(unitLimit(b[i]) * scale);
        const int cx = std::min(x >> 11, last), cy = std::min(y >> 11, last), cz = std::min(z >> 11, last);
        p.cell[i] = (cz * size + cy) * size + cx;
        p.first[i] = short(z - (cz << 11));
        p.second[i] = short(y - (cy << 11));
        p.third[i] = short(x - (cx << 11));
    }
}

inline void mixTable(const std::uint64_t (&__restrict picked)[4][kPackChunk], const GridCorners<int>& __restrict c,
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
    GridPlaces<int> places;
    GridCorners<int> corners;
    std::uint64_t picked[4][kPackChunk];
    placeInTable(r, g, b, table.size, places, n);
    findCorners<int>(places, table.size * table.size, table.size, 1, corners, n);
    for (int k = 0; k < 4; ++k)
        pickEntries(table.entries, corners.at[k], picked[k], n);
    mixTable(picked, corners, table.strength, r, g, b, n);
}

/// `first` is the channel of lowest address.
inline void storeWords(const float* __restrict first, const float* __restrict g, const float* __restrict last,
                       AnyWord* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = joinBytes(clamp8(narrowed(first[x])), clamp8(narrowed(g[x])), clamp8(narrowed(last[x])));
}

/// Four words of which the highest bytes are dropped fill three.
inline void dropFourths(const std::uint32_t* __restrict words, uchar* __restrict out, int n)
{
    AnyWord* packed = reinterpret_cast<AnyWord*>(out);
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

inline bool blueFirst(Order order)
{
    return order == Order::BGR || order == Order::BGRA;
}

inline bool threeChannels(Order order)
{
    return order == Order::RGB || order == Order::BGR;
}

/// Stores `n` pixels from `x` on as asked.
inline void storeRow(PackChunk& c, int x, Depth depth, Order order, void* out, int n)
{
    const float *first = (blueFirst(order) ? c.b : c.r) + x, *g = c.g + x, *last = (blueFirst(order) ? c.r : c.b) + x;
    if (depth == Depth::Bits16) {
        threeChannels(order) ? store16<3>(first, g, last, static_cast<ushort*>(out), n)
                             : store16<4>(first, g, last, static_cast<ushort*>(out), n);
    } else if (threeChannels(order)) {
        storeWords(first, g, last, c.words, n);
        dropFourths(c.words, static_cast<uchar*>(out), n);
    } else {
        storeWords(first, g, last, static_cast<AnyWord*>(out), n);
    }
}

} // namespace pixmill::develop
