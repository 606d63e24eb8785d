#include <pixmill/resample/border.h>

#include <pixmill/rows/check.h>

#include <cstddef>
#include <cstring>

using namespace pixmill::rows;

namespace {

/// A plane of whole pixels of any kind, as bytes.
struct Bytes {
    uchar* data;
    std::ptrdiff_t step;
    int width, height;
    std::size_t pixel; ///< bytes of one pixel

    uchar* row(int y) const { return data + y * step; }
    uchar* at(int x, int y) const { return row(y) + x * pixel; }

    void copyRow(int from, int to) const { std::memcpy(row(to), row(from), width * pixel); }

    /// Copies one column into `count` columns from `first`.
    void copyColumn(int from, int first, int count) const
    {
        for (int y = 0; y < height; ++y)
            for (int i = 0; i < count; ++i)
                std::memcpy(at(first + i, y), at(from, y), pixel);
    }
};

/// A margin as wide as the plane, or wider, has nothing to copy from and stays as it is.
bool hasSource(int margin, int extent)
{
    return margin > 0 && margin < extent;
}

void fillRows(const Bytes& plane, int top, int bottom)
{
    if (hasSource(top, plane.height))
        for (int i = 0; i < top; ++i)
            plane.copyRow(top, i);
    if (hasSource(bottom, plane.height))
        for (int i = 0; i < bottom; ++i)
            plane.copyRow(plane.height - bottom - 1, plane.height - bottom + i);
}

void fillColumns(const Bytes& plane, int left, int right)
{
    if (hasSource(left, plane.width))
        plane.copyColumn(left, 0, left);
    if (hasSource(right, plane.width))
        plane.copyColumn(plane.width - right - 1, plane.width - right, right);
}

bool isEmpty(const char* call, const uchar* data, IppiSize size)
{
    if (size.width <= 0 || size.height <= 0)
        return true;
    PIXMILL_CHECK(data, call, "data", describe(data), "an image");
    return false;
}

void extendRaw(uchar* data, int step, IppiSize size, std::size_t pixel, int top, int bottom, int left, int right)
{
    if (isEmpty("extendBorder", data, size))
        return;
    const Bytes plane = {data, step, size.width, size.height, pixel};
    fillRows(plane, top, bottom);
    fillColumns(plane, left, right);
}

/// Writes `count` bytes b[0], then b[1] and b[2]: a pattern of bytes, not of pixels.
void fillPattern(uchar* out, const uchar* pixel, int count)
{
    const uchar b[3] = {pixel[0], pixel[1], pixel[2]};
    std::memset(out, b[0], count);
    out[count] = b[1];
    out[count + 1] = b[2];
}

} // namespace

void extendBorder(cv::Mat& image, int left, int top, int right, int bottom)
{
    if (image.dims > 2 || image.empty())
        return;
    const Bytes plane = {image.data, std::ptrdiff_t(image.step[0]), image.cols, image.rows, image.elemSize()};
    fillColumns(plane, left, right);
    fillRows(plane, top, 0);
    // Meant: `top` rows are filled below, and none without a top margin. The resamplers leave their lowest rows alone
    // that way. Past the last row the view throws.
    if (top > 0 && hasSource(bottom, image.rows))
        for (int i = 0; i < top; ++i)
            image.row(image.rows - bottom - 1).copyTo(image.row(image.rows - bottom + i));
}

void extendBorder(float* data, int step, IppiSize size, int top, int bottom, int left, int right)
{
    extendRaw(reinterpret_cast<uchar*>(data), step, size, sizeof(float), top, bottom, left, right);
}

void extendBorder(unsigned char* data, int step, IppiSize size, int top, int bottom, int left, int right)
{
    extendRaw(data, step, size, 1, top, bottom, left, right);
}

void extendBorder3C(unsigned char* data, int step, IppiSize size, int top, int bottom, int left, int right)
{
    if (isEmpty("extendBorder3C", data, size))
        return;
    const Bytes plane = {data, step, size.width, size.height, 3};
    fillRows(plane, top, bottom);
    for (int y = 0; y < size.height; ++y) {
        if (hasSource(left, size.width))
            fillPattern(plane.row(y), plane.at(left, y), left);
        if (hasSource(right, size.width))
            fillPattern(plane.at(size.width - right, y), plane.at(size.width - right - 1, y), right);
    }
}
