#include <pixmill/develop/detail/unpack.h>

#include <pixmill/develop/detail/core.h>

#include <algorithm>

namespace pixmill::develop {

namespace {

constexpr int kChunk = 512; ///< Even, so that every chunk begins with a colour.

/// 16-bit R, G, B of `n` packed pixels.
template <class T, int channels, bool swap>
inline void loadRow(const T* __restrict in, float* __restrict r, float* __restrict g, float* __restrict b, int n)
{
    constexpr float widen = sizeof(T) == 1 ? 257.0f : 1.0f;
    for (int x = 0; x < n; ++x) {
        r[x] = float(in[channels * x + (swap ? 2 : 0)]) * widen;
        g[x] = float(in[channels * x + 1]) * widen;
        b[x] = float(in[channels * x + (swap ? 0 : 2)]) * widen;
    }
}

/// Weights that sum to 1 exactly where the channels are equal: green's share is what the other two leave.
inline void lumaRow(const float* __restrict r, const float* __restrict g, const float* __restrict b,
                    ushort* __restrict y, int n)
{
    for (int x = 0; x < n; ++x)
        y[x] = toPixel16(g[x] + 0.299f * (r[x] - g[x]) + 0.114f * (b[x] - g[x]));
}

inline void differenceRow(const float* __restrict v, const ushort* __restrict y, ushort* __restrict d, int n)
{
    for (int x = 0; x < n; ++x)
        d[x] = nearPixel16((v[2 * x] - float(y[2 * x])) * 0.5f + float(kCentre));
}

template <class T, int channels, bool swap>
void unpackRow(const T* in, ushort* y, ushort* dr, ushort* db, int n)
{
    float r[kChunk], g[kChunk], b[kChunk];
    for (int x = 0; x < n; x += kChunk) {
        const int count = std::min(kChunk, n - x);
        loadRow<T, channels, swap>(in + std::size_t(x) * channels, r, g, b, count);
        lumaRow(r, g, b, y + x, count);
        if (dr) {
            differenceRow(r, y + x, dr + x / 2, halfSize(count));
            differenceRow(b, y + x, db + x / 2, halfSize(count));
        }
    }
}

template <class T, int channels, bool swap>
void unpackRows(const Pixels& pixels, cv::Mat& Y, cv::Mat& dr, cv::Mat& db)
{
    const auto* data = static_cast<const uchar*>(pixels.data);
    forEachRow(Y.size(), [&](int y) {
        const bool even = y % 2 == 0;
        unpackRow<T, channels, swap>(reinterpret_cast<const T*>(data + y * pixels.stride), Y.ptr<ushort>(y),
                                     even ? dr.ptr<ushort>(y / 2) : nullptr, even ? db.ptr<ushort>(y / 2) : nullptr,
                                     Y.cols);
    });
}

template <class T>
void unpackDepth(const Pixels& pixels, cv::Mat& Y, cv::Mat& dr, cv::Mat& db)
{
    switch (pixels.order) {
    case Order::RGB:
        return unpackRows<T, 3, false>(pixels, Y, dr, db);
    case Order::BGR:
        return unpackRows<T, 3, true>(pixels, Y, dr, db);
    case Order::RGBA:
        return unpackRows<T, 4, false>(pixels, Y, dr, db);
    case Order::BGRA:
        return unpackRows<T, 4, true>(pixels, Y, dr, db);
    }
}

} // namespace

void unpack(const Pixels& pixels, cv::Mat& Y, cv::Mat& dr, cv::Mat& db)
{
    const cv::Size size(pixels.width, pixels.height);
    ensureLarge(Y, size, CV_16UC1);
    ensureLarge(dr, halfSize(size), CV_16UC1);
    ensureLarge(db, halfSize(size), CV_16UC1);
    if (pixels.depth == Depth::Bits8)
        unpackDepth<uchar>(pixels, Y, dr, db);
    else
        unpackDepth<ushort>(pixels, Y, dr, db);
}

} // namespace pixmill::develop
