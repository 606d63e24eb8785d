#include <pixmill/develop/Tiles.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <string>

namespace pixmill {

namespace {

std::string inWords(cv::Size size)
{
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

int roundedUp(int value, int step)
{
    return (value + step - 1) / step * step;
}

/// Part `index` of a side, and where its margins end.
struct Stretch {
    int first, end, from, to;
};

Stretch stretchOf(int index, int side, int margin, int length)
{
    const int first = index * side, end = std::min(length - first, side) + first;
    return {first, end, std::max(0, first - margin), length - end > margin ? end + margin : length};
}

/// Runs the filter on a region and puts what is the tile's own into its place in `out`, which is created with the
/// first.
void filterTile(const cv::Mat& region, const Tile& tile, const TileFilter& filter, cv::Size outSize, cv::Point at,
                cv::Mat& out)
{
    const cv::Mat made = filter(region);
    if (made.dims > 2 || made.size() != region.size())
        throw Error("mapTiles", "filter", "a result of " + inWords(region.size()), inWords(made.size()));
    if (out.size() != outSize || out.empty())
        out.create(outSize, made.type());
    if (made.type() != out.type())
        throw Error("mapTiles", "filter", "results of one type", cv::typeToString(made.type()));
    const cv::Rect own(tile.own.tl() - tile.region.tl(), tile.own.size());
    made(own).copyTo(out(cv::Rect(at, own.size())));
}

/// The rows that one row of tiles reads: those that it shares with the one before are moved up, the others fetched.
class Band {
public:
    explicit Band(const RowStream& stream) : m_stream(stream) {}

    const cv::Mat& rows(int from, int to)
    {
        const int kept = m_end - from;
        if (m_buffer.rows < to - from)
            grow(to - from, from, kept);
        else if (from != m_first)
            for (int y = 0; y < kept; ++y)
                m_buffer.row(from - m_first + y).copyTo(m_buffer.row(y));
        cv::Mat fresh = m_buffer.rowRange(kept, to - from);
        if (!fresh.empty())
            m_stream.source(fresh);
        m_first = from;
        m_end = to;
        m_rows = m_buffer.rowRange(0, to - from);
        return m_rows;
    }

private:
    void grow(int height, int from, int kept)
    {
        cv::Mat larger(height, m_stream.size.width, m_stream.type);
        if (kept > 0)
            m_buffer.rowRange(from - m_first, from - m_first + kept).copyTo(larger.rowRange(0, kept));
        m_buffer = larger;
    }

    const RowStream& m_stream;
    cv::Mat m_buffer, m_rows;
    int m_first = 0, m_end = 0;
};

bool goesOn(const RowStream& stream, double share)
{
    return !stream.progress || stream.progress(float(share));
}

} // namespace

TileGrid::TileGrid(cv::Size picture, const Tiling& tiling, int side) : m_picture(picture), m_margin(tiling.margin)
{
    if (tiling.bits == TileBits::Whole)
        throw Error("TileGrid", "tiling", "that of a filter that can be run in tiles",
                    "one that needs the whole picture");
    const int most = 1 << 30;
    if (side < 1 || side > most)
        throw Error("TileGrid", "side", "1 to " + std::to_string(most), std::to_string(side));
    m_side = {roundedUp(side, tiling.grid.width), roundedUp(side, tiling.grid.height)};
    if (picture.width > 0 && picture.height > 0)
        m_tiles = {(picture.width - 1) / m_side.width + 1, (picture.height - 1) / m_side.height + 1};
}

Tile TileGrid::operator()(int column, int row) const
{
    const Stretch x = stretchOf(column, m_side.width, m_margin.width, m_picture.width);
    const Stretch y = stretchOf(row, m_side.height, m_margin.height, m_picture.height);
    return {{x.first, y.first, x.end - x.first, y.end - y.first}, {x.from, y.from, x.to - x.from, y.to - y.from}};
}

void mapTiles(const cv::Mat& in, cv::Mat& out, const Tiling& tiling, int side, const TileFilter& filter)
{
    const TileGrid tiles(in.size(), tiling, side);
    cv::Mat made;
    for (int row = 0; row < tiles.rows(); ++row)
        for (int column = 0; column < tiles.columns(); ++column) {
            const Tile tile = tiles(column, row);
            filterTile(in(tile.region), tile, filter, in.size(), tile.own.tl(), made);
        }
    made.copyTo(out);
}

bool streamTiles(const RowStream& stream, const Tiling& tiling, int side, const TileFilter& filter)
{
    const TileGrid tiles(stream.size, tiling, side);
    Band band(stream);
    cv::Mat made;
    for (int row = 0; row < tiles.rows(); ++row) {
        const Tile first = tiles(0, row);
        const cv::Mat& rows = band.rows(first.region.y, first.region.br().y);
        for (int column = 0; column < tiles.columns(); ++column) {
            if (!goesOn(stream, (row + double(column) / tiles.columns()) / tiles.rows()))
                return false;
            const Tile tile = tiles(column, row);
            const cv::Rect region(tile.region.x, 0, tile.region.width, rows.rows);
            filterTile(rows(region), tile, filter, {stream.size.width, tile.own.height}, {tile.own.x, 0}, made);
        }
        stream.sink(made);
    }
    return goesOn(stream, 1);
}

} // namespace pixmill
