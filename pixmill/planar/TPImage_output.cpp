#include <pixmill/planar/TPImage.h>

#include <pixmill/primitives/resize.h>
#include <pixmill/resample/resample.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/colour_rows.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace pixmill::rows;

namespace {

template <class To>
void colourPlanes(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B,
                  const char* call)
{
    using Pixel = typename To::Pixel;
    const cv::Size size = Y.size();
    checkCovers(Y, size, CV_16UC1, call, "Y");
    checkCovers(Dr, size, CV_16UC1, call, "Dr");
    checkCovers(Db, size, CV_16UC1, call, "Db");
    checkCovers(R, size, cv::DataType<Pixel>::type, call, "R");
    checkCovers(G, size, cv::DataType<Pixel>::type, call, "G");
    checkCovers(B, size, cv::DataType<Pixel>::type, call, "B");
    forEachRow(size, [&](int y) {
        colourRow<To>(Y.ptr<ushort>(y), Dr.ptr<ushort>(y), Db.ptr<ushort>(y), R.ptr<Pixel>(y), G.ptr<Pixel>(y),
                      B.ptr<Pixel>(y), size.width);
    });
}

/// Two full-size rows between two half-size ones, enlarged linearly: even samples are kept, odd ones lie halfway, exact
/// halves go up, and past the plane's edges its last samples go on.
struct EnlargedRows {
    const ushort *row, *next;
    int cols;

    EnlargedRows(const cv::Mat& half, int y)
        : row(half.ptr<ushort>(std::min(y, half.rows - 1))), next(half.ptr<ushort>(std::min(y + 1, half.rows - 1))),
          cols(half.cols)
    {
    }

    /// `count` samples from `first`, and their sums with the next row's, ready to be halved.
    void take(int first, int count, int* __restrict samples, int* __restrict sums) const
    {
        const int inside = limit(cols - first, 0, count);
        for (int i = 0; i < inside; ++i) {
            samples[i] = row[first + i];
            sums[i] = row[first + i] + next[first + i] + 1;
        }
        std::fill(samples + inside, samples + count, row[cols - 1]);
        std::fill(sums + inside, sums + count, row[cols - 1] + next[cols - 1] + 1);
    }
};

/// Display pixels of two rows of luma two by two, of `y0` alone without `both`. Doubled differences are sums with the
/// lowest bit cleared, or halved so, which is why they need no division.
template <bool both>
inline void displayPairs(const AnyWord* __restrict y0, const AnyWord* __restrict y1, const int* __restrict r,
                         const int* __restrict b, const int* __restrict rSum, const int* __restrict bSum,
                         AnyWord* __restrict out0, AnyWord* __restrict out1, int pairs)
{
    for (int i = 0; i < pairs; ++i) {
        const std::uint32_t w = y0[i];
        out0[2 * i] = displayPixel(w & 0xffff, 2 * r[i], 2 * b[i]);
        out0[2 * i + 1] = displayPixel(w >> 16, (r[i] + r[i + 1] + 1) & ~1, (b[i] + b[i + 1] + 1) & ~1);
        if (both) {
            const std::uint32_t v = y1[i];
            out1[2 * i] = displayPixel(v & 0xffff, rSum[i] & ~1, bSum[i] & ~1);
            out1[2 * i + 1] =
                displayPixel(v >> 16, (rSum[i] + rSum[i + 1]) >> 1 & ~1, (bSum[i] + bSum[i + 1]) >> 1 & ~1);
        }
    }
}

template <bool both>
inline void displayRows(const ushort* y0, const ushort* y1, const EnlargedRows& dr, const EnlargedRows& db,
                        AnyWord* out0, AnyWord* out1, int n)
{
    constexpr int kChunk = 256;
    int r[kChunk + 1], b[kChunk + 1], rSum[kChunk + 1], bSum[kChunk + 1];
    for (int x = 0; x < n; x += 2 * kChunk) {
        const int count = std::min(2 * kChunk, n - x), pairs = count / 2;
        dr.take(x / 2, pairs + 1, r, rSum);
        db.take(x / 2, pairs + 1, b, bSum);
        displayPairs<both>(reinterpret_cast<const AnyWord*>(y0 + x), reinterpret_cast<const AnyWord*>(y1 + x), r, b,
                           rSum, bSum, out0 + x, out1 + x, pairs);
        if (count % 2 != 0) { // the last column of an odd width
            out0[n - 1] = displayPixel(y0[n - 1], 2 * r[pairs], 2 * b[pairs]);
            if (both)
                out1[n - 1] = displayPixel(y1[n - 1], rSum[pairs] & ~1, bSum[pairs] & ~1);
        }
    }
}

/// Green of the 8-bit form for `n` differences and the even pixels of luma.
inline void halfGreenRow(const ushort* __restrict y, const ushort* __restrict dr, const ushort* __restrict db,
                         uchar* __restrict g, int n)
{
    for (int x = 0; x < n; ++x)
        g[x] = green8U(y[2 * x], dr[x], db[x]);
}

} // namespace

