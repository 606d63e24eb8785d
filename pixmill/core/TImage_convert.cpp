#include <pixmill/core/TImage.h>

#include <pixmill/core/detail/rows.h>
#include <pixmill/planar/detail/ydrdb.h>
#include <pixmill/primitives/convert.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

using namespace pixmill::detail;

/// Two 16-bit samples or one 8-bit pixel of a packed picture, at any address.
using AnyWord __attribute__((aligned(1), may_alias)) = std::uint32_t;

template <class T>
T* rowOf(const TImage& image, int plane, int y)
{
    return reinterpret_cast<T*>(image.m_plane_p[plane] + std::ptrdiff_t(y) * image.m_step);
}

/// Whether the picture is of this type and its planes reach over `size`.
bool covers(const TImage& image, TImage::IMTYPE type, const TSize& size)
{
    if (image.m_type != type)
        return false;
    const bool planes = image.m_plane_p[0] && (type != TImage::IM_C || image.m_plane_p[1]);
    return size.width <= 0 || size.height <= 0 ||
           (planes && image.m_width >= size.width && image.m_height >= size.height);
}

struct Rgba {
    int r, g, b, a;
};

// How packed pixels of either depth and order read and write as 16-bit values.

struct Rgba16 {
    static Rgba load(const AnyWord* row, int x)
    {
        const std::uint32_t rg = row[2 * x], ba = row[2 * x + 1];
        return {int(rg & 65535), int(rg >> 16), int(ba & 65535), int(ba >> 16)};
    }

    static void store(AnyWord* row, int x, const Rgba& p)
    {
        row[2 * x] = std::uint32_t(p.r) | std::uint32_t(p.g) << 16;
        row[2 * x + 1] = std::uint32_t(p.b) | std::uint32_t(p.a) << 16;
    }
};

struct Rgba8 {
    static Rgba load(const AnyWord* row, int x)
    {
        const std::uint32_t w = row[x];
        return {int(w & 255) * 257, int(w >> 8 & 255) * 257, int(w >> 16 & 255) * 257, int(w >> 24) * 257};
    }

    /// v / 257, nearest, for every 16-bit v.
    static std::uint32_t narrow(int v) { return (std::uint32_t(v) * 255 + 32895) >> 16; }

    static void store(AnyWord* row, int x, const Rgba& p)
    {
        row[x] = narrow(p.r) | narrow(p.g) << 8 | narrow(p.b) << 16 | narrow(p.a) << 24;
    }
};

struct Bgra8 {
    static Rgba load(const AnyWord* row, int x)
    {
        const Rgba p = Rgba8::load(row, x);
        return {p.b, p.g, p.r, p.a};
    }

    static void store(AnyWord* row, int x, const Rgba& p) { Rgba8::store(row, x, {p.b, p.g, p.r, p.a}); }
};

// Packed pixels to YCM

/// C of a 2 x 2 block.
inline uchar differenceYcm(int sumColour, int sumLuma)
{
    return clamp8((sumColour - sumLuma) / 2048 + kNoColourYcm);
}

template <class In>
inline void blockRow(const AnyWord* __restrict top, const AnyWord* __restrict bottom, ushort* __restrict yTop,
                     ushort* __restrict yBottom, uchar* __restrict red, uchar* __restrict blue, uchar* __restrict mask,
                     int blocks)
{
    for (int x = 0; x < blocks; ++x) {
        const Rgba p00 = In::load(top, 2 * x), p01 = In::load(top, 2 * x + 1), p10 = In::load(bottom, 2 * x),
                   p11 = In::load(bottom, 2 * x + 1);
        const int y00 = luma16(p00.r, p00.g, p00.b), y01 = luma16(p01.r, p01.g, p01.b),
                  y10 = luma16(p10.r, p10.g, p10.b), y11 = luma16(p11.r, p11.g, p11.b);
        const int sumLuma = y00 + y01 + y10 + y11;
        yTop[2 * x] = ushort(y00);
        yTop[2 * x + 1] = ushort(y01);
        yBottom[2 * x] = ushort(y10);
        yBottom[2 * x + 1] = ushort(y11);
        red[x] = differenceYcm(p00.r + p01.r + p10.r + p11.r, sumLuma);
        blue[x] = differenceYcm(p00.b + p01.b + p10.b + p11.b, sumLuma);
        mask[x] = uchar((p00.a + p01.a + p10.a + p11.a) >> 10);
    }
}

