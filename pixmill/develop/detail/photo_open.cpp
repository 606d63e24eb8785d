#include <pixmill/develop/detail/photo_open.h>

#include <pixmill/develop/detail/photo_errors.h>

#include <OpenImageIO/tiffutils.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <system_error>

namespace pixmill::develop {

namespace {

struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Width times height of a JPEG's first frame header, 0 where there is none.
long long jpegPixels(std::FILE* file)
{
    if (std::fgetc(file) != 0xff || std::fgetc(file) != 0xd8)
        return 0;
    unsigned char head[4], frame[5];
    while (std::fread(head, 1, 4, file) == 4 && head[0] == 0xff) {
        const bool isFrame =
            head[1] >= 0xc0 && head[1] <= 0xcf && head[1] != 0xc4 && head[1] != 0xc8 && head[1] != 0xcc;
        if (isFrame && std::fread(frame, 1, 5, file) == 5)
            return (frame[1] * 256LL + frame[2]) * (frame[3] * 256LL + frame[4]);
        if (isFrame || std::fseek(file, head[2] * 256L + head[3] - 2, SEEK_CUR))
            return 0;
    }
    return 0;
}

void checkSize(const char* call, const std::string& path, long long pixels, long long maxPixels)
{
    if (pixels > maxPixels)
        refuseFile(call, path,
                   "claims " + std::to_string(pixels / 1'000'000) + " megapixels, more than the " +
                       std::to_string(maxPixels / 1'000'000) + " that are allowed");
}

std::string formatOfEnding(const std::string& path)
{
    std::string ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    if (!ending.empty())
        for (const auto& format : OIIO::get_extension_map())
            if (std::count(format.second.begin(), format.second.end(), ending.substr(1)))
                return format.first;
    return "";
}

/// Whether a format's decoder refuses a damaged file. Those of rarer ones may end the program on it.
bool isRead(const std::string& format)
{
    const char* const known[] = {"bmp", "gif", "heif", "jpeg",  "jpeg2000", "openexr", "png",
                                 "pnm", "psd", "raw",  "targa", "tiff",     "webp"};
    return std::find(std::begin(known), std::end(known), format) != std::end(known);
}

/// By the file's first bytes. A camera's raw file begins as a TIFF does: only its name tells it.
std::string formatOfBytes(const std::string& path)
{
    struct Sign {
        size_t at;
        std::string bytes;
        const char* format;
    };
    static const Sign signs[] = {{0, "\xff\xd8\xff", "jpeg"},
                                 {0, "\x89PNG", "png"},
                                 {0, {"II*\0", 4}, "tiff"},
                                 {0, {"MM\0*", 4}, "tiff"},
                                 {0, {"II+\0", 4}, "tiff"},
                                 {0, {"MM\0+", 4}, "tiff"},
                                 {4, "ftyp", "heif"},
                                 {8, "WEBP", "webp"},
                                 {0, "\x76\x2f\x31\x01", "openexr"},
                                 {4, "jP  ", "jpeg2000"},
                                 {0, "\xff\x4f\xff\x51", "jpeg2000"},
                                 {0, "GIF8", "gif"},
                                 {0, "BM", "bmp"}};
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rb"));
    std::string head(12, '\0');
    if (file)
        head.resize(std::fread(&head[0], 1, head.size(), file.get()));
    for (const Sign& sign : signs)
        if (head.size() == 12 && head.compare(sign.at, sign.bytes.size(), sign.bytes) == 0)
            return sign.format;
    return "";
}

/// The decoder of a format over the file; null, and why in `problem`, where it takes it for none of its own.
std::unique_ptr<OIIO::ImageInput> openAs(const std::string& format, const std::string& path,
                                         const OIIO::ImageSpec& wishes, std::string& problem)
{
    auto in = isRead(format) ? OIIO::ImageInput::create(format) : nullptr;
    OIIO::ImageSpec spec;
    if (in && in->open(path, spec, wishes))
        return in;
    if (in)
        problem = " that can be read (" + inOneLine(in->geterror(), path, "unknown") + ")";
    return nullptr;
}

/// More pixels than a byte can stand for: a block of 64 takes JPEG a bit or two, and a run of 1032 bytes takes
/// PNG and TIFF one. 0: a format without such a bound.
long long mostPixelsAByte(const std::string& format)
{
    if (format == "jpeg")
        return 1024;
    return format == "png" || format == "tiff" || format == "bmp" ? 32768 : 0;
}

} // namespace

void checkFile(const char* call, const std::string& path, long long maxPixels)
{
    std::error_code failed;
    const auto status = std::filesystem::status(path, failed);
    if (!std::filesystem::exists(status))
        refuseFile(call, path, "no such file");
    if (std::filesystem::is_directory(status))
        refuseFile(call, path, "is a folder");
    const std::unique_ptr<std::FILE, Close> file(std::fopen(path.c_str(), "rb"));
    if (!file)
        refuseFile(call, path, std::strerror(errno));
    if (std::filesystem::is_regular_file(status) && std::filesystem::file_size(path, failed) == 0)
        refuseFile(call, path, "is empty");
    checkSize(call, path, jpegPixels(file.get()), maxPixels);
}

std::unique_ptr<OIIO::ImageInput> openPicture(const char* call, const std::string& path, bool rawColour)
{
    OIIO::ImageSpec wishes;
    wishes["oiio:UnassociatedAlpha"] = 1;
    if (rawColour)
        wishes["oiio:RawColor"] = 1;
    // By name, then by content, and never by trying every decoder: some end the program on what is not theirs.
    std::string problem = " of a format that can be read";
    const std::string named = formatOfEnding(path), found = formatOfBytes(path);
    auto in = openAs(named, path, wishes, problem);
    if (!in && found != named)
        in = openAs(found, path, wishes, problem);
    if (!in)
        refuseFile(call, path, "is no picture" + problem);
    in->threads(1); // who reads many files gives each a thread
    return in;
}

void checkClaim(const char* call, const std::string& path, const OIIO::ImageInput& in, long long maxPixels)
{
    const OIIO::ImageSpec& spec = in.spec();
    const long long pixels = 1LL * spec.width * spec.height;
    if (spec.width < 1 || spec.height < 1 || spec.depth > 1 || spec.nchannels < 1)
        refuseFile(call, path, "holds no pixels of a picture");
    checkSize(call, path, pixels, maxPixels);
    std::error_code failed;
    const auto bytes = std::filesystem::file_size(path, failed);
    const long long most = mostPixelsAByte(in.format_name());
    if (!failed && most && pixels / most > static_cast<long long>(bytes))
        refuseFile(call, path,
                   "claims " + std::to_string(spec.width) + " x " + std::to_string(spec.height) + " pixels in " +
                       std::to_string(bytes) + " bytes");
}

OIIO::ImageSpec specOf(const OIIO::ImageInput& in, const PhotoBlocks& blocks)
{
    OIIO::ImageSpec spec = in.spec();
    const std::string format = in.format_name();
    if (!blocks.exif.empty() && (format == "webp" || format == "heif"))
        OIIO::decode_exif(OIIO::string_view(blocks.exif), spec);
    if (format == "heif")
        spec.erase_attribute("Orientation"); // the decoder turns it by the file's own words
    if (!blocks.profile.empty())
        spec.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, static_cast<int>(blocks.profile.size())),
                       blocks.profile.data());
    return spec;
}

std::vector<unsigned char> profileOf(const OIIO::ImageSpec& spec)
{
    const OIIO::ParamValue* value = spec.find_attribute("ICCProfile");
    if (!value || value->type().basetype != OIIO::TypeDesc::UINT8)
        return {};
    const auto* bytes = static_cast<const unsigned char*>(value->data());
    return {bytes, bytes + value->type().size()};
}

int orientationOf(const OIIO::ImageSpec& spec)
{
    const int told = spec.get_int_attribute("Orientation", 1);
    return told >= 1 && told <= 8 ? told : 1;
}

} // namespace pixmill::develop
