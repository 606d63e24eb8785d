#include <pixmill/develop/Photo.h>

#include <pixmill/develop/Error.h>
#include <pixmill/develop/detail/photo_colour.h>
#include <pixmill/develop/detail/photo_errors.h>
#include <pixmill/develop/detail/photo_open.h>
#include <pixmill/develop/detail/photo_samples.h>

#include <opencv2/core.hpp>

#include <algorithm>

namespace pixmill {

namespace develop {

namespace {

const char* const kStream = "PhotoReader";

void checkRowsStand(const std::string& path, const OIIO::ImageSpec& spec)
{
    if (orientationOf(spec) != 1)
        refuseFile(kStream, path, "is stored turned, and cannot be read row by row");
    const Profile profile = openProfile(profileOf(spec));
    if (isCmyk(spec) || (profile && coloursOf(profile) != "RGB"))
        refuseFile(kStream, path, "has other colours than RGB or grey, and cannot be read row by row");
}

} // namespace

/// The decoder, and the row of tiles that it stands in where the file has such.
class PhotoRows {
public:
    PhotoRows(const std::string& path, const PhotoReading& how) : m_path(path), m_lenient(how.lenient)
    {
        checkFile(kStream, path, how.maxPixels);
        m_in = openPicture(kStream, path);
        checkClaim(kStream, path, *m_in, how.maxPixels);
        const PhotoBlocks blocks = blocksOf(path);
        m_spec = specOf(*m_in, blocks);
        checkRowsStand(path, spec());
        m_channels = channelsOf(spec(), false);
        m_like.profile = profileOf(spec());
        m_like.metadata = metadataOf(spec(), blocks);
    }

    const OIIO::ImageSpec& spec() const { return m_spec; }
    const Photo& like() const { return m_like; }

    int type() const
    {
        return CV_MAKETYPE(depthOf(spec()) == CV_8U ? CV_8U : CV_16U,
                           m_channels.count - m_channels.alpha == 1 ? 3 + m_channels.alpha : m_channels.count);
    }

    void read(cv::Mat& rows)
    {
        if (rows.type() != type() || rows.cols != spec().width || m_next + rows.rows > spec().height)
            throw Error("PhotoReader::read", "rows", "of the picture's type and width, and not too many", "others");
        cv::Mat samples(rows.size(), samplesType());
        for (int y = 0; y < rows.rows;)
            y += take(samples.rowRange(y, rows.rows));
        if (m_channels.alpha && isMultiplied(*m_in))
            unmultiply(samples);
        if (samples.depth() == CV_32F)
            encodeFloats(cv::Mat(samples), m_channels.alpha, m_like.profile.empty(), samples);
        spreadGrey(samples, m_channels.alpha).copyTo(rows);
    }

private:
    int samplesType() const { return CV_MAKETYPE(depthOf(spec()), m_channels.count); }

    /// Up to so many rows from the next on; returns how many.
    int take(cv::Mat to)
    {
        const int first = m_next, high = spec().tile_height;
        if (high == 0) {
            const int step = m_lenient ? 1 : to.rows; // a decoder that fails amid many keeps back those that it had
            for (int y = 0; y < to.rows; y += step)
                decode(first + y, first + y + step, to.rowRange(y, y + step));
            m_next += to.rows;
            return to.rows;
        }
        const int tiles = first / high * high, end = std::min(tiles + high, spec().height);
        if (m_tiles.empty() || first == tiles) {
            m_tiles.create(end - tiles, spec().width, samplesType());
            decode(tiles, end, m_tiles);
        }
        const int count = std::min(to.rows, end - first);
        m_tiles.rowRange(first - tiles, first - tiles + count).copyTo(to.rowRange(0, count));
        m_next += count;
        return count;
    }

    /// Rows of the file from `first` (in files of tiles: of whole tiles); black where a damaged one ends.
    void decode(int first, int end, cv::Mat to)
    {
        to.setTo(0);
        const OIIO::ImageSpec& s = spec();
        const OIIO::TypeDesc type = typeOf(to.depth());
        const auto step = OIIO::stride_t(to.step);
        const int y = s.y + first, yEnd = s.y + end;
        const bool whole = s.tile_height ? m_in->read_tiles(0, 0, s.x, s.x + s.width, y, yEnd, s.z, s.z + 1, 0,
                                                            m_channels.count, type, to.data, OIIO::AutoStride, step)
                                         : m_in->read_scanlines(0, 0, y, yEnd, s.z, 0, m_channels.count, type, to.data,
                                                                OIIO::AutoStride, step);
        const std::string said = m_in->geterror();
        if (whole && said.empty())
            return;
        const std::string damage = "is truncated or damaged (" + inOneLine(said, m_path, "its pixels end early") + ")";
        if (!m_lenient)
            refuseFile(kStream, m_path, damage);
        m_like.note = damage + ", read as far as it goes";
    }

    std::string m_path;
    bool m_lenient;
    std::unique_ptr<OIIO::ImageInput> m_in;
    OIIO::ImageSpec m_spec;
    Channels m_channels = {};
    Photo m_like;
    cv::Mat m_tiles;
    int m_next = 0;
};

} // namespace develop

PhotoReader::PhotoReader(const std::string& path, const PhotoReading& how)
    : m_rows(std::make_unique<develop::PhotoRows>(path, how))
{
}

PhotoReader::~PhotoReader() = default;

cv::Size PhotoReader::size() const
{
    return {m_rows->spec().width, m_rows->spec().height};
}

int PhotoReader::type() const
{
    return m_rows->type();
}

const Photo& PhotoReader::like() const
{
    return m_rows->like();
}

void PhotoReader::read(cv::Mat& rows)
{
    m_rows->read(rows);
}

} // namespace pixmill
