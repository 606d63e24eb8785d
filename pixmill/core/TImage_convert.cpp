#include <pixmill/core/TImage.h>

#include <pixmill/core/detail/rows.h>
#include <pixmill/planar/detail/colour_rows.h>
#include <pixmill/planar/detail/ydrdb.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace {

using namespace pixmill::detail;

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

/// Two 16-bit samples that follow one another in memory.
inline std::uint32_t pairOf(int first, int second)
{
    return std::uint32_t(first) | std::uint32_t(second) << 16;
}

struct Rgba {
    int r, g, b, a;
};

// How packed pixels of either depth and order read and write as 16-bit values: a word is two samples of 16 bits, or a
// pixel of 8.

struct Rgba16 {
    static constexpr int kWords = 2; ///< A pixel.

    static Rgba load(const AnyWord* row, int x)
    {
        const std::uint32_t rg = row[2 * x], ba = row[2 * x + 1];
        return {int(rg & 65535), int(rg >> 16), int(ba & 65535), int(ba >> 16)};
    }

    static void store(AnyWord* row, int x, const Rgba& p)
    {
        row[2 * x] = pairOf(p.r, p.g);
        row[2 * x + 1] = pairOf(p.b, p.a);
    }
};

struct Rgba8 {
    static constexpr int kWords = 1;

    static Rgba load(const AnyWord* row, int x)
    {
        const std::uint32_t w = row[x];
        return {int(w & 255) * 257, int(w >> 8 & 255) * 257, int(w >> 16 & 255) * 257, int(w >> 24) * 257};
    }

    /// Each of two 16-bit samples divided by 257, to nearest: v - round(v / 256) is v * 255 / 256, and the high byte of
    /// that plus a half is the answer for every v. No sample runs over into its neighbour.
    static std::uint32_t narrow(std::uint32_t pair)
    {
        const std::uint32_t share = (pair >> 8 & 0xff00ff) + (pair >> 7 & 0x10001);
        return (pair - share + 0x800080) >> 8 & 0xff00ff;
    }

    static void store(AnyWord* row, int x, const Rgba& p)
    {
        row[x] = narrow(pairOf(p.r, p.b)) | narrow(pairOf(p.g, p.a)) << 8;
    }
};

struct Bgra8 {
    static constexpr int kWords = 1;

    static Rgba load(const AnyWord* row, int x)
    {
        const Rgba p = Rgba8::load(row, x);
        return {p.b, p.g, p.r, p.a};
    }

    static void store(AnyWord* row, int x, const Rgba& p) { Rgba8::store(row, x, {p.b, p.g, p.r, p.a}); }
};

template <class In, class Out>
void repack(const TImage& in, TImage::IMTYPE inType, TImage& out, TImage::IMTYPE outType)
{
    CV_Assert(covers(in, inType, in.size()) && out.m_type == outType);
    out.resize(in.size());
    CV_Assert(covers(out, outType, in.size()));
    forEachRow({in.m_width, in.m_height}, [&](int y) {
        const AnyWord* __restrict from = rowOf<AnyWord>(in, 0, y);
        AnyWord* __restrict to = rowOf<AnyWord>(out, 0, y);
        const int n = in.m_width;
        for (int x = 0; x < n; ++x)
            Out::store(to, x, In::load(from, x));
    });
}

// Packed pixels to YCM

/// Columns worked on at a time, an even number: the scratch of a tile stays in the cache. It holds ints, so that the
/// arithmetic runs on one width of lanes, and bytes are packed in a loop of their own.
constexpr int kTile = 512;

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
    int red[kTile], blue[kTile], mask[kTile];
    for (int x = 0; x < count; x += kTile) {
        const int n = std::min(kTile, count - x);
        blocks<In>(rowOf<AnyWord>(in, 0, 2 * row) + 2 * x * In::kWords,
                   rowOf<AnyWord>(in, 0, 2 * row + 1) + 2 * x * In::kWords, rowOf<AnyWord>(Y, 0, 2 * row) + x,
                   rowOf<AnyWord>(Y, 0, 2 * row + 1) + x, red, blue, mask, n);
        packBytes(red, rowOf<uchar>(C, 0, row) + x, n);
        packBytes(blue, rowOf<uchar>(C, 1, row) + x, n);
        packBytes(mask, rowOf<uchar>(M, 0, row) + x, n);
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

    forEachIndex(size.height / 2, long(size.width) * size.height, [&](int row) { blockRow<In>(in, Y, C, M, row); });
}

// YCM to packed pixels

/// Enlarged samples of a tile, less 128, even and odd columns apart: the two have weights of their own.
struct Enlarged {
    short columns[2][kTile / 2];
};

/// One row of a half-size 8-bit plane enlarged cubically by two on pixel squares: full-size sample X lies at half-size
/// X / 2 - 1 / 4, so the weights, over 128, are these and their mirror image. Samples past the edges repeat the edge;
/// halves go up. All in 16 bits: samples are centred, and the sums over the rows are split before the second product.
class EnlargedRow {
public:
    EnlargedRow(const TImage& half, int plane, int y) : m_cols(half.m_width)
    {
        const int first = y / 2 - (y % 2 ? 1 : 2);
        for (int k = 0; k < 4; ++k)
            m_rows[k] = rowOf<const uchar>(half, plane, limit(first + k, 0, half.m_height - 1));
        m_weights = kWeights[y % 2];
    }

