#pragma once

#include <pixmill/develop/Error.h>
#include <pixmill/develop/Export.h>

#include <opencv2/core/mat.hpp>

#include <functional>
#include <map>
#include <string>

namespace pixmill {

/// How close tiles come to the whole picture.
enum class TileBits {
    Same,  ///< The same bits.
    Near,  ///< What a tile lacks moves no sample by half a step of 16 bits, before rounding; `docs/tiles.md` has more.
    Whole, ///< Not at all: the filter looks at the whole picture, or counts from its first sample.
};

/// What a filter of the toolbox needs, to be run tile by tile.
///
/// Every tile begins at multiples of `grid` and ends at such or at the picture's end. It is filtered together with
/// `margin` pixels on every side that is not the picture's, and the margins are cut off again.
struct Tiling {
    TileBits bits = TileBits::Same;       ///< How close tiles come.
    cv::Size margin = {0, 0};             ///< Columns and rows, multiples of `grid`.
    cv::Size grid = {1, 1};               ///< Columns and rows.
    std::map<std::string, double> values; ///< What the filter must be given for a tile.
};

/// What a filter needs, by the name that `pixmill filter --list` tells.
///
/// @param values   Parameters by name, the usual ones where they are not told. Those that follow the picture's size
/// (the
///                 depth of the local Laplacian's pyramid where it is 0) come back with the number that the whole
///                 picture has.
/// @param picture  The whole picture's size.
/// @throws Error  an unknown name, a parameter out of its range.
PIXMILL_DEVELOP_API Tiling tilingOf(const std::string& filter, const std::map<std::string, double>& values,
                                    cv::Size picture);

/// A filter: gets a part of the picture, which it must not write to, and gives one of the same size, of any type that
/// is the same each time.
using TileFilter = std::function<cv::Mat(const cv::Mat& region)>;

/// One of the parts that a picture is worked on in.
struct Tile {
    cv::Rect own;    ///< What it gives.
    cv::Rect region; ///< What it reads: `own` with its margins, as far as the picture goes.
};

/// The tiles that cover a picture, row by row of tiles.
class PIXMILL_DEVELOP_API TileGrid {
public:
    /// @param side  Of a tile, rounded up to the grid's columns and rows; above 0.
    /// @throws Error  a side below 1, or a filter that needs the whole picture.
    TileGrid(cv::Size picture, const Tiling& tiling, int side);

    int columns() const { return m_tiles.width; } ///< Of tiles.
    int rows() const { return m_tiles.height; }   ///< Of tiles.

    /// @param column, row  Below `columns()` and `rows()`.
    Tile operator()(int column, int row) const;

private:
    cv::Size m_picture, m_margin, m_side, m_tiles;
};

/// Filters a picture in memory tile by tile.
///
/// @param out  Created unless it fits; not `in`.
/// @throws Error  as TileGrid; a filter that gives another size, or another type than before. What `filter` throws.
PIXMILL_DEVELOP_API void mapTiles(const cv::Mat& in, cv::Mat& out, const Tiling& tiling, int side,
                                  const TileFilter& filter);

/// The picture's next rows from the top, as many as `rows` has, to be written into it.
using TileSource = std::function<void(cv::Mat& rows)>;

/// The result's next rows from the top.
using TileSink = std::function<void(const cv::Mat& rows)>;

/// A picture that is never whole in memory.
struct RowStream {
    cv::Size size;                             ///< Of the whole picture.
    int type = 0;                              ///< Of the rows that `source` gives.
    TileSource source;                         ///< Called for all rows, in order.
    TileSink sink;                             ///< Called for all rows, in order.
    std::function<bool(float share)> progress; ///< Told 0..1 on the way; false stops. May be empty.
};

/// Filters a picture from rows to rows, in tiles, one row of them in memory with its margins, and their result:
/// (side + 2 * margin) * width pixels in and side * width out, and what the filter takes for one tile.
///
/// @return false where `progress` stopped it.
/// @throws Error  as mapTiles. What the stream's functions throw.
PIXMILL_DEVELOP_API bool streamTiles(const RowStream& stream, const Tiling& tiling, int side, const TileFilter& filter);

} // namespace pixmill
