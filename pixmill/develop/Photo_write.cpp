#include <pixmill/develop/Photo.h>

#include <pixmill/develop/Error.h>
#include <pixmill/develop/detail/photo_blocks.h>
#include <pixmill/develop/detail/photo_errors.h>
#include <pixmill/develop/detail/photo_open.h>
#include <pixmill/develop/detail/temporary_file.h>
#include <pixmill/develop/detail/tiff_blocks.h>

#include <OpenImageIO/filesystem.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>

namespace pixmill {

namespace develop {

namespace {

const char* const kWrite = "PhotoWriter";
const int kPackingLevel = 1; // grain does not pack: level 6 takes 3 to 4 times as long for 1 or 2 % of the bytes

const std::uint64_t kLargeTiff = 4'000'000'000; // places in a plain TIFF have 32 bits

/// Takes an encoder's bytes to a file. A write that fails is remembered and passed off as done: some encoders end the
/// program where their output fails.
class FileProxy : public OIIO::Filesystem::IOProxy {
public:
    /// @param blocks  Take the place of those that the encoder of `format` writes; null: nothing does.
    FileProxy(std::FILE* file, const std::string& name, std::string format, const PhotoBlocks* blocks)
        : IOProxy(name, Write), m_file(file), m_format(std::move(format)), m_blocks(blocks)
    {
    }

    const char* proxytype() const override { return "pixmill"; } // "file" would be taken for another class
    int64_t tell() override { return m_pos; }

    bool seek(int64_t offset) override
    {
        m_pos = offset;
        return keep(std::fseek(m_file, static_cast<long>(offset), SEEK_SET) == 0);
    }

    size_t read(void* buffer, size_t size) override
    {
        std::fseek(m_file, static_cast<long>(m_pos), SEEK_SET);
        const size_t done = std::fread(buffer, 1, size, m_file);
        m_pos += static_cast<int64_t>(done);
        std::fseek(m_file, static_cast<long>(m_pos), SEEK_SET); // between reading and writing
        return done;
    }

    size_t write(const void* buffer, size_t size) override
    {
        const char* bytes = static_cast<const char*>(buffer);
        if (m_blocks)
            takeHead(std::string(bytes, bytes + size));
        else
            store(bytes, size);
        m_pos += static_cast<int64_t>(size);
        m_size = std::max(m_size, m_pos);
        return size;
    }

    size_t size() const override { return static_cast<size_t>(m_size); }
    void flush() const override { std::fflush(m_file); }

    int firstError() const { return m_errno; }

private:
    void store(const char* bytes, size_t size)
    {
        if (!m_errno)
            keep(std::fwrite(bytes, 1, size, m_file) == size);
    }

    /// Holds bytes back until the file's head is whole, and lets it go with the blocks in it.
    void takeHead(const std::string& bytes)
    {
        m_head += bytes;
        const size_t end = headOf(m_head, m_format);
        if (end == 0)
            return;
        const std::string all = withBlocks(m_head.substr(0, end), m_format, *m_blocks) + m_head.substr(end);
        m_blocks = nullptr;
        store(all.data(), all.size());
    }

    bool keep(bool done)
    {
        if (!done && !m_errno)
            m_errno = errno ? errno : EIO;
        return done;
    }

