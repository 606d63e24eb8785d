#pragma once

#include <pixmill/core/Export.h>

#include <opencv2/core/mat.hpp>

PIXMILL_API void blendAlpha(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float opacity);
PIXMILL_API void blendC(const unsigned char* src, int srcStep, unsigned char* dst, int dstStep, int width, int height,
                        float factor);
PIXMILL_API void extremeSharpen(const cv::Mat& in, cv::Mat& out);
