#include <pixmill/resample/blend.h>

#include <pixmill/core/detail/pixel.h>
#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>

#include <algorithm>
#include <cstddef>

namespace {

using namespace pixmill::detail;

/// Toward zero, limited to the pixel's range.
inline void truncate(float v, uchar& out)
{
    out = uchar(int(limit(v, 0.0f, 255.0f)));
}

inline void truncate(float v, ushort& out)
{
    out = ushort(int(limit(v, 0.0f, 65535.0f)));
}

inline void truncate(float v, float& out)
{
    out = v;
}

template <class T>
void blend(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float k)
{
    forEachRow(in0.size(), [&](int y) {
        const T* p0 = in0.ptr<T>(y);
        const T* p1 = in1.ptr<T>(y);
        const uchar* pa = alpha.ptr(y);
        T* po = out.ptr<T>(y);
        for (int x = 0; x < in0.cols; ++x) {
            const float a = float(pa[x]) * k;
            truncate(p1[x] * a + p0[x] * (1.0f - a), po[x]);
        }
    });
}

/// Whether row by row, left to right, no pixel of `in` is overwritten before it is read.
bool isDisjointOrSame(const cv::Mat& in, const cv::Mat& out)
{
    return !overlap(in, out) || (in.data == out.data && in.step == out.step && in.elemSize() == out.elemSize());
}

} // namespace

void blendAlpha(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float opacity)
{
    if (in0.type() != in1.type())
        throw "ERROR - blendAlpha - in0.type()!=in1.type()";
    if (in0.size != in1.size)
        throw "ERROR - blendAlpha - in0.size() !=in1.size()";
    CV_Assert(in0.dims <= 2 && alpha.dims <= 2 && alpha.rows >= in0.rows &&
              alpha.cols * alpha.elemSize() >= std::size_t(in0.cols));

    const cv::Mat from0 = in0, from1 = in1, weights = alpha; // `out` may be one of them
    ensure(out, from1.size(), from1.type());
    cv::Mat result = out;
    if (!isDisjointOrSame(from0, out) || !isDisjointOrSame(from1, out) || !isDisjointOrSame(weights, out))
        result = cv::Mat(out.size(), out.type());
    const float k = opacity * 0.003921569f;
    switch (from0.type()) {
    case CV_8UC1:
        blend<uchar>(from0, from1, weights, result, k);
        break;
    case CV_16UC1:
        blend<ushort>(from0, from1, weights, result, k);
        break;
    case CV_32FC1:
        blend<float>(from0, from1, weights, result, k);
        break;
    default:
        throw "ERROR - blendAlpha - in0 type";
    }
    if (result.data != out.data)
        result.copyTo(out);
}

void blendC(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, int width, int height, float factor)
{
    if (width <= 0 || height <= 0)
        return;
    CV_Assert(src && dst);
    forEachRow({width, height}, [&](int y) {
        const uchar* in = src + std::ptrdiff_t(y) * srcStep;
        uchar* out = dst + std::ptrdiff_t(y) * dstStep;
        for (int x = 0; x < width; ++x)
            out[x] = toPixel8(float(in[x]) * factor);
    });
}

void extremeSharpen(const cv::Mat& in, cv::Mat& out)
{
    if (in.type() != CV_16UC1)
        throw "ERROR - extremeSharpen - in.type()!=CV_16UC1";
    const cv::Mat from = overlap(in, out) ? in.clone() : in;
    ensure(out, from.size(), CV_16UC1);
    forEachRow(from.size(), [&](int y) {
        const ushort* p = from.ptr<ushort>(y);
        ushort* o = out.ptr<ushort>(y);
        std::copy(p, p + from.cols, o);
        if (y == 0 || y == from.rows - 1)
            return;
        const ushort* rows[] = {from.ptr<ushort>(y - 1), p, from.ptr<ushort>(y + 1)};
        for (int x = 1; x < from.cols - 1; ++x) {
            ushort low = p[x], high = p[x];
            for (const ushort* r : rows)
                for (int i = -1; i <= 1; ++i) {
                    low = std::min(low, r[x + i]);
                    high = std::max(high, r[x + i]);
                }
            o[x] = high - p[x] < p[x] - low ? high : low;
        }
    });
}
