#pragma once

#include <pixmill/mask/TDrawMask.h>
#include <reference/planes.h>

#include <opencv2/core.hpp>

#include <cstdlib>

/// A brush's dot on a mask: coverage grows by the weight of each pixel's distance from the centre, and the stroke is
/// blended over the mask as it was before it.
///
///     cover = 255 w + (1 - w) cover      w(t) = (exp(-2 t^2) - exp(-2)) / (1 - exp(-2)), t from inner to outer radius
///     mask = value a + (1 - a) base, a = cover * opacity / 255
///
/// Near an edge of the picture w falls with the difference of colour and luma from those under the centre.
/// T. Porter, T. Duff, "Compositing Digital Images", 1984 (over).
namespace pixmill::reference {

struct Brush {
    cv::Mat mask, cover, base; // continuous
    cv::Mat y8, dr, db;
    std::vector<float> table = std::vector<float>(8000, 0.0f);

    int clipX0 = 0, clipX1 = 0, clipY0 = 0, clipY1 = 0, maskX = 0, maskY = 0;

    static cv::Mat distances(int R)
    {
        const int D = 2 * R + 1;
        cv::Mat distance(D, D, CV_32FC1);
        for (int j = 0; j < D; ++j)
            for (int i = 0; i < D; ++i) {
                const float x = float(i - R), y = float(j - R);
                distance.at<float>(j, i) = std::sqrt(x * x + y * y);
            }
        return distance;
    }

    void clip(cv::Point c, int R)
    {
        const int D = 2 * R + 1;
        clipX0 = 0;
        const int t = c.y - R, b = c.y + R, l = c.x - R, r = c.x + R;
        clipY0 = t < 0 ? -t : 0;
        maskY = t < 0 ? 0 : t;
        clipY1 = b < mask.rows ? D : mask.rows + D - b - 1;
        if (l < 0)
            clipX0 = -l;
        maskX = l < 0 ? 0 : l;
        clipX1 = r <= mask.cols ? D : mask.cols + D - r - 1;
    }

    static uchar byteOf(double v) { return uchar(rounded(v, 255)); }

    void fillTable(int outer, int inner)
    {
        for (int r = 0; r < 8000; ++r)
            table[r] = r < outer ? 1.0f : 0.0f;
        const float e = float(std::exp(-2.0)), k = 1.0f / (1.0f - e);
        for (int r = std::max(inner, 0); r < std::min(outer, 8000); ++r) {
            const float t = float(r - inner) / float(outer - inner);
            table[r] = (float(std::exp(double((0 - 2 * t) * t))) - e) * k;
        }
    }

    // Calls pixel(index of the mask pixel, distance) in the order of the rows; a column past the row is the next row's.
    template <class Pixel>
    void forEachPixel(cv::Point c, int R, const Pixel& pixel)
    {
        clip(c, R);
        if (clipX0 >= clipX1 || clipY0 >= clipY1)
            return;
        const cv::Mat distance = distances(R);
        for (int y = clipY0; y < clipY1; ++y)
            for (int x = clipX0; x < clipX1; ++x) {
                const size_t i = size_t(y - clipY0 + maskY) * mask.cols + (x - clipX0 + maskX);
                if (i < mask.total())
                    pixel(i, distance.at<float>(y, x));
            }
    }

    void hardDot(cv::Point c, int R)
    {
        forEachPixel(c, R, [&](size_t i, float distance) {
            if (distance <= double(R))
                cover.data[i] = 255;
        });
    }

