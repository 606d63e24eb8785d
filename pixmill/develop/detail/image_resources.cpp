#include <pixmill/develop/detail/image_resources.h>

#include <pixmill/develop/detail/byte_order.h>

#include <cstddef>

namespace pixmill::develop {

namespace {

const std::string kSign = "8BIM";
constexpr size_t kCaptions = 0x404, kOldSmallCopy = 0x409, kSmallCopy = 0x40c, kProfile = 0x40f;

} // namespace

std::string asResource(const std::string& captions)
{
    const std::string noName(2, '\0');
    return kSign + asHighFirst(kCaptions, 2) + noName + asHighFirst(captions.size(), 4) + captions +
           std::string(captions.size() % 2, '\0');
}

std::string withoutPictures(const std::string& resources)
{
    std::string out;
    for (size_t at = 0, end; at < resources.size(); at = end) {
        const size_t name = highFirst(resources, at + 6, 1) + 1, sizeAt = at + 6 + name + name % 2;
        const size_t size = highFirst(resources, sizeAt, 4);
        end = sizeAt + 4 + size + size % 2;
        if (resources.compare(at, 4, kSign) != 0 || end > resources.size() + size % 2)
            return resources;
        const size_t kind = highFirst(resources, at + 4, 2);
        if (kind != kOldSmallCopy && kind != kSmallCopy && kind != kProfile)
            out += resources.substr(at, end - at);
    }
    return out;
}

} // namespace pixmill::develop
