#include <pixmill/core/TImage.h>

#include <pixmill/primitives/copy.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/plane.h>

#include <algorithm>
#include <cstdlib>

using namespace pixmill::rows;

namespace {

ushort* as16u(uchar* plane)
{
    return reinterpret_cast<ushort*>(plane);
}

uchar* as8u(ushort* plane)
{
    return reinterpret_cast<uchar*>(plane);
}

int chromaPlane(int plane, const char* call)
{
    PIXMILL_CHECK(plane >= 0, call, "plane", plane, "0 or more");
    return std::min(plane, 1);
}

} // namespace

TImage::TImage(IMTYPE type, const TSize& size)
{
    init(type);
    resize(size);
}

TImage::TImage(const TImage& other)
{
    init(other.m_type);
    copyFrom(other);
}

TImage::TImage(const TSize& size, unsigned char* data, int stride, bool swapRB)
{
    init(IM_RGBA8U);
    m_owner = false;
    m_width = size.width;
    m_height = size.height;
    m_plane_p[0] = data;
    m_step = stride;
    m_pixelBytes = 4;
    if (swapRB && (long long)size.width * size.height > 0)
        swapC4RBCannel();
}

TImage::TImage(const TSize& size, unsigned short* data, int stride, bool swapRB)
{
    init(IM_RGBA16U);
    m_owner = false;
    m_width = size.width;
    m_height = size.height;
    m_plane_p[0] = as8u(data);
    m_step = stride;
    m_pixelBytes = 8;
    if (swapRB && (long long)size.width * size.height > 0)
        swapC4RBCannel();
}

TImage::~TImage()
{
    free();
}

TImage& TImage::operator=(const TImage& other)
{
    copyFrom(other);
    return *this;
}

void TImage::init(IMTYPE type)
{
    m_type = type;
    m_owner = true;
    m_width = m_height = 0;
    std::fill(m_plane_p, m_plane_p + 4, nullptr);
    m_step = 0;
    m_pixelBytes = 0;
    m_id = rand();
}

void TImage::free()
{
    if (!m_owner)
        return;
    for (unsigned char*& plane : m_plane_p)
        if (plane) {
            ippiFree(plane);
            plane = nullptr;
            m_step = m_pixelBytes = m_width = m_height = 0;
        }
    m_id = rand();
}

void TImage::copyFrom(const TImage& other)
{
    // Pixels that are shown already, by the object itself or a wrapper around it, must not be released before the copy.
    const bool same = &other == this || (m_plane_p[0] && m_plane_p[0] == other.m_plane_p[0]);
    if (!m_owner || same)
        return;
    free();
    init(other.m_type);
    resize(other.size());

    const IppiSize roi{m_width, m_height};
    unsigned char* const* from = other.m_plane_p;
    switch (m_type) {
    case IM_Y:
        ippiCopy_16u_C1R(as16u(from[0]), other.m_step, as16u(m_plane_p[0]), m_step, roi);
        break;
    case IM_C:
        ippiCopy_8u_C1R(from[0], other.m_step, m_plane_p[0], m_step, roi);
        ippiCopy_8u_C1R(from[1], other.m_step, m_plane_p[1], m_step, roi);
        break;
    case IM_M:
        ippiCopy_8u_C1R(from[0], other.m_step, m_plane_p[0], m_step, roi);
        break;
    case IM_RGBA8U:
        ippiCopy_8u_C4R(from[0], other.m_step, m_plane_p[0], m_step, roi);
        break;
    case IM_RGBA16U:
        ippiCopy_16u_C4R(as16u(from[0]), other.m_step, as16u(m_plane_p[0]), m_step, roi);
        break;
    }
    m_id = rand();
}

void TImage::resize(const TSize& size)
{
    if (!m_owner || size == this->size())
        return;
    free();
    if (size.width <= 0 || size.height <= 0) {
        init(m_type);
        return;
    }
    m_width = size.width;
    m_height = size.height;
    switch (m_type) {
    case IM_Y:
        m_plane_p[0] = as8u(ippiMalloc_16u_C1(m_width, m_height, &m_step));
        m_pixelBytes = 2;
        break;
    case IM_C:
        m_plane_p[0] = ippiMalloc_8u_C1(m_width, m_height, &m_step);
        m_plane_p[1] = ippiMalloc_8u_C1(m_width, m_height, &m_step); // of the same width, so of the same step
        m_pixelBytes = 1;
        break;
    case IM_M:
        m_plane_p[0] = ippiMalloc_8u_C1(m_width, m_height, &m_step);
        m_pixelBytes = 1;
        break;
    case IM_RGBA8U:
        m_plane_p[0] = ippiMalloc_8u_C4(m_width, m_height, &m_step);
        m_pixelBytes = 4;
        break;
    case IM_RGBA16U:
        m_plane_p[0] = as8u(ippiMalloc_16u_C4(m_width, m_height, &m_step));
        m_pixelBytes = 8;
        break;
    }
}

TSize TImage::dec2Size(const TSize& size)
{
    return {halfSize(size.width), halfSize(size.height)};
}

void TImage::fromMat(const cv::Mat& m, int plane)
{
    if (m_width != m.cols || m_height != m.rows)
        throw "ERROR - TImage::copyFrom - size is not equal"; // the name of the sibling is meant: hosts match the text

    const IppiSize roi{m_width, m_height};
    if (m.type() == CV_16UC1 && m_type == IM_Y)
        ippiCopy_16u_C1R(m.ptr<unsigned short>(), int(m.step), as16u(m_plane_p[0]), m_step, roi);
    else if (m.type() == CV_8UC1 && m_type == IM_C)
        ippiCopy_8u_C1R(m.ptr(), int(m.step), m_plane_p[chromaPlane(plane, "TImage::fromMat")], m_step, roi);
    else if (m.type() == CV_8UC1 && m_type == IM_M)
        ippiCopy_8u_C1R(m.ptr(), int(m.step), m_plane_p[0], m_step, roi);
    else
        throw "ERROR - TImage::copyFrom - type not match";
}

cv::Mat TImage::toMat(int plane) const
{
    const auto header = [this](int type, int k) {
        return cv::Mat(m_height, m_width, type, m_plane_p[k], size_t(m_step));
    };
    switch (m_type) {
    case IM_Y:
        return header(CV_16UC1, 0);
    case IM_C:
        return header(CV_8UC1, chromaPlane(plane, "TImage::toMat"));
    case IM_M:
        return header(CV_8UC1, 0);
    case IM_RGBA8U:
        return header(CV_8UC4, 0);
    case IM_RGBA16U:
        return header(CV_16UC4, 0);
    }
    return {};
}