template <class In>
void toYCM(const TImage& in, TImage::IMTYPE type, TImage& Y, TImage& C, TImage& M)
{
    const TSize size = in.size(), half = TImage::dec2Size(size);
    CV_Assert(covers(in, type, size) && Y.m_type == TImage::IM_Y && C.m_type == TImage::IM_C &&
              M.m_type == TImage::IM_M);
    Y.resize(size);
    C.resize(half);
    M.resize(half);
    if (size.width <= 0 || size.height <= 0)
        return;
    CV_Assert(covers(Y, TImage::IM_Y, size) && covers(C, TImage::IM_C, half) && covers(M, TImage::IM_M, half));

    const int blocks = size.width / 2;
    forEachIndex(size.height / 2, long(size.width) * size.height, [&](int y) {
        blockRow<In>(rowOf<AnyWord>(in, 0, 2 * y), rowOf<AnyWord>(in, 0, 2 * y + 1), rowOf<ushort>(Y, 0, 2 * y),
                     rowOf<ushort>(Y, 0, 2 * y + 1), rowOf<uchar>(C, 0, y), rowOf<uchar>(C, 1, y),
                     rowOf<uchar>(M, 0, y), blocks);
    });
}

// YCM to packed pixels

constexpr int kTile = 512; ///< Columns worked on at a time, an even number: the scratch of a tile stays in the cache.

/// One row of a half-size 8-bit plane enlarged cubically by two on pixel squares: full-size sample X lies at half-size
/// X / 2 - 1 / 4, so the weights, over 128, are these and their mirror image. Samples past the edges repeat the edge.
class EnlargedRow {
public:
    EnlargedRow(const TImage& half, int plane, int y) : m_cols(half.m_width)
    {
        const int first = y / 2 - (y % 2 ? 1 : 2);
        for (int k = 0; k < 4; ++k)
            m_rows[k] = rowOf<const uchar>(half, plane, limit(first + k, 0, half.m_height - 1));
        for (int k = 0; k < 4; ++k)
            m_weights[k] = kWeights[y % 2 ? k : 3 - k];
    }

    /// Columns x to x + n - 1, x even, n at most kTile; `out` has room for an even number.
    void tile(int x, int n, uchar* __restrict out) const
    {
        // Sums over the four rows, of the centred samples so that they fit 16 bits, from two columns before the tile
        // on.
        short sums[kTile / 2 + 4];
        const int before = x / 2 - 2, count = (n + 1) / 2 + 4;
        const int first = std::max(before, 0), end = std::min(before + count, m_cols);
        for (int i = first; i < end; ++i)
            sums[i - before] = short(m_weights[0] * (m_rows[0][i] - 128) + m_weights[1] * (m_rows[1][i] - 128) +
                                     m_weights[2] * (m_rows[2][i] - 128) + m_weights[3] * (m_rows[3][i] - 128));
        std::fill(sums, sums + (first - before), sums[first - before]);
        std::fill(sums + (end - before), sums + count, sums[end - 1 - before]);

        for (int i = 0; i < (n + 1) / 2; ++i) {
            const short* s = sums + i;
            out[2 * i] = narrow(kWeights[3] * s[0] + kWeights[2] * s[1] + kWeights[1] * s[2] + kWeights[0] * s[3]);
            out[2 * i + 1] = narrow(kWeights[0] * s[1] + kWeights[1] * s[2] + kWeights[2] * s[3] + kWeights[3] * s[4]);
        }
    }

private:
    static constexpr int kWeights[4] = {-7, 105, 35, -5};

    /// Halves go up.
    static uchar narrow(int sum) { return clamp8(((sum + 8192) >> 14) + 128); }

    const uchar* m_rows[4];
    int m_weights[4];
    int m_cols;
};

/// 255.997 m in double, rounded: what falls short of 256 m reaches half a step at 167.
inline int alphaOf(int m)
{
    return 256 * m - (m > 166);
}

