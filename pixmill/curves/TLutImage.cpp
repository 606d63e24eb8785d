#include <pixmill/curves/TLutImage.h>

#include <pixmill/core/image_planes.h>
#include <pixmill/rows/look_up.h>

using namespace pixmill::rows;
using namespace pixmill::core;

namespace {

void replacePixels(TImage& image, const ushort* table, const char* call)
{
    if (!table || image.m_height < 1 || image.m_width < 1)
        return;
    PIXMILL_CHECK(image.m_plane_p[0] && image.m_pixelBytes >= 2, call, "image", describe(image),
                  "pixels of 2 bytes or more"); // rows are read as 16-bit samples
    uchar* data = image.m_plane_p[0];
    lookUpRows<16, ushort>(data, image.m_step, data, image.m_step, {image.m_width, image.m_height}, table);
}

} // namespace

void TLutY::apply(TImage& image)
{
    replacePixels(image, m_lut_p, "TLutY::apply");
}

void TLutC::apply(TImage& image)
{
    replacePixels(image, m_lut_p, "TLutC::apply");
}

void TLutC::apply(const TImage& in, TImage&)
{
    in.halfY8U();
}
