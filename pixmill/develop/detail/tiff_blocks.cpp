#include <pixmill/develop/detail/tiff_blocks.h>

#include <pixmill/develop/detail/byte_order.h>
#include <pixmill/develop/detail/image_resources.h>
#include <pixmill/develop/detail/tiff_tags.h>

namespace pixmill::develop {

namespace {

constexpr int kPacket = 700, kCaptions = 33723, kResources = 34377;
constexpr int kOrientation = 274, kExif = 0x8769;
constexpr int kNotInTiff[] = {0x9101, 0xa002, 0xa003}; // order of channels, size
constexpr int kTold[] = {270,   271,    272,    305,    306,    315,    316,    0x4746, 0x4749,
                         33432, 0x8769, 0x8825, 0x9c9b, 0x9c9c, 0x9c9d, 0x9c9e, 0x9c9f}; // not of the pixels' layout
constexpr int kResolution[] = {282, 283, 296};

Source sourceOf(std::FILE* file)
{
    return [file](size_t at, size_t count) {
        std::string bytes(count, '\0');
        if (std::fseek(file, long(at), SEEK_SET))
            return std::string();
        bytes.resize(std::fread(&bytes[0], 1, count, file));
        return bytes;
    };
}

Source sourceOf(const std::string& bytes)
{
    return [&bytes](size_t at, size_t count) { return at < bytes.size() ? bytes.substr(at, count) : std::string(); };
}

template <size_t N>
void copy(const Tags& from, const int (&names)[N], Tags& to)
{
    for (const int name : names)
        if (from.all.count(name))
            to.all[name] = from.all.at(name);
}

std::string textOf(const Tags& tags, int name)
{
    return tags.all.count(name) ? tags.all.at(name).bytes : std::string();
}

} // namespace

PhotoBlocks blocksOfTiff(std::FILE* file)
{
    const Tags tags = readTags(sourceOf(file));
    PhotoBlocks blocks;
    Tags told;
    copy(tags, kTold, told);
    if (!told.all.empty()) {
        copy(tags, kResolution, told);
        copy(tags, {kOrientation}, told);
        blocks.exif = std::string("II*\0\10\0\0\0", 8) + laidOut(told, 8);
    }
    blocks.xmp = textOf(tags, kPacket);
    blocks.resources = textOf(tags, kResources);
    if (blocks.resources.empty() && tags.all.count(kCaptions))
        blocks.resources = asResource(textOf(tags, kCaptions));
    return blocks;
}

bool appendToTiff(std::FILE* file, const PhotoBlocks& blocks)
{
    Tags tags = readTags(sourceOf(file));
    if (tags.all.empty())
        return true;
    copy(readTags(sourceOf(blocks.exif)), kTold, tags);
    if (tags.all.count(kExif))
        for (const int name : kNotInTiff)
            tags.all[kExif].inner[0].all.erase(name);
    if (!blocks.xmp.empty())
        tags.all[kPacket] = bytesTag(blocks.xmp);
    if (!blocks.resources.empty())
        tags.all[kResources] = bytesTag(blocks.resources);
    std::fseek(file, 0, SEEK_END);
    const size_t end = size_t(std::ftell(file)), at = end + end % 2;
    const std::string behind = std::string(end % 2, '\0') + laidOut(tags, at);
    const std::string place = asLowFirst(at, 4);
    return std::fwrite(behind.data(), 1, behind.size(), file) == behind.size() && std::fseek(file, 4, SEEK_SET) == 0 &&
           std::fwrite(place.data(), 1, 4, file) == 4 && std::fflush(file) == 0;
}

} // namespace pixmill::develop
