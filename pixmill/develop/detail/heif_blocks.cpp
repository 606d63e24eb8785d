#include <pixmill/develop/detail/heif_blocks.h>

#include <pixmill/develop/detail/byte_order.h>

#include <algorithm>
#include <cstdint>

namespace pixmill::develop {

namespace {

constexpr uint64_t kMostBytes = 16 << 20;

/// Numbers one after another, high byte first; 0 behind the end.
class Cursor {
public:
    explicit Cursor(const std::string& bytes, size_t at = 0) : m_bytes(bytes), m_at(at) {}

    uint64_t number(size_t count)
    {
        const uint64_t value = highFirst(m_bytes, m_at, count);
        m_at += count;
        return value;
    }

    std::string text(size_t count)
    {
        const std::string found = ended() ? "" : m_bytes.substr(m_at, count);
        m_at += count;
        return found;
    }

    bool ended() const { return m_at >= m_bytes.size(); }

private:
    const std::string& m_bytes;
    size_t m_at;
};

/// Gives type and body of every box in `bytes` from `at` on.
template <class Each>
void eachBox(const std::string& bytes, size_t at, const Each& each)
{
    while (at + 8 <= bytes.size()) {
        Cursor head(bytes, at);
        const uint64_t size = head.number(4);
        const std::string type = head.text(4);
        if (size < 8 || size > bytes.size() - at)
            return;
        each(type, bytes.substr(at + 8, size_t(size) - 8));
        at += size_t(size);
    }
}

std::string bytesAt(std::FILE* file, uint64_t at, uint64_t count)
{
    std::string bytes(size_t(std::min(count, kMostBytes)), '\0');
    if (count > kMostBytes || at > INT64_MAX || std::fseek(file, long(at), SEEK_SET))
        return "";
    bytes.resize(std::fread(&bytes[0], 1, bytes.size(), file));
    return bytes.size() == count ? bytes : "";
}

/// The box that describes the file's items.
std::string metaOf(std::FILE* file)
{
    for (uint64_t at = 0, size; !std::fseek(file, long(at), SEEK_SET); at += size) {
        std::string head(16, '\0');
        head.resize(std::fread(&head[0], 1, head.size(), file));
        Cursor cursor(head);
        size = cursor.number(4);
        const std::string type = cursor.text(4);
        const uint64_t own = size == 1 ? 16 : 8;
        if (size == 1)
            size = cursor.number(8);
        if (size < own || size > INT64_MAX - at)
            return "";
        if (type == "meta")
            return bytesAt(file, at + own, size - own);
    }
    return "";
}

/// A profile for R, G, B among the properties of the items.
std::string profileIn(const std::string& properties)
{
    std::string profile;
    eachBox(properties, 0, [&](const std::string& container, const std::string& all) {
        if (container == "ipco")
            eachBox(all, 0, [&](const std::string& type, const std::string& body) {
                const bool embedded = body.compare(0, 4, "prof") == 0 || body.compare(0, 4, "rICC") == 0;
                if (type == "colr" && embedded && body.size() > 24 && body.compare(20, 4, "RGB ") == 0)
                    profile = profile.empty() ? body.substr(4) : profile;
            });
    });
    return profile;
}

struct Items {
    uint64_t exif = 0, xmp = 0; ///< Their numbers; 0: none.
};

Items itemsIn(const std::string& infos)
{
    Items items;
    const bool wide = !infos.empty() && infos[0] != 0;
    eachBox(infos, wide ? 8 : 6, [&](const std::string&, const std::string& body) {
        Cursor cursor(body);
        const uint64_t version = cursor.number(1);
        cursor.number(3);
        const uint64_t name = cursor.number(version == 3 ? 4 : 2);
        cursor.number(2);
        const std::string type = cursor.text(4);
        if (type == "Exif")
            items.exif = name;
        if (type == "mime" && body.find("application/rdf+xml") != std::string::npos)
            items.xmp = name;
    });
    return items;
}

/// An item's bytes, where they stand in one piece of the file.
std::string itemIn(std::FILE* file, const std::string& places, uint64_t item)
{
    Cursor cursor(places);
    const uint64_t version = cursor.number(1);
    cursor.number(3);
    const uint64_t sizes = cursor.number(2), count = cursor.number(version < 2 ? 2 : 4);
    const auto offset = size_t(sizes >> 12), length = size_t(sizes >> 8 & 15), base = size_t(sizes >> 4 & 15);
    const auto index = version > 0 ? size_t(sizes & 15) : 0;
    for (uint64_t i = 0; i < count && !cursor.ended(); ++i) {
        const uint64_t name = cursor.number(version < 2 ? 2 : 4), method = version > 0 ? cursor.number(2) & 15 : 0;
        cursor.number(2);
        const uint64_t start = cursor.number(base), pieces = cursor.number(2);
        for (uint64_t piece = 0; piece < pieces && !cursor.ended(); ++piece) {
            cursor.number(index);
            const uint64_t at = start + cursor.number(offset), size = cursor.number(length);
            if (name == item && method == 0 && pieces == 1)
                return bytesAt(file, at, size);
        }
    }
    return "";
}

} // namespace

PhotoBlocks blocksOfHeif(std::FILE* file)
{
    PhotoBlocks blocks;
    const std::string meta = metaOf(file);
    Items items;
    std::string places;
    eachBox(meta, 4, [&](const std::string& type, const std::string& body) {
        if (type == "iprp")
            blocks.profile = profileIn(body);
        if (type == "iinf")
            items = itemsIn(body);
        if (type == "iloc")
            places = body;
    });
    const std::string exif = items.exif ? itemIn(file, places, items.exif) : "";
    const uint64_t begin = 4 + Cursor(exif).number(4); // it tells how far behind it the byte order stands
    blocks.exif = begin < exif.size() ? exif.substr(size_t(begin)) : "";
    blocks.xmp = items.xmp ? itemIn(file, places, items.xmp) : "";
    return blocks;
}

} // namespace pixmill::develop
