#include <pixmill/core/TImage.h>

#include <pixmill/core/detail/plane.h>
#include <pixmill/core/detail/rows.h>

#include <cstddef>
#include <utility>

namespace {

using namespace pixmill::detail;
using uchar = unsigned char;
using ushort = unsigned short;

template <class T>
T* rowOf(const TImage& image, int plane, int y)
{
    return reinterpret_cast<T*>(image.m_plane_p[plane] + std::ptrdiff_t(y) * image.m_step);
}

template <class T>
void swapRow(T* row, int n)
{
    for (int x = 0; x < n; ++x)
        std::swap(row[4 * x], row[4 * x + 2]);
}

} // namespace

void TImage::swapC4RBCannel()
{
    if (m_type != IM_RGBA8U && m_type != IM_RGBA16U)
        throw "ERROR -  TImage::swapC4RBCannel() - wrong type";
    CV_Assert(m_plane_p[0] || m_width <= 0 || m_height <= 0);

    if (m_type == IM_RGBA8U)
        forEachRow({m_width, m_height}, [&](int y) { swapRow(rowOf<uchar>(*this, 0, y), m_width); });
    else
        forEachRow({m_width, m_height}, [&](int y) { swapRow(rowOf<ushort>(*this, 0, y), m_width); });
}

cv::Mat TImage::halfY8U() const
{
    CV_Assert(m_pixelBytes >= 2 || m_width <= 0 || m_height <= 0); // the plane is read as 16-bit samples
    CV_Assert(m_plane_p[0] || m_width <= 0 || m_height <= 0);

    const TSize half = dec2Size(size());
    cv::Mat out = cv::Mat::zeros(half.height, half.width, CV_8UC1);
    const cv::Size blocks(m_width / 2, m_height / 2);
    forEachRow(blocks, [&](int y) {
        const ushort* a = rowOf<ushort>(*this, 0, 2 * y);
        const ushort* b = rowOf<ushort>(*this, 0, 2 * y + 1);
        uchar* o = out.ptr(y);
        for (int x = 0; x < blocks.width; ++x)
            o[x] = uchar((a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1]) >> 10);
    });
    return out;
}
