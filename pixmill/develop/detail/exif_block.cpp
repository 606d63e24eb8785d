#include <pixmill/develop/detail/exif_block.h>

#include <cstdint>

namespace pixmill::develop {

namespace {

constexpr int kOrientation = 0x112, kThumbnail = 0x201, kThumbnailSize = 0x202, kExifDirectory = 0x8769,
              kWidth = 0xa002, kHeight = 0xa003;
constexpr int kShort = 3, kEntry = 12;

/// Numbers in the block's byte order. A place outside of it reads as 0 and takes nothing.
class Block {
public:
    explicit Block(std::string& bytes) : m_bytes(bytes), m_little(bytes.compare(0, 2, "II") == 0) {}

    uint32_t get(size_t at, int count) const
    {
        uint32_t value = 0;
        for (int i = 0; i < count && fits(at, count); ++i)
            value = value << 8 | static_cast<unsigned char>(m_bytes[place(at, count, i)]);
        return value;
    }

    void put(size_t at, int count, uint32_t value)
    {
        for (int i = count - 1; i >= 0 && fits(at, count); --i, value >>= 8)
            m_bytes[place(at, count, i)] = char(value & 0xff);
    }

    bool fits(size_t at, size_t count) const { return at <= m_bytes.size() && count <= m_bytes.size() - at; }

    /// Gives every entry's tag and place to `each`. @return where the next directory's place stands; 0: damaged.
    template <class Each>
    size_t directory(size_t at, const Each& each) const
    {
        const size_t count = get(at, 2), end = at + 2 + count * kEntry;
        if (at < 8 || count == 0 || !fits(at, 2 + count * kEntry + 4))
            return 0;
        for (size_t entry = at + 2; entry < end; entry += kEntry)
            each(int(get(entry, 2)), entry);
        return end;
    }

    /// An entry's single number, of the type that it has.
    void set(size_t entry, uint32_t value) { put(entry + 8, get(entry + 2, 2) == kShort ? 2 : 4, value); }

private:
    /// Of byte i, counted from the highest.
    size_t place(size_t at, int count, int i) const { return at + size_t(m_little ? count - 1 - i : i); }

    std::string& m_bytes;
    bool m_little;
};

} // namespace

bool uprightExif(std::string& exif, cv::Size size)
{
    if (exif.compare(0, 4, std::string("II*\0", 4)) != 0 && exif.compare(0, 4, std::string("MM\0*", 4)) != 0)
        return false;
    Block block(exif);
    size_t inner = 0, thumbnail = 0, thumbnailSize = 0;
    const size_t next = block.directory(block.get(4, 4), [&](int tag, size_t entry) {
        if (tag == kOrientation)
            block.set(entry, 1);
        if (tag == kExifDirectory)
            inner = block.get(entry + 8, 4);
    });
    if (next == 0)
        return false;
    block.directory(inner, [&](int tag, size_t entry) {
        if (tag == kWidth || tag == kHeight)
            block.set(entry, uint32_t(tag == kWidth ? size.width : size.height));
    });
    block.directory(block.get(next, 4), [&](int tag, size_t entry) {
        if (tag == kThumbnail || tag == kThumbnailSize)
            (tag == kThumbnail ? thumbnail : thumbnailSize) = block.get(entry + 8, 4);
    });
    block.put(next, 4, 0);
    if (thumbnail > next && thumbnail + thumbnailSize == exif.size())
        exif.resize(thumbnail);
    return true;
}

} // namespace pixmill::develop
