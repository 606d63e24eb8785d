#pragma once

#include <pixmill/filters/detail/window_pads.h>
#include <pixmill/filters/detail/windows_avx512.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

/// Means over the windows of a line, whose ends are found by domain coordinates.
namespace pixmill::filters {

constexpr int kWindows = 16; ///< Pixels whose windows are found together.

/// ends[i] is the first of `from`, `from` + 1, ... whose coordinate lies above limits[i]; limits never fall.
inline void countUpTo(const float* coordinate, const float* __restrict limits, int from, int* __restrict ends)
{
    int counts[kWindows];
    constexpr int kTogether = 4;
    std::fill_n(counts, kWindows, from);
    for (const float* c = coordinate + from;; c += kTogether) {
        for (int j = 0; j < kTogether; ++j)
            for (int i = 0; i < kWindows; ++i)
                counts[i] += c[j] > limits[i] ? 0 : 1;
        if (c[kTogether - 1] > limits[kWindows - 1])
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
    const float* coordinate; ///< n of them, padded
    int n;
    float radius;
    bool wide;             ///< by hand
    bool rising;           ///< no coordinate falls, and no limit is below all coordinates or not a number
    int low = 0, high = 0; ///< of the last pixel found
    int lows[kWindows] = {}, highs[kWindows] = {};
    float sizes[kWindows] = {};

    /// `apart` tells that the coordinates are known to rise and to be finite.
    inline void begin(const float* line, int pixels, float r, bool apart)
    {
        coordinate = line;
        n = pixels;
        radius = r;
        wide = takesAvx512();
        int falls = 0;
        for (int i = 1; i < n && !apart; ++i)
            falls |= !(line[i] >= line[i - 1]);
        constexpr float kHuge = 1e38f;
        const float first = line[0] - radius, last = line[n - 1] + radius;
        rising = !falls && radius >= 0.0f && first >= -kHuge && last <= kHuge && line[n - 1] > first;
    }

    /// `before` is the end found for pixel x - 1.
    inline void findEnds(int x, const float* limits, int before, int* ends) const
    {
        if (!wide || !endsNear512(coordinate + x, x, limits, before - x + 1, ends))
            countUpTo(coordinate, limits, before, ends);
    }

    inline void find(int x, int count)
    {
        if (rising) {
            __builtin_prefetch(coordinate + x + 4 * kWindows);
            float below[kWindows], above[kWindows];
            for (int i = 0; i < kWindows; ++i) {
                const float at = coordinate[std::min(x + i, n - 1)];
                below[i] = at - radius;
                above[i] = at + radius;
            }
            findEnds(x, below, low, lows);
            findEnds(x, above, high, highs);
        } else {
            int l = low, h = high;
            for (int i = 0; i < count; ++i) {
                lows[i] = l = firstAbove(coordinate, coordinate[x + i] - radius, l, n);
                highs[i] = h = firstAbove(coordinate, coordinate[x + i] + radius, h, n);
                if (x + i == 0 && l == n)
                    lows[i] = l = 0; // no sample lies above: the window begins with the line
            }
        }
        for (int i = 0; i < kWindows; ++i)
            sizes[i] = float(highs[i] - lows[i]);
        low = lows[count - 1];
        high = highs[count - 1];
    }
};

/// Whether C channels are taken as one vector of four, which touches the float behind a pixel.
template <int C>
constexpr bool kAsFour = C == 3;

typedef float Four __attribute__((vector_size(16)));

inline Four fourAt(const float* at)
{
    Four v;
    std::memcpy(&v, at, sizeof v);
    return v;
}

inline void storeFour(float* at, const Four& v)
{
    std::memcpy(at, &v, sizeof v);
}

/// Means of the windows of `count` pixels, `pitch` floats from one to the next. The sums of the pixels before pixel i
/// stand at sums[(i & mask) * step].
template <int C>
inline void windowMeans(const Windows& windows, const float* sums, std::ptrdiff_t step, unsigned mask, int channels,
                        int count, float* out, std::ptrdiff_t pitch)
{
    for (int i = 0; i < count; ++i, out += pitch) {
        const float* lower = sums + std::ptrdiff_t(unsigned(windows.lows[i]) & mask) * step;
        const float* upper = sums + std::ptrdiff_t(unsigned(windows.highs[i]) & mask) * step;
        const float size = windows.sizes[i];
        if (kAsFour<C>)
            storeFour(out, (fourAt(upper) - fourAt(lower)) / size);
        else
            for (int k = 0; k < (C > 0 ? C : channels); ++k)
                out[k] = (upper[k] - lower[k]) / size;
    }
}

/// For each of R lines, sums[0] = 0 and sums[i + 1] = sums[i] + line[i] for every channel; or with the first pixel as
/// it is, which keeps a negative zero. Lines side by side hide each other's latency. Sums are `apart` floats from one
/// line's to the next one's.
template <int C, int R>
inline void sumLines(const float* const* lines, int n, int channels, bool firstAsItIs, float* sums,
                     std::ptrdiff_t apart)
{
    const int c = C > 0 ? C : channels;
    for (int r = 0; r < R; ++r)
        for (int k = 0; k < c; ++k) {
            sums[r * apart + k] = 0.0f;
            sums[r * apart + c + k] = firstAsItIs ? lines[r][k] : 0.0f + lines[r][k];
        }
    std::ptrdiff_t i = c;
    const std::ptrdiff_t last = std::ptrdiff_t(n - 1) * c;
    if (kAsFour<C> && n > 2) {
        Four sum[R];
        for (int r = 0; r < R; ++r)
            sum[r] = fourAt(sums + r * apart + c);
        for (; i < last; i += c)
            for (int r = 0; r < R; ++r) {
                sum[r] += fourAt(lines[r] + i);
                storeFour(sums + r * apart + i + c, sum[r]);
            }
    }
    for (; i < last + c; ++i)
        for (int r = 0; r < R; ++r)
            sums[r * apart + i + c] = sums[r * apart + i] + lines[r][i];
}

} // namespace pixmill::filters
