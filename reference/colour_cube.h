#pragma once

#include <reference/planes.h>

/// A table of colours in three dimensions, read by trilinear interpolation: along the last axis first, each step
/// a + (b - a) t truncated to a whole number.
///
/// H. Kang, "Color Technology for Electronic Imaging Devices", 1997, chapter 4.
namespace pixmill::reference {

/// A cube of size[0] x size[1] x size[2] nodes of three values, the last axis fastest, over min[k]..max[k].
struct ColourCube {
    const ushort* table;
    int size[3];
    float min[3], max[3];
};

inline cv::Vec3w lookedUp(const ColourCube& cube, const cv::Vec3w& v)
{
    int low[3], high[3];
    float f[3];
    for (int k = 0; k < 3; ++k) {
        const float g = float(cube.size[k] - 1) / (cube.max[k] - cube.min[k]);
        float p = (float(v[k]) - cube.min[k]) * g;
        p = std::max(0.0f, std::min(p, float(cube.size[k] - 1)));
        low[k] = int(p);
        high[k] = std::min(low[k] + 1, cube.size[k] - 1);
        f[k] = p - float(low[k]);
    }
    const auto node = [&](int a, int b, int c, int k) {
        return cube.table[((a * cube.size[1] + b) * cube.size[2] + c) * 3 + k];
    };
    const auto mix = [](ushort a, ushort b, float t) {
        const float part = float(b - a) * t;
        return ushort(float(a) + part);
    };
    cv::Vec3w out;
    for (int k = 0; k < 3; ++k) {
        ushort plane[2];
        for (int i = 0; i < 2; ++i) {
            ushort line[2];
            for (int j = 0; j < 2; ++j)
                line[j] = mix(node(i ? high[0] : low[0], j ? high[1] : low[1], low[2], k),
                              node(i ? high[0] : low[0], j ? high[1] : low[1], high[2], k), f[2]);
            plane[i] = mix(line[0], line[1], f[1]);
        }
        out[k] = mix(plane[0], plane[1], f[0]);
    }
    return out;
}

} // namespace pixmill::reference
