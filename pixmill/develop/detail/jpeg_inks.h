#pragma once

#include <opencv2/core/mat.hpp>

#include <string>

namespace pixmill::develop {

/// The inks that a JPEG in CMYK holds, which OpenImageIO does not hand on: CV_8UC4, 255 is full ink. Empty where there
/// are none, or not whole.
cv::Mat jpegInks(const std::string& path);

} // namespace pixmill::develop
