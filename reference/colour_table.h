#pragma once

#include <reference/gaussian_iir.h>
#include <reference/ydrdb.h>

#include <cstdlib>

/// The colour controls as two tables of 33 x 33 x 33 nodes over luma, Dr and Db, read by trilinear interpolation.
///
///     node: colours pulled towards warm or cool, and towards one tint or the other, by c' = (1 - k) c + k (a c + b);
///     then the difference's length m = sqrt(2 (x^2 + y^2)) / 256 grows by (4 + curve(m)) / (4 + m), at most 4
///     pixel: differences times max(1, (newY + 655.3) / (oldY + 655.3)), then eight nodes, along Db, Dr, Y
///
/// Interpolation of colour tables: H. Kang, "Color Technology for Electronic Imaging Devices", 1997, chapter 4.
namespace pixmill::reference {

/// Positions of the controls, -1..1, and how far each can reach.
struct ColourControls {
    float warmth, tint, saturation, floor;
};

struct ColourReach {
    float warmUp, warmDown, tintUp, tintDown, satUp, floorScale;
};

/// The curve of lengths at luma node i: a line, its first entries levelled to a floor or to 0, smoothed.
inline std::vector<int> lengthCurve(float saturation, float floor, int i)
{
    std::vector<float> row(256);
    for (int x = 0; x < 256; ++x)
        row[x] = float(rounded(double(saturation) * x, 255));
    int N = int(floor * (float(i) * 4.0f + 64));
    if (saturation > 1)
        N = int(float(N) * (1 / saturation));
    N = std::min(255, std::max(-255, N));
    for (int x = 0; x < N; ++x)
        row[x] = row[N];
    for (int x = 0; x < -N; ++x)
        row[x] = 0;
    if (0.3f * std::abs(N) > 1)
        gaussianLine<double>(row, 0.3f * std::abs(N), 2);
    std::vector<int> curve;
    for (const float v : row)
        curve.push_back(rounded(v, 255));
    return curve;
}

inline float mixed(float share, float channel, float target)
{
    return (1 - share) * channel + share * target;
}

inline void pullWarmth(float warm, float& r, float& g, float& b)
{
    if (warm >= 0) {
        r = mixed(warm, r, r * 1.5f + 0.4f);
        g = mixed(warm, g, g * 1.35f + 0.28f);
        b = mixed(warm, b, b);
    } else {
        r = mixed(-warm, r, r);
        g = mixed(-warm, g, g * 1.15f + 0.12f);
        b = mixed(-warm, b, b * 1.6f + 0.48f);
    }
}

inline void pullTint(float tint, float& r, float& g, float& b)
{
    if (tint >= 0) {
        r = mixed(tint, r, r * 1.25f + 0.2f);
        g = mixed(tint, g, g);
        b = mixed(tint, b, b * 1.5f + 0.4f);
    } else {
        r = mixed(-tint, r, r);
        g = mixed(-tint, g, g * 1.5f + 0.4f);
        b = mixed(-tint, b, b);
    }
}

/// Node (i, a, b) of both tables: {Dr, Db}.
inline cv::Vec2i colourNode(const ColourControls& k, const ColourReach& reach, int i, int a, int b)
{
    const float sat = k.saturation >= 0 ? 1 + (reach.satUp - 1) * k.saturation : 1 + k.saturation;
    const float tint = k.tint > 0 ? 0.5f * reach.tintUp * k.tint : 0.4f * reach.tintDown * k.tint;
    const float warm = k.warmth > 0 ? 0.5f * reach.warmUp * k.warmth : 0.5f * reach.warmDown * k.warmth;
    const std::vector<int> curve = lengthCurve(sat, k.floor * reach.floorScale, i);

    const float step = 2047.96875f, Y = float(int(step * i));
    const float dr = float(int(step * a)), db = float(int(step * b));
    const float R = Y + 2 * (dr - 32768), B = Y + 2 * (db - 32768);
    float red = pixel16(R) * 1.5259022e-5f, blue = pixel16(B) * 1.5259022e-5f;
    float green = greenOf(Y, R, B) * 1.5259022e-5f;
    pullWarmth(warm, red, green, blue);
    pullTint(tint, red, green, blue);

    const float R2 = 65535 * red, B2 = 65535 * blue, Y2 = green * 38469.047f + 0.299f * R2 + 0.114f * B2;
    const float x = float(pixel16((R2 - Y2) * 0.5f + 32768) - 32768);
    const float y = float(pixel16((B2 - Y2) * 0.5f + 32768) - 32768);
    const int m = int(std::sqrt((x * x + y * y) * 2) / 256), wanted = curve[std::min(m, 255)];
    const float gain = wanted == 0 ? 0.0f : std::min(4.0f, float(4 + wanted) / float(4 + m));
    return {pixel16(x * gain + 32768), pixel16(y * gain + 32768)};
}

/// One pixel's {Dr, Db} through tables of nodes 2048 apart.
using ColourGrid = const unsigned short (*)[33][33];

inline cv::Vec2w colourMapped(ColourGrid gridDr, ColourGrid gridDb, int oldY, int newY, int inDr, int inDb)
{
    const float ratio = std::max(1.0f, (float(newY) + 655.3f) / (float(oldY) + 655.3f));
    const int dr = pixel16((float(inDr) - 32768) * ratio + 32768), db = pixel16((float(inDb) - 32768) * ratio + 32768);
    const int iY = newY >> 11, iDr = dr >> 11, iDb = db >> 11;
    const float w = 1.0f / 2048, fY = float(newY & 2047) * w, fDr = float(dr & 2047) * w, fDb = float(db & 2047) * w;
    const auto between = [](float a, float b, float f) { return a * (1 - f) + b * f; };
    const auto read = [&](ColourGrid grid) {
        float byY[2];
        for (int p = 0; p < 2; ++p) {
            float byDr[2];
            for (int q = 0; q < 2; ++q)
                byDr[q] = between(grid[iY + p][iDr + q][iDb], grid[iY + p][iDr + q][iDb + 1], fDb);
            byY[p] = between(byDr[0], byDr[1], fDr);
        }
        return pixel16(between(byY[0], byY[1], fY));
    };
    return {read(gridDr), read(gridDb)};
}

} // namespace pixmill::reference