template <class Out>
inline void packRow(const ushort* __restrict y, const uchar* __restrict red, const uchar* __restrict blue,
                    const uchar* __restrict mask, AnyWord* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        const float luma = float(y[x]), r = colourYcm(luma, float(red[x])), b = colourYcm(luma, float(blue[x]));
        Out::store(out, x, {nearPixel16(r), greenYcm16(luma, r, b), nearPixel16(b), alphaOf(mask[x])});
    }
}

template <class Out>
void fromYCM(const TImage& Y, const TImage& C, const TImage& M, TImage& out, TImage::IMTYPE type)
{
    const TSize size = Y.size(), half = TImage::dec2Size(size);
    if (size != out.size() || half != C.size() || C.size() != M.size())
        throw "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() || "
              "imC.size() != mask.size()";
    CV_Assert(covers(Y, TImage::IM_Y, size) && covers(C, TImage::IM_C, half) && covers(M, TImage::IM_M, half) &&
              covers(out, type, size));

    const int step = type == TImage::IM_RGBA16U ? 2 : 1; // words a pixel
    forEachRow({size.width, size.height}, [&](int y) {
        const EnlargedRow red(C, 0, y), blue(C, 1, y), mask(M, 0, y);
        uchar r[kTile], b[kTile], m[kTile];
        for (int x = 0; x < size.width; x += kTile) {
            const int n = std::min(kTile, size.width - x);
            red.tile(x, n, r);
            blue.tile(x, n, b);
            mask.tile(x, n, m);
            packRow<Out>(rowOf<ushort>(Y, 0, y) + x, r, b, m, rowOf<AnyWord>(out, 0, y) + std::ptrdiff_t(step) * x, n);
        }
    });
}

// Luma at half size, and chroma that follows it

/// The high bytes of the means of n 2 x 2 blocks.
inline void halveRow(const ushort* __restrict top, const ushort* __restrict bottom, uchar* __restrict out, int n)
{
    for (int x = 0; x < n; ++x)
        out[x] = uchar((top[2 * x] + top[2 * x + 1] + bottom[2 * x] + bottom[2 * x + 1]) >> 10);
}

/// Columns x to x + n - 1 of row y of `image.halfY8U()`.
inline void halveTile(const TImage& image, int x, int y, int n, uchar* out)
{
    const int whole = y < image.m_height / 2 ? limit(image.m_width / 2 - x, 0, n) : 0;
    if (whole > 0)
        halveRow(rowOf<ushort>(image, 0, 2 * y) + 2 * x, rowOf<ushort>(image, 0, 2 * y + 1) + 2 * x, out, whole);
    std::fill(out + whole, out + n, uchar(0));
}

