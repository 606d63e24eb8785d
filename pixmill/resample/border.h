#pragma once

#include <pixmill/core/Export.h>
#include <pixmill/primitives/types.h>

#include <opencv2/core/mat.hpp>

PIXMILL_API void extendBorder(cv::Mat& image, int left, int top, int right, int bottom);
PIXMILL_API void extendBorder(float* data, int step, IppiSize size, int top, int bottom, int left, int right);
PIXMILL_API void extendBorder(unsigned char* data, int step, IppiSize size, int top, int bottom, int left, int right);
PIXMILL_API void extendBorder3C(unsigned char* data, int step, IppiSize size, int top, int bottom, int left, int right);
