#include <pixmill/resample/blend.h>

#include <pixmill/primitives/region.h>
#include <pixmill/rows/aliasing.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <cstddef>

using namespace pixmill::rows;
using namespace pixmill::primitives;

namespace {

/// Weights and factors are limited so that every product fits an int, which clamps faster than a float. No larger one
/// would give other pixels than black and white.
constexpr float kLargestWeight = 60.0f; // for one step of an 8-bit alpha
constexpr float kLargestFactor = 10000.0f;

/// Toward zero, limited to the pixel's range.
inline void truncate(float v, uchar& out)
{
    out = clamp8(int(v));
}

inline void truncate(float v, ushort& out)
{
    out = clamp16(int(v));
}

inline void truncate(float v, float& out)
{
    out = v;
}

/// `out` may be any of the inputs.
template <class T>
inline void blendRow(const T* in0, const T* in1, const uchar* alpha, float k, T* out, int n)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x) {
        const float a = float(alpha[x]) * k;
        truncate(in1[x] * a + in0[x] * (1.0f - a), out[x]);
    }
}

inline void scaleRow(const uchar* in, float factor, uchar* out, int n)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        out[x] = nearPixel8(float(in[x]) * factor);
}

template <class T>
void blend(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float k)
{
    PIXMILL_CHECK(alpha.dims <= 2 && alpha.rows >= in0.rows && alpha.cols * alpha.elemSize() >= std::size_t(in0.cols),
                  "blendAlpha", "alpha", describe(alpha), ("a byte for each of " + describe(in0.size())).c_str());
    forEachRow(in0.size(),
               [&](int y) { blendRow(in0.ptr<T>(y), in1.ptr<T>(y), alpha.ptr(y), k, out.ptr<T>(y), in0.cols); });
}

} // namespace

void blendAlpha(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float opacity)
{
    if (in0.type() != in1.type())
        throw "ERROR - blendAlpha - in0.type()!=in1.type()";
    if (in0.size != in1.size)
        throw "ERROR - blendAlpha - in0.size() !=in1.size()";
    checkPlane(in0, "blendAlpha", "in0");

    const cv::Mat from0 = in0, from1 = in1, weights = alpha; // `out` may be one of them
    ensure(out, from1.size(), from1.type());
    cv::Mat result = out;
    if (!isDisjointOrSame(from0, out) || !isDisjointOrSame(from1, out) || !isDisjointOrSame(weights, out))
        result = cv::Mat(out.size(), out.type());
    const float k = opacity * kPerByte;
    switch (from0.type()) {
    case CV_8UC1:
        blend<uchar>(from0, from1, weights, result, limit(k, -kLargestWeight, kLargestWeight));
        break;
    case CV_16UC1:
        blend<ushort>(from0, from1, weights, result, limit(k, -kLargestWeight, kLargestWeight));
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
    PIXMILL_CHECK(src, "blendC", "src", describe(src), "pixels");
    PIXMILL_CHECK(dst, "blendC", "dst", describe(dst), "room for pixels");
    factor = limit(factor, -kLargestFactor, kLargestFactor);
    forEachRow({width, height},
               [&](int y) { scaleRow(rowAt(src, srcStep, y), factor, rowAt(dst, dstStep, y), width); });
}
