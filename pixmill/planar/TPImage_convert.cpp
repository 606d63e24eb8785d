#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>
#include <pixmill/planar/TPImage.h>
#include <pixmill/planar/detail/colour_rows.h>

#include <cstddef>

using namespace pixmill::detail;

namespace {

struct Rgb {
    int r, g, b;
};

/// Four 8-bit elements a pixel, widened by a shift: white is 65280.
struct Packed8 {
    const uchar* data;
    std::ptrdiff_t stride;

    struct Row {
        const uchar* pixels;
        Rgb at(int x) const { return {pixels[4 * x + 2] << 8, pixels[4 * x + 1] << 8, pixels[4 * x] << 8}; }
    };
    Row row(int y) const { return {data + y * stride}; }
    static ushort luma(Rgb p) { return luma16(p.r, p.g, p.b); }
    static ushort difference(int v, int y) { return halfDifference(v, y); }
};

struct Packed16 {
    const ushort* data;
    std::ptrdiff_t stride; ///< In elements.

    struct Row {
        const ushort* pixels;
        Rgb at(int x) const { return {pixels[4 * x + 2], pixels[4 * x + 1], pixels[4 * x]}; }
    };
    Row row(int y) const { return {data + y * stride}; }
    static ushort luma(Rgb p) { return luma16(p.r, p.g, p.b); }
    static ushort difference(int v, int y) { return halfDifference(v, y); }
};

struct Planar16 {
    cv::Mat r, g, b;

    struct Row {
        const ushort *r, *g, *b;
        Rgb at(int x) const { return {r[x], g[x], b[x]}; }
    };
    Row row(int y) const { return {r.ptr<ushort>(y), g.ptr<ushort>(y), b.ptr<ushort>(y)}; }
    static ushort luma(Rgb p) { return luma16(p.r, p.g, p.b); }
    static ushort difference(int v, int y) { return halfDifference(v, y); }
};

struct Planar15U : Planar16 {
    static ushort luma(Rgb p) { return luma15U(p.r, p.g, p.b); }
    static ushort difference(int v, int y) { return halfDifference15U(v, y); }
};

template <class Source>
inline void lumaRow(const typename Source::Row& row, ushort* y, int n)
{
    for (int x = 0; x < n; ++x)
        y[x] = Source::luma(row.at(x));
}

/// The half-size differences of a row of n pixels.
template <class Source>
inline void differenceRow(const typename Source::Row& row, const ushort* y, ushort* dr, ushort* db, int n)
{
    const int picked = pickedColumns(n);
    for (int x = 0; x < picked; ++x) {
        const Rgb p = row.at(2 * x);
        dr[x] = Source::difference(p.r, y[2 * x]);
        db[x] = Source::difference(p.b, y[2 * x]);
    }
    if (picked < halfSize(n)) {
        dr[picked] = dr[picked - 1];
        db[picked] = db[picked - 1];
    }
}

/// Luma at full size and differences at half size, in one pass over pairs of rows.
template <class Source>
void fillPlanes(const Source& source, cv::Mat& Y, cv::Mat& Dr, cv::Mat& Db)
{
    forEachIndex(Dr.rows, long(Y.cols) * Y.rows, [&](int y) {
        const typename Source::Row row = source.row(2 * y);
        ushort* luma = Y.ptr<ushort>(2 * y);
        lumaRow<Source>(row, luma, Y.cols);
        differenceRow<Source>(row, luma, Dr.ptr<ushort>(y), Db.ptr<ushort>(y), Y.cols);
        if (2 * y + 1 < Y.rows)
            lumaRow<Source>(source.row(2 * y + 1), Y.ptr<ushort>(2 * y + 1), Y.cols);
    });
}

/// Sizes the picture and fills all four planes.
template <class Source>
void convert(const Source& source, int width, int height, TPImage& to)
{
    to.create(width, height, true);
    const cv::Size half = halfSize(to.m_Y.size());
    // create() trusts the small planes of a picture whose luma fits; a caller may have dropped or replaced them.
    if (to.m_Dr.empty() || to.m_Dr.type() != CV_16UC1 || to.m_Db.empty() || to.m_Db.type() != CV_16UC1)
        throw "ERROR - downSize2X - outHalf must be allocated!";
    CV_Assert(to.m_Y.type() == CV_16UC1 && to.m_Dr.size() == half && to.m_Db.size() == half);
    fillPlanes(source, to.m_Y, to.m_Dr, to.m_Db);
    to.m_mask.setTo(255);
}

template <class Source>
void convertPlanar(unsigned short** rgb, int width, int height, int stride, TPImage& to)
{
    if (width <= 0 || height <= 0)
        return;
    CV_Assert(rgb && rgb[0] && rgb[1] && rgb[2]);
    Source source;
    source.r = cv::Mat(height, width, CV_16UC1, rgb[0], std::size_t(stride));
    source.g = cv::Mat(height, width, CV_16UC1, rgb[1], std::size_t(stride));
    source.b = cv::Mat(height, width, CV_16UC1, rgb[2], std::size_t(stride));
    convert(source, width, height, to);
}

} // namespace

void TPImage::convertFrom(const unsigned char* src, int width, int height, int stride)
{
    if (width <= 0 || height <= 0)
        return;
    CV_Assert(src);
    convert(Packed8{src, stride}, width, height, *this);
    updateUid();
}

void TPImage::convertFrom(const unsigned short* src, int width, int height, int stride)
{
    if (width <= 0 || height <= 0)
        return;
    CV_Assert(src);
    convert(Packed16{src, stride}, width, height, *this);
    updateUid();
}

void TPImage::convertFrompRGB(unsigned short** rgb, int width, int height, int stride)
{
    convertPlanar<Planar16>(rgb, width, height, stride, *this);
}

void TPImage::convertFrompRGB15U(unsigned short** rgb, int width, int height, int stride)
{
    convertPlanar<Planar15U>(rgb, width, height, stride, *this);
}

void TPImage::PRGB2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y)
{
    const cv::Size size = R.size();
    CV_Assert(covers(R, size, CV_16UC1) && covers(G, size, CV_16UC1) && covers(B, size, CV_16UC1));
    ensure(Y, size, CV_16UC1);
    forEachRow(size, [&](int y) {
        lumaRow<Planar16>({R.ptr<ushort>(y), G.ptr<ushort>(y), B.ptr<ushort>(y)}, Y.ptr<ushort>(y), size.width);
    });
}

void TPImage::PRGB15U2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y)
{
    const cv::Size size = R.size();
    CV_Assert(covers(R, size, CV_16UC1) && covers(G, size, CV_16UC1) && covers(B, size, CV_16UC1));
    ensure(Y, size, CV_16UC1);
    forEachRow(size, [&](int y) {
        lumaRow<Planar15U>({R.ptr<ushort>(y), G.ptr<ushort>(y), B.ptr<ushort>(y)}, Y.ptr<ushort>(y), size.width);
    });
}
