#include "frame_marks.h"

#include <algorithm>
#include <cstdint>

namespace editor {

namespace {

inline bool isDark(const uchar* p)
{
    return (p[0] | p[1] | p[2]) == 0;
}

inline bool isBright(const uchar* p)
{
    return std::max({p[0], p[1], p[2]}) == 255;
}

inline void paint(uchar* p, uchar r, uchar g, uchar b)
{
    p[0] = r, p[1] = g, p[2] = b;
}

/// Half of the tint where the share is full; two channels at a time in a word of four.
inline void tintRow(const uchar* __restrict share, std::uint32_t* __restrict pixels, int n)
{
    constexpr std::uint32_t kTwo = 0x00ff00ff, kRedAndBlue = 230 | 40 << 16, kGreenAndAlpha = 40 | 255 << 16;
    for (int x = 0; x < n; ++x) {
        const std::uint32_t s = share[x] >> 1, rest = 256 - s, p = pixels[x];
        const std::uint32_t redAndBlue = ((p & kTwo) * rest + kRedAndBlue * s) >> 8 & kTwo;
        const std::uint32_t greenAndAlpha = ((p >> 8 & kTwo) * rest + kGreenAndAlpha * s) & ~kTwo;
        pixels[x] = redAndBlue | greenAndAlpha;
    }
}

} // namespace

Histogram histogramOf(const cv::Mat& rgba, int step)
{
    Histogram of;
    int dark = 0, bright = 0, seen = 0;
    for (int y = 0; y < rgba.rows; y += step) {
        const uchar* row = rgba.ptr(y);
        for (int x = 0; x < rgba.cols; x += step, ++seen) {
            const uchar* p = row + 4 * x;
            for (int c = 0; c < 3; ++c)
                ++of.counts[std::size_t(c)][p[c] >> 2];
            dark += isDark(p);
            bright += isBright(p);
        }
    }
    of.dark = double(dark) / std::max(1, seen);
    of.bright = double(bright) / std::max(1, seen);
    return of;
}

void markClipping(cv::Mat& rgba)
{
    for (int y = 0; y < rgba.rows; ++y)
        for (uchar *p = rgba.ptr(y), *end = p + 4 * rgba.cols; p < end; p += 4) {
            if (isDark(p))
                paint(p, 40, 90, 255);
            else if (isBright(p))
                paint(p, 255, 40, 40);
        }
}

void showMask(cv::Mat& rgba, const cv::Mat& mask)
{
    for (int y = 0; y < rgba.rows; ++y)
        tintRow(mask.ptr(y), rgba.ptr<std::uint32_t>(y), rgba.cols);
}

} // namespace editor
