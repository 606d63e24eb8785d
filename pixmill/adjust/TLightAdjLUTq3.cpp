#include <pixmill/adjust/TLightAdjLUTq3.h>

#include <pixmill/curves/tone_curve.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/ydrdb.h>

#include <algorithm>
#include <cmath>

using namespace pixmill::rows;
using namespace pixmill::curves;

namespace {

constexpr float kLeast = 0.00100000005f; // keeps the gain of near-black pixels finite

/// Where a value lies among the samples of a tone curve.
struct Position {
    int i, next;
    float weight, nextWeight;

    explicit Position(float v)
    {
        const float pos = limit(float(double(v) * 0.703125 + 0.1484375), 0.0078125f, 0.9921875f) * 64;
        i = int(pos);
        next = std::min(i + 1, kToneSamples - 1);
        weight = float(i + 1) - pos;
        nextWeight = pos - float(i);
    }
};

struct Colour {
    float r, g, b;
};

/// Brings the largest channel back to 1: the smallest stays, the others keep their place between the two.
inline void pullIntoGamut(Colour& c)
{
    const float most = std::max(c.r, std::max(c.g, c.b)), least = std::min(c.r, std::min(c.g, c.b));
    if (!(most > 1))
        return;
    if (least >= 1) {
        c = {1, 1, 1};
        return;
    }
    const float k = float((1.0 - double(least)) / (double(most - least) + 1e-07));
    c = {(c.r - least) * k + least, (c.g - least) * k + least, (c.b - least) * k + least};
}

} // namespace

// clang-format off
const float TLightAdjLUTq3::toneCurveRef[64] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 2.08616271e-08f,
     1 / 45.0f,  2 / 45.0f,  3 / 45.0f,  4 / 45.0f,  5 / 45.0f,  6 / 45.0f,  7 / 45.0f,  8 / 45.0f,  9 / 45.0f,
    10 / 45.0f, 11 / 45.0f, 12 / 45.0f, 13 / 45.0f, 14 / 45.0f, 15 / 45.0f, 16 / 45.0f, 17 / 45.0f, 18 / 45.0f,
    19 / 45.0f, 20 / 45.0f, 21 / 45.0f, 22 / 45.0f, 23 / 45.0f, 24 / 45.0f, 25 / 45.0f, 26 / 45.0f, 27 / 45.0f,
    28 / 45.0f, 29 / 45.0f, 30 / 45.0f, 31 / 45.0f, 32 / 45.0f, 33 / 45.0f, 34 / 45.0f, 35 / 45.0f, 36 / 45.0f,
    37 / 45.0f, 38 / 45.0f, 39 / 45.0f, 40 / 45.0f, 41 / 45.0f, 42 / 45.0f, 43 / 45.0f, 44 / 45.0f,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
};
// clang-format on

void TLightAdjLUTq3::setupParams(float brightness, float contrast, float highlights, float shadows, float whites,
                                 float blacks)
{
    const double shift = brightness;
    m_offset = float(0.343 * shift * shift * shift);
    const float cube = contrast * contrast * contrast;
    m_slope = cube > 0 ? 2 * cube + 1 : 1 / (1 - 5 * cube);
    m_highlights = highlights;
    m_shadows = shadows;
    m_whites = whites;
    m_blacks = blacks;

    // The knots stand within the middle five sevenths of 0..1, so that a curve can reach past black and white.
    const float g = 0.714285731f;
    const float u = float(double(blacks) * -0.2), v = float(1.0 - double(whites) * 0.2);
    const float p = u - 0.5f, q = v - 0.5f;
    const float r = (u - 0.5f * p) - 0.5f, s = (v - 0.5f * q) - 0.5f;
    const float x[5] = {p * g + 0.5f, r * g + 0.5f, 0.5f, s * g + 0.5f, q * g + 0.5f};
    const float y[5] = {0, (shadows * 0.25f + 0.5f) * 0.5f, 0.5f, 1 - (0.5f - highlights * 0.25f) * 0.5f, 1};
    sampleToneCurve(x, y, m_curve);
}

void TLightAdjLUTq3::mapYDrDb(unsigned short& y, unsigned short& dr, unsigned short& db)
{
    const float luma = float(y), unitLuma = luma * kPerWord;
    const float red = colourOf(luma, float(dr)), blue = colourOf(luma, float(db));
    const double green = greenOf(luma, red, blue);

    // A negative result stays negative, at double slope, rather than turning positive in the square.
    const float root = std::sqrt(unitLuma);
    float t = float((double(m_offset) + 0.707) + double(m_slope) * (double(root) - 0.707));
    t = t > 0 ? t * t : t + t;

    const Position in(unitLuma), out(t);
    const float reference = in.weight * toneCurveRef[in.i] + in.nextWeight * toneCurveRef[in.next];
    // The least amount comes after the first product here, and after the sum below: the last digits depend on it.
    const float brightened = out.weight * m_curve[out.i] + kLeast + out.nextWeight * m_curve[out.next];
    const float gain = limit(brightened / (reference + kLeast), 0.0f, 8.0f);

    const auto adjusted = [gain](ushort channel) { return limit(channel * kPerWord * gain, 0.0f, 4.0f); };
    Colour c{adjusted(toPixel16(red)), adjusted(toPixel16(green)), adjusted(toPixel16(blue))};
    pullIntoGamut(c);

    const float newRed = c.r * 65535, newBlue = c.b * 65535, newGreen = c.g * (kGreenShare * 65535);
    const float newLuma = kRedShare * newRed + kBlueShare * newBlue + newGreen; // summed in another order than lumaOf
    y = toPixel16(newLuma);
    dr = toPixel16((newRed - newLuma) * 0.5f + 32768);
    db = toPixel16((newBlue - newLuma) * 0.5f + 32768);
}
