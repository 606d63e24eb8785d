// pixmill filter: one filter of the toolbox on one picture.
#include "commands.h"
#include "filters.h"
#include "program.h"
#include <pixmill/develop/Photo.h>

#include <opencv2/core.hpp>

#include <cstdio>

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
    Photo photo = readWhole(terminal, options);
    const int own = photo.pixels.depth() == CV_8U ? 8 : 16;
    Planes planes(photo.pixels);
    photo.pixels.release();
    filter.run(planes, values);
    photo.pixels = planes.packed();
    if ((options.depth ? options.depth : own) == 8)
        photo.pixels.convertTo(photo.pixels, CV_8U, 1 / 257.0);
    PhotoWriting how;
    how.quality = options.quality;
    const Hush hush;
    writePhoto(options.out, photo, how);
    return kDone;
}