    void softDot(cv::Point c, int R, float edge)
    {
        const cv::Point p(std::clamp(c.x, 0, mask.cols - 1), std::clamp(c.y, 0, mask.rows - 1));
        const double y0 = float(y8.at<uchar>(p)) * 0.00392156886f;
        const double dr0 = float(dr.at<ushort>(p)) * 1.52590219e-05f;
        const double db0 = float(db.at<ushort>(p)) * 1.52590219e-05f;
        const float kc = edge * 6, ky = (edge * 0.5f) * 3;
        forEachPixel(c, R, [&](size_t i, float distance) {
            const int r = int(distance + 0.5);
            const float w = r < 8000 ? table[r] : 0.0f;
            uchar& v = cover.data[i];
            if (edge <= 0) {
                v = byteOf(255.0 * double(w) + (1.0 - double(w)) * double(v));
                return;
            }
            const double red = float(reinterpret_cast<const ushort*>(dr.data)[i]) * 1.52590219e-05f;
            const double blue = float(reinterpret_cast<const ushort*>(db.data)[i]) * 1.52590219e-05f;
            const double luma = float(y8.data[i]) * 0.00392156886f;
            const float dc = float(std::fabs(red - dr0) + std::fabs(blue - db0));
            const float dy = float(std::fabs(luma - y0));
            const float d = dc * kc + dy * ky;
            const float t = std::min(float(double(d) / (double(w) + 0.1)), 1.0f);
            const float s = float(double(t * t) * (3.0 - double(t) - double(t)));
            const float w2 = w * (1 - s);
            v = uchar(int(double(w2) * 255.0 + double(float(v) * (1 - w2))));
        });
    }

    void smoothDot(cv::Point c, int R, int inner, float edge)
    {
        const cv::Point p(std::clamp(c.x, 0, mask.cols - 1), std::clamp(c.y, 0, mask.rows - 1));
        const float y0 = float(y8.at<uchar>(p)) * 0.00392156886f;
        const float dr0 = float(dr.at<ushort>(p)) * 1.52590219e-05f, db0 = float(db.at<ushort>(p)) * 1.52590219e-05f;
        const float kc = edge * 6, ky = (edge * 0.5f) * 3;
        forEachPixel(c, R, [&](size_t i, float distance) {
            float f = std::max(std::min(distance, float(R)), float(inner)) - float(inner);
            if (R != inner)
                f /= float(R - inner);
            const float inside = distance <= R ? 1.0f : 0.0f;
            const float w = (1.0f - (f * f) * (f * -2.0f + 3.0f)) * inside;
            uchar& v = cover.data[i];
            if (edge <= 0) {
                v = byteOf(255.0 * double(w) + (1.0 - double(w)) * double(v));
                return;
            }
            const float red = float(reinterpret_cast<const ushort*>(dr.data)[i]) * 1.52590219e-05f;
            const float blue = float(reinterpret_cast<const ushort*>(db.data)[i]) * 1.52590219e-05f;
            const float luma = float(y8.data[i]) * 0.00392156886f;
            const float d = (std::fabs(red - dr0) + std::fabs(blue - db0)) * kc + std::fabs(luma - y0) * ky;
            const float t = std::min(d / (w + 0.100000001f), 1.0f);
            const float w2 = w * (1 - t * t * (3 - t - t));
            v = uchar(int(255 * w2 + float(v) * (1 - w2)));
        });
    }

    void render(uchar value, float opacity, cv::Point c, int R)
    {
        const float a0 = opacity * 0.00392156886f;
        for (int y = std::max(c.y - R, 0); y < std::min(c.y + R, mask.rows); ++y)
            for (int x = std::max(c.x - R, 0); x < std::min(c.x + R, mask.cols); ++x) {
                const float a = float(cover.at<uchar>(y, x)) * a0;
                mask.at<uchar>(y, x) = byteOf(double(float(value) * a + (1 - a) * float(base.at<uchar>(y, x))));
            }
    }

    void strokeDot(bool first, const TMaskParam& p)
    {
        if (first || cover.size() != mask.size()) {
            cover = cv::Mat::zeros(mask.size(), CV_8UC1);
            base = mask.clone();
        }
        if (p.m_outerRadius == p.m_innerRadius && p.m_edge < 0.05f) {
            hardDot(p.m_center, p.m_outerRadius);
        } else {
            if (p.m_outerRadius < p.m_innerRadius)
                throw "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle.";
            fillTable(p.m_outerRadius, p.m_innerRadius);
            softDot(p.m_center, p.m_outerRadius, p.m_edge);
        }
        render(p.m_value, p.m_opacity, p.m_center, p.m_outerRadius);
    }
};

} // namespace pixmill::reference
