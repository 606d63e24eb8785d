#pragma once

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

PIXMILL_API void upSize2X(const cv::Mat& in, cv::Mat& out2X, int interpolation);
PIXMILL_API void upSizeNX(const cv::Mat& in, cv::Mat& outNX, int factor, int interpolation);
PIXMILL_API void downSize2X(const cv::Mat& in, cv::Mat& outHalf, int interpolation);
PIXMILL_API void downSizeNX(const cv::Mat& in, cv::Mat& out, int factor, int interpolation);
