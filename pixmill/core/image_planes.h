#pragma once

#include <pixmill/core/TImage.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/plane.h>

#include <cstddef>
#include <string>

/// Rows of TImage planes, and what is asked of them.
namespace pixmill::core {

using namespace rows;
using rows::checkCovers;
using rows::covers;
using rows::describe;

template <class T>
T* rowOf(const TImage& image, int plane, int y)
{
    return reinterpret_cast<T*>(image.m_plane_p[plane] + std::ptrdiff_t(y) * image.m_step);
}

/// Whether the picture is of this type and its planes reach over `size`.
inline bool covers(const TImage& image, TImage::IMTYPE type, const TSize& size)
{
    if (image.m_type != type)
        return false;
    const bool planes = image.m_plane_p[0] && (type != TImage::IM_C || image.m_plane_p[1]);
    return size.width <= 0 || size.height <= 0 ||
           (planes && image.m_width >= size.width && image.m_height >= size.height);
}

/// "type 3, 640 x 480", and whether its planes are missing.
inline std::string describe(const TImage& image)
{
    const bool planes = image.m_plane_p[0] && (image.m_type != TImage::IM_C || image.m_plane_p[1]);
    return "type " + std::to_string(image.m_type) + ", " + describe(cv::Size(image.m_width, image.m_height)) +
           (planes ? "" : " without planes");
}

inline void checkType(const TImage& image, TImage::IMTYPE type, const char* call, const char* argument)
{
    PIXMILL_CHECK(image.m_type == type, call, argument, describe(image), "type " + std::to_string(type));
}

inline void checkCovers(const TImage& image, TImage::IMTYPE type, const TSize& size, const char* call,
                        const char* argument)
{
    PIXMILL_CHECK(covers(image, type, size), call, argument, describe(image),
                  "type " + std::to_string(type) + " of at least " + describe(cv::Size(size.width, size.height)));
}

/// The rows to walk: none of a picture without columns.
inline cv::Size extent(const TImage& image)
{
    return image.m_width > 0 && image.m_height > 0 ? cv::Size(image.m_width, image.m_height) : cv::Size();
}

} // namespace pixmill::core
