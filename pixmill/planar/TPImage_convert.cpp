#include <pixmill/planar/TPImage.h>

#include <pixmill/rows/check.h>
#include <pixmill/rows/colour_rows.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/rows.h>

#include <cstddef>
#include <cstdint>

using namespace pixmill::rows;

namespace {

struct Rgb {
    int r, g, b;
};

struct Depth16 {
    static ushort luma(Rgb p) { return luma16(p.r, p.g, p.b); }
    static ushort difference(int v, int y) { return halfDifference(v, y); }
};

struct Depth15U {
    static ushort luma(Rgb p) { return luma15U(p.r, p.g, p.b); }
    static ushort difference(int v, int y) { return halfDifference15U(v, y); }
};

// A source gives rows of pixels, and turns them into luma and differences by its depth.

/// Four 8-bit elements a pixel, widened by a shift: white is 65280.
struct Packed8 : Depth16 {
    const uchar* data;
    std::ptrdiff_t stride;

    struct Row {
        const AnyWord* pixels;
        Rgb at(int x) const
        {
            const std::uint32_t p = pixels[x];
            return {int(p >> 8 & 0xff00), int(p & 0xff00), int(p << 8 & 0xff00)};
        }
    };
    Packed8(const uchar* pixels, std::ptrdiff_t bytes) : data(pixels), stride(bytes) {}
    Row row(int y) const { return {reinterpret_cast<const AnyWord*>(data + y * stride)}; }
};

struct Packed16 : Depth16 {
    const ushort* data;
    std::ptrdiff_t stride; ///< In elements.

    struct Row {
        const AnyWord* halves; ///< B and G of a pixel, then R and the one ignored.
        Rgb at(int x) const
        {
            const std::uint32_t bg = halves[2 * x], r = halves[2 * x + 1];
            return {int(r & 0xffff), int(bg >> 16), int(bg & 0xffff)};
        }
    };
    Packed16(const ushort* pixels, std::ptrdiff_t elements) : data(pixels), stride(elements) {}
    Row row(int y) const { return {reinterpret_cast<const AnyWord*>(data + y * stride)}; }
};

template <class Depth>
struct Planar : Depth {
    cv::Mat r, g, b;

    struct Row {
        const ushort *r, *g, *b;
        Rgb at(int x) const { return {r[x], g[x], b[x]}; }
    };
    Planar(const cv::Mat& red, const cv::Mat& green, const cv::Mat& blue) : r(red), g(green), b(blue) {}
    Row row(int y) const { return {r.ptr<ushort>(y), g.ptr<ushort>(y), b.ptr<ushort>(y)}; }
};

/// `y` may be one of the planes the row lies in.
template <class Source>
inline void lumaRow(const typename Source::Row& row, ushort* y, int n)
{
    PIXMILL_SAME_SAMPLE_ALIASING
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
void convert(const Source& source, int width, int height, TPImage& to, const char* call)
{
    to.create(width, height, true);
    const cv::Size half = halfSize(to.m_Y.size());
    // create() trusts the small planes of a picture whose luma fits; a caller may have dropped or replaced them.
    if (to.m_Dr.empty() || to.m_Dr.type() != CV_16UC1 || to.m_Db.empty() || to.m_Db.type() != CV_16UC1)
        throw "ERROR - downSize2X - outHalf must be allocated!";
    checkPlane(to.m_Y, CV_16UC1, call, "m_Y");
    checkPlane(to.m_Dr, half, CV_16UC1, call, "m_Dr");
    checkPlane(to.m_Db, half, CV_16UC1, call, "m_Db");
    fillPlanes(source, to.m_Y, to.m_Dr, to.m_Db);
    to.m_mask.setTo(255);
}

template <class Depth>
void convertPlanar(ushort** rgb, int width, int height, int stride, TPImage& to, const char* call)
{
    if (width <= 0 || height <= 0)
        return;
    checkPlanes(rgb, call, "rgb");
    const auto plane = [&](int i) { return cv::Mat(height, width, CV_16UC1, rgb[i], std::size_t(stride)); };
    convert(Planar<Depth>(plane(0), plane(1), plane(2)), width, height, to, call);
}

template <class Depth>
void lumaPlane(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y, const char* call)
{
    const cv::Size size = R.size();
    checkCovers(R, size, CV_16UC1, call, "R");
    checkCovers(G, size, CV_16UC1, call, "G");
    checkCovers(B, size, CV_16UC1, call, "B");
    const Planar<Depth> source(R, G, B); // keeps the pixels when Y is one of the three and is replaced
    ensure(Y, size, CV_16UC1);
    forEachRow(size, [&](int y) { lumaRow<Planar<Depth>>(source.row(y), Y.ptr<ushort>(y), size.width); });
}

} // namespace

void TPImage::convertFrom(const unsigned char* src, int width, int height, int stride)
{
    if (width <= 0 || height <= 0)
        return;
    checkPointer(src, "TPImage::convertFrom", "src");
    convert(Packed8(src, stride), width, height, *this, "TPImage::convertFrom");
    updateUid();
}

void TPImage::convertFrom(const unsigned short* src, int width, int height, int stride)
{
    if (width <= 0 || height <= 0)
        return;
    checkPointer(src, "TPImage::convertFrom", "src");
    convert(Packed16(src, stride), width, height, *this, "TPImage::convertFrom");
    updateUid();
}

void TPImage::convertFrompRGB(unsigned short** rgb, int width, int height, int stride)
{
    convertPlanar<Depth16>(rgb, width, height, stride, *this, "TPImage::convertFrompRGB");
}

void TPImage::convertFrompRGB15U(unsigned short** rgb, int width, int height, int stride)
{
    convertPlanar<Depth15U>(rgb, width, height, stride, *this, "TPImage::convertFrompRGB15U");
}

void TPImage::PRGB2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y)
{
    lumaPlane<Depth16>(R, G, B, Y, "TPImage::PRGB2Y");
}

void TPImage::PRGB15U2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y)
{
    lumaPlane<Depth15U>(R, G, B, Y, "TPImage::PRGB15U2Y");
}
