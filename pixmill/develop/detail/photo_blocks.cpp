#include <pixmill/develop/detail/photo_blocks.h>

#include <pixmill/develop/detail/byte_order.h>
#include <pixmill/develop/detail/exif_block.h>
#include <pixmill/develop/detail/heif_blocks.h>
#include <pixmill/develop/detail/image_resources.h>
#include <pixmill/develop/detail/tiff_blocks.h>

#include <cstdint>
#include <cstdio>
#include <memory>

namespace pixmill::develop {

namespace {

constexpr size_t kMostBytes = 16 << 20; // of one block
constexpr size_t kMostSegment = 65533;

const std::string kExif("Exif\0\0", 6);
const std::string kPacket("http://ns.adobe.com/xap/1.0/\0", 29);
const std::string kPacketsRest("http://ns.adobe.com/xmp/extension/\0", 35);
const std::string kCaptions("Photoshop 3.0\0", 14);
const std::string kPngPacket("XML:com.adobe.xmp\0\0\0\0\0", 22); // as it is, in no language
const std::string kPngSign("\x89PNG\r\n\x1a\n", 8);

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

bool begins(const std::string& text, const std::string& with)
{
    return text.compare(0, with.size(), with) == 0;
}

/// The next bytes of a file; fewer at its end.
std::string take(std::FILE* file, size_t count)
{
    std::string bytes(count, '\0');
    bytes.resize(std::fread(&bytes[0], 1, count, file));
    return bytes;
}

/// The same, passing over what is too large to be kept.
std::string takeOrPass(std::FILE* file, size_t count)
{
    if (count <= kMostBytes)
        return take(file, count);
    std::fseek(file, long(count), SEEK_CUR);
    return "";
}

std::string segment(char marker, const std::string& body)
{
    return std::string({char(0xff), marker}) + asHighFirst(body.size() + 2, 2) + body;
}

std::string chunk(const std::string& name, const std::string& body)
{
    uint32_t check = ~0u;
    for (const unsigned char c : name + body) {
        check ^= c;
        for (int bit = 0; bit < 8; ++bit)
            check = check >> 1 ^ (check & 1 ? 0xedb88320u : 0);
    }
    return asHighFirst(body.size(), 4) + name + body + asHighFirst(~check, 4);
}

void keepSegment(PhotoBlocks& blocks, char marker, const std::string& body)
{
    const bool application1 = marker == '\xe1';
    if (application1 && begins(body, kExif) && blocks.exif.empty())
        blocks.exif = body.substr(kExif.size());
    else if (application1 && begins(body, kPacket))
        blocks.xmp = body.substr(kPacket.size());
    else if (marker == '\xed' && begins(body, kCaptions))
        blocks.resources += body.substr(kCaptions.size());
    else if ((application1 && begins(body, kPacketsRest)) || marker == '\xfe')
        blocks.segments += segment(marker, body);
}

void readJpeg(std::FILE* file, PhotoBlocks& blocks)
{
    for (;;) {
        const std::string head = take(file, 4);
        const bool ends = head.size() < 4 || head[0] != '\xff' || head[1] == '\xda' || head[1] == '\xd9';
        const size_t size = ends ? 0 : highFirst(head, 2, 2);
        if (size < 2)
            return;
        const std::string body = take(file, size - 2);
        if (body.size() == size - 2)
            keepSegment(blocks, head[1], body);
    }
}

void keepChunk(PhotoBlocks& blocks, const std::string& name, const std::string& body)
{
    const bool isText = name == "tEXt" || name == "zTXt" || name == "iTXt";
    if (name == "eXIf")
        blocks.exif = body;
    else if (name == "iTXt" && begins(body, kPngPacket))
        blocks.xmp = body.substr(kPngPacket.size());
    else if (isText && !begins(body, "Raw profile type")) // a turn in text, that would be made twice
        blocks.chunks += chunk(name, body);
}

void readPng(std::FILE* file, PhotoBlocks& blocks)
{
    for (;;) {
        const std::string head = take(file, 8);
        if (head.size() < 8)
            return;
        const size_t size = highFirst(head, 0, 4);
        const std::string body = takeOrPass(file, size);
        if (body.size() == size)
            keepChunk(blocks, head.substr(4), body);
        std::fseek(file, 4, SEEK_CUR); // its checksum
    }
}

void readWebp(std::FILE* file, PhotoBlocks& blocks)
{
    for (;;) {
        const std::string head = take(file, 8);
        if (head.size() < 8)
            return;
        const std::string name = head.substr(0, 4);
        const size_t size = lowFirst(head, 4, 4);
        std::string body = takeOrPass(file, size);
        std::fseek(file, long(size % 2), SEEK_CUR);
        if (body.size() != size)
            continue;
        if (name == "EXIF")
            blocks.exif = begins(body, kExif) ? body.substr(kExif.size()) : body;
        else if (name == "XMP ")
            blocks.xmp = body;
        else if (name == "ICCP")
            blocks.profile = body;
    }
}

/// A packet of a picture that is upright.
std::string uprightPacket(std::string xmp)
{
    const std::string name = "tiff:Orientation";
    for (size_t at = xmp.find(name); at != std::string::npos; at = xmp.find(name, at + 1)) {
        const size_t value = xmp.find_first_not_of("=>\"' ", at + name.size());
        if (value != std::string::npos && xmp[value] >= '1' && xmp[value] <= '8')
            xmp[value] = '1';
    }
    return xmp;
}

size_t jpegHead(const std::string& bytes)
{
    for (size_t at = 2; at + 4 <= bytes.size(); at += 2 + highFirst(bytes, at + 2, 2)) {
        const int marker = static_cast<unsigned char>(bytes[at + 1]);
        const bool ofApplication = marker >= 0xe0 && marker <= 0xef, comment = marker == 0xfe;
        if (!ofApplication && !comment)
            return at;
    }
    return 0;
}

size_t pngHead(const std::string& bytes)
{
    for (size_t at = kPngSign.size(); at + 8 <= bytes.size(); at += 12 + highFirst(bytes, at, 4))
        if (bytes.compare(at + 4, 4, "IDAT") == 0)
            return at;
    return 0;
}

std::string jpegWith(const std::string& head, const PhotoBlocks& blocks)
{
    std::string first = head.substr(0, 2), rest, own;
    for (size_t at = 2, size; at < head.size(); at += size) {
        size = 2 + highFirst(head, at + 2, 2);
        if (head[at + 1] == '\xe0')
            first += head.substr(at, size);
        else if (head[at + 1] != '\xe1' && head[at + 1] != '\xed' && head[at + 1] != '\xfe')
            rest += head.substr(at, size);
    }
    if (!blocks.exif.empty() && blocks.exif.size() + kExif.size() <= kMostSegment)
        own += segment('\xe1', kExif + blocks.exif);
    if (!blocks.xmp.empty() && blocks.xmp.size() + kPacket.size() <= kMostSegment)
        own += segment('\xe1', kPacket + blocks.xmp);
    const size_t most = kMostSegment - kCaptions.size();
    for (size_t at = 0; at < blocks.resources.size(); at += most)
        own += segment('\xed', kCaptions + blocks.resources.substr(at, most));
    return first + own + blocks.segments + rest;
}

std::string pngWith(const std::string& head, const PhotoBlocks& blocks)
{
    std::string out = head.substr(0, kPngSign.size());
    for (size_t at = out.size(), size; at < head.size(); at += size) {
        size = 12 + highFirst(head, at, 4);
        const std::string name = head.substr(at + 4, 4);
        if (name != "tEXt" && name != "zTXt" && name != "iTXt" && name != "eXIf")
            out += head.substr(at, size);
    }
    if (!blocks.exif.empty())
        out += chunk("eXIf", blocks.exif);
    if (!blocks.xmp.empty())
        out += chunk("iTXt", kPngPacket + blocks.xmp);
    return out + blocks.chunks;
}

} // namespace

bool PhotoBlocks::suit(const std::string& format) const
{
    const bool known = !exif.empty() || !xmp.empty();
    if (format == "jpeg")
        return known || !resources.empty() || !segments.empty();
    return known || (format == "png" ? !chunks.empty() : !resources.empty());
}

PhotoBlocks blocksOf(const std::string& path)
{
    PhotoBlocks blocks;
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rb"));
    const std::string sign = file ? take(file.get(), 12) : "";
    if (begins(sign, "\xff\xd8")) {
        std::fseek(file.get(), 2, SEEK_SET);
        readJpeg(file.get(), blocks);
    } else if (begins(sign, kPngSign)) {
        std::fseek(file.get(), long(kPngSign.size()), SEEK_SET);
        readPng(file.get(), blocks);
    } else if (begins(sign, "RIFF") && sign.substr(8) == "WEBP") {
        readWebp(file.get(), blocks);
    } else if (begins(sign, std::string("II*\0", 4)) || begins(sign, std::string("MM\0*", 4))) {
        return blocksOfTiff(file.get());
    } else if (sign.size() == 12 && sign.compare(4, 4, "ftyp") == 0) {
        return blocksOfHeif(file.get());
    }
    return blocks;
}

void makeUpright(PhotoBlocks& blocks, cv::Size size)
{
    if (!uprightExif(blocks.exif, size))
        blocks.exif.clear();
    blocks.xmp = uprightPacket(std::move(blocks.xmp));
    blocks.resources = withoutPictures(blocks.resources);
}

size_t headOf(const std::string& bytes, const std::string& format)
{
    return format == "jpeg" ? jpegHead(bytes) : pngHead(bytes);
}

std::string withBlocks(const std::string& head, const std::string& format, const PhotoBlocks& blocks)
{
    return format == "jpeg" ? jpegWith(head, blocks) : pngWith(head, blocks);
}

} // namespace pixmill::develop
