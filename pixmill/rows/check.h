#pragma once

#include <opencv2/core/mat.hpp>

#include <sstream>
#include <string>

/// The one check of what a host hands in where no words are promised: tells call, argument, what was given and what is
/// wanted, and nothing of the machine the library was built on.
///
///     PIXMILL_CHECK(plane.type() == CV_16UC1, "TPImage::convertTo", "Y", describe(plane), "CV_16UC1");
///
/// throws cv::Exception with the text "TPImage::convertTo: Y is CV_8UC3 640 x 480, wanted CV_16UC1". `given` and
/// `wanted` are evaluated only where the check fails.
#define PIXMILL_CHECK(holds, call, argument, given, wanted)                                                            \
    do {                                                                                                               \
        if (!(holds))                                                                                                  \
            ::pixmill::rows::refuse(call, argument, ::pixmill::rows::inWords(given), wanted);                          \
    } while (false)

namespace pixmill::rows {

/// @throws cv::Exception  always: "CALL: ARGUMENT is GIVEN, wanted WANTED".
[[noreturn]] void refuse(const char* call, const char* argument, const std::string& given, const std::string& wanted);

/// "CV_16UC3 640 x 480", "empty", or "CV_8UC1 of 3 dimensions".
std::string describe(const cv::Mat& plane);

/// "640 x 480".
std::string describe(cv::Size size);

/// "null" or "not null".
inline std::string describe(const void* pointer)
{
    return pointer ? "not null" : "null";
}

inline std::string inWords(std::string text)
{
    return text;
}

/// Numbers as C++ prints them.
template <class Number>
std::string inWords(Number value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

/// Refuses a null pointer.
inline void checkPointer(const void* pointer, const char* call, const char* argument)
{
    PIXMILL_CHECK(pointer, call, argument, describe(pointer), "not null");
}

/// Refuses a null pointer to three planes, or to one of them.
template <class Pixel>
void checkPlanes(Pixel* const* planes, const char* call, const char* argument)
{
    checkPointer(planes, call, argument);
    for (int i = 0; i < 3; ++i)
        PIXMILL_CHECK(planes[i], call, argument, "null at " + std::to_string(i), "three planes");
}

/// Refuses what is no plane: a `cv::Mat` of more dimensions than rows and columns, which has neither.
inline void checkPlane(const cv::Mat& plane, const char* call, const char* argument)
{
    PIXMILL_CHECK(plane.dims <= 2, call, argument, describe(plane), "a plane of rows and columns");
}

/// Refuses a plane of another type as well.
void checkPlane(const cv::Mat& plane, int type, const char* call, const char* argument);

/// Refuses a plane of another size or type.
void checkPlane(const cv::Mat& plane, cv::Size size, int type, const char* call, const char* argument);

/// Refuses a plane that lacks a pixel where a picture of this size and type has one.
void checkCovers(const cv::Mat& plane, cv::Size size, int type, const char* call, const char* argument);

} // namespace pixmill::rows
