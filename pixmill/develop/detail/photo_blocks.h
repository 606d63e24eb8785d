#pragma once

#include <opencv2/core/types.hpp>

#include <string>

/// What cameras and catalogues write beside the pixels, byte for byte: OpenImageIO hands on the part that it knows.
namespace pixmill::develop {

struct PhotoBlocks {
    std::string exif;      ///< From its byte order on.
    std::string xmp;       ///< The packet.
    std::string resources; ///< Captions, as blocks "8BIM"; a PNG has no place for them.
    std::string segments;  ///< Of a JPEG: its comments and the rest of a long packet, as they stand.
    std::string chunks;    ///< Of a PNG: its texts, as they stand.
    std::string profile;   ///< Of a WebP or HEIF, whose decoders do not tell it.

    /// Whether there are some that a file of this format takes.
    bool suit(const std::string& format) const;
};

/// Those of a JPEG, PNG, WebP, HEIF or TIFF file, or of a camera raw file that is a TIFF by its tags; empty for any
/// other, and as far as a damaged one goes.
PhotoBlocks blocksOf(const std::string& path);

/// Has them tell of a picture of this size that stands upright, and takes the small copy of the old one out.
void makeUpright(PhotoBlocks& blocks, cv::Size size);

/// Where in an encoder's first bytes its own blocks end and pixels begin; 0: more bytes are needed.
size_t headOf(const std::string& bytes, const std::string& format);

/// The head of a file, "jpeg" or "png", with these blocks in place of the encoder's own.
std::string withBlocks(const std::string& head, const std::string& format, const PhotoBlocks& blocks);

} // namespace pixmill::develop