    std::FILE* m_file;
    std::string m_format, m_head;
    const PhotoBlocks* m_blocks;
    int64_t m_size = 0;
    int m_errno = 0;
};

bool describesTheOldFile(const std::string& name)
{
    for (const char* prefix : {"oiio:", "jpeg:", "png:", "tiff:", "openexr:", "raw:", "heif:", "Exif:PixelXDimension",
                               "Exif:PixelYDimension", "Orientation", "compression", "thumbnail"})
        if (OIIO::Strutil::istarts_with(name, prefix))
            return true;
    return false;
}

/// Some encoders end the program on a text without letters.
bool isEmptyText(const OIIO::ParamValue& value)
{
    return value.type() == OIIO::TypeString && value.get_string().empty();
}

/// What the encoders are told in any case: they do not take it from the blocks, and TIFF's makes up a date otherwise.
bool isForTheEncoder(const std::string& name)
{
    return name == "XResolution" || name == "YResolution" || name == "ResolutionUnit" || name == "PixelAspectRatio" ||
           name == "DateTime";
}

/// @param blocks  Whether the rest goes through as it stands in the file.
void addMetadata(OIIO::ImageSpec& spec, const Photo& like, bool blocks)
{
    if (like.metadata)
        for (const OIIO::ParamValue& value : like.metadata->values) {
            const std::string name = value.name().string();
            if (!describesTheOldFile(name) && !isEmptyText(value) && (!blocks || isForTheEncoder(name)))
                spec.extra_attribs.push_back(value);
        }
    if (!like.profile.empty())
        spec.attribute("ICCProfile", OIIO::TypeDesc(OIIO::TypeDesc::UINT8, static_cast<int>(like.profile.size())),
                       like.profile.data());
}

PhotoBlocks blocksFor(cv::Size size, const Photo& like)
{
    PhotoBlocks blocks = like.metadata ? like.metadata->blocks : PhotoBlocks();
    makeUpright(blocks, size);
    return blocks;
}

OIIO::ImageSpec specFor(cv::Size size, int type, const Photo& like, const PhotoWriting& how, const std::string& format,
                        bool blocks)
{
    const OIIO::TypeDesc sample = CV_MAT_DEPTH(type) == CV_8U ? OIIO::TypeUInt8 : OIIO::TypeUInt16;
    OIIO::ImageSpec spec(size.width, size.height, CV_MAT_CN(type), sample);
    const bool large = format == "tiff" && spec.image_bytes() >= kLargeTiff;
    addMetadata(spec, like, blocks && !large);
    spec.attribute("oiio:UnassociatedAlpha", 1);
    spec.attribute("oiio:ColorSpace", "sRGB"); // no encoder is to change a curve
    spec.attribute("Orientation", 1);
    if (format == "jpeg") {
        spec.attribute("Compression", "jpeg:" + std::to_string(how.quality));
        spec.attribute("jpeg:subsampling", how.quality >= 90 ? "4:4:4" : "4:2:0");
    } else if (format == "tiff") {
        spec.attribute("tiff:bigtiff", large);
        spec.attribute("Compression", "zip");
        spec.attribute("tiff:zipquality", kPackingLevel);
    } else {
        const int subtractLeft = 0x10; // one filter for all rows: trying all five packs no better
        spec.attribute("png:compressionLevel", kPackingLevel);
        spec.attribute("png:filter", subtractLeft);
    }
    return spec;
}

void checkWriting(const std::string& path, int type, const PhotoWriting& how, const std::string& format)
{
    if (format != "jpeg" && format != "png" && format != "tiff")
        refuseFile(kWrite, path, "has no format that can be written: jpeg, png or tiff");
    const int channels = CV_MAT_CN(type), depth = CV_MAT_DEPTH(type);
    if ((depth != CV_8U && depth != CV_16U) || (channels != 3 && channels != 4))
        refuseFile(kWrite, path, "pixels must have 8 or 16 bits and 3 or 4 channels");
    if (format == "jpeg" && type != CV_8UC3)
        refuseFile(kWrite, path, "JPEG takes 8 bits and 3 channels only");
    if (how.quality < 1 || how.quality > 100)
        refuseFile(kWrite, path, "quality must be 1 to 100");
}

} // namespace

/// The encoder over its file. Members go in the order that an early end needs: encoder, its bytes' way, the file.
class PhotoSink {
public:
    PhotoSink(const std::string& path, cv::Size size, int type, const Photo& like, const PhotoWriting& how)
        : m_size(size), m_type(type), m_format(how.format.empty() ? formatOfName(path) : how.format), m_file(path),
          m_blocks(blocksFor(size, like)),
          m_proxy(m_file.file(), path, m_format, m_blocks.suit(m_format) ? &m_blocks : nullptr)
    {
        m_out = OIIO::ImageOutput::create(m_format);
        if (!m_out)
            refuse(OIIO::geterror());
        m_out->threads(1);
        // TIFF's encoder reports failures itself, and reads back what it wrote, which a proxy does not let it do.
        const bool byName = m_format == "tiff";
        if (!byName && !m_out->set_ioproxy(&m_proxy))
            refuse(m_out->geterror());
        errno = 0;
        check(m_out->open(byName ? m_file.name() : path,
                          specFor(size, type, like, how, m_format, m_blocks.suit(m_format))));
    }

