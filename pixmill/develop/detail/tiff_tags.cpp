#include <pixmill/develop/detail/tiff_tags.h>

#include <pixmill/develop/detail/byte_order.h>

#include <algorithm>

namespace pixmill::develop {

namespace {

constexpr int kByte = 1, kLong = 4;
constexpr int kMakerNote = 0x927c, kComment = 0x9286;
constexpr int kPointers[] = {0x8769, 0x8825, 0xa005}; // Exif's, places', and how files go together
constexpr size_t kMostBytes = 16 << 20, kMostAltogether = 64 << 20;
constexpr size_t kMostDepth = 2;

struct Type {
    size_t size, word; ///< Of a value; of what byte order turns round.
};

/// By TIFF's number; 0: unknown.
Type typeOf(int number)
{
    const Type types[] = {{0, 1}, {1, 1}, {1, 1}, {2, 2}, {4, 4}, {8, 4}, {1, 1},
                          {1, 1}, {2, 2}, {4, 4}, {8, 4}, {4, 4}, {8, 8}};
    return number > 0 && number < 13 ? types[number] : types[0];
}

/// Reads directories of one file, and turns their bytes low first.
class Reader {
public:
    explicit Reader(const Source& source) : m_source(source)
    {
        const std::string head = source(0, 8);
        m_little = head.compare(0, 4, std::string("II*\0", 4)) == 0;
        const bool known = m_little || head.compare(0, 4, std::string("MM\0*", 4)) == 0;
        m_first = known && head.size() == 8 ? lowFirst(turned(head.substr(4), 4), 0, 4) : 0;
    }

    Tags first() const { return directory(m_first, 0); }

private:
    std::string turned(std::string bytes, size_t word) const
    {
        if (!m_little)
            for (size_t at = 0; at + word <= bytes.size(); at += word)
                std::reverse(bytes.begin() + long(at), bytes.begin() + long(at + word));
        return bytes;
    }

    Tags directory(size_t at, size_t depth) const
    {
        Tags tags;
        const std::string head = at < 8 ? "" : turned(m_source(at, 2), 2);
        const size_t count = lowFirst(head, 0, 2);
        const std::string entries = head.empty() ? "" : m_source(at + 2, count * 12);
        for (size_t entry = 0; entry + 12 <= entries.size(); entry += 12)
            addTag(tags, entries.substr(entry, 12), depth);
        return tags;
    }

    void addTag(Tags& tags, const std::string& entry, size_t depth) const
    {
        const int name = int(lowFirst(turned(entry.substr(0, 2), 2), 0, 2));
        Tag tag;
        tag.type = int(lowFirst(turned(entry.substr(2, 2), 2), 0, 2));
        tag.count = static_cast<uint32_t>(lowFirst(turned(entry.substr(4, 4), 4), 0, 4));
        const Type type = typeOf(tag.type);
        const size_t size = type.size * tag.count, place = lowFirst(turned(entry.substr(8), 4), 0, 4);
        if (size == 0 || size > std::min(kMostBytes, m_left) || name == kMakerNote)
            return;
        m_left -= size;
        tag.bytes = turned(size <= 4 ? entry.substr(8, size) : m_source(place, size), type.word);
        if (tag.bytes.size() != size)
            return;
        if (name == kComment && tag.bytes.compare(0, 8, std::string("UNICODE\0", 8)) == 0)
            tag.bytes = tag.bytes.substr(0, 8) + turned(tag.bytes.substr(8), 2);
        if (std::count(std::begin(kPointers), std::end(kPointers), name)) {
            if (depth < kMostDepth)
                tag.inner.push_back(directory(place, depth + 1));
            if (tag.inner.empty() || tag.inner[0].all.empty())
                return;
        }
        tags.all[name] = std::move(tag);
    }

    const Source& m_source;
    mutable size_t m_left = kMostAltogether;
    bool m_little = true;
    size_t m_first = 0;
};

} // namespace

Tags readTags(const Source& source)
{
    return Reader(source).first();
}

std::string laidOut(const Tags& tags, size_t at)
{
    const size_t behind = at + 2 + tags.all.size() * 12 + 4;
    std::string entries = asLowFirst(tags.all.size(), 2), values;
    for (const auto& [name, tag] : tags.all) {
        std::string bytes = tag.bytes;
        const bool leads = !tag.inner.empty();
        if (leads)
            bytes = laidOut(tag.inner[0], behind + values.size());
        entries += asLowFirst(size_t(name), 2) + asLowFirst(size_t(leads ? kLong : tag.type), 2) +
                   asLowFirst(leads ? 1 : tag.count, 4);
        if (leads || bytes.size() > 4) {
            entries += asLowFirst(behind + values.size(), 4);
            values += bytes + std::string(bytes.size() % 2, '\0');
        } else {
            entries += bytes + std::string(4 - bytes.size(), '\0');
        }
    }
    return entries + std::string(4, '\0') + values;
}

Tag bytesTag(const std::string& bytes)
{
    Tag tag;
    tag.type = kByte;
    tag.count = uint32_t(bytes.size());
    tag.bytes = bytes;
    return tag;
}

} // namespace pixmill::develop
