#pragma once

#include <pixmill/core/detail/pixel.h>

#include <cstdint>

/// Shadows, midtones and highlights: the row kernels of the detail engine.
namespace pixmill::detail {

/// The ramp that all three weights are built from: 3i, one more from 78 on, so that it ends at 256 for i = 85.
constexpr int zoneRamp(int i)
{
    return 3 * i + (i > 77);
}

/// Weights by the high byte of luma. At most two of the three are above 0.
constexpr int shadowWeight(int i)
{
    return i <= 85 ? zoneRamp(85 - i) : 0;
}

constexpr int midtoneWeight(int i)
{
    return i <= 85 ? zoneRamp(i) : i < 170 ? 256 : zoneRamp(255 - i);
}

constexpr int highlightWeight(int i)
{
    return i < 170 ? 0 : zoneRamp(i - 170);
}

/// Luma from here on mixes midtones with highlights; below, shadows with midtones.
constexpr int kHighlightsFrom = 170 << 8;

/// A weighted sum of centred samples back to a sample: divided by 256 toward zero, centred, clamped.
inline ushort mixedSample(int sum)
{
    return clamp16(sum / 256 + 32768);
}

inline void mixRow(const ushort* __restrict Y, const ushort* __restrict shadows, const ushort* __restrict midtones,
                   ushort* __restrict inOut, int n)
{
    for (int x = 0; x < n; ++x) {
        const int i = Y[x] >> 8;
        const int sum = (shadows[x] - 32768) * shadowWeight(i) + (midtones[x] - 32768) * midtoneWeight(i) +
                        (inOut[x] - 32768) * highlightWeight(i);
        inOut[x] = mixedSample(sum);
    }
}

/// Looks the plane's samples up in the table pair that their luma's zone mixes. Kept out of line, so that it stays the
/// plain loop at every processor level: a vector of table look-ups is slower.
__attribute__((noinline)) inline void pickRow(const ushort* Y, const ushort* plane, const std::uint32_t* pairs,
                                              std::uint32_t* picked, int n)
{
    for (int x = 0; x < n; ++x)
        picked[x] = pairs[(Y[x] >= kHighlightsFrom ? 65536 : 0) + plane[x]];
}

/// Mixes what `pickRow` found: the third zone's weight is 0.
inline void mixPickedRow(const ushort* __restrict Y, const std::uint32_t* __restrict picked, ushort* __restrict out,
                         int n)
{
    for (int x = 0; x < n; ++x) {
        const int i = Y[x] >> 8;
        const bool high = i >= 170;
        const int low = int(picked[x] & 0xffff) - 32768, upper = int(picked[x] >> 16) - 32768;
        const int lowWeight = high ? midtoneWeight(i) : shadowWeight(i);
        const int upperWeight = high ? highlightWeight(i) : midtoneWeight(i);
        out[x] = mixedSample(low * lowWeight + upper * upperWeight);
    }
}

/// Luma plus twice the centred detail. `out` may be `Y`.
inline void addEdgesRow(const ushort* Y, const ushort* d0, const ushort* d1, const ushort* d2, ushort* out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = clamp16(Y[x] + 2 * (d0[x] + d1[x] + d2[x]) - 196608);
}

/// Coefficients of the colour-weighted change of luma: Y + k0 + kR * Dr + kB * Db, summed in this order.
struct ColorWeights {
    float k0, kR, kB;

    /// For differences centred on 32768.
    static ColorWeights of16Bit(float r, float g, float b)
    {
        const float R = 2.5f * r, G = 2.5f * g, B = 2.5f * b;
        const float kR = R - G, kB = B - G;
        return {(G - kR - B) * 32768, kR, kB};
    }

    /// For differences centred on 128.
    static ColorWeights of8Bit(float r, float g, float b)
    {
        const float R = 2.5f * r, G = 2.5f * g, B = 2.5f * b;
        return {((-R - B) * 128 + 256 * G) * 256, 256 * (R - G), 256 * (B - G)};
    }
};

template <class T>
inline void weighColorRow(const T* __restrict Dr, const T* __restrict Db, ColorWeights k, ushort* __restrict Y, int n)
{
    for (int x = 0; x < n; ++x)
        Y[x] = toPixel16(float(Y[x]) + k.k0 + k.kR * Dr[x] + k.kB * Db[x]);
}

} // namespace pixmill::detail
