#pragma once

#include <string>

/// The blocks "8BIM" that hold captions, in JPEG and TIFF.
namespace pixmill::develop {

/// Captions as such a block.
std::string asResource(const std::string& captions);

/// The blocks without the small copies and the profile of the old picture; as they are where they are damaged.
std::string withoutPictures(const std::string& resources);

} // namespace pixmill::develop
