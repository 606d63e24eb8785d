#pragma once

#include <pixmill/multiscale/gaussianiir.h>
#include <pixmill/primitives/copy.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/ydrdb.h>

#include <algorithm>
#include <cmath>
#include <vector>

/// The colour adjustment of TColorAdjQ3 at one node of its tables.
namespace pixmill::adjust {

using namespace rows;

/// Warmth, tint, saturation, chroma floor.
struct ColorControls {
    float warmth, tint, saturation, chromaFloor;
};

/// The scales that TColorAdjQ3 is constructed with, and the growth of its floor.
struct ColorScales {
    float warmUp, warmDown, tintUp, tintDown, satUp, floorScale;
    float floorSlope = 4.0f;
};

/// Differences after the adjustment, centred on 32768.
struct NodeChroma {
    ushort dr, db;
};

struct UnitColour {
    float r, g, b;
};

/// A pull of each channel towards scale * channel + offset.
struct ColourPull {
    float share;
    UnitColour scale, offset;

    UnitColour operator()(UnitColour c) const
    {
        const float keep = 1 - share;
        return {keep * c.r + share * (c.r * scale.r + offset.r), keep * c.g + share * (c.g * scale.g + offset.g),
                keep * c.b + share * (c.b * scale.b + offset.b)};
    }
};

inline ColourPull warmthPull(float amount)
{
    if (amount >= 0)
        return {std::abs(amount), {1.5f, 1.35f, 1}, {0.4f, 0.28f, 0}};
    return {std::abs(amount), {1, 1.15f, 1.6f}, {0, 0.12f, 0.48f}};
}

inline ColourPull tintPull(float amount)
{
    if (amount >= 0)
        return {std::abs(amount), {1.25f, 1, 1.5f}, {0.2f, 0, 0.4f}};
    return {std::abs(amount), {1, 1.5f, 1}, {0, 0.4f, 0}};
}

/// A node's colour, 0..1, from its codes: green before red and blue are clamped.
inline UnitColour nodeColour(int y, int dr, int db)
{
    const float luma = float(y), red = colourOf(luma, float(dr)), blue = colourOf(luma, float(db));
    const ushort green = toPixel16(greenOf(luma, red, blue));
    return {toPixel16(red) * kPerWord, green * kPerWord, toPixel16(blue) * kPerWord};
}

/// The chroma magnitude curve of a luma node: a line, a floor cut into it, smoothed.
inline void buildChromaCurve(uchar* row, int entries, float saturation, float floorLength)
{
    ippiImageRamp_8u_C1R(row, entries, {entries, 1}, 0, saturation, ippAxsHorizontal);
    int length = int(limit(floorLength, -2147483000.0f, 2147483000.0f));
    if (saturation > 1)
        length = int(float(length) * (1 / saturation));
    length = limit(length, -(entries - 1), entries - 1); // a longer floor would leave the row
    if (length >= 1) {
        std::fill_n(row, length, uchar(row[length]));
    } else if (length < 0) {
        length = -length;
        std::fill_n(row, length, uchar(0));
    }
    const float sigma = 0.3f * float(length);
    if (sigma > 1)
        gaussianiir1d(row, entries, sigma, 2);
}

/// How much a chroma of magnitude m grows under its curve of 256; m itself is not limited.
inline float chromaGain(const uchar* row, int m)
{
    const int wanted = row[std::min(m, 255)];
    return wanted == 0 ? 0.0f : std::min(float(4 + wanted) / float(4 + m), 4.0f);
}

/// All nodes of one setting.
class ColorNodes {
public:
    static constexpr int kNodes = 33, kCurve = 256;

    /// With curves of its own, or in the `kNodes` rows of `kCurve` that are handed in.
    ColorNodes(const ColorControls& c, const ColorScales& s, uchar* curves = nullptr)
        : m_owned(curves ? 0 : std::size_t(kNodes) * kCurve), m_curves(curves ? curves : m_owned.data()),
          // The two sides of the tint have different factors on purpose.
          m_warmth(warmthPull(c.warmth > 0 ? 0.5f * s.warmUp * c.warmth : 0.5f * s.warmDown * c.warmth)),
          m_tint(tintPull(c.tint > 0 ? 0.5f * s.tintUp * c.tint : 0.4f * s.tintDown * c.tint))
    {
        const float saturation = c.saturation >= 0 ? 1 + (s.satUp - 1) * c.saturation : 1 + c.saturation;
        for (int i = 0; i < kNodes; ++i)
            buildChromaCurve(m_curves + i * kCurve, kCurve, saturation,
                             c.chromaFloor * s.floorScale * (float(i) * s.floorSlope + 64));
    }

    /// The adjustment of a colour with these codes, by the curve of luma node `i`.
    NodeChroma at(int i, int y, int dr, int db) const { return of(i, nodeColour(y, dr, db)); }

    /// The same of a colour that need not lie within 0..1.
    NodeChroma of(int i, UnitColour colour) const
    {
        return of(colour, [row = m_curves + i * kCurve](int m) { return chromaGain(row, m); });
    }

    /// The largest chroma magnitude that a gain is asked for.
    static constexpr int kMostChroma = 256;

    /// The same with a gain of the host's by chroma magnitude.
    template <class Gain>
    NodeChroma of(UnitColour colour, const Gain& gainOf) const
    {
        const UnitColour c = m_tint(m_warmth(colour));
        const float red = 65535 * c.r, blue = 65535 * c.b;
        const float luma = c.g * 38469.047f + kRedShare * red + kBlueShare * blue;
        const int a = toPixel16((red - luma) * 0.5f + kNoColour) - kNoColour;
        const int b = toPixel16((blue - luma) * 0.5f + kNoColour) - kNoColour;
        const float square = (float(a) * float(a) + float(b) * float(b)) * 2;
        const float gain = gainOf(int(std::sqrt(square) / 256));
        return {toPixel16(a * gain + kNoColour), toPixel16(b * gain + kNoColour)};
    }

private:
    std::vector<uchar> m_owned;
    uchar* m_curves;
    ColourPull m_warmth, m_tint;
};

} // namespace pixmill::adjust
