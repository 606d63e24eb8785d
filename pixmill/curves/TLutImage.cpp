#include <pixmill/curves/TLutImage.h>

#include <pixmill/curves/detail/look_up.h>

namespace {

using ushort = unsigned short;

void replacePixels(TImage& image, const ushort* table)
{
    if (!table || image.m_height < 1 || image.m_width < 1)
        return;
    CV_Assert(image.m_plane_p[0] && image.m_pixelBytes >= 2); // rows are read as 16-bit samples
    unsigned char* data = image.m_plane_p[0];
    pixmill::detail::lookUpRows<16, ushort>(data, image.m_step, data, image.m_step, {image.m_width, image.m_height},
                                            table);
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
