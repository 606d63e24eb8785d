#pragma once

#include <pixmill/develop/Export.h>
#include <pixmill/develop/Mask.h>

#include <memory>
#include <string>
#include <vector>

/// Everything a photographer set, as plain values. A default-constructed recipe is neutral.
namespace pixmill {

/// The tone curve. Each -1..1, 0 neutral. Colours follow the luma.
struct Light {
    float brightness = 0.0f; ///< Below 0 darker, above brighter.
    float contrast = 0.0f;   ///< Below 0 flatter, above steeper.
    float highlights = 0.0f; ///< Below 0 brings bright parts down.
    float shadows = 0.0f;    ///< Above 0 lifts dark parts.
    float whites = 0.0f;     ///< Above 0 moves the white point down, so more becomes white.
    float blacks = 0.0f;     ///< Below 0 moves the black point up, so more becomes black.

    bool operator==(const Light& o) const;
    bool operator!=(const Light& o) const { return !(*this == o); }
};

/// How bright the colours are before light: a red thing gains from `red`. Each -1..1, 0 neutral; three equal weights
/// change nothing.
struct ColorWeights {
    float red = 0.0f;   ///< Of red things.
    float green = 0.0f; ///< Of green things.
    float blue = 0.0f;  ///< Of blue things.

    bool operator==(const ColorWeights& o) const { return red == o.red && green == o.green && blue == o.blue; }
    bool operator!=(const ColorWeights& o) const { return !(*this == o); }
};

/// Detail of one size in one range of luma.
struct DetailZone {
    float slope = 0.0f;     ///< -1..1: -1 takes the detail out, 1 makes it 3.5 to 5 times as strong.
    float threshold = 0.0f; ///< -1..1: below 0 drops weak detail (noise), above 0 lifts it.

    bool operator==(const DetailZone& o) const { return slope == o.slope && threshold == o.threshold; }
    bool operator!=(const DetailZone& o) const { return !(*this == o); }
};

/// Detail of one size.
struct DetailLevel {
    DetailZone base;     ///< Everywhere, and all that counts for the highlights.
    DetailZone shadows;  ///< Moves the shadows on from the base.
    DetailZone midtones; ///< Moves the midtones on from the base.

    bool operator==(const DetailLevel& o) const;
    bool operator!=(const DetailLevel& o) const { return !(*this == o); }
};

/// Detail by size.
struct Detail {
    DetailLevel fine;   ///< Smaller than about 2 pixels: texture, noise.
    DetailLevel medium; ///< About 8 pixels.
    DetailLevel coarse; ///< About 32 pixels: clarity.

    bool operator==(const Detail& o) const { return fine == o.fine && medium == o.medium && coarse == o.coarse; }
    bool operator!=(const Detail& o) const { return !(*this == o); }
};

/// Each -1..1, 0 neutral.
struct Color {
    float warmth = 0.0f;      ///< Cool below 0, warm above.
    float tint = 0.0f;        ///< Green below 0, magenta above.
    float saturation = 0.0f;  ///< -1 takes all colour out.
    float chromaFloor = 0.0f; ///< Above 0 lifts weak colours, below 0 removes them.

    bool operator==(const Color& o) const;
    bool operator!=(const Color& o) const { return !(*this == o); }
};

/// A three-dimensional colour table, applied last, to the finished R, G, B.
///
/// Trilinear between its entries. A recipe that only names a table (`entries` empty, `path` not) has not been loaded
/// and is refused by the developer. Tables are equal when path, size and strength are and the entries are the same.
struct PIXMILL_DEVELOP_API Table3D {
    std::string path;      ///< The `.cube` file it came from, as the recipe names it; empty: no table.
    int size = 0;          ///< Entries along each axis, 2..129.
    float strength = 1.0f; ///< 0..1: how much of its change is made.
    /// size cubed triples R, G, B of 0..65535, red varying fastest, as in the file. Shared by copies; never changed.
    std::shared_ptr<const std::vector<unsigned short>> entries;

    bool operator==(const Table3D& o) const;
    bool operator!=(const Table3D& o) const { return !(*this == o); }

    /// Reads a `.cube` file: LUT_3D_SIZE and the triples; TITLE and comments are skipped.
    ///
    /// Values outside 0..1 are limited to it. @throws Error  naming the file and the line for anything else: a domain
    /// other than 0..1, a table of one dimension, a number that is none, too few or too many lines.
    static Table3D load(const std::string& path);
};

/// An adjustment where its mask selects. Its controls add to the recipe's own, limited to -1..1; what that changes is
/// blended in by the mask. Several adjustments add up, in whatever order they stand.
struct LocalAdjustment {
    bool enabled = true; ///< A disabled one changes nothing.
    Mask mask;           ///< Where it counts.
    Light light;         ///< Added to the light.
    Detail detail;       ///< Added to the detail.
    Color color;         ///< Added to the colour.

    bool operator==(const LocalAdjustment& o) const;
    bool operator!=(const LocalAdjustment& o) const { return !(*this == o); }
};

/// All of it.
struct Recipe {
    Light light;                         ///< The tone curve.
    ColorWeights weights;                ///< How bright the colours are.
    Detail detail;                       ///< Detail by size and range of luma.
    Color color;                         ///< Warmth, tint, saturation, floor.
    Table3D table;                       ///< A colour table, applied last.
    std::vector<LocalAdjustment> locals; ///< Adjustments through masks.

    bool operator==(const Recipe& o) const;
    bool operator!=(const Recipe& o) const { return !(*this == o); }
};

inline bool Light::operator==(const Light& o) const
{
    return brightness == o.brightness && contrast == o.contrast && highlights == o.highlights && shadows == o.shadows &&
           whites == o.whites && blacks == o.blacks;
}

inline bool DetailLevel::operator==(const DetailLevel& o) const
{
    return base == o.base && shadows == o.shadows && midtones == o.midtones;
}

inline bool Color::operator==(const Color& o) const
{
    return warmth == o.warmth && tint == o.tint && saturation == o.saturation && chromaFloor == o.chromaFloor;
}

inline bool LocalAdjustment::operator==(const LocalAdjustment& o) const
{
    return enabled == o.enabled && mask == o.mask && light == o.light && detail == o.detail && color == o.color;
}

inline bool Recipe::operator==(const Recipe& o) const
{
    return light == o.light && weights == o.weights && detail == o.detail && color == o.color && table == o.table &&
           locals == o.locals;
}

} // namespace pixmill
