#pragma once

#include <pixmill/rows/pixel.h>

#include <algorithm>
#include <cmath>
#include <cstring>

/// The arithmetic of one brush dot, on pixels of one row.
///
/// Order and precision of every step decide a pixel's last bit, so none may change: loops are plain, and vectorise as
/// they stand.
/// Called with a count known to the compiler, they become straight vector code.
namespace pixmill::mask {

using namespace rows;

constexpr int kBrushTable = 8000; ///< entries of the radial table; farther pixels have weight 0
constexpr int kBrushBlock = 64;   ///< pixels that the loops work best on
constexpr int kBrushLanes = 16;   ///< the floats of a block handled at a time

constexpr float kFullToInteger = kToInteger + 255.0f;

inline int lowBits(float v)
{
    int bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

/// Distance of a pixel from the dot's centre, as `cv::magnitude` gives it for a plane of differences.
inline float brushDistance(int dx, int dy)
{
    const float x = float(dx), y = float(dy);
    return std::sqrt(x * x + y * y);
}

/// The farthest column of a disc's row, or -1: the largest dx with brushDistance(dx, dy) <= radius.
inline int discReach(int dy, int radius)
{
    if (dy > radius)
        return -1;
    // Exact integers as long as no float in between is rounded across the radius.
    if (radius < 2048)
        return int(std::sqrt(double(radius * radius - dy * dy)));
    int inside = -1;
    for (long outside = long(radius) + 1; outside - inside > 1;) {
        const int middle = int((inside + outside) / 2);
        if (double(brushDistance(middle, dy)) <= radius)
            inside = middle;
        else
            outside = middle;
    }
    return inside;
}

/// Weights of a row by table, from column distance dx on; `beyond` is the one past the table.
inline void tableWeights(const float* __restrict table, float beyond, int dx, int dy, float* __restrict w, int n)
{
    for (int i = 0; i < n; ++i) {
        const double index = double(brushDistance(dx + i, dy)) + 0.5;
        w[i] = index < kBrushTable ? table[int(index)] : beyond;
    }
}

/// Copies n weights from the centre outward to n of them up to `end`, nearest last. Up to kBrushLanes - 1 more are read
/// and written.
inline void mirrorWeights(const float* __restrict w, float* __restrict end, int n)
{
    for (int i = 0; i < n; i += kBrushLanes)
        for (int j = 0; j < kBrushLanes; ++j)
            end[j - i - kBrushLanes] = w[i + kBrushLanes - 1 - j];
}

/// Copies n weights. Up to kBrushLanes - 1 more are read and written.
inline void copyWeights(const float* __restrict w, float* __restrict out, int n)
{
    for (int i = 0; i < n; i += kBrushLanes) {
        std::memcpy(out + i, w + i, kBrushLanes * sizeof *w);
        asm volatile("" ::: "memory"); // or the loop becomes a string instruction, several times slower on short rows
    }
}

/// Weights of a row by a smoothstep from the inner to the outer radius.
struct SmoothFalloff {
    float outer, inner, span;

    SmoothFalloff(int outerRadius, int innerRadius)
        : outer(float(outerRadius)), inner(float(innerRadius)), span(float(long(outerRadius) - innerRadius))
    {
    }

    void weights(int dx, int dy, float* __restrict w, int n) const
    {
        for (int i = 0; i < n; ++i) {
            const float distance = brushDistance(dx + i, dy);
            float t = distance > outer ? outer : distance;
            t = (t < inner ? inner : t) - inner;
            t = span != 0.0f ? t / span : t; // a division by 0 is not made
            const float falloff = 1.0f - (t * t) * (t * -2.0f + 3.0f);
            w[i] = falloff * (distance <= outer ? 1.0f : 0.0f);
        }
    }
};

/// Whether all of a block's pixels have this value.
inline bool isBlockOf(const uchar* block, uchar value)
{
    const unsigned long long all = 0x0101010101010101ull * value;
    if (std::memcmp(block, &all, sizeof all) != 0) // so it is with most blocks that differ
        return false;
    unsigned long long differs = 0;
    for (int i = 0; i < kBrushBlock; i += int(sizeof all)) {
        unsigned long long part;
        std::memcpy(&part, block + i, sizeof part);
        differs |= part ^ all;
    }
    return differs == 0;
}

/// Moves coverage toward full by the weights, rounding.
inline void coverRow(const float* __restrict w, uchar* __restrict cover, int n)
{
    for (int i = 0; i < n; ++i) {
        const double weight = w[i];
        cover[i] = clamp8(roundToInt(255.0 * weight + (1.0 - weight) * double(cover[i])));
    }
}

/// The same by the share of what is open that each weight leaves open, see openShare. The last difference is rounded,
/// not its second operand, so that an exact half becomes an even coverage here too.
inline void coverShares(const float* __restrict share, uchar* __restrict cover, int n)
{
    for (int i = 0; i < n; ++i) {
        const int open = 255 - cover[i];
        cover[i] = uchar(lowBits(kFullToInteger - float(open) * share[i]));
    }
}

/// A whole block, in pieces for which compilers find the short conversions between bytes and floats.
inline void coverSharesBlock(const float* __restrict share, uchar* __restrict cover)
{
    for (int i = 0; i < kBrushBlock; i += kBrushLanes)
        coverShares(share + i, cover + i, kBrushLanes);
}

/// A share with which coverShares does to every coverage what coverRow does with this weight, or -1.
///
/// That is 1 - weight, or a neighbour of it, for every weight of 0..1 that was tried; most of the others have none.
inline float openShare(float weight)
{
    if (weight == 0.0f || weight == 1.0f) // most of a table
        return 1.0f - weight;
    constexpr float kStep = 5.96046448e-08f; // 2^-24
    float weights[256];
    uchar every[256], wanted[256];
    for (int i = 0; i < 256; ++i) {
        weights[i] = weight;
        every[i] = wanted[i] = uchar(i);
    }
    coverRow(weights, wanted, 256);
    const float left = 1.0f - weight;
    for (const float share : {left, left - kStep, left + kStep, left - 2 * kStep, left + 2 * kStep, 1.0f, 0.0f}) {
        float shares[256];
        uchar covered[256];
        for (int i = 0; i < 256; ++i)
            shares[i] = share;
        std::memcpy(covered, every, sizeof covered);
        coverShares(shares, covered, 256);
        if (std::memcmp(covered, wanted, sizeof covered) == 0)
            return share;
    }
    return -1.0f;
}

/// A run of n pixels by shares, followed by shares of 1, in a row that holds `room` of them from its first on.
inline void coverSharesRun(const float* __restrict share, uchar* __restrict cover, int n, int room)
{
    int i = 0;
    for (; i < n && i + kBrushBlock <= room; i += kBrushBlock)
        if (!isBlockOf(cover + i, 255)) // full coverage stays full
            coverSharesBlock(share + i, cover + i);
    if (i < n)
        coverShares(share + i, cover + i, n - i);
}

/// The picture under a run of pixels.
struct BrushPixels {
    const uchar* y8;
    const ushort* dr;
    const ushort* db;
};

/// How far a dot spreads over colours that differ from the one under its centre.
struct EdgeBrush {
    float y0, dr0, db0; ///< the colour under the centre, 0..1
    float kc, ky;       ///< weights of a difference in chroma and in luma

    EdgeBrush(uchar y8, ushort dr, ushort db, float edge)
        : y0(float(y8) * kPerByte), dr0(float(dr) * kPerWord), db0(float(db) * kPerWord), kc(edge * 6.0f),
          ky((edge * 0.5f) * 3.0f)
    {
    }

    /// Colour differences of double precision, falloff partly so, coverage truncated to its low byte.
    void coverRow(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover, int n) const
    {
        for (int i = 0; i < n; ++i) {
            const double dr = float(under.dr[i]) * kPerWord, db = float(under.db[i]) * kPerWord;
            const double yy = float(under.y8[i]) * kPerByte;
            const float dc = float(std::abs(dr - double(dr0)) + std::abs(db - double(db0)));
            const float dy = float(std::abs(yy - double(y0)));
            const float d = dc * kc + dy * ky;
            const float ratio = float(double(d) / (double(w[i]) + 0.1));
            const float t = ratio < 1.0f ? ratio : 1.0f;
            const float s = float(double(t * t) * (3.0 - double(t) - double(t)));
            const float kept = w[i] * (1.0f - s);
            cover[i] = uchar(int(double(kept) * 255.0 + double(float(cover[i]) * (1.0f - kept))));
        }
    }

    /// A whole block of weights 0..1 with the same result, in single precision; false, and nothing done, where that
    /// cannot be told from it.
    ///
    /// Truncation gives the same pixel unless both values lie around an integer. With u = 2^-24, the ratio below is
    /// within 11u of the double one, relatively. Where it is clear of 1, the coverage stays in both. Elsewhere the
    /// share kept differs by at most (77 t^2 + 5) u, the coverage by 255 - old times this, and by 390u for the sums.
    bool coverBlock(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover) const
    {
        float moved[kBrushBlock];
        int unsure = 0;
        for (int i = 0; i < kBrushBlock; ++i) {
            const float dr = float(under.dr[i]) * kPerWord, db = float(under.db[i]) * kPerWord;
            const float yy = float(under.y8[i]) * kPerByte;
            const float d = (std::abs(dr - dr0) + std::abs(db - db0)) * kc + std::abs(yy - y0) * ky;
            const float ratio = d / (w[i] + 0.1f);
            const float t = ratio < 1.0f ? ratio : 1.0f, t2 = t * t;
            const float kept = w[i] * (1.0f - t2 * (3.0f - t - t));
            const float old = cover[i], rest = 255.0f - old, v = old + kept * rest;
            const float doubt = 4e-5f + rest * (7e-6f * t2 + 5e-7f);
            const float nearest = (v + kToInteger) - kToInteger;
            unsure |= int(std::abs(v - nearest) <= doubt) & int(ratio <= 1.000004f) & int(w[i] > 0.0f);
            moved[i] = v;
        }
        if (unsure)
            return false;
        for (int i = 0; i < kBrushBlock; ++i)
            cover[i] = uchar(int(moved[i]));
        return true;
    }

    /// A run as for the brush without an edge.
    void coverRun(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover, int n, int room,
                  bool isWithinOne) const
    {
        int i = 0;
        for (; i < n && i + kBrushBlock <= room; i += kBrushBlock) {
            const BrushPixels there = {under.y8 + i, under.dr + i, under.db + i};
            if (!isWithinOne || !coverBlock(w + i, there, cover + i))
                coverRow(w + i, there, cover + i, kBrushBlock);
        }
        if (i < n)
            coverRow(w + i, {under.y8 + i, under.dr + i, under.db + i}, cover + i, n - i);
    }

    /// The same in single precision throughout.
    void coverRowSingle(const float* __restrict w, const BrushPixels& under, uchar* __restrict cover, int n) const
    {
        for (int i = 0; i < n; ++i) {
            const float dr = float(under.dr[i]) * kPerWord, db = float(under.db[i]) * kPerWord;
            const float yy = float(under.y8[i]) * kPerByte;
            const float d = (std::abs(dr - dr0) + std::abs(db - db0)) * kc + std::abs(yy - y0) * ky;
            const float ratio = d / (w[i] + 0.100000001f);
            const float t = ratio < 1.0f ? ratio : 1.0f;
            const float s = (t * t) * (3.0f - t - t);
            const float kept = w[i] * (1.0f - s);
            cover[i] = uchar(int(255.0f * kept + float(cover[i]) * (1.0f - kept)));
        }
    }
};

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
