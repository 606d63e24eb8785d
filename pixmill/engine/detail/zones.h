#pragma once

#include <pixmill/rows/pixel.h>

#include <cstdint>

/// Shadows, midtones and highlights: the row kernels of the detail engine.
namespace pixmill::engine {

using namespace rows;

/// The ramp that all three weights are built from: 3k, one more from 78 on, so that it ends at 256 for k = 85. In any
/// integers of 16 bits or more: 16-bit lanes are twice as many.
template <class T>
constexpr T zoneRamp(T k)
{
    return T(T(3 * k) + T(T(k + 50) >> 7));
}

// Weights by the high byte of luma. Shadows end where the midtones are full, at 85, and highlights begin where they
// still are, at 170, so that at most two of the three are above 0; they sum to 255 or 256.

template <class T>
constexpr T shadowWeight(T i)
{
    return zoneRamp(T(i < 85 ? 85 - i : 0));
}

template <class T>
constexpr T midtoneWeight(T i)
{
    const T back = T(255 - i), inward = i < back ? i : back;
    return zoneRamp(T(inward < 85 ? inward : 85));
}

template <class T>
constexpr T highlightWeight(T i)
{
    return zoneRamp(T(i > 170 ? i - 170 : 0));
}

/// Luma from here on mixes midtones with highlights; below, with shadows.
constexpr int kHighlightsFrom = 170 << 8;

/// The weight of the zone beside the midtones.
template <class T>
constexpr T besideWeight(T i)
{
    return zoneRamp(i < 85 ? T(85 - i) : i > 170 ? T(i - 170) : T(0));
}

/// The midtones' weight and that of the zone beside them, for a row; in 16-bit lanes.
inline void weightsRow(const ushort* __restrict Y, ushort* __restrict midtone, ushort* __restrict beside, int n)
{
    for (int x = 0; x < n; ++x) {
        const ushort i = Y[x] >> 8;
        midtone[x] = midtoneWeight(i);
        beside[x] = besideWeight(i);
    }
}

/// A weighted sum of centred samples back to a sample: divided by 256 toward zero and centred. Weights of 256 in all
/// keep it in range; up to 2^23 the sum and its 256th are exact in single precision, where products cost least.
inline ushort mixedSample(float sum)
{
    return ushort(int(sum * 0.00390625f) + 32768);
}

inline float centred(int sample)
{
    return float(sample - 32768);
}

inline void mixRow(const ushort* __restrict Y, const ushort* __restrict shadows, const ushort* __restrict midtones,
                   ushort* __restrict inOut, int n)
{
    for (int x = 0; x < n; ++x) {
        const int i = Y[x] >> 8;
        inOut[x] =
            mixedSample(centred(shadows[x]) * float(shadowWeight(i)) + centred(midtones[x]) * float(midtoneWeight(i)) +
                        centred(inOut[x]) * float(highlightWeight(i)));
    }
}

/// Where each sample is found in the two tables of pairs: the first for shadows and midtones, the second, behind it,
/// for midtones and highlights.
inline void indexRow(const ushort* __restrict Y, const ushort* __restrict plane, std::uint32_t* __restrict index, int n)
{
    for (int x = 0; x < n; ++x)
        index[x] = plane[x] + (Y[x] >= kHighlightsFrom ? 65536u : 0u);
}

/// Mixes the pairs that were found: midtones in the low half, the zone beside them in the high half.
inline void mixPickedRow(const std::uint32_t* __restrict picked, const ushort* __restrict midtone,
                         const ushort* __restrict beside, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = mixedSample(centred(int(picked[x] & 0xffff)) * float(midtone[x]) +
                             centred(int(picked[x] >> 16)) * float(beside[x]));
}

/// Coefficients of the colour-weighted change of luma: Y + k0 + kR * Dr + kB * Db, summed in this order.
struct ColourWeights {
    float k0, kR, kB;

    /// For differences centred on 32768.
    static ColourWeights of16Bit(float r, float g, float b)
    {
        const float R = 2.5f * r, G = 2.5f * g, B = 2.5f * b;
        const float kR = R - G, kB = B - G;
        return {(G - kR - B) * 32768, kR, kB};
    }

    /// For differences centred on 128.
    static ColourWeights of8Bit(float r, float g, float b)
    {
        const float R = 2.5f * r, G = 2.5f * g, B = 2.5f * b;
        return {((-R - B) * 128 + 256 * G) * 256, 256 * (R - G), 256 * (B - G)};
    }
};

template <class T>
inline void weighColourRow(const T* __restrict Dr, const T* __restrict Db, ColourWeights k, ushort* __restrict Y, int n)
{
    for (int x = 0; x < n; ++x)
        Y[x] = toPixel16(float(Y[x]) + k.k0 + k.kR * Dr[x] + k.kB * Db[x]);
}

} // namespace pixmill::engine
