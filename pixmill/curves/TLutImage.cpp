#include <pixmill/curves/TLutImage.h>

#include <pixmill/core/detail/rows.h>

#include <cstddef>

namespace {

using ushort = unsigned short;

void replacePixels(TImage& image, const ushort* table)
{
    if (!table || image.m_height < 1 || image.m_width < 1)
        return;
    CV_Assert(image.m_plane_p[0] && image.m_pixelBytes >= 2); // rows are read as 16-bit samples
    pixmill::detail::forEachRow({image.m_width, image.m_height}, [&](int y) {
        auto* row = reinterpret_cast<ushort*>(image.m_plane_p[0] + std::ptrdiff_t(y) * image.m_step);
        for (int x = 0; x < image.m_width; ++x)
            row[x] = table[row[x]];
    });
}

} // namespace

void TLutY::apply(TImage& image)
{
    replacePixels(image, m_lut_p);
}

void TLutC::apply(TImage& image)
{
    replacePixels(image, m_lut_p);
}

void TLutC::apply(const TImage& in, TImage&)
{
    in.halfY8U();
}
