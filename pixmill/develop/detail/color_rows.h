#pragma once

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/tables.h>

/// The colour step, at half size.
namespace pixmill::develop {

constexpr int kColorChunk = 256;

/// Where `n` colours stand in a grid: their cells, and how far along each axis in 2048ths. `Index` holds any cell.
template <class Index>
struct GridPlaces {
    Index cell[kColorChunk];
    short first[kColorChunk], second[kColorChunk], third[kColorChunk];
};

/// Four corners of a cell along the way from its first to its last by the longest axis first, and their weights, which
/// sum to 2048. Sorting is by comparisons alone, so that it vectorises.
template <class Index>
struct GridCorners {
    Index at[4][kColorChunk];
    short weight[4][kColorChunk];
};

/// `step1` is the distance of neighbours along the first axis, and so on.
template <class Index>
inline void findCorners(const GridPlaces<Index>& __restrict p, Index step1, Index step2, Index step3,
                        GridCorners<Index>& __restrict c, int n)
{
    const Index all = Index(step1 + step2 + step3);
    for (int i = 0; i < n; ++i) {
        const short a = p.first[i], b = p.second[i], d = p.third[i];
        const short high = a > b ? a : b, low = a > b ? b : a;
        const short most = high > d ? high : d, least = low < d ? low : d;
        const Index longest = ((a >= b) & (a >= d)) ? step1 : b >= d ? step2 : step3;
        const Index shortest = ((d <= b) & (d <= a)) ? step3 : b <= a ? step2 : step1;
        const short between = short(a + b + d - most - least);
        c.at[0][i] = p.cell[i];
        c.at[1][i] = Index(p.cell[i] + longest);
        c.at[2][i] = Index(p.cell[i] + all - shortest);
        c.at[3][i] = Index(p.cell[i] + all);
        c.weight[0][i] = short(2048 - most);
        c.weight[1][i] = short(most - between);
        c.weight[2][i] = short(between - least);
        c.weight[3][i] = least;
    }
}

/// Entries at a row of places. Out of line, so that it stays the plain loop at every processor level: a vector of
/// look-ups is slower.
template <class Entry, class Index>
__attribute__((noinline)) void pickEntries(const Entry* table, const Index* at, Entry* picked, int n)
{
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        const Entry a = table[at[i]], b = table[at[i + 1]], c = table[at[i + 2]], d = table[at[i + 3]];
        picked[i] = a;
        picked[i + 1] = b;
        picked[i + 2] = c;
        picked[i + 3] = d;
    }
    for (; i < n; ++i)
        picked[i] = table[at[i]];
}

/// How luma grew, new luma being that of the even pixels of `newY`, which `evenY` receives.
inline void ratioRow(const ushort* __restrict oldY, const ushort* __restrict newY, ushort* __restrict evenY,
                     float* __restrict ratio, int n)
{
    for (int i = 0; i < n; ++i) {
        evenY[i] = newY[2 * i];
        ratio[i] = (float(newY[2 * i]) + 655.3f) / (float(oldY[i]) + 655.3f);
    }
}

/// Differences grown alike.
inline void growRow(const float* __restrict ratio, const ushort* __restrict in, ushort* __restrict out, int n)
{
    for (int i = 0; i < n; ++i)
        out[i] = toPixel16(float(in[i] - kCentre) * ratio[i] + float(kCentre));
}

/// Cells of 2048 along each axis, the table's.
inline void placeColors(const ushort* __restrict newY, const ushort* __restrict dr, const ushort* __restrict db,
                        GridPlaces<ushort>& __restrict p, int n)
{
    for (int i = 0; i < n; ++i) {
        const ushort y = newY[i], r = dr[i], b = db[i];
        p.cell[i] =
            ushort(ushort(ushort(ushort(y >> 11) * ushort(kColorNodes) + ushort(r >> 11)) * ushort(kColorNodes)) +
                   ushort(b >> 11));
        p.first[i] = short(y & 2047);
        p.second[i] = short(r & 2047);
        p.third[i] = short(b & 2047);
    }
}

inline void mixColors(const std::uint32_t (&__restrict picked)[4][kColorChunk], const GridCorners<ushort>& __restrict c,
                      ushort* __restrict dr, ushort* __restrict db, int n)
{
    for (int i = 0; i < n; ++i) {
        int r = 1024, b = 1024;
        for (int k = 0; k < 4; ++k) {
            r += short(picked[k][i]) * c.weight[k][i];
            b += short(picked[k][i] >> 16) * c.weight[k][i];
        }
        dr[i] = ushort((r >> 11) + kCentre);
        db[i] = ushort((b >> 11) + kCentre);
    }
}

/// Differences through the table of colorTable, in place.
inline void mapColors(const std::uint32_t* table, const ushort* newY, ushort* dr, ushort* db, int n)
{
    GridPlaces<ushort> places;
    GridCorners<ushort> corners;
    std::uint32_t picked[4][kColorChunk];
    placeColors(newY, dr, db, places, n);
    findCorners<ushort>(places, kColorNodes * kColorNodes, kColorNodes, 1, corners, n);
    for (int k = 0; k < 4; ++k)
        pickEntries(table, corners.at[k], picked[k], n);
    mixColors(picked, corners, dr, db, n);
}

/// The colour step on `n` differences; `table` may be null. `oldY` and the differences are of half size, `newY` is not.
inline void colorRow(const std::uint32_t* table, const ushort* oldY, const ushort* newY, const ushort* inDr,
                     const ushort* inDb, ushort* dr, ushort* db, int n)
{
    ushort evenY[kColorChunk];
    float ratio[kColorChunk];
    for (int x = 0; x < n; x += kColorChunk) {
        const int count = n - x < kColorChunk ? n - x : kColorChunk;
        ratioRow(oldY + x, newY + 2 * x, evenY, ratio, count);
        growRow(ratio, inDr + x, dr + x, count);
        growRow(ratio, inDb + x, db + x, count);
        if (table)
            mapColors(table, evenY, dr + x, db + x, count);
    }
}

} // namespace pixmill::develop
