#pragma once

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/view.h>

#include <algorithm>

/// Local adjustments: what each changes, times its mask, added to what the recipe makes everywhere.
namespace pixmill::develop {

constexpr int kBlendChunk = 256;

/// Weights are 1020ths and sums are whole numbers, so the order of the adjustments changes nothing; so many fit.
constexpr int kMostLocals = 32, kWhole = 1020;

struct BlendChunk {
    int pairs[kBlendChunk / 2 + 2];
    int weight[kBlendChunk + 1], sum[2][kBlendChunk];
};

inline void addBlend(const ushort* __restrict from, const ushort* __restrict to, const int* __restrict weight,
                     int* __restrict sum, int n)
{
    for (int x = 0; x < n; ++x)
        sum[x] += weight[x] * (to[x] - from[x]);
}

inline void endBlend(const ushort* __restrict from, const int* __restrict sum, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = toPixel16(float(from[x]) + float(sum[x]) * (1.0f / kWhole));
}

/// The mask's weights of `n` pixels of row y from x on, x even: enlarged as colours are.
/// @return whether any is above 0.
inline bool spreadMask(const MaskPlane& mask, int y, int x, int n, BlendChunk& chunk)
{
    if ((mask.bounds & cv::Rect(x, y, n, 1)).empty())
        return false;
    const int cols = mask.plane.cols, first = x / 2, pairs = halfSize(n);
    const uchar* a = mask.plane.ptr(y / 2);
    const uchar* b = mask.plane.ptr(y % 2 == 0 ? y / 2 : std::min(y / 2 + 1, mask.plane.rows - 1));
    int any = 0;
    for (int i = 0; i <= pairs; ++i) {
        const int at = std::min(first + i, cols - 1);
        chunk.pairs[i] = a[at] + b[at];
        any |= chunk.pairs[i];
    }
    for (int i = 0; i < pairs; ++i) {
        chunk.weight[2 * i] = 2 * chunk.pairs[i];
        chunk.weight[2 * i + 1] = chunk.pairs[i] + chunk.pairs[i + 1];
    }
    return any != 0;
}

/// The same for `n` differences: those of the even pixels.
inline bool halfMask(const MaskPlane& mask, int y, int x, int n, BlendChunk& chunk)
{
    if ((mask.bounds & cv::Rect(x, y, 2 * n, 1)).empty())
        return false;
    const uchar* row = mask.plane.ptr(y / 2) + x / 2;
    int any = 0;
    for (int i = 0; i < n; ++i) {
        chunk.weight[i] = 4 * row[i];
        any |= row[i];
    }
    return any != 0;
}

} // namespace pixmill::develop
