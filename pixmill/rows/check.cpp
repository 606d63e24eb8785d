#include <pixmill/rows/check.h>

#include <pixmill/rows/plane.h>

#include <opencv2/core.hpp>
#include <opencv2/core/check.hpp>

namespace pixmill::rows {

void refuse(const char* call, const char* argument, const std::string& given, const std::string& wanted)
{
    cv::Exception fault;
    fault.code = cv::Error::StsBadArg;
    fault.func = call;
    fault.err = std::string(argument) + " is " + given + ", wanted " + wanted;
    fault.msg = fault.func + ": " + fault.err; // what() tells this; formatMessage() would add the source's path
    throw fault;
}

std::string describe(const cv::Mat& plane)
{
    if (plane.dims > 2)
        return cv::typeToString(plane.type()) + " of " + std::to_string(plane.dims) + " dimensions";
    return plane.empty() ? "empty" : cv::typeToString(plane.type()) + " " + describe(plane.size());
}

std::string describe(cv::Size size)
{
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

void checkPlane(const cv::Mat& plane, int type, const char* call, const char* argument)
{
    PIXMILL_CHECK(plane.dims <= 2 && plane.type() == type, call, argument, describe(plane), cv::typeToString(type));
}

void checkPlane(const cv::Mat& plane, cv::Size size, int type, const char* call, const char* argument)
{
    PIXMILL_CHECK(plane.dims <= 2 && plane.type() == type && plane.size() == size, call, argument, describe(plane),
                  cv::typeToString(type) + " " + describe(size));
}

void checkCovers(const cv::Mat& plane, cv::Size size, int type, const char* call, const char* argument)
{
    PIXMILL_CHECK(covers(plane, size, type), call, argument, describe(plane),
                  cv::typeToString(type) + " of at least " + describe(size));
}

} // namespace pixmill::rows
