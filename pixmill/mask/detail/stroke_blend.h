#pragma once

#include <pixmill/mask/detail/brush_blocks.h>

#include <algorithm>
#include <cmath>
#include <cstring>

/// How a stroke's coverage becomes the mask, on pixels of one row.

namespace pixmill::mask {

using namespace rows;

/// A map of bytes by one multiplication of 16 bits: ((v << 8) * slope >> 16) + shift, less its low 8 bits.
struct ByteLine {
    ushort slope = 0, shift = 0;
    uchar flip = 0; ///< 255 where the map falls: it is then one of 255 - v

    uchar operator()(uchar v) const
    {
        const ushort moved = ushort(unsigned(ushort(uchar(v ^ flip) << 8)) * unsigned(slope) >> 16);
        return uchar(ushort(moved + shift) >> 8);
    }

    /// Takes a map that rises or falls by about `rise` a step, 0..1. False where no line has all of its 256 values.
    bool fit(const uchar* map, double rise)
    {
        flip = map[255] < map[0] ? 255 : 0;
        const int near = int(rise * 65536 + 0.5);
        for (const int off : {0, -1, 1, -2, 2, -3, 3, -4, 4}) {
            int low = -65536, high = 65536; // what the shift must lie within
            const int k = limit(near + off, 0, 65535);
            for (int v = 0; v < 256; ++v) {
                const int moved = int(unsigned(v << 8) * unsigned(k) >> 16), wanted = 256 * map[v ^ flip];
                low = std::max(low, wanted - moved);
                high = std::min(high, wanted + 255 - moved);
            }
            slope = ushort(k);
            shift = ushort(low);
            if (low <= high)
                return true;
        }
        return false;
    }
};

/// A stroke's blend of its value over its base.
struct StrokeBlend {
    float value, opacity;
    float scale;    ///< opacity of one step of coverage
    bool isWithin;  ///< the opacity is 0..1, so that no blend leaves the range of its two values
    uchar evenBase; ///< a base pixel...
    bool hasLine;   ///< ...over which `line` gives the blend by coverage
    ByteLine line;

    StrokeBlend(uchar v, float share, uchar base)
        : value(v), opacity(share), scale(share * kPerByte), isWithin(share >= 0.0f && share <= 1.0f), evenBase(base)
    {
        uchar every[256], same[256], blended[256];
        for (int i = 0; i < 256; ++i) {
            every[i] = uchar(i);
            same[i] = base;
        }
        hasLine = false;
        if (!isWithin)
            return;
        row(every, same, blended, 256);
        hasLine = line.fit(blended, scale * std::abs(value - float(base)));
    }

    bool isOf(uchar v, float share) const { return value == float(v) && opacity == share; }

    float blend(float cover, uchar base) const
    {
        const float a = cover * scale;
        return value * a + (1.0f - a) * float(base);
    }

    void row(const uchar* __restrict cover, const uchar* __restrict base, uchar* __restrict mask, int n) const
    {
        if (isWithin)
            for (int i = 0; i < n; ++i)
                mask[i] = uchar(roundToInt(blend(cover[i], base[i])));
        else
            for (int i = 0; i < n; ++i)
                mask[i] = toPixel8(blend(cover[i], base[i]));
    }

    /// A whole block. Most blocks of a stroke have an even base, are untouched, or fully covered.
    void block(const uchar* __restrict cover, const uchar* __restrict base, uchar* __restrict mask) const
    {
        if (hasLine && isBlockOf(base, evenBase)) {
            for (int i = 0; i < kBrushBlock; ++i)
                mask[i] = line(cover[i]);
        } else if (isWithin && isBlockOf(cover, 0)) {
            std::memcpy(mask, base, kBrushBlock);
        } else if (isWithin && isBlockOf(cover, 255)) {
            for (int i = 0; i < kBrushBlock; ++i)
                mask[i] = uchar(roundToInt(blend(255.0f, base[i])));
        } else {
            row(cover, base, mask, kBrushBlock);
        }
    }
};

} // namespace pixmill::mask
