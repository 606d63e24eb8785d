#include <pixmill/develop/detail/image_resources.h>

#include <cstddef>

namespace pixmill::develop {

namespace {

const std::string kSign = "8BIM";
constexpr size_t kCaptions = 0x404, kOldSmallCopy = 0x409, kSmallCopy = 0x40c, kProfile = 0x40f;

size_t number(const std::string& bytes, size_t at, size_t count)
{
    size_t value = 0;
    for (size_t i = 0; i < count; ++i)
        value = value << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u);
    return value;
}

} // namespace

std::string asResource(const std::string& captions)
{
    std::string out = kSign;
    for (const size_t byte : {kCaptions >> 8, kCaptions & 0xff, size_t(0), size_t(0)}) // and no name
        out += char(byte);
    for (int shift = 24; shift >= 0; shift -= 8)
        out += char(captions.size() >> shift & 0xff);
    return out + captions + std::string(captions.size() % 2, '\0');
}

std::string withoutPictures(const std::string& resources)
{
    std::string out;
    for (size_t at = 0, end; at < resources.size(); at = end) {
        const size_t name = number(resources, at + 6, 1) + 1, sizeAt = at + 6 + name + name % 2;
        const size_t size = number(resources, sizeAt, 4);
        end = sizeAt + 4 + size + size % 2;
        if (resources.compare(at, 4, kSign) != 0 || end > resources.size() + size % 2)
            return resources;
        const size_t kind = number(resources, at + 4, 2);
        if (kind != kOldSmallCopy && kind != kSmallCopy && kind != kProfile)
            out += resources.substr(at, end - at);
    }
    return out;
}

} // namespace pixmill::develop
