#include <pixmill/core/TImage.h>

#include <pixmill/core/detail/packed_avx512.h>
#include <pixmill/core/detail/packed_pixels.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/streaming.h>
#include <pixmill/rows/ydrdb.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>

using namespace pixmill::rows;
using namespace pixmill::core;

namespace {

// YCM to packed pixels

/// Enlarged samples of a tile, less 128, even and odd columns apart: the two have weights of their own.
struct Enlarged {
    short columns[2][kPackedTile / 2];
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
        short high[kSums], low[kSums]; // the sums over the four rows are 128 * high + low
        sumTile(x, pairs, {high, low},
                [&](int first, int n, int at) { sumRows(m_rows, m_weights, first, n, high + at, low + at); });
        for (int odd = 0; odd < 2; ++odd)
            blend(high + odd, low + odd, kWeights[odd], out.columns[odd], pairs);
    }

    /// The sums that packRow512 reads for those pairs.
    void sums512(int x, int pairs, short* sums) const
    {
        sumTile(x, pairs, {sums}, [&](int first, int n, int at) {
            const uchar* rows[4];
            for (int k = 0; k < 4; ++k)
                rows[k] = m_rows[k] + first;
            sumRows512(rows, m_weights, n, sums + at);
        });
    }

    static constexpr short kWeights[2][4] = {{-5, 35, 105, -7}, {-7, 105, 35, -5}};
    static constexpr int kSums = kPackedTile / 2 + 4 + 64; ///< A tile's, with what sumRows512 writes past them.

private:
    /// Calls `sum(first, n, at)` for the columns from two before x to two past the pairs, n of which exist, and repeats
    /// the ends where they do not.
    template <class Sum>
    void sumTile(int x, int pairs, std::initializer_list<short*> out, const Sum& sum) const
    {
        const int before = x / 2 - 2, count = pairs + 4;
        const int first = std::max(before, 0), end = std::min(before + count, m_cols);
        sum(first, end - first, first - before);
        for (short* sums : out) {
            std::fill(sums, sums + (first - before), sums[first - before]);
            std::fill(sums + (end - before), sums + count, sums[end - 1 - before]);
        }
    }

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

/// A row's pixels from x on, a tile at a time.
template <class Out>
inline void packTiles(const ushort* luma, const EnlargedRow (&rows)[3], AnyWord* packed, int x, int width)
{
    Enlarged red, blue, mask;
    for (; x < width; x += kPackedTile) {
        const int n = std::min(kPackedTile, width - x), pairs = (n + 1) / 2;
        rows[0].tile(x, pairs, red);
        rows[1].tile(x, pairs, blue);
        rows[2].tile(x, pairs, mask);
        const ushort* y = luma + x;
        AnyWord* out = packed + x * Out::kWords;
        packPairs<Out>(reinterpret_cast<const AnyWord*>(y), red, blue, mask, out, n / 2);
        if (n % 2)
            Out::store(out, n - 1,
                       pixelOf(y[n - 1], red.columns[0][n / 2], blue.columns[0][n / 2], mask.columns[0][n / 2]));
    }
}

/// The same by packRow512 as far as whole blocks reach; returns where they end.
template <class Out>
int packTiles512(const ushort* luma, const EnlargedRow (&rows)[3], AnyWord* packed, int width, bool stream)
{
    const bool aligned = reinterpret_cast<std::uintptr_t>(packed) % 64 == 0;
    const auto pack = stream && aligned ? packRow512<Out, true> : packRow512<Out, false>;
    int x = 0;
    for (; x < width / kBlock512 * kBlock512; x += kPackedTile) {
        const int n = std::min(kPackedTile, width - x) / kBlock512 * kBlock512;
        short sums[3][EnlargedRow::kSums];
        for (int k = 0; k < 3; ++k)
            rows[k].sums512(x, n / 2, sums[k]);
        const short* const all[] = {sums[0], sums[1], sums[2]};
        pack(luma + x, all, EnlargedRow::kWeights, packed + x * Out::kWords, n);
    }
    return width / kBlock512 * kBlock512;
}

template <class Out>
inline void packRow(const TImage& Y, const TImage& C, const TImage& M, TImage& packed, int row, bool stream)
{
    const EnlargedRow rows[3] = {{C, 0, row}, {C, 1, row}, {M, 0, row}};
    const ushort* luma = rowOf<ushort>(Y, 0, row);
    AnyWord* out = rowOf<AnyWord>(packed, 0, row);
    wideThenPlain(
        Y.m_width, [&](int n) { return packTiles512<Out>(luma, rows, out, n, stream); },
        [&](int x, int n) { packTiles<Out>(luma, rows, out, x, n); });
}

template <class Out>
void fromYCM(const TImage& Y, const TImage& C, const TImage& M, TImage& out, TImage::IMTYPE type, const char* call,
             const char* target = "out")
{
    const TSize size = Y.size(), half = TImage::dec2Size(size);
    if (size != out.size() || half != C.size() || C.size() != M.size())
        throw "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() || "
              "imC.size() != mask.size()";
    checkCovers(Y, TImage::IM_Y, size, call, "Y");
    checkCovers(C, TImage::IM_C, half, call, "C");
    checkCovers(M, TImage::IM_M, half, call, "M");
    checkCovers(out, type, size, call, target);

    const long pixels = long(size.width) * size.height;
    const bool stream = streams(std::size_t(pixels) * Out::kWords * sizeof(AnyWord));
    const auto packRows = [&](int row, int end) {
        for (; row < end; ++row)
            packRow<Out>(Y, C, M, out, row, stream);
        if (stream)
            endStreaming();
    };
    forEachSpan(size.height, pixels, packRows, kFinePieces);
}

} // namespace

void TImage::YCMToRgba16u(const TImage& Y, const TImage& C, const TImage& M, TImage& out)
{
    fromYCM<Rgba16>(Y, C, M, out, IM_RGBA16U, "TImage::YCMToRgba16u");
}

void TImage::YCMToRgba8u(const TImage& Y, const TImage& C, const TImage& M, TImage& out)
{
    fromYCM<Rgba8>(Y, C, M, out, IM_RGBA8U, "TImage::YCMToRgba8u");
}

void TImage::timageToBgra8u(const TImage& Y, const TImage& C, const TImage& M, unsigned char* dst, int stride)
{
    TImage out(Y.size(), dst, stride, false);
    fromYCM<Bgra8>(Y, C, M, out, IM_RGBA8U, "TImage::timageToBgra8u", "dst");
}
