#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/planar/TPImage.h>
#include <pixmill/planar/detail/colour_rows.h>
#include <pixmill/primitives/resize.h>
#include <pixmill/resample/resample.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace pixmill::detail;

namespace {

template <class To>
void colourPlanes(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B)
{
    using Pixel = typename To::Pixel;
    const cv::Size size = Y.size();
    for (const cv::Mat* in : {&Y, &Dr, &Db})
        CV_Assert(covers(*in, size, CV_16UC1));
    for (const cv::Mat* out : {&R, &G, &B})
        CV_Assert(covers(*out, size, cv::DataType<Pixel>::type));
    forEachRow(size, [&](int y) {
        colourRow<To>(Y.ptr<ushort>(y), Dr.ptr<ushort>(y), Db.ptr<ushort>(y), R.ptr<Pixel>(y), G.ptr<Pixel>(y),
                      B.ptr<Pixel>(y), size.width);
    });
}

/// v limited to 0..255 in the low byte, nothing in the next two. The sum with 2^23 rounds v itself, the sum with 2^31
/// v / 256, to nearest even into the sum's lowest bits, and a negative v leaves it below `sum`: so it takes no more
/// than a comparison of bits to clamp.
inline std::uint32_t lowByte(float v, float sum)
{
    int bits, zero;
    v += sum;
    std::memcpy(&bits, &v, sizeof bits);
    std::memcpy(&zero, &sum, sizeof zero);
    return std::uint32_t(limit(bits, zero, zero + 255));
}

/// B, G, R and 255 in memory order: colourDisplay and greenDisplay in fewer steps. Takes doubled differences.
inline std::uint32_t displayPixel(int y, int twiceDr, int twiceDb)
{
    constexpr float kUnit = 8388608.0f, kHighByte = 2147483648.0f;
    const int offset = y - 2 * kNoColour;
    const float r = float(offset + twiceDr), b = float(offset + twiceDb);
    const float g = greenShareOf(float(y), r, b) * kGreenGainDisplay;
    return lowByte(r, kHighByte) << 16 | lowByte(g, kUnit) << 8 | lowByte(b, kHighByte) | 0xff000000u;
}

/// A half-size plane enlarged linearly: even samples are kept, odd ones lie halfway between two, exact halves go up,
/// and the last sample goes on past the plane's edge. Rows 2 y and 2 y + 1 of it, from row y on.
struct EnlargedRows {
    const ushort *row, *next;
    int cols;

    EnlargedRows(const cv::Mat& half, int y)
        : row(half.ptr<ushort>(std::min(y, half.rows - 1))), next(half.ptr<ushort>(std::min(y + 1, half.rows - 1))),
          cols(half.cols)
    {
    }

    int twice(int x, bool lower) const
    {
        const ushort* other = lower ? next : row;
        const int i = std::min(x / 2, cols - 1), k = std::min(x / 2 + x % 2, cols - 1);
        return (row[i] + row[k] + other[i] + other[k] + 2) / 4 * 2;
    }
};

/// Display pixels of two rows of luma, two by two, from the samples that lie among them; of `y0` alone without `both`.
/// The doubled differences are formed here with as few steps as they take.
template <bool both>
inline void displayPairs(const ushort* __restrict y0, const ushort* __restrict y1, const ushort* __restrict dr,
                         const ushort* __restrict nextDr, const ushort* __restrict db, const ushort* __restrict nextDb,
                         AnyWord* __restrict out0, AnyWord* __restrict out1, int pairs)
{
    for (int i = 0; i < pairs; ++i) {
        const int r = dr[i], rr = r + dr[i + 1], b = db[i], bb = b + db[i + 1];
        out0[2 * i] = displayPixel(y0[2 * i], 2 * r, 2 * b);
        out0[2 * i + 1] = displayPixel(y0[2 * i + 1], (rr + 1) & ~1, (bb + 1) & ~1);
        if (both) {
            const int r1 = nextDr[i], b1 = nextDb[i];
            out1[2 * i] = displayPixel(y1[2 * i], (r + r1 + 1) & ~1, (b + b1 + 1) & ~1);
            out1[2 * i + 1] = displayPixel(y1[2 * i + 1], ((rr + r1 + nextDr[i + 1] + 2) >> 1) & ~1,
                                           ((bb + b1 + nextDb[i + 1] + 2) >> 1) & ~1);
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
    colourPlanes<To16>(Y, Dr, Db, R, G, B);
}

void TPImage::YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                           cv::Mat& B) const
{
    colourPlanes<To15U>(Y, Dr, Db, R, G, B);
}

void TPImage::YDRDB2RGB8U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G,
                          cv::Mat& B) const
{
    colourPlanes<To8U>(Y, Dr, Db, R, G, B);
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
    CV_Assert(dst && covers(Y, {width, height}, CV_16UC1) && !Dr.empty() && !Db.empty());
    forEachIndex(halfSize(height), long(width) * height, [&](int half) {
        const EnlargedRows dr(Dr, half), db(Db, half);
        const int top = 2 * half, pairs = std::min(width / 2, std::min(dr.cols, db.cols) - 1);
        const auto rowOf = [&](int y) { return reinterpret_cast<AnyWord*>(dst + std::ptrdiff_t(y) * stride); };
        if (top + 1 < height)
            displayPairs<true>(Y.ptr<ushort>(top), Y.ptr<ushort>(top + 1), dr.row, dr.next, db.row, db.next, rowOf(top),
                               rowOf(top + 1), pairs);
        else
            displayPairs<false>(Y.ptr<ushort>(top), nullptr, dr.row, nullptr, db.row, nullptr, rowOf(top), nullptr,
                                pairs);
        for (int y = top; y < std::min(top + 2, height); ++y)
            for (int x = 2 * pairs; x < width; ++x)
                rowOf(y)[x] = displayPixel(Y.ptr<ushort>(y)[x], dr.twice(x, y > top), db.twice(x, y > top));
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
    CV_Assert(rgb && rgb[0] && rgb[1] && rgb[2] && covers(m_Dr, half, CV_16UC1) && covers(m_Db, half, CV_16UC1));
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