    void write(const cv::Mat& rows)
    {
        if (rows.type() != m_type || rows.cols != m_size.width || m_row + rows.rows > m_size.height)
            refuse("rows of another type or width, or too many");
        errno = 0;
        const bool done = m_out->write_scanlines(m_row, m_row + rows.rows, 0, OIIO::TypeUnknown, rows.data,
                                                 OIIO::AutoStride, OIIO::stride_t(rows.step));
        m_row += rows.rows;
        check(done);
    }

    void finish()
    {
        if (m_row != m_size.height)
            refuse("the last rows are missing");
        errno = 0;
        check(m_out->close());
        if (m_format == "tiff" && m_blocks.suit(m_format))
            check(appendToTiff(m_file.file(), m_blocks));
        m_file.commit();
    }

private:
    void check(bool done)
    {
        const int system = m_proxy.firstError() ? m_proxy.firstError() : done ? 0 : errno;
        if (system)
            refuse(std::strerror(system));
        if (!done)
            refuse(m_out->geterror());
    }

    [[noreturn]] void refuse(const std::string& said)
    {
        refuseFile(kWrite, m_file.target(),
                   "cannot be written: " + inOneLine(said, m_file.name(), "the encoder failed"));
    }

    cv::Size m_size;
    int m_type, m_row = 0;
    std::string m_format;
    TemporaryFile m_file;
    PhotoBlocks m_blocks;
    FileProxy m_proxy;
    std::unique_ptr<OIIO::ImageOutput> m_out;
};

} // namespace develop

std::string formatOfName(const std::string& path)
{
    std::string ending = std::filesystem::path(path).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ending == ".jpg" || ending == ".jpeg")
        return "jpeg";
    if (ending == ".tif" || ending == ".tiff")
        return "tiff";
    return ending == ".png" ? "png" : "";
}

PhotoWriter::PhotoWriter(const std::string& path, cv::Size size, int type, const Photo& like, const PhotoWriting& how)
{
    develop::checkWriting(path, type, how, how.format.empty() ? formatOfName(path) : how.format);
    m_sink = std::make_unique<develop::PhotoSink>(path, size, type, like, how);
}

PhotoWriter::~PhotoWriter() = default;

void PhotoWriter::write(const cv::Mat& rows)
{
    m_sink->write(rows);
}

void PhotoWriter::finish()
{
    m_sink->finish();
}

void writePhoto(const std::string& path, const Photo& photo, const PhotoWriting& how)
{
    const bool jpeg = (how.format.empty() ? formatOfName(path) : how.format) == "jpeg";
    const cv::Mat& pixels = photo.pixels;
    const int type = jpeg ? CV_8UC3 : pixels.type();
    PhotoWriter writer(path, pixels.size(), type, photo, how);
    const int band = 64;
    for (int y = 0; y < pixels.rows; y += band) {
        cv::Mat rows = pixels.rowRange(y, std::min(y + band, pixels.rows));
        if (jpeg && rows.channels() == 4) {
            cv::Mat colours(rows.size(), CV_MAKETYPE(rows.depth(), 3));
            const int fromTo[] = {0, 0, 1, 1, 2, 2};
            cv::mixChannels(&rows, 1, &colours, 1, fromTo, 3);
            rows = colours;
        }
        if (jpeg && rows.depth() == CV_16U)
            rows.convertTo(rows, CV_8U, 1.0 / 257.0);
        writer.write(rows);
    }
    writer.finish();
}

void discardUnfinishedPhotos()
{
    develop::discardTemporaryFiles();
}

} // namespace pixmill
