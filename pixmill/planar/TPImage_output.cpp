#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/planar/TPImage.h>
#include <pixmill/planar/detail/colour_rows.h>

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

/// B, G, R and 255 in memory order.
inline std::uint32_t displayPixel(int y, int dr, int db)
{
    const float luma = float(y), r = colourOf(luma, float(dr)), b = colourOf(luma, float(db));
    return std::uint32_t(colourDisplay(b)) | std::uint32_t(greenDisplay(luma, r, b)) << 8 |
           std::uint32_t(colourDisplay(r)) << 16 | 0xff000000u;
}

/// One full-size row of a half-size plane enlarged linearly: even samples are kept, odd ones lie halfway between two,
/// exact halves go up, and the last sample goes on past the plane's edge.
template <bool between>
struct EnlargedRow {
    const ushort *above, *below; ///< The half-size rows on either side; without `between` the row is `above` itself.
    int cols;

    EnlargedRow(const cv::Mat& half, int y)
        : above(half.ptr<ushort>(std::min(y / 2, half.rows - 1))),
          below(half.ptr<ushort>(std::min((y + 1) / 2, half.rows - 1))), cols(half.cols)
    {
    }

    int even(int i) const { return between ? (above[i] + below[i] + 1) >> 1 : above[i]; }
    int odd(int i) const
    {
        return between ? (above[i] + above[i + 1] + below[i] + below[i + 1] + 2) >> 2
                       : (above[i] + above[i + 1] + 1) >> 1;
    }
    int at(int x) const
    {
        const int i = std::min(x / 2, cols - 1), k = std::min((x + 1) / 2, cols - 1);
        return (above[i] + above[k] + below[i] + below[k] + 2) >> 2;
    }
};

template <bool between>
inline void displayRow(const ushort* y, const EnlargedRow<between>& dr, const EnlargedRow<between>& db, uchar* dst,
                       int n)
{
    AnyWord* out = reinterpret_cast<AnyWord*>(dst);
    const int pairs = std::min(n / 2, std::min(dr.cols, db.cols) - 1);
    for (int i = 0; i < pairs; ++i) {
        out[2 * i] = displayPixel(y[2 * i], dr.even(i), db.even(i));
        out[2 * i + 1] = displayPixel(y[2 * i + 1], dr.odd(i), db.odd(i));
    }
    for (int x = 2 * pairs; x < n; ++x)
        out[x] = displayPixel(y[x], dr.at(x), db.at(x));
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
    const cv::Size size(width, height);
    CV_Assert(dst && covers(Y, size, CV_16UC1) && !Dr.empty() && !Db.empty());
    forEachRow(size, [&](int y) {
        uchar* out = dst + std::ptrdiff_t(y) * stride;
        if (y % 2 == 0)
            displayRow<false>(Y.ptr<ushort>(y), {Dr, y}, {Db, y}, out, width);
        else
            displayRow<true>(Y.ptr<ushort>(y), {Dr, y}, {Db, y}, out, width);
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
        uchar *r = rgb[0] + y * step, *g = rgb[1] + y * step, *b = rgb[2] + y * step;
        const ushort *luma = m_Y.ptr<ushort>(2 * y), *dr = m_Dr.ptr<ushort>(y), *db = m_Db.ptr<ushort>(y);
        for (int x = 0; x < picked; ++x)
            g[x] = green8U(luma[2 * x], dr[x], db[x]);
        if (picked < half.width)
            g[picked] = green8U(luma[2 * picked - 2], dr[picked], db[picked]);
        std::memset(r, 0, std::size_t(half.width));
        std::memset(b, 0, std::size_t(half.width));
    });
}