inline void followRow(const uchar* before, const uchar* after, const uchar* c0, const uchar* c1, uchar* out0,
                      uchar* out1, float k, int n)
{
    for (int x = 0; x < n; ++x) {
        const float a = before[x], ratio = (after[x] + k) / (a + k), y = a * 0.00392156886f;
        const float r = (c0[x] - 128.0f) * 0.0078125f + y, b = (c1[x] - 128.0f) * 0.0078125f + y;
        const float r2 = r * ratio, b2 = b * ratio;
        const float y2 = greenShareOf(y, r, b) * ratio + kRedShare * r2 + kBlueShare * b2;
        out0[x] = toPixel8((r2 - y2) * 128.4f + 128.0f);
        out1[x] = toPixel8((b2 - y2) * 128.4f + 128.0f);
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

/// Whether luma rows can be read as 16-bit samples.
bool readsAsLuma(const TImage& image)
{
    return image.m_width <= 0 || image.m_height <= 0 || (image.m_plane_p[0] && image.m_pixelBytes >= 2);
}

} // namespace

void TImage::rgba8uTo16u(const TImage& in, TImage& out)
{
    CV_Assert(covers(in, IM_RGBA8U, in.size()) && out.m_type == IM_RGBA16U);
    out.resize(in.size());
    CV_Assert(covers(out, IM_RGBA16U, in.size()));
    ippiScale_8u16u_C4R(in.m_plane_p[0], in.m_step, reinterpret_cast<ushort*>(out.m_plane_p[0]), out.m_step,
                        {in.m_width, in.m_height});
}

void TImage::rgba16uTo8u(const TImage& in, TImage& out)
{
    CV_Assert(covers(in, IM_RGBA16U, in.size()) && out.m_type == IM_RGBA8U);
    out.resize(in.size());
    CV_Assert(covers(out, IM_RGBA8U, in.size()));
    ippiScale_16u8u_C4R(reinterpret_cast<const ushort*>(in.m_plane_p[0]), in.m_step, out.m_plane_p[0], out.m_step,
                        {in.m_width, in.m_height}, ippAlgHintFast);
}

void TImage::rgba16uToYCM(const TImage& in, TImage& Y, TImage& C, TImage& M)
{
    toYCM<Rgba16>(in, IM_RGBA16U, Y, C, M);
}

void TImage::rgba8uToYCM(const TImage& in, TImage& Y, TImage& C, TImage& M)
{
    toYCM<Rgba8>(in, IM_RGBA8U, Y, C, M);
}

void TImage::YCMToRgba16u(const TImage& Y, const TImage& C, const TImage& M, TImage& out)
{
    fromYCM<Rgba16>(Y, C, M, out, IM_RGBA16U);
}

void TImage::YCMToRgba8u(const TImage& Y, const TImage& C, const TImage& M, TImage& out)
{
    fromYCM<Rgba8>(Y, C, M, out, IM_RGBA8U);
}

void TImage::bgra8uToTImage(const unsigned char* src, int width, int height, int stride, TImage& Y, TImage& C,
                            TImage& M)
{
    // Read in the host's order, so its buffer is never written to.
    toYCM<Bgra8>(TImage(TSize(width, height), const_cast<unsigned char*>(src), stride, false), IM_RGBA8U, Y, C, M);
}

void TImage::timageToBgra8u(const TImage& Y, const TImage& C, const TImage& M, unsigned char* dst, int stride)
{
    TImage out(Y.size(), dst, stride, false);
    fromYCM<Bgra8>(Y, C, M, out, IM_RGBA8U);
}

void TImage::updateCfromYChange(const TImage& oldY, const TImage& C, const TImage& newY, TImage& outC, float guard)
{
    const TSize half = dec2Size(oldY.size());
    CV_Assert(readsAsLuma(oldY) && readsAsLuma(newY) && oldY.size() == newY.size());
    CV_Assert(covers(C, IM_C, half) && covers(outC, IM_C, half));

    const float k = 255.0f * guard;
    forEachRow({half.width, half.height}, [&](int y) {
        uchar before[kTile], after[kTile];
        for (int x = 0; x < half.width; x += kTile) {
            const int n = std::min(kTile, half.width - x);
            halveTile(oldY, x, y, n, before);
            halveTile(newY, x, y, n, after);
            followRow(before, after, rowOf<uchar>(C, 0, y) + x, rowOf<uchar>(C, 1, y) + x, rowOf<uchar>(outC, 0, y) + x,
                      rowOf<uchar>(outC, 1, y) + x, k, n);
        }
    });
}

void TImage::swapC4RBCannel()
{
    if (m_type != IM_RGBA8U && m_type != IM_RGBA16U)
        throw "ERROR -  TImage::swapC4RBCannel() - wrong type";
    CV_Assert(m_plane_p[0] || m_width <= 0 || m_height <= 0);

    if (m_type == IM_RGBA8U)
        forEachRow({m_width, m_height}, [&](int y) { swapRow8(rowOf<AnyWord>(*this, 0, y), m_width); });
    else
        forEachRow({m_width, m_height}, [&](int y) { swapRow16(rowOf<AnyWord>(*this, 0, y), m_width); });
}

cv::Mat TImage::halfY8U() const
{
    CV_Assert(readsAsLuma(*this));
    const TSize half = dec2Size(size());
    cv::Mat out(half.height, half.width, CV_8UC1);
    forEachRow(out.size(), [&](int y) { halveTile(*this, 0, y, half.width, out.ptr(y)); });
    return out;
}

void YCMtoRGB(cv::Mat&, cv::Mat&, cv::Mat&)
{
}

void RGBtoYCM(cv::Mat&, cv::Mat&, cv::Mat&)
{
}
