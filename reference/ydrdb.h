#pragma once

#include <reference/resize.h>

/// The 16-bit encoding of colour: full-size luma and half-size differences, and back.
///
///     Y = 0.299 R + 0.587 G + 0.114 B      Dr = (R - Y) / 2 + 32768      Db = (B - Y) / 2 + 32768
///     R = Y + 2 (Dr - 32768)      B = Y + 2 (Db - 32768)      G = 1.7036 (Y - 0.299 R - 0.114 B)
///
/// ITU-R Recommendation BT.601, luma and colour differences. In the 15U form colours have a full scale of 32768.
namespace pixmill::reference {

struct Rgb {
    int r, g, b;
};

inline int lumaOf(int r, int g, int b, float gain = 1.0f)
{
    float sum = 0.299f * float(r);
    sum = sum + 0.587f * float(g);
    sum = sum + 0.114f * float(b);
    return rounded(double(gain * sum), 65535);
}

inline int greenOf(float y, float r, float b)
{
    float share = y - 0.299f * r;
    share = share - 0.114f * b;
    return rounded(double(share) * 1.7036, 65535);
}

inline Rgb rgb16(int y, int dr, int db)
{
    const int r = rounded(y + 2.0 * dr - 65536, 65535), b = rounded(y + 2.0 * db - 65536, 65535);
    return {r, greenOf(float(y), float(r), float(b)), b};
}

inline Rgb rgb15U(int y, int dr, int db)
{
    const int half = y / 2, r = rounded(dr + half - 32768, 65535), b = rounded(db + half - 32768, 65535);
    return {r, greenOf(float(half), float(r), float(b)), b};
}

/// Green alone, from the low bytes of doubled 15U colours.
inline Rgb rgb8U(int y, int dr, int db)
{
    const auto low = [&](int d) { return float(int(float((y >> 1) + d - 32768) * 2.0f) & 255); };
    return {0, greenOf(float(y), low(dr), low(db)) >> 8, 0};
}

/// The display pixel B, G, R, 255 of unclamped float colours.
inline cv::Vec4b displayPixel(int y, int dr, int db)
{
    const float r = (float(dr) - 32768.0f) * 2.0f + float(y), b = (float(db) - 32768.0f) * 2.0f + float(y);
    float g = float(y) - 0.299f * r;
    g = g - 0.114f * b;
    return {uchar(rounded(0.00390625f * b, 255)), uchar(rounded(g * 0.0066546877f, 255)),
            uchar(rounded(0.00390625f * r, 255)), 255};
}

/// A picture for display, its differences enlarged linearly.
inline cv::Mat displayed(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db)
{
    const cv::Mat dr = enlarged<ushort>(Dr, Y.size(), 2, kLinear), db = enlarged<ushort>(Db, Y.size(), 2, kLinear);
    return planeOf<cv::Vec4b>(Y.size(), [&](int y, int x) {
        return displayPixel(Y.at<ushort>(y, x), dr.at<ushort>(y, x), db.at<ushort>(y, x));
    });
}

struct YDrDb {
    cv::Mat y, dr, db;
};

/// Planes R, G, B to luma and halved differences.
inline YDrDb encoded(const cv::Mat& r, const cv::Mat& g, const cv::Mat& b, bool is15U)
{
    YDrDb out;
    out.y = planeOf<ushort>(r.size(), [&](int y, int x) {
        return lumaOf(r.at<ushort>(y, x), g.at<ushort>(y, x), b.at<ushort>(y, x), is15U ? 2.0f : 1.0f);
    });
    const cv::Mat luma = halved(out.y);
    const auto difference = [&](const cv::Mat& colour) {
        const cv::Mat half = halved(colour);
        return planeOf<ushort>(half.size(), [&](int y, int x) {
            const int v = half.at<ushort>(y, x), l = luma.at<ushort>(y, x);
            return rounded(is15U ? v - (l >> 1) + 32768 : (v - l) / 2 + 32768, 65535);
        });
    };
    out.dr = difference(r);
    out.db = difference(b);
    return out;
}

} // namespace pixmill::reference
