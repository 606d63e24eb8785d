#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// Directories of tags, which TIFF, camera raw and Exif share, apart from where they stand in a file.
namespace pixmill::develop {

struct Tags;

struct Tag {
    int type = 0;            ///< TIFF's number for it.
    uint32_t count = 0;      ///< Values.
    std::string bytes;       ///< In low-byte-first order, whatever the file's.
    std::vector<Tags> inner; ///< The directory that it leads to, if to one.
};

struct Tags {
    std::map<int, Tag> all;
};

/// The bytes of a file from a place on; fewer at its end.
using Source = std::function<std::string(size_t at, size_t count)>;

/// The first directory of a file of 32-bit places; empty where there is none. What is too large, damaged or a maker's
/// own is left out: places within that would lead elsewhere.
Tags readTags(const Source& source);

/// A directory as it stands at `at`, an even place, and behind it what it holds; low bytes first.
std::string laidOut(const Tags& tags, size_t at);

/// Bytes as one tag of them.
Tag bytesTag(const std::string& bytes);

} // namespace pixmill::develop
