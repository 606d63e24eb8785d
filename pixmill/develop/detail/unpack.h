#pragma once

#include <pixmill/develop/Developer.h>

#include <opencv2/core/mat.hpp>

namespace pixmill::develop {

/// Packed pixels to luma at full size and differences at half size, those of the even pixels.
void unpack(const Pixels& pixels, cv::Mat& Y, cv::Mat& dr, cv::Mat& db);

} // namespace pixmill::develop
