#pragma once

#include <reference/resize.h>

/// The 8-bit encoding of colour: full-size 16-bit luma Y, half-size bytes C of the differences and M of the mask, from
/// and to packed pixels R, G, B, A.
///
///     Y = 0.299 R + 0.587 G + 0.114 B      M = sum of A over a block of 2 x 2 / 1024
///     C0 = sum of (R - Y) over the block / 2048 + 128, C1 with B
///     R = (C0 - 128) 512 + Y      B = (C1 - 128) 512 + Y      G = 1.7035775 (Y - 0.299 R - 0.114 B)
///
/// ITU-R Recommendation BT.601, luma and colour differences.
namespace pixmill::reference {

struct Ycm {
    cv::Mat y, c0, c1, m;
};

/// A channel of a packed pixel, 16-bit.
inline int channel16(const cv::Mat& packed, int y, int x, int k)
{
    return packed.depth() == CV_8U ? packed.at<cv::Vec4b>(y, x)[k] * 257 : packed.at<cv::Vec4w>(y, x)[k];
}

/// Packed pixels to YCM, block by block; `before` holds what a picture of odd size leaves unwritten.
inline Ycm toYcm(const cv::Mat& packed, const Ycm& before)
{
    Ycm out{before.y.clone(), before.c0.clone(), before.c1.clone(), before.m.clone()};
    for (int by = 0; by < packed.rows / 2; ++by)
        for (int bx = 0; bx < packed.cols / 2; ++bx) {
            int sumY = 0, sumR = 0, sumB = 0, sumA = 0;
            for (int k = 0; k < 4; ++k) {
                const int y = 2 * by + k / 2, x = 2 * bx + k % 2;
                const auto p = [&](int c) { return channel16(packed, y, x, c); };
                const float red = 0.299f * p(0), green = 0.587f * p(1), blue = 0.114f * p(2);
                float sum = red + green;
                sum += blue;
                out.y.at<ushort>(y, x) = pixel16(sum);
                sumY += out.y.at<ushort>(y, x);
                sumR += p(0);
                sumB += p(2);
                sumA += p(3);
            }
            out.c0.at<uchar>(by, bx) = uchar(rounded((sumR - sumY) / 2048 + 128, 255));
            out.c1.at<uchar>(by, bx) = uchar(rounded((sumB - sumY) / 2048 + 128, 255));
            out.m.at<uchar>(by, bx) = uchar(sumA / 1024);
        }
    return out;
}

/// YCM to packed pixels of 16 bits; C and M are enlarged cubically, on pixel squares.
inline cv::Mat fromYcm(const Ycm& in)
{
    const auto full = [&](const cv::Mat& half) { return resized<uchar>(half, in.y.size(), {2, 1}, {0, 1}, kCubic); };
    const cv::Mat c0 = full(in.c0), c1 = full(in.c1), m = full(in.m);
    return planeOf<cv::Vec4w>(in.y.size(), [&](int y, int x) {
        const float Y = in.y.at<ushort>(y, x);
        const float R = (c0.at<uchar>(y, x) - 128.0f) * 512.0f + Y, B = (c1.at<uchar>(y, x) - 128.0f) * 512.0f + Y;
        const float red = 0.299f * R, blue = 0.114f * B;
        float rest = Y - red;
        rest -= blue;
        return cv::Vec4w(pixel16(R), pixel16(rest * 1.7035775f), pixel16(B), pixel16(m.at<uchar>(y, x) * 255.997));
    });
}

/// 16 bits to 8 over the full range.
inline cv::Mat narrowed(const cv::Mat& packed16)
{
    return planeOf<cv::Vec4b>(packed16.size(), [&](int y, int x) {
        cv::Vec4b out;
        for (int k = 0; k < 4; ++k)
            out[k] = uchar(std::lrint(packed16.at<cv::Vec4w>(y, x)[k] / 257.0));
        return out;
    });
}

/// Red and blue of packed bytes in each other's place.
inline cv::Mat reordered(const cv::Mat& packed8)
{
    return planeOf<cv::Vec4b>(packed8.size(), [&](int y, int x) {
        const cv::Vec4b p = packed8.at<cv::Vec4b>(y, x);
        return cv::Vec4b(p[2], p[1], p[0], p[3]);
    });
}

/// The mean of each whole block of 2 x 2 luma samples in bytes; 0 elsewhere.
inline cv::Mat halfLuma(const cv::Mat& luma)
{
    return planeOf<uchar>(halfOf(luma.size()), [&](int y, int x) {
        int sum = 0;
        if (2 * y + 1 < luma.rows && 2 * x + 1 < luma.cols)
            for (int k = 0; k < 4; ++k)
                sum += luma.at<ushort>(2 * y + k / 2, 2 * x + k % 2);
        return sum / 1024;
    });
}

/// C after luma changed from a to b: colours grow by (b + k) / (a + k), k = 255 guard.
inline cv::Vec2b followedLuma(int a, int b, int c0, int c1, float guard)
{
    const float k = 255.0f * guard;
    const float ratio = (float(b) + k) / (float(a) + k), luma = float(a) * 0.00392156886f;
    const float R = (float(c0) - 128.0f) * 0.0078125f + luma, B = (float(c1) - 128.0f) * 0.0078125f + luma;
    const float R2 = R * ratio, B2 = B * ratio;
    const float red = 0.299f * R, blue = 0.114f * B, red2 = 0.299f * R2, blue2 = 0.114f * B2;
    float y2 = luma - red;
    y2 = (y2 - blue) * ratio;
    y2 = y2 + red2;
    y2 = y2 + blue2;
    return {uchar(rounded((R2 - y2) * 128.4f + 128.0f, 255)), uchar(rounded((B2 - y2) * 128.4f + 128.0f, 255))};
}

} // namespace pixmill::reference
