#pragma once

#include <pixmill/core/TImage.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/colour_rows.h>

#include <cstddef>
#include <cstdint>

/// Rows of TImage planes, and packed pixels of either depth and order.
namespace pixmill::core {

using namespace rows;

template <class T>
T* rowOf(const TImage& image, int plane, int y)
{
    return reinterpret_cast<T*>(image.m_plane_p[plane] + std::ptrdiff_t(y) * image.m_step);
}

/// Whether the picture is of this type and its planes reach over `size`.
inline bool covers(const TImage& image, TImage::IMTYPE type, const TSize& size)
{
    if (image.m_type != type)
        return false;
    const bool planes = image.m_plane_p[0] && (type != TImage::IM_C || image.m_plane_p[1]);
    return size.width <= 0 || size.height <= 0 ||
           (planes && image.m_width >= size.width && image.m_height >= size.height);
}

/// "type 3, 640 x 480", and whether its planes are missing.
inline std::string describe(const TImage& image)
{
    const bool planes = image.m_plane_p[0] && (image.m_type != TImage::IM_C || image.m_plane_p[1]);
    return "type " + std::to_string(image.m_type) + ", " + describe(cv::Size(image.m_width, image.m_height)) +
           (planes ? "" : " without planes");
}

inline void checkType(const TImage& image, TImage::IMTYPE type, const char* call, const char* argument)
{
    PIXMILL_CHECK(image.m_type == type, call, argument, describe(image), "type " + std::to_string(type));
}

inline void checkCovers(const TImage& image, TImage::IMTYPE type, const TSize& size, const char* call,
                        const char* argument)
{
    PIXMILL_CHECK(covers(image, type, size), call, argument, describe(image),
                  "type " + std::to_string(type) + " of at least " + describe(cv::Size(size.width, size.height)));
}

/// The rows to walk: none of a picture without columns.
inline cv::Size extent(const TImage& image)
{
    return image.m_width > 0 && image.m_height > 0 ? cv::Size(image.m_width, image.m_height) : cv::Size();
}

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
constexpr int kTile = 512;

} // namespace pixmill::core
