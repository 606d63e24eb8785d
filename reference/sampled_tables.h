#pragma once

#include <reference/planes.h>

#include <array>

/// Tables of a colour mapping that is sampled on a grid and stretched: luma at every 16th value, chroma pairs at every
/// second value of Dr and of Db for some bands of luma; and their application, blended between bands.
///
/// Linear interpolation on pixel squares, as in resize.h: table entry X reads the samples at (X + 1/2) / factor - 1/2.
namespace pixmill::reference {

inline double sampleAt(double u, const std::vector<double>& samples)
{
    const double i = std::floor(u), t = u - i;
    const auto at = [&](double k) { return samples[int(std::max(0.0, std::min(k, samples.size() - 1.0)))]; };
    return at(i) * (1 - t) + at(i + 1) * t;
}

/// map(y) is the luma that y becomes.
template <class Map>
std::vector<int> sampledLumaTable(const Map& map)
{
    std::vector<double> samples;
    for (int i = 0; i < 4096; ++i)
        samples.push_back(map(ushort(i * 16)));
    std::vector<int> table(65536);
    for (int x = 0; x < 65536; ++x)
        table[x] = int(std::floor(sampleAt((x + 0.5) / 16 - 0.5, samples) + 0.5));
    return table;
}

/// map(y, dr, db) is the pair {dr, db} that a colour becomes. Both grids are doubled along x, then along y, before the
/// one rounding; an entry is dr * 256 + db.
template <class Map>
std::vector<int> sampledChromaTable(const Map& map, int luma)
{
    std::vector<int> table(65536);
    for (int channel = 0; channel < 2; ++channel) {
        std::vector<std::vector<double>> wide(128, std::vector<double>(256));
        for (int r = 0; r < 128; ++r) {
            std::vector<double> row;
            for (int c = 0; c < 128; ++c)
                row.push_back(map(ushort(luma), uchar(2 * r), uchar(2 * c))[channel]);
            for (int x = 0; x < 256; ++x)
                wide[r][x] = sampleAt((x + 0.5) / 2 - 0.5, row);
        }
        for (int x = 0; x < 256; ++x) {
            std::vector<double> column;
            for (int r = 0; r < 128; ++r)
                column.push_back(wide[r][x]);
            for (int y = 0; y < 256; ++y) {
                const int v = int(std::floor(sampleAt((y + 0.5) / 2 - 0.5, column) + 0.5));
                table[y * 256 + x] |= channel == 0 ? v << 8 : v;
            }
        }
    }
    return table;
}

/// The luma that the table of band j of `count` is sampled at: the middle of the band.
inline int bandLuma(int j, int count)
{
    if (count == 1)
        return 32767;
    const float inv = 1.0f / count;
    return j * int(std::lrint(double(65535 * inv))) + int(std::lrint(double(32767 * inv)));
}

/// The pair of a pixel from 2^log2 tables. Weights between bands are whole numbers, so a pixel takes its band's table;
/// on a band's lower edge the two tables above extrapolate, and wrap.
inline std::array<uchar, 2> banded(const ushort* const* tables, int log2, int y, uchar dr, uchar db)
{
    const int idx = dr * 256 + db;
    if (log2 == 0)
        return {uchar(tables[0][idx] >> 8), uchar(tables[0][idx])};
    const int count = 1 << log2, s = 16 - log2, bin = 1 << s;
    int hi = (y >> s) + 1, lo = y >> s;
    if (hi > count - 1) {
        hi = count - 1;
        lo = count - 2;
    }
    const float w = float(((hi + 1) * bin - y) / bin);
    const int tl = tables[lo][idx], th = tables[hi][idx];
    return {uchar(int(float(tl >> 8) * w + float(th >> 8) * (1 - w))),
            uchar(int(w * float(tl & 255) + (1 - w) * float(th & 255)))};
}

} // namespace pixmill::reference