void TPImage::YDRDB2RGB(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B)
{
    colourPlanes<To16>(Y, Dr, Db, R, G, B, "TPImage::YDRDB2RGB");
}

void TPImage::YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                           cv::Mat& B) const
{
    colourPlanes<To15U>(Y, Dr, Db, R, G, B, "TPImage::YDRDB2RGB15U");
}

void TPImage::YDRDB2RGB8U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                          cv::Mat& B) const
{
    colourPlanes<To8U>(Y, Dr, Db, R, G, B, "TPImage::YDRDB2RGB8U");
}

void TPImage::YDRDBToQImage(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, unsigned char* dst, int width,
                            int height, int stride)
{
    if (Y.type() != CV_16UC1 || Dr.type() != CV_16UC1 || Db.type() != CV_16UC1)
        throw "ERROR TPImage::YDrDbToQImage - input type";
    if (width <= 0 || height <= 0) { // an empty picture fails as enlarging into it does
        cv::Mat nothing(height, width, CV_16UC1);
        upSize2X(Dr, nothing, IPPI_INTER_LINEAR);
    }
    const char* call = "TPImage::YDRDBToQImage";
    checkPointer(dst, call, "dst");
    checkCovers(Y, {width, height}, CV_16UC1, call, "Y");
    checkCovers(Dr, {1, 1}, CV_16UC1, call, "Dr");
    checkCovers(Db, {1, 1}, CV_16UC1, call, "Db");
    forEachIndex(halfSize(height), long(width) * height, [&](int half) {
        const auto luma = [&](int y) { return Y.ptr<ushort>(y); };
        const auto out = [&](int y) { return reinterpret_cast<AnyWord*>(dst + std::ptrdiff_t(y) * stride); };
        const EnlargedRows dr(Dr, half), db(Db, half);
        const int y = 2 * half;
        if (y + 1 < height)
            displayRows<true>(luma(y), luma(y + 1), dr, db, out(y), out(y + 1), width);
        else
            displayRows<false>(luma(y), luma(y), dr, db, out(y), out(y), width);
    });
}

void TPImage::convertTo(unsigned char* dst, int stride) const
{
    YDRDBToQImage(m_Y, m_Dr, m_Db, dst, m_Y.cols, m_Y.rows, stride);
}

void TPImage::convertToHalfpRGB(unsigned char** rgb, int stride) const
{
    if (m_Y.empty() || m_Y.type() != CV_16UC1)
        throw "ERROR - downSize2X - outHalf must be allocated!";
    const cv::Size half = halfSize(m_Y.size());
    const char* call = "TPImage::convertToHalfpRGB";
    checkPlanes(rgb, call, "rgb");
    checkPlane(m_Y, call, "m_Y");
    checkCovers(m_Dr, half, CV_16UC1, call, "m_Dr");
    checkCovers(m_Db, half, CV_16UC1, call, "m_Db");
    const std::ptrdiff_t step = stride ? stride : half.width;
    const int picked = pickedColumns(m_Y.cols);
    forEachRow(half, [&](int y) {
        const ushort *luma = m_Y.ptr<ushort>(2 * y), *dr = m_Dr.ptr<ushort>(y), *db = m_Db.ptr<ushort>(y);
        uchar* g = rgb[1] + y * step;
        halfGreenRow(luma, dr, db, g, picked);
        if (picked < half.width)
            g[picked] = green8U(luma[2 * picked - 2], dr[picked], db[picked]);
        std::memset(rgb[0] + y * step, 0, std::size_t(half.width));
        std::memset(rgb[2] + y * step, 0, std::size_t(half.width));
    });
}
