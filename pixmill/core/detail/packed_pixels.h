#pragma once

#include <pixmill/core/image_planes.h>
#include <pixmill/rows/colour_rows.h>

#include <cstddef>
#include <cstdint>

/// Packed pixels of either depth and order.
namespace pixmill::core {

using namespace rows;

/// Two 16-bit samples that follow one another in memory.
inline std::uint32_t pairOf(int first, int second)
{
    return std::uint32_t(first) | std::uint32_t(second) << 16;
}

struct Rgba {
    int r, g, b, a;
};

// How packed pixels of either depth and order read and write as 16-bit values: a word is two samples of 16 bits, or a
// pixel of 8.

struct Rgba16 {
    static constexpr int kWords = 2; ///< A pixel.

    static Rgba load(const AnyWord* row, int x)
    {
        const std::uint32_t rg = row[2 * x], ba = row[2 * x + 1];
        return {int(rg & 65535), int(rg >> 16), int(ba & 65535), int(ba >> 16)};
    }

    static void store(AnyWord* row, int x, const Rgba& p)
    {
        row[2 * x] = pairOf(p.r, p.g);
        row[2 * x + 1] = pairOf(p.b, p.a);
    }
};

struct Rgba8 {
    static constexpr int kWords = 1;

    static Rgba load(const AnyWord* row, int x)
    {
        const std::uint32_t w = row[x];
        return {int(w & 255) * 257, int(w >> 8 & 255) * 257, int(w >> 16 & 255) * 257, int(w >> 24) * 257};
    }

    /// Each of two 16-bit samples divided by 257, to nearest: v - round(v / 256) is v * 255 / 256, and the high byte of
    /// that plus a half is the answer for every v. No sample runs over into its neighbour.
    static std::uint32_t narrow(std::uint32_t pair)
    {
        const std::uint32_t share = (pair >> 8 & 0xff00ff) + (pair >> 7 & 0x10001);
        return (pair - share + 0x800080) >> 8 & 0xff00ff;
    }

    static void store(AnyWord* row, int x, const Rgba& p)
    {
        row[x] = narrow(pairOf(p.r, p.b)) | narrow(pairOf(p.g, p.a)) << 8;
    }
};

struct Bgra8 {
    static constexpr int kWords = 1;

    static Rgba load(const AnyWord* row, int x)
    {
        const Rgba p = Rgba8::load(row, x);
        return {p.b, p.g, p.r, p.a};
    }

    static void store(AnyWord* row, int x, const Rgba& p) { Rgba8::store(row, x, {p.b, p.g, p.r, p.a}); }
};

/// Columns worked on at a time, an even number: the scratch of a tile stays in the cache.
constexpr int kPackedTile = 512;

} // namespace pixmill::core
