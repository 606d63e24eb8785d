#include <pixmill/core/TImage.h>

#include <pixmill/core/detail/packed_pixels.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/ydrdb.h>

#include <algorithm>
#include <cstdint>

using namespace pixmill::rows;
using namespace pixmill::core;

namespace {

template <class In, class Out>
void repack(const TImage& in, TImage::IMTYPE inType, TImage& out, TImage::IMTYPE outType, const char* call)
{
    checkCovers(in, inType, in.size(), call, "in");
    checkType(out, outType, call, "out");
    out.resize(in.size());
    checkCovers(out, outType, in.size(), call, "out");
    forEachRow(extent(in), [&](int y) {
        const AnyWord* __restrict from = rowOf<AnyWord>(in, 0, y);
        AnyWord* __restrict to = rowOf<AnyWord>(out, 0, y);
        const int n = in.m_width;
        for (int x = 0; x < n; ++x)
            Out::store(to, x, In::load(from, x));
    });
}

// Packed pixels to YCM

/// Tiles hold ints, so that the arithmetic runs on one width of lanes; bytes are packed in a loop of their own.
inline void packBytes(const int* __restrict in, uchar* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = uchar(in[x]);
}

/// C of a 2 x 2 block.
inline int differenceYcm(int sumColour, int sumLuma)
{
    return limit((sumColour - sumLuma) / 2048 + kNoColourYcm, 0, 255);
}

template <class In>
inline void blocks(const AnyWord* __restrict top, const AnyWord* __restrict bottom, AnyWord* __restrict yTop,
                   AnyWord* __restrict yBottom, int* __restrict red, int* __restrict blue, int* __restrict mask, int n)
{
    for (int x = 0; x < n; ++x) {
        const Rgba p00 = In::load(top, 2 * x), p01 = In::load(top, 2 * x + 1), p10 = In::load(bottom, 2 * x),
                   p11 = In::load(bottom, 2 * x + 1);
        const int y00 = luma16(p00.r, p00.g, p00.b), y01 = luma16(p01.r, p01.g, p01.b),
                  y10 = luma16(p10.r, p10.g, p10.b), y11 = luma16(p11.r, p11.g, p11.b);
        const int sumLuma = y00 + y01 + y10 + y11;
        yTop[x] = pairOf(y00, y01);
        yBottom[x] = pairOf(y10, y11);
        red[x] = differenceYcm(p00.r + p01.r + p10.r + p11.r, sumLuma);
        blue[x] = differenceYcm(p00.b + p01.b + p10.b + p11.b, sumLuma);
        mask[x] = (p00.a + p01.a + p10.a + p11.a) >> 10;
    }
}

/// One row of whole blocks.
template <class In>
inline void blockRow(const TImage& in, TImage& Y, TImage& C, TImage& M, int row)
{
    const int count = in.m_width / 2;
    int red[kPackedTile], blue[kPackedTile], mask[kPackedTile];
    for (int x = 0; x < count; x += kPackedTile) {
        const int n = std::min(kPackedTile, count - x);
        blocks<In>(rowOf<AnyWord>(in, 0, 2 * row) + 2 * x * In::kWords,
                   rowOf<AnyWord>(in, 0, 2 * row + 1) + 2 * x * In::kWords, rowOf<AnyWord>(Y, 0, 2 * row) + x,
                   rowOf<AnyWord>(Y, 0, 2 * row + 1) + x, red, blue, mask, n);
        packBytes(red, rowOf<uchar>(C, 0, row) + x, n);
        packBytes(blue, rowOf<uchar>(C, 1, row) + x, n);
        packBytes(mask, rowOf<uchar>(M, 0, row) + x, n);
    }
}

template <class In>
void toYCM(const TImage& in, TImage::IMTYPE type, TImage& Y, TImage& C, TImage& M, const char* call, const char* source)
{
    const TSize size = in.size(), half = TImage::dec2Size(size);
    checkCovers(in, type, size, call, source);
    checkType(Y, TImage::IM_Y, call, "Y");
    checkType(C, TImage::IM_C, call, "C");
    checkType(M, TImage::IM_M, call, "M");
    Y.resize(size);
    C.resize(half);
    M.resize(half);
    if (size.width <= 0 || size.height <= 0)
        return;
    checkCovers(Y, TImage::IM_Y, size, call, "Y");
    checkCovers(C, TImage::IM_C, half, call, "C");
    checkCovers(M, TImage::IM_M, half, call, "M");

    forEachIndex(size.height / 2, long(size.width) * size.height, [&](int row) { blockRow<In>(in, Y, C, M, row); });
}

// Luma at half size, and chroma that follows it

/// The high bytes of the means of n 2 x 2 blocks.
inline void halveRow(const AnyWord* __restrict top, const AnyWord* __restrict bottom, int* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = int(((top[x] & 65535) + (top[x] >> 16) + (bottom[x] & 65535) + (bottom[x] >> 16)) >> 10);
}

/// Columns x to x + n - 1 of row y of `image.halfY8U()`.
inline void halveTile(const TImage& image, int x, int y, int n, int* out)
{
    const int whole = y < image.m_height / 2 ? limit(image.m_width / 2 - x, 0, n) : 0;
    if (whole > 0)
        halveRow(rowOf<AnyWord>(image, 0, 2 * y) + x, rowOf<AnyWord>(image, 0, 2 * y + 1) + x, out, whole);
    std::fill(out + whole, out + n, 0);
}

inline int followed(float colour, float luma)
{
    return toPixel8((colour - luma) * 128.4f + 128.0f);
}

/// `red` and `blue` in place, from lumas before and after.
inline void followRow(const int* __restrict before, const int* __restrict after, int* __restrict red,
                      int* __restrict blue, float k, int n)
{
    for (int x = 0; x < n; ++x) {
        const float a = float(before[x]), ratio = (float(after[x]) + k) / (a + k), y = a * kPerByte;
        const float r = (float(red[x]) - 128.0f) * 0.0078125f + y, b = (float(blue[x]) - 128.0f) * 0.0078125f + y;
        const float r2 = r * ratio, b2 = b * ratio;
        const float y2 = greenShareOf(y, r, b) * ratio + kRedShare * r2 + kBlueShare * b2;
        red[x] = followed(r2, y2);
        blue[x] = followed(b2, y2);
    }
}

inline void swapRow8(AnyWord* row, int n)
{
    for (int x = 0; x < n; ++x) {
        const std::uint32_t w = row[x];
        row[x] = (w & 0xff00ff00u) | (w >> 16 & 255) | (w & 255) << 16;
    }
}

inline void swapRow16(AnyWord* row, int n)
{
    for (int x = 0; x < n; ++x) {
        const std::uint32_t low = row[2 * x], high = row[2 * x + 1];
        row[2 * x] = (low & 0xffff0000u) | (high & 65535);
        row[2 * x + 1] = (high & 0xffff0000u) | (low & 65535);
    }
}

/// Luma rows are read as 16-bit samples.
void checkLuma(const TImage& image, const char* call, const char* argument)
{
    PIXMILL_CHECK(extent(image).empty() || (image.m_plane_p[0] && image.m_pixelBytes >= 2), call, argument,
                  describe(image), "pixels of 2 bytes or more");
}

} // namespace

