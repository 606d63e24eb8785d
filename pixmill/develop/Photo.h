#pragma once

#include <pixmill/develop/Error.h>
#include <pixmill/develop/Export.h>

#include <opencv2/core/mat.hpp>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace pixmill {

namespace develop {
struct PhotoMetadata;
class PhotoRows;
class PhotoSink;
} // namespace develop

/// How a picture file is read.
struct PhotoReading {
    bool lenient = false;                      ///< Takes what can be read of a damaged or truncated file, and notes it.
    long long maxPixels = 1'000'000'000;       ///< A larger picture is refused before its pixels get memory.
    std::function<bool(float share)> progress; ///< Told 0..1 on the way; false stops. May be empty.
};

/// A photograph in memory: what its file holds, at the file's own depth, turned upright.
struct Photo {
    cv::Mat pixels;                     ///< CV_8U or CV_16U with R, G, B or R, G, B, A; alpha not multiplied in.
    std::vector<unsigned char> profile; ///< The ICC profile of `pixels`, always one of RGB; empty: sRGB.
    std::string note;                   ///< What a person should know of the reading, one line; empty: nothing.
    std::shared_ptr<const develop::PhotoMetadata> metadata; ///< Camera, date, place, captions: what goes through.
};

/// What a file tells of itself without its pixels being read.
struct PhotoInfo {
    std::string format;        ///< "jpeg", "png", "tiff", "raw", "heif", "openexr", ...
    int width = 0, height = 0; ///< Of the picture turned upright.
    int channels = 0;
    int bits = 0;                                            ///< A sample.
    int orientation = 1;                                     ///< As the file tells it, 1..8; 1 is upright.
    std::string profile;                                     ///< The ICC profile's own name; empty: none.
    std::vector<std::pair<std::string, std::string>> values; ///< Every other value of the file, by name.
};

/// How a picture file is written.
struct PhotoWriting {
    std::string format; ///< "jpeg", "png" or "tiff"; empty: by the name's ending.
    int quality = 92;   ///< JPEG's, 1..100; from 90 on colours are kept at full size.
};

/// Reads JPEG, PNG, TIFF, camera raw, HEIF, OpenEXR, JPEG 2000, WebP, PSD, GIF, BMP, Targa and PNM. A name that tells
/// another format than the bytes does no harm.
///
/// Up to 8 bits a sample give CV_8U, other integers CV_16U; floating point is linear unless it has a profile, and taken
/// through the sRGB curve to CV_16U, grey becomes three equal channels. CMYK is converted to sRGB, and `note` says so.
///
/// @return the photograph; one without pixels where `progress` cancelled.
/// @throws Error  no such file, no picture, a truncated or damaged one, one that claims more than it can hold or more
///                than `maxPixels`: `given` is one line that begins with the path.
PIXMILL_DEVELOP_API Photo readPhoto(const std::string& path, const PhotoReading& how = {});

/// Reads a picture file row by row from the top: pictures larger than memory. Its rows are those of `readPhoto`.
///
/// A picture must stand upright in its file, in RGB or grey; a decoder may still take the whole of one that is stored
/// in passes (a progressive JPEG, an interlaced PNG). One thread at a time per object.
class PIXMILL_DEVELOP_API PhotoReader {
public:
    /// @param how  `progress` is not asked.
    /// @throws Error  as `readPhoto`; a picture that is turned or of other colours.
    explicit PhotoReader(const std::string& path, const PhotoReading& how = {});
    ~PhotoReader();
    PhotoReader(const PhotoReader&) = delete;
    PhotoReader& operator=(const PhotoReader&) = delete;

    cv::Size size() const;     ///< Of the whole picture.
    int type() const;          ///< CV_8UC3, CV_8UC4, CV_16UC3 or CV_16UC4.
    const Photo& like() const; ///< Profile, metadata and, after reading, the note; without pixels.

    /// The next rows, as many as `rows` has, into it. @throws Error  a truncated or damaged picture.
    void read(cv::Mat& rows);

private:
    std::unique_ptr<develop::PhotoRows> m_rows;
};

/// The file's own words. @throws Error  as `readPhoto`.
PIXMILL_DEVELOP_API PhotoInfo inspectPhoto(const std::string& path);

/// Converts the pixels to sRGB and drops the profile; without one nothing changes. Depth and alpha stay.
///
/// @return false where the profile cannot be used: the pixels are then left alone and taken for sRGB.
PIXMILL_DEVELOP_API bool toScreenColours(Photo& photo);

/// "jpeg", "png" or "tiff" by a name's ending, or "" for any other.
PIXMILL_DEVELOP_API std::string formatOfName(const std::string& path);

/// Writes a picture file row by row, in a hidden file beside it that takes the name when all is on the disk.
///
/// From JPEG, PNG, WebP, HEIF, TIFF and raw files that are TIFF by their tags, what is beside the pixels goes through:
/// Exif without the small copy of the old picture (to and from TIFF without what only the maker can read), XMP,
/// captions (not to PNG), comments from JPEG to JPEG, texts from PNG to PNG. It is told of the upright picture. From
/// other formats go the values that OpenImageIO knows.
///
/// Whatever ends the writing early leaves no file behind, and an older file of that name as it was. One thread at a
/// time per object.
class PIXMILL_DEVELOP_API PhotoWriter {
public:
    /// @param size   Of the picture.
    /// @param type   CV_8UC3, CV_8UC4, CV_16UC3 or CV_16UC4, R, G, B(, A); JPEG takes CV_8UC3 alone.
    /// @param like   Gives profile and metadata; its pixels are not read.
    /// @throws Error  A format that is not known, a type that it does not take, a folder that cannot be written to.
    PhotoWriter(const std::string& path, cv::Size size, int type, const Photo& like, const PhotoWriting& how = {});
    ~PhotoWriter();
    PhotoWriter(const PhotoWriter&) = delete;
    PhotoWriter& operator=(const PhotoWriter&) = delete;

    /// The next rows from the top, of the type and width told. @throws Error  the disk is full, or the like.
    void write(const cv::Mat& rows);

    /// Puts the file in place after its last row. @throws Error  rows are missing, the disk is full, or the like.
    void finish();

private:
    std::unique_ptr<develop::PhotoSink> m_sink;
};

/// The whole of `photo` in one call; 16-bit pixels become 8 for JPEG. @throws Error  as PhotoWriter.
PIXMILL_DEVELOP_API void writePhoto(const std::string& path, const Photo& photo, const PhotoWriting& how = {});

/// Removes the hidden files of all writers at once, and lets no new one begin: for a program that ends in a hurry.
PIXMILL_DEVELOP_API void discardUnfinishedPhotos();

} // namespace pixmill
