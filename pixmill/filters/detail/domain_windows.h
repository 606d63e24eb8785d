#pragma once

#include <pixmill/filters/detail/window_ends.h>
#include <pixmill/filters/detail/window_pads.h>
#include <pixmill/filters/detail/windows_avx512.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

/// Means over the windows of a line, whose ends are found by domain coordinates.
namespace pixmill::filters {

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

/// The windows of a line, sixteen pixels at a time from its start on: from the first pixel whose coordinate lies above
/// a pixel's own less the radius to before the first one whose coordinate lies above the sum.
struct Windows {
    const float* coordinate; ///< n of them, padded
    int n;
    float radius;
    bool wide;             ///< by hand
    bool rising;           ///< no coordinate falls, and no limit is below all coordinates or not a number
    int low = 0, high = 0; ///< ends of the last pixel's

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

    inline void find(int x, int count, SumPlaces places, WindowEnds& ends)
    {
        __builtin_prefetch(coordinate + x + 4 * kWindows);
        if (rising && wide && count == kWindows && windowsNear512(coordinate + x, x, radius, places, low, high, ends))
            return;
        rising ? walkTogether(x, ends) : walkEach(x, count, ends);
        low = ends.lows[count - 1];
        high = ends.highs[count - 1];
        for (int i = 0; i < kWindows; ++i) {
            ends.sizes[i] = float(ends.highs[i] - ends.lows[i]);
            ends.lows[i] = int(unsigned(ends.lows[i]) & places.mask) * places.step;
            ends.highs[i] = int(unsigned(ends.highs[i]) & places.mask) * places.step;
        }
    }

private:
    /// Both give pixels.
    inline void walkTogether(int x, WindowEnds& ends) const
    {
        float below[kWindows], above[kWindows];
        for (int i = 0; i < kWindows; ++i) {
            const float at = coordinate[std::min(x + i, n - 1)];
            below[i] = at - radius;
            above[i] = at + radius;
        }
        countUpTo(coordinate, below, low, ends.lows);
        countUpTo(coordinate, above, high, ends.highs);
    }

    inline void walkEach(int x, int count, WindowEnds& ends) const
    {
        int l = low, h = high;
        for (int i = 0; i < count; ++i) {
            ends.lows[i] = l = firstAbove(coordinate, coordinate[x + i] - radius, l, n);
            ends.highs[i] = h = firstAbove(coordinate, coordinate[x + i] + radius, h, n);
            if (x + i == 0 && l == n)
                ends.lows[i] = l = 0; // no sample lies above: the window begins with the line
        }
        std::fill(ends.lows + count, ends.lows + kWindows, l);
        std::fill(ends.highs + count, ends.highs + kWindows, h);
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

/// Means over `count` windows, `pitch` floats from one to the next. Places of sums count in `step` floats.
template <int C>
inline void windowMeans(const WindowEnds& windows, const float* sums, std::ptrdiff_t step, int channels, int count,
                        float* out, std::ptrdiff_t pitch)
{
    for (int i = 0; i < count; ++i, out += pitch) {
        const float *lower = sums + windows.lows[i] * step, *upper = sums + windows.highs[i] * step;
        const float size = windows.sizes[i];
        if (kAsFour<C>)
            storeFour(out, (fourAt(upper) - fourAt(lower)) / size);
        else
            for (int k = 0; k < (C > 0 ? C : channels); ++k)
                out[k] = (upper[k] - lower[k]) / size;
    }
}

/// Whether the kernels for three channels take sums of which so many floats are kept.
template <int C>
inline bool takesMeans512(std::ptrdiff_t floats)
{
    return C == 3 && takesAvx512() && floats <= std::numeric_limits<int>::max();
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
