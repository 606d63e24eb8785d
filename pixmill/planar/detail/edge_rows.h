#pragma once

#include <pixmill/planar/detail/edge_avx512.h>
#include <pixmill/rows/colour_rows.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

/// Rows of the edge plane: what a full-size row has more than the enlarged half-size one, and back.
namespace pixmill::planar {

using namespace rows;

/// Centred half differences, the division truncating toward zero, in 16 bits: one of the two distances is 0.
inline void edgeDifferenceRow(const ushort* __restrict full, const ushort* __restrict up, ushort* __restrict difference,
                              int n)
{
    for (int x = 0; x < n; ++x) {
        const ushort higher = std::max(full[x], up[x]);
        const ushort above = ushort(higher - up[x]), below = ushort(higher - full[x]);
        difference[x] = ushort((above >> 1) - (below >> 1) + 32768);
    }
}

/// The stored values of a row of edge bytes.
inline void storedRow(const uchar* edge, ushort* stored, const ushort* table, int n)
{
    wideThenPlain(
        n, [=](int count) { return lookUpRow512(edge, stored, table, count); },
        [=](int x, int end) { lookUpRow<8>(edge + x, stored + x, table, end - x); });
}

/// up + stored - 32768, limited, in 16 bits: what is above the centre is added, what is below it taken off.
inline void addStoredRow(const ushort* __restrict up, const ushort* __restrict stored, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        const ushort above = ushort(std::max<ushort>(stored[x], 32768) - 32768);
        const ushort below = ushort(32768 - std::min<ushort>(stored[x], 32768));
        const ushort sum = ushort(up[x] + std::min(above, ushort(65535 - up[x])));
        out[x] = ushort(sum - std::min(below, sum));
    }
}

/// Calls `pixel(x, up, stored)` for every pixel, two at a time as a word, which needs no shuffles.
template <class Pixel>
inline void forPairs(const ushort* __restrict up, const ushort* __restrict stored, ushort* __restrict out, int n,
                     Pixel pixel)
{
    const AnyWord* const ups = reinterpret_cast<const AnyWord*>(up);
    const AnyWord* const storeds = reinterpret_cast<const AnyWord*>(stored);
    AnyWord* const outs = reinterpret_cast<AnyWord*>(out);
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int i = 0; i < n / 2; ++i) {
        const std::uint32_t u = ups[i], s = storeds[i];
        const std::uint32_t even = pixel(2 * i, int(u & 65535), int(s & 65535));
        outs[i] = even | std::uint32_t(pixel(2 * i + 1, int(u >> 16), int(s >> 16))) << 16;
    }
    if (n % 2 != 0)
        out[n - 1] = pixel(n - 1, up[n - 1], stored[n - 1]);
}

/// up + (stored - 32768) * strength [* gain]; `gain` may be null. A pixel of a moderate strength is rounded before it
/// is limited, which is the faster form.
inline void addStoredRow(const ushort* up, const ushort* stored, float strength, const uchar* gain, ushort* out, int n)
{
    const auto rows = [=](auto pixel) {
        const auto difference = [strength](int s) { return (float(s) - 32768.0f) * strength; };
        if (gain)
            forPairs(up, stored, out, n,
                     [=](int x, int u, int s) { return pixel(float(u) + difference(s) * float(gain[x])); });
        else
            forPairs(up, stored, out, n, [=](int, int u, int s) { return pixel(float(u) + difference(s)); });
    };
    if (std::abs(strength) * (gain ? 255.0f : 1.0f) < 100.0f)
        rows([](float v) { return nearPixel16(v); });
    else
        rows([](float v) { return toPixel16(v); });
}

} // namespace pixmill::planar
