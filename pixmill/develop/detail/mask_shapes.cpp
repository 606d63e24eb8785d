#include <pixmill/develop/detail/angle.h>
#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/mask_plane.h>

#include <algorithm>
#include <cmath>

namespace pixmill::develop {

namespace {

/// From 0 at t = 0 to 1 at t = 1, level at both ends.
inline float smoothStep(float t)
{
    t = limit(t, 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

/// out = 255 * share(x, y) of every pixel's place in the picture, in pixels.
template <class Share>
void fill(const MaskGround& ground, cv::Mat& out, const Share& share)
{
    ensure(out, halfSize(ground.picture), CV_8UC1);
    forEachRow(out.size(), [&](int y) {
        uchar* row = out.ptr(y);
        for (int x = 0; x < out.cols; ++x)
            row[x] = uchar(roundToInt(share(float(2 * x) + 0.5f, float(2 * y) + 0.5f) * 255.0f));
    });
}

} // namespace

MaskGround MaskGround::of(const Layers& layers)
{
    MaskGround ground{layers.size(), cv::Mat(halfSize(layers.size()), CV_8UC1), layers.dr, layers.db};
    cv::Mat& luma = ground.luma;
    rows::forEachSpan(luma.rows, long(luma.total()), [&](int y, int end) {
        std::vector<ushort> row(std::size_t(luma.cols));
        for (; y < end; ++y) {
            originalRow(layers, 2 * y, 0, luma.cols, row.data());
            uchar* out = luma.ptr(y);
            for (int x = 0; x < luma.cols; ++x)
                out[x] = uchar(row[x] >> 8);
        }
    });
    return ground;
}

void renderShape(const LinearGradient& shape, const MaskGround& ground, cv::Mat& out)
{
    const float w = float(ground.picture.width), h = float(ground.picture.height);
    const float x0 = shape.from.x * w, y0 = shape.from.y * h, dx = shape.to.x * w - x0, dy = shape.to.y * h - y0;
    const float square = dx * dx + dy * dy;
    if (!(square > 0)) {
        ensure(out, halfSize(ground.picture), CV_8UC1);
        out.setTo(0);
        return;
    }
    fill(ground, out, [=](float x, float y) { return 1 - smoothStep(((x - x0) * dx + (y - y0) * dy) / square); });
}

void renderShape(const RadialGradient& shape, const MaskGround& ground, cv::Mat& out)
{
    const float longer = float(std::max(ground.picture.width, ground.picture.height));
    const float cx = shape.center.x * float(ground.picture.width), cy = shape.center.y * float(ground.picture.height);
    const Direction turned = directionOf(shape.angle);
    const float c = turned.cosine, s = turned.sine;
    const float rx = shape.radiusX * longer, ry = shape.radiusY * longer, fall = 1 - shape.hardness;
    fill(ground, out, [=](float x, float y) {
        const float u = ((x - cx) * c + (y - cy) * s) / rx, v = ((y - cy) * c - (x - cx) * s) / ry;
        const float outside = std::sqrt(u * u + v * v) - 1;
        if (outside >= 0)
            return 0.0f;
        return fall > 0 ? smoothStep(-outside / fall) : 1.0f;
    });
}

void renderShape(const LumaRange& shape, const MaskGround& ground, cv::Mat& out)
{
    uchar table[256];
    for (int i = 0; i < 256; ++i) {
        const float luma = float(i) / 255, outside = std::max(shape.low - luma, luma - shape.high);
        const float share = outside <= 0 ? 1.0f : shape.softness > 0 ? 1 - smoothStep(outside / shape.softness) : 0.0f;
        table[i] = uchar(roundToInt(share * 255));
    }
    ensure(out, ground.luma.size(), CV_8UC1);
    forEachRow(out.size(), [&](int y) {
        const uchar* in = ground.luma.ptr(y);
        uchar* row = out.ptr(y);
        for (int x = 0; x < out.cols; ++x)
            row[x] = table[in[x]];
    });
}

} // namespace pixmill::develop
