#pragma once

#include <pixmill/rows/plane.h>
#include <pixmill/rows/samples.h>
#include <pixmill/rows/ydrdb.h>

#include <opencv2/core/mat.hpp>

#include <cstdint>

/// Rows of full-size pixels through the forms of ydrdb.h.
namespace pixmill::rows {

/// A 32-bit word at any address, over pixels of any type.
using AnyWord __attribute__((aligned(1), may_alias)) = std::uint32_t;

/// How many columns of a halved plane of `n` columns are picked from the even ones. An odd plane's last half-size
/// column repeats the one before it instead, where there is one.
inline int pickedColumns(int n)
{
    return n == 1 ? 1 : n / 2;
}

/// One pixel's values in the planes of R, G and B.
template <class Pixel>
struct Colours {
    Pixel r, g, b;
};

/// Y, Dr, Db to 16-bit colours.
struct To16 {
    using Pixel = ushort;
    static Colours<ushort> of(int y, int dr, int db)
    {
        const ushort r = colour16(y, dr), b = colour16(y, db);
        return {r, green16(y, r, b), b};
    }
};

/// Y, Dr, Db to colours whose full scale is 32768.
struct To15U {
    using Pixel = ushort;
    static Colours<ushort> of(int y, int dr, int db)
    {
        const ushort r = colour15U(y, dr), b = colour15U(y, db);
        return {r, green16(y >> 1, r, b), b};
    }
};

/// Y, Dr, Db to the 8-bit planes of which only green carries something.
struct To8U {
    using Pixel = uchar;
    static Colours<uchar> of(int y, int dr, int db) { return {0, green8U(y, dr, db), 0}; }
};

/// One row of planes of one size, pixel by pixel; outputs may be inputs.
template <class To>
inline void colourRow(const ushort* y, const ushort* dr, const ushort* db, typename To::Pixel* r, typename To::Pixel* g,
                      typename To::Pixel* b, int n)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x) {
        const auto colours = To::of(y[x], dr[x], db[x]);
        r[x] = colours.r;
        g[x] = colours.g;
        b[x] = colours.b;
    }
}

} // namespace pixmill::rows
