#pragma once

#include <opencv2/core/types.hpp>

#include <string>

namespace pixmill::develop {

/// Has an Exif block, from its byte order on, tell of an upright picture of this size, and takes out the small copy of
/// the old one. @return false where it is none, or damaged.
bool uprightExif(std::string& exif, cv::Size size);

} // namespace pixmill::develop
