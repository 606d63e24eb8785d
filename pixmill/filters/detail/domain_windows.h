#pragma once

#include <algorithm>
#include <cstddef>

/// Means over the windows of a line, whose ends are found by domain coordinates.
namespace pixmill::detail {

constexpr int kWindows = 16;       ///< Pixels whose windows are found together.
constexpr int kCoordinatesPad = 4; ///< Infinite coordinates behind a line's own.

/// Whether no window of a line can tell a walk pixel by pixel from a count: no coordinate falls, and no limit leaves
/// the finite numbers or all coordinates below it.
inline bool plainLine(const float* coordinate, int n, float radius)
{
    int falls = 0;
    for (int i = 1; i < n; ++i)
        falls |= !(coordinate[i] >= coordinate[i - 1]);
    constexpr float kHuge = 1e38f;
    const float first = coordinate[0] - radius, last = coordinate[n - 1] + radius;
    return !falls && radius >= 0.0f && first >= -kHuge && last <= kHuge && coordinate[n - 1] > first;
}

/// ends[i] is the first of `from`, `from` + 1, ... whose coordinate lies above limits[i]; limits never fall.
inline void countUpTo(const float* coordinate, const float* __restrict limits, int from, int* __restrict ends)
{
    int counts[kWindows];
    std::fill_n(counts, kWindows, from);
    for (const float* c = coordinate + from;; c += kCoordinatesPad) {
        for (int j = 0; j < kCoordinatesPad; ++j)
            for (int i = 0; i < kWindows; ++i)
                counts[i] += c[j] > limits[i] ? 0 : 1;
        if (c[kCoordinatesPad - 1] > limits[kWindows - 1])
            break;
    }
    std::copy_n(counts, kWindows, ends);
}

/// The first of j, j + 1, ... n whose coordinate lies above `limit`.
inline int firstAbove(const float* coordinate, float limit, int j, int n)
{
    while (j < n && !(coordinate[j] > limit))
        ++j;
    return j;
}

/// The windows of a line, sixteen pixels at a time from its start on. Window i holds the pixels lows[i]..highs[i]-1.
struct Windows {
    const float* coordinate; ///< n of them, and kCoordinatesPad infinities
    int n;
    float radius;
    bool plain;            ///< of plainLine
    int low = 0, high = 0; ///< of the last pixel found
    int lows[kWindows] = {}, highs[kWindows] = {};

    inline void find(int x, int count)
    {
        if (plain) {
            float below[kWindows], above[kWindows];
            for (int i = 0; i < kWindows; ++i) {
                const float at = coordinate[std::min(x + i, n - 1)];
                below[i] = at - radius;
                above[i] = at + radius;
            }
            countUpTo(coordinate, below, low, lows);
            countUpTo(coordinate, above, high, highs);
        } else {
            int l = low, h = high;
            for (int i = 0; i < count; ++i) {
                lows[i] = l = firstAbove(coordinate, coordinate[x + i] - radius, l, n);
                highs[i] = h = firstAbove(coordinate, coordinate[x + i] + radius, h, n);
                if (x + i == 0 && l == n)
                    lows[i] = l = 0; // no sample lies above: the window begins with the line
            }
        }
        low = lows[count - 1];
        high = highs[count - 1];
    }
};

/// Floats of a pixel's running sums: three channels take a place more, to be one vector.
inline int sumsStep(int channels)
{
    return channels == 3 ? 4 : channels;
}

/// Means of the windows of `count` pixels with C channels (`channels` if C is 0), `pitch` floats from one to the next.
/// Three channels touch the float behind a pixel.
template <int C>
inline void windowMeans(const Windows& windows, const float* sums, int channels, int count, float* out,
                        std::ptrdiff_t pitch)
{
    const int step = C > 0 ? (C == 3 ? 4 : C) : channels;
    for (int i = 0; i < count; ++i, out += pitch) {
        const int low = windows.lows[i], high = windows.highs[i];
        const float *lower = sums + std::ptrdiff_t(low) * step, *upper = sums + std::ptrdiff_t(high) * step;
        const float size = float(high - low);
        float mean[C > 0 ? (C == 3 ? 4 : C) : 1];
        if (C > 0) {
            for (int k = 0; k < step; ++k)
                mean[k] = (upper[k] - lower[k]) / size;
            std::copy_n(mean, step, out);
        } else {
            for (int k = 0; k < step; ++k)
                out[k] = (upper[k] - lower[k]) / size;
        }
    }
}

/// sums[0] = 0 and sums[i + 1] = sums[i] + line[i] for every channel; or with the first pixel as it is, which keeps a
/// negative zero.
template <int C>
inline void sumLine(const float* line, int n, int channels, bool firstAsItIs, float* sums)
{
    const int c = C > 0 ? C : channels, step = C == 3 ? 4 : c;
    std::fill_n(sums, step, 0.0f);
    for (int k = 0; k < c; ++k)
        sums[step + k] = firstAsItIs ? line[k] : 0.0f + line[k];
    if (C == 3) {
        float sum[4] = {sums[4], sums[5], sums[6], 0.0f};
        for (int i = 1; i < n - 1; ++i) { // reads a float of the next pixel
            for (int k = 0; k < 4; ++k)
                sum[k] += line[i * 3 + k];
            std::copy_n(sum, 4, sums + (i + 1) * 4);
        }
        for (int k = 0; k < 3 && n > 1; ++k)
            sums[n * 4 + k] = sum[k] + line[(n - 1) * 3 + k];
        sums[n * 4 + 3] = 0.0f;
    } else {
        for (int i = c; i < n * c; ++i)
            sums[i + c] = sums[i] + line[i];
    }
}

} // namespace pixmill::detail
