#pragma once

#include <reference/tone_curve.h>
#include <reference/ydrdb.h>

/// The light controls: a gain of every pixel from its luma, and colours pulled back into gamut.
///
///     t = offset + 0.707 + slope (sqrt(Y) - 0.707), squared where positive;  gain = (curve(t) + e) / (line(Y) + e)
///     colours * gain, then c = (c - min) (1 - min) / (max - min) + min where a colour passes 1
///
/// The curve is a tone curve (see tone_curve.h); keeping hue by moving colours towards grey is the clipping of
/// L. MacDonald, "Gamut Mapping in Perceptual Colour Space", 1993.
namespace pixmill::reference {

struct LightControls {
    float brightness, contrast, highlights, shadows, whites, blacks;
};

struct LightCurve {
    std::vector<float> curve, line;
    float offset, slope;

    explicit LightCurve(const LightControls& k) : line(64)
    {
        double d = 0.343 * double(k.brightness);
        d = d * double(k.brightness);
        d = d * double(k.brightness);
        offset = float(d);
        float c = k.contrast * k.contrast;
        c = c * k.contrast;
        slope = c > 0 ? 2 * c + 1 : 1 / (1 - 5 * c);

        const float g = 0.714285731f;
        const float u = float(double(k.blacks) * -0.2), v = float(1.0 - double(k.whites) * 0.2);
        const float p = u - 0.5f, q = v - 0.5f;
        float r = u - 0.5f * p, w = v - 0.5f * q;
        r = r - 0.5f;
        w = w - 0.5f;
        const float x[5] = {p * g + 0.5f, r * g + 0.5f, 0.5f, w * g + 0.5f, q * g + 0.5f};
        const float y[5] = {0.0f, (k.shadows * 0.25f + 0.5f) * 0.5f, 0.5f, 1.0f - (0.5f - k.highlights * 0.25f) * 0.5f,
                            1.0f};
        curve = toneCurve(x, y);
        for (int i = 0; i < 64; ++i)
            line[i] = i < 9 ? 0 : i == 9 ? 2.08616271e-08f : i < 54 ? float(i - 9) / 45.0f : 1;
    }

    /// One pixel of luma and differences, in place.
    void map(ushort& y, ushort& dr, ushort& db) const
    {
        const float one = 1.52590219e-05f;
        const float Y = y, yn = Y * one;
        float R = (float(dr) - 32768.0f) * 2.0f, B = (float(db) - 32768.0f) * 2.0f;
        R = R + Y;
        B = B + Y;

        const float w = std::sqrt(yn);
        float t = float((double(offset) + 0.707) + double(slope) * (double(w) - 0.707));
        t = t > 0 ? t * t : t + t;

        float pos = place(yn);
        int i = int(pos);
        const float line0 = (float(i + 1) - pos) * line[i], line1 = (pos - float(i)) * line[std::min(i + 1, 63)];
        const float under = (line0 + line1) + 0.00100000005f;
        pos = place(t);
        i = int(pos);
        const float curve0 = (float(i + 1) - pos) * curve[i], curve1 = (pos - float(i)) * curve[std::min(i + 1, 63)];
        const float over = (curve0 + 0.00100000005f) + curve1;
        float gain = over / under;
        gain = gain < 0 ? 0 : gain > 8 ? 8 : gain;

        float c[3] = {pixel16(R) * one, greenOf(Y, R, B) * one, pixel16(B) * one};
        for (float& v : c) {
            v = v * gain;
            v = v < 0 ? 0 : v > 4 ? 4 : v;
        }
        pullIntoGamut(c);
        const float R2 = c[0] * 65535.0f, B2 = c[2] * 65535.0f, G2 = c[1] * 38469.0469f;
        const float red = 0.299f * R2, blue = 0.114f * B2;
        float Y2 = red + blue;
        Y2 = Y2 + G2;
        y = pixel16(Y2);
        dr = pixel16((R2 - Y2) * 0.5f + 32768.0f);
        db = pixel16((B2 - Y2) * 0.5f + 32768.0f);
    }

private:
    static float place(float v)
    {
        const float pos = float(double(v) * 0.703125 + 0.1484375);
        return (pos < 0.0078125f ? 0.0078125f : pos > 0.9921875f ? 0.9921875f : pos) * 64.0f;
    }

    static void pullIntoGamut(float (&c)[3])
    {
        const float mx = std::max({c[0], c[1], c[2]}), mn = std::min({c[0], c[1], c[2]});
        if (mx > 1 && mn >= 1) {
            c[0] = c[1] = c[2] = 1;
        } else if (mx > 1) {
            const float k = float((1.0 - double(mn)) / (double(mx - mn) + 1e-07));
            for (float& v : c) {
                const float part = (v - mn) * k;
                v = part + mn;
            }
        }
    }
};

} // namespace pixmill::reference