    /// The pairs of columns from x on, x even; at most half a tile.
    void tile(int x, int pairs, Enlarged& out) const
    {
        // Sums over the four rows, from two columns before the tile on, as 128 * high + low.
        short high[kTile / 2 + 4], low[kTile / 2 + 4];
        const int before = x / 2 - 2, count = pairs + 4;
        const int first = std::max(before, 0), end = std::min(before + count, m_cols);
        sumRows(m_rows, m_weights, first, end - first, high + (first - before), low + (first - before));
        for (short* sums : {high, low}) {
            std::fill(sums, sums + (first - before), sums[first - before]);
            std::fill(sums + (end - before), sums + count, sums[end - 1 - before]);
        }
        for (int odd = 0; odd < 2; ++odd)
            blend(high + odd, low + odd, kWeights[odd], out.columns[odd], pairs);
    }

private:
    static constexpr short kWeights[2][4] = {{-5, 35, 105, -7}, {-7, 105, 35, -5}};

    static void sumRows(const uchar* const* rows, const short* w, int first, int n, short* __restrict high,
                        short* __restrict low)
    {
        const uchar *a = rows[0] + first, *b = rows[1] + first, *c = rows[2] + first, *d = rows[3] + first;
        const short wa = w[0], wb = w[1], wc = w[2], wd = w[3];
        for (int x = 0; x < n; ++x) {
            const short sum = short(wa * (a[x] - 128) + wb * (b[x] - 128) + wc * (c[x] - 128) + wd * (d[x] - 128));
            high[x] = short(sum >> 7);
            low[x] = short(sum & 127);
        }
    }

    static void blend(const short* high, const short* low, const short* w, short* __restrict out, int n)
    {
        const short wa = w[0], wb = w[1], wc = w[2], wd = w[3];
        for (int x = 0; x < n; ++x) {
            const short a = short(wa * high[x] + wb * high[x + 1] + wc * high[x + 2] + wd * high[x + 3]);
            const short b = short(wa * low[x] + wb * low[x + 1] + wc * low[x + 2] + wd * low[x + 3]);
            const short v = short(short(a + (b >> 7) + 64) >> 7);
            out[x] = limit(v, short(-128), short(127));
        }
    }

    const uchar* m_rows[4];
    const short* m_weights;
    int m_cols;
};

/// 255.997 m in double, rounded: what falls short of 256 m reaches half a step at 167.
inline int alphaOf(int m)
{
    return 256 * m - (m > 166);
}

/// A pixel from enlarged samples, each less 128. Red and blue are whole numbers, exact in floats and ints alike.
inline Rgba pixelOf(int y, int red, int blue, int mask)
{
    const int r = y + red * 512, b = y + blue * 512;
    return {clamp16(r), greenYcm16(float(y), float(r), float(b)), clamp16(b), alphaOf(mask + 128)};
}

template <class Out>
inline void packPairs(const AnyWord* __restrict y, const Enlarged& red, const Enlarged& blue, const Enlarged& mask,
                      AnyWord* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        Out::store(out, 2 * x, pixelOf(y[x] & 65535, red.columns[0][x], blue.columns[0][x], mask.columns[0][x]));
        Out::store(out, 2 * x + 1, pixelOf(y[x] >> 16, red.columns[1][x], blue.columns[1][x], mask.columns[1][x]));
    }
}

template <class Out>
inline void packRow(const TImage& Y, const TImage& C, const TImage& M, TImage& packed, int row)
{
    const EnlargedRow redRow(C, 0, row), blueRow(C, 1, row), maskRow(M, 0, row);
    Enlarged red, blue, mask;
    for (int x = 0; x < Y.m_width; x += kTile) {
        const int n = std::min(kTile, Y.m_width - x), pairs = (n + 1) / 2;
        redRow.tile(x, pairs, red);
        blueRow.tile(x, pairs, blue);
        maskRow.tile(x, pairs, mask);
        const ushort* y = rowOf<ushort>(Y, 0, row) + x;
        AnyWord* out = rowOf<AnyWord>(packed, 0, row) + x * Out::kWords;
        packPairs<Out>(reinterpret_cast<const AnyWord*>(y), red, blue, mask, out, n / 2);
        if (n % 2)
            Out::store(out, n - 1,
                       pixelOf(y[n - 1], red.columns[0][n / 2], blue.columns[0][n / 2], mask.columns[0][n / 2]));
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

    forEachRow({size.width, size.height}, [&](int row) { packRow<Out>(Y, C, M, out, row); });
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
        const float a = float(before[x]), ratio = (float(after[x]) + k) / (a + k), y = a * 0.00392156886f;
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

/// Whether luma rows can be read as 16-bit samples.
bool readsAsLuma(const TImage& image)
{
    return image.m_width <= 0 || image.m_height <= 0 || (image.m_plane_p[0] && image.m_pixelBytes >= 2);
}

} // namespace

void TImage::rgba8uTo16u(const TImage& in, TImage& out)
{
    repack<Rgba8, Rgba16>(in, IM_RGBA8U, out, IM_RGBA16U);
}

void TImage::rgba16uTo8u(const TImage& in, TImage& out)
{
    repack<Rgba16, Rgba8>(in, IM_RGBA16U, out, IM_RGBA8U);
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
        int before[kTile], after[kTile], red[kTile], blue[kTile];
        for (int x = 0; x < half.width; x += kTile) {
            const int n = std::min(kTile, half.width - x);
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
    forEachRow(out.size(), [&](int y) {
        int means[kTile];
        for (int x = 0; x < half.width; x += kTile) {
            const int n = std::min(kTile, half.width - x);
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