void TImage::rgba8uTo16u(const TImage& in, TImage& out)
{
    repack<Rgba8, Rgba16>(in, IM_RGBA8U, out, IM_RGBA16U, "TImage::rgba8uTo16u");
}

void TImage::rgba16uTo8u(const TImage& in, TImage& out)
{
    repack<Rgba16, Rgba8>(in, IM_RGBA16U, out, IM_RGBA8U, "TImage::rgba16uTo8u");
}

void TImage::rgba16uToYCM(const TImage& in, TImage& Y, TImage& C, TImage& M)
{
    toYCM<Rgba16>(in, IM_RGBA16U, Y, C, M, "TImage::rgba16uToYCM", "in");
}

void TImage::rgba8uToYCM(const TImage& in, TImage& Y, TImage& C, TImage& M)
{
    toYCM<Rgba8>(in, IM_RGBA8U, Y, C, M, "TImage::rgba8uToYCM", "in");
}

void TImage::bgra8uToTImage(const unsigned char* src, int width, int height, int stride, TImage& Y, TImage& C,
                            TImage& M)
{
    // Read in the host's order, so its buffer is never written to.
    toYCM<Bgra8>(TImage(TSize(width, height), const_cast<unsigned char*>(src), stride, false), IM_RGBA8U, Y, C, M,
                 "TImage::bgra8uToTImage", "src");
}

void TImage::updateCfromYChange(const TImage& oldY, const TImage& C, const TImage& newY, TImage& outC, float guard)
{
    const TSize half = dec2Size(oldY.size());
    const char* call = "TImage::updateCfromYChange";
    checkLuma(oldY, call, "oldY");
    checkLuma(newY, call, "newY");
    PIXMILL_CHECK(oldY.size() == newY.size(), call, "newY", describe(newY), "the size of oldY");
    checkCovers(C, IM_C, half, call, "C");
    checkCovers(outC, IM_C, half, call, "outC");

    const float k = 255.0f * guard;
    forEachRow(extent(oldY).empty() ? cv::Size() : cv::Size(half.width, half.height), [&](int y) {
        int before[kPackedTile], after[kPackedTile], red[kPackedTile], blue[kPackedTile];
        for (int x = 0; x < half.width; x += kPackedTile) {
            const int n = std::min(kPackedTile, half.width - x);
            halveTile(oldY, x, y, n, before);
            halveTile(newY, x, y, n, after);
            std::copy_n(rowOf<uchar>(C, 0, y) + x, n, red);
            std::copy_n(rowOf<uchar>(C, 1, y) + x, n, blue);
            followRow(before, after, red, blue, k, n);
            packBytes(red, rowOf<uchar>(outC, 0, y) + x, n);
            packBytes(blue, rowOf<uchar>(outC, 1, y) + x, n);
        }
    });
}

void TImage::swapC4RBCannel()
{
    if (m_type != IM_RGBA8U && m_type != IM_RGBA16U)
        throw "ERROR -  TImage::swapC4RBCannel() - wrong type";
    PIXMILL_CHECK(m_plane_p[0] || extent(*this).empty(), "TImage::swapC4RBCannel", "the picture", describe(*this),
                  "planes");

    if (m_type == IM_RGBA8U)
        forEachRow(extent(*this), [&](int y) { swapRow8(rowOf<AnyWord>(*this, 0, y), m_width); });
    else
        forEachRow(extent(*this), [&](int y) { swapRow16(rowOf<AnyWord>(*this, 0, y), m_width); });
}

cv::Mat TImage::halfY8U() const
{
    checkLuma(*this, "TImage::halfY8U", "the picture");
    const TSize half = dec2Size(size());
    cv::Mat out(half.height, half.width, CV_8UC1);
    forEachRow(out.size(), [&](int y) {
        int means[kPackedTile];
        for (int x = 0; x < half.width; x += kPackedTile) {
            const int n = std::min(kPackedTile, half.width - x);
            halveTile(*this, x, y, n, means);
            packBytes(means, out.ptr(y) + x, n);
        }
    });
    return out;
}

void YCMtoRGB(cv::Mat&, cv::Mat&, cv::Mat&)
{
}

void RGBtoYCM(cv::Mat&, cv::Mat&, cv::Mat&)
{
}
