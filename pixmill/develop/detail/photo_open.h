#pragma once

#include <pixmill/develop/detail/photo_blocks.h>

#include <OpenImageIO/imageio.h>

#include <memory>
#include <string>
#include <vector>

namespace pixmill::develop {

/// Every value of a file that is neither of its pixels' layout nor its profile.
struct PhotoMetadata {
    OIIO::ParamValueList values;
    PhotoBlocks blocks;
};

/// Looks at a file before a decoder does: it is there, not empty, and a JPEG's header claims no more than `maxPixels`
/// (a decoder may make room for all of them at once). @throws Error
void checkFile(const char* call, const std::string& path, long long maxPixels);

/// Opens a picture; `rawColour` leaves CMYK and Lab as they are where the format can. @throws Error
std::unique_ptr<OIIO::ImageInput> openPicture(const char* call, const std::string& path, bool rawColour = false);

/// @throws Error  where the header claims more than `maxPixels`, or more than the file's bytes can hold.
void checkClaim(const char* call, const std::string& path, const OIIO::ImageInput& in, long long maxPixels);

/// What the file tells of itself: the decoder's words, and those of `blocks` where the decoder passes them over (WebP,
/// HEIF).
OIIO::ImageSpec specOf(const OIIO::ImageInput& in, const PhotoBlocks& blocks);

/// The embedded profile's bytes; empty: none.
std::vector<unsigned char> profileOf(const OIIO::ImageSpec& spec);

/// How the file says that it must be turned, 1..8.
int orientationOf(const OIIO::ImageSpec& spec);

} // namespace pixmill::develop
