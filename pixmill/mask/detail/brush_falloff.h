#pragma once

#include <pixmill/mask/detail/brush_blocks.h>

#include <cmath>
#include <cstring>

/// A brush's weights by distance from the dot's centre, along one row.
///
/// The order and precision of every step make the result; loops are plain so that they vectorise without changing a
/// bit. Called with a count known to the compiler, they become straight vector code.

namespace pixmill::mask {

using namespace rows;

constexpr int kBrushTable = 8000; ///< entries of the radial table; farther pixels have weight 0

/// Distance of a pixel from the dot's centre, as `cv::magnitude` gives it for a plane of differences.
inline float brushDistance(int dx, int dy)
{
    const float x = float(dx), y = float(dy);
    return std::sqrt(x * x + y * y);
}

/// The farthest column of a disc's row, or -1: the largest dx with brushDistance(dx, dy) <= radius.
inline int discReach(int dy, int radius)
{
    if (dy > radius)
        return -1;
    // Exact integers as long as no float in between is rounded across the radius.
    if (radius < 2048)
        return int(std::sqrt(double(radius * radius - dy * dy)));
    int inside = -1;
    for (long outside = long(radius) + 1; outside - inside > 1;) {
        const int middle = int((inside + outside) / 2);
        if (double(brushDistance(middle, dy)) <= radius)
            inside = middle;
        else
            outside = middle;
    }
    return inside;
}

/// Weights of a row by table, from column distance dx on; `beyond` is the one past the table.
inline void tableWeights(const float* __restrict table, float beyond, int dx, int dy, float* __restrict w, int n)
{
    for (int i = 0; i < n; ++i) {
        const double index = double(brushDistance(dx + i, dy)) + 0.5;
        w[i] = index < kBrushTable ? table[int(index)] : beyond;
    }
}

/// Copies n weights from the centre outward to n of them up to `end`, nearest last. Up to kBrushLanes - 1 more are read
/// and written.
inline void mirrorWeights(const float* __restrict w, float* __restrict end, int n)
{
    for (int i = 0; i < n; i += kBrushLanes)
        for (int j = 0; j < kBrushLanes; ++j)
            end[j - i - kBrushLanes] = w[i + kBrushLanes - 1 - j];
}

/// Copies n weights. Up to kBrushLanes - 1 more are read and written.
inline void copyWeights(const float* __restrict w, float* __restrict out, int n)
{
    for (int i = 0; i < n; i += kBrushLanes) {
        std::memcpy(out + i, w + i, kBrushLanes * sizeof *w);
        asm volatile("" ::: "memory"); // or the loop becomes a string instruction, several times slower on short rows
    }
}

/// Weights of a row by a smoothstep from the inner to the outer radius.
struct SmoothFalloff {
    float outer, inner, span;

    SmoothFalloff(int outerRadius, int innerRadius)
        : outer(float(outerRadius)), inner(float(innerRadius)), span(float(long(outerRadius) - innerRadius))
    {
    }

    void weights(int dx, int dy, float* __restrict w, int n) const
    {
        for (int i = 0; i < n; ++i) {
            const float distance = brushDistance(dx + i, dy);
            float t = distance > outer ? outer : distance;
            t = (t < inner ? inner : t) - inner;
            t = span != 0.0f ? t / span : t; // a division by 0 is not made
            const float falloff = 1.0f - (t * t) * (t * -2.0f + 3.0f);
            w[i] = falloff * (distance <= outer ? 1.0f : 0.0f);
        }
    }
};

} // namespace pixmill::mask
