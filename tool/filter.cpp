// pixmill filter: one filter of the toolbox on one picture, in tiles where that is large.
#include "commands.h"
#include "filters.h"
#include "program.h"
#include <pixmill/develop/Photo.h>
#include <pixmill/develop/Tiles.h>

#include <opencv2/core.hpp>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <utility>

using namespace pixmill;

namespace {

Photo readWhole(Terminal& terminal, const FilterOptions& options)
{
    PhotoReading how;
    how.lenient = options.lenient;
    how.progress = [](float) { return !stopWanted(); };
    const Hush hush;
    Photo photo = readPhoto(options.in, how);
    if (photo.pixels.empty())
        throw Stopped();
    if (!photo.note.empty())
        terminal.line(options.in + ": " + photo.note);
    return photo;
}

cv::Mat atDepth(const cv::Mat& pixels, int depth)
{
    const int type = depth == 8 ? CV_8U : CV_16U;
    cv::Mat out = pixels;
    if (pixels.depth() != type)
        pixels.convertTo(out, type, depth == 8 ? 1 / 257.0 : 257.0);
    return out;
}

/// What the filter makes of a picture or a part of it, at 8 or 16 bits; with its alpha as it is, where that is kept.
cv::Mat filtered(const Filter& filter, const Values& values, cv::Mat pixels, int depth, bool keepAlpha)
{
    cv::Mat alpha;
    if (keepAlpha && pixels.channels() == 4)
        cv::extractChannel(pixels, alpha, 3);
    Planes planes(pixels);
    pixels.release();
    filter.run(planes, values);
    cv::Mat out = atDepth(planes.packed(), depth);
    if (!alpha.empty())
        cv::merge(std::vector<cv::Mat>{out, atDepth(alpha, depth)}, out);
    return out;
}

int depthOf(const FilterOptions& options, int type)
{
    const int own = CV_MAT_DEPTH(type) == CV_8U ? 8 : 16;
    return options.depth ? options.depth : own;
}

PhotoWriting writingOf(const FilterOptions& options)
{
    PhotoWriting how;
    how.quality = options.quality;
    return how;
}

void filterWhole(Terminal& terminal, const Filter& filter, const Values& values, const FilterOptions& options)
{
    Photo photo = readWhole(terminal, options);
    const int depth = depthOf(options, photo.pixels.type());
    photo.pixels = filtered(filter, values, std::move(photo.pixels), depth, formatOfName(options.out) != "jpeg");
    const Hush hush;
    writePhoto(options.out, photo, writingOf(options));
}

/// A side of tiles with which the rows in memory, before and after, stay below some half of a gigabyte.
int usualSide(cv::Size picture, int bytesAPixel)
{
    constexpr long kMemory = 1L << 29;
    return int(std::min(std::max(kMemory / (2L * bytesAPixel * picture.width), 256L), 1024L));
}

void filterRows(Terminal& terminal, PhotoReader& reader, const Filter& filter, const Tiling& tiling,
                const FilterOptions& options)
{
    const bool jpeg = formatOfName(options.out) == "jpeg";
    const int depth = jpeg ? 8 : depthOf(options, reader.type());
    const int type = CV_MAKETYPE(depth == 8 ? CV_8U : CV_16U, jpeg ? 3 : CV_MAT_CN(reader.type()));
    PhotoWriter writer(options.out, reader.size(), type, reader.like(), writingOf(options));
    RowStream stream;
    stream.size = reader.size();
    stream.type = reader.type();
    stream.source = [&](cv::Mat& rows) { reader.read(rows); };
    stream.sink = [&](const cv::Mat& rows) { writer.write(rows); };
    stream.progress = [&](float share) {
        terminal.task(0, options.in, share);
        return !stopWanted();
    };
    const int side = options.tiles ? options.tiles : usualSide(stream.size, int(CV_ELEM_SIZE(stream.type)));
    const auto run = [&](const cv::Mat& region) { return filtered(filter, tiling.values, region, depth, !jpeg); };
    terminal.begin(1, 1);
    const Hush hush;
    const bool done = streamTiles(stream, tiling, side, run);
    terminal.end();
    if (!done)
        throw Stopped();
    writer.finish();
    if (!reader.like().note.empty())
        terminal.line(options.in + ": " + reader.like().note);
}

/// The picture's rows where it is to be filtered in tiles: when that was asked for, or when it is large and gives the
/// same bits.
std::unique_ptr<PhotoReader> rowsFor(const FilterOptions& options, const Filter& filter, const Values& values)
{
    constexpr double kLarge = 100e6; // pixels
    PhotoReading how;
    how.lenient = options.lenient;
    how.maxPixels = LLONG_MAX;
    const Hush hush;
    if (options.tiles)
        return std::make_unique<PhotoReader>(options.in, how);
    try {
        auto reader = std::make_unique<PhotoReader>(options.in, how);
        const bool same = tilingOf(filter.entry.name, values, reader->size()).bits == TileBits::Same;
        const bool large = double(reader->size().width) * reader->size().height > kLarge;
        return same && large ? std::move(reader) : nullptr;
    } catch (const Error&) {
        return nullptr; // reading it whole tells what is wrong, if anything is
    }
}

} // namespace

int runFilter(Terminal& terminal, const FilterOptions& options)
{
    if (options.list) {
        std::fputs(filterList().c_str(), output());
        return kDone;
    }
    const Filter filter(options.name);
    const Values values = valuesOf(filter.entry, options.parameters);
    keepInputs(options.out, {options.in});
    const auto reader = rowsFor(options, filter, values);
    if (reader)
        filterRows(terminal, *reader, filter, tilingOf(filter.entry.name, values, reader->size()), options);
    else
        filterWhole(terminal, filter, values, options);
    return kDone;
}
