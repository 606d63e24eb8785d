#pragma once

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/tables.h>

/// The colour step, at half size.
namespace pixmill::develop {

constexpr int kColorChunk = 256;

/// Where `n` colours stand in a grid: their cells, and how far along each axis in 2048ths.
struct GridPlaces {
    int cell[kColorChunk], first[kColorChunk], second[kColorChunk], third[kColorChunk];
};

/// Four corners of a cell along the way from its first to its last by the longest axis first, and their weights, which
/// sum to 2048. Sorting is by comparisons alone, so that it vectorises.
struct GridCorners {
    int at[4][kColorChunk];
    int weight[4][kColorChunk];
};

/// `step1` is the distance of neighbours along the first axis, and so on.
inline void findCorners(const GridPlaces& __restrict p, int step1, int step2, int step3, GridCorners& __restrict c,
                        int n)
{
    for (int i = 0; i < n; ++i) {
        const int a = p.first[i], b = p.second[i], d = p.third[i];
        const int high = a > b ? a : b, low = a > b ? b : a;
        const int most = high > d ? high : d, least = low < d ? low : d;
        const int longest = (a >= b) & (a >= d) ? step1 : b >= d ? step2 : step3;
        const int shortest = (d <= b) & (d <= a) ? step3 : b <= a ? step2 : step1;
        const int between = a + b + d - most - least, all = step1 + step2 + step3;
        c.at[0][i] = p.cell[i];
        c.at[1][i] = p.cell[i] + longest;
        c.at[2][i] = p.cell[i] + all - shortest;
        c.at[3][i] = p.cell[i] + all;
        c.weight[0][i] = 2048 - most;
        c.weight[1][i] = most - between;
        c.weight[2][i] = between - least;
        c.weight[3][i] = least;
    }
}

/// Entries at a row of places. Out of line, so that it stays the plain loop at every processor level: a vector of
/// look-ups is slower.
template <class Entry>
__attribute__((noinline)) void pickEntries(const Entry* table, const int* at, Entry* picked, int n)
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

/// Differences grown with luma, new ones at the even pixels of `newY`.
inline void growRow(const ushort* __restrict oldY, const ushort* __restrict newY, const ushort* __restrict in,
                    ushort* __restrict out, int n)
{
    for (int i = 0; i < n; ++i) {
        const float ratio = (float(newY[2 * i]) + 655.3f) / (float(oldY[i]) + 655.3f);
        out[i] = toPixel16(float(in[i] - kCentre) * ratio + float(kCentre));
    }
}

/// Cells of 2048 along each axis, the table's.
inline void placeColors(const ushort* __restrict newY, const ushort* __restrict dr, const ushort* __restrict db,
                        GridPlaces& __restrict p, int n)
{
    for (int i = 0; i < n; ++i) {
        const int y = newY[2 * i], r = dr[i], b = db[i];
        p.cell[i] = ((y >> 11) * kColorNodes + (r >> 11)) * kColorNodes + (b >> 11);
        p.first[i] = y & 2047;
        p.second[i] = r & 2047;
        p.third[i] = b & 2047;
    }
}

inline void mixColors(const std::uint32_t (&__restrict picked)[4][kColorChunk], const GridCorners& __restrict c,
                      ushort* __restrict dr, ushort* __restrict db, int n)
{
    for (int i = 0; i < n; ++i) {
        int r = 1024, b = 1024;
        for (int k = 0; k < 4; ++k) {
            r += int(picked[k][i] & 0xffff) * c.weight[k][i];
            b += int(picked[k][i] >> 16) * c.weight[k][i];
        }
        dr[i] = ushort(r >> 11);
        db[i] = ushort(b >> 11);
    }
}

/// Differences through the table of colorTable, in place.
inline void mapColors(const std::uint32_t* table, const ushort* newY, ushort* dr, ushort* db, int n)
{
    GridPlaces places;
    GridCorners corners;
    std::uint32_t picked[4][kColorChunk];
    placeColors(newY, dr, db, places, n);
    findCorners(places, kColorNodes * kColorNodes, kColorNodes, 1, corners, n);
    for (int k = 0; k < 4; ++k)
        pickEntries(table, corners.at[k], picked[k], n);
    mixColors(picked, corners, dr, db, n);
}

/// The colour step on `n` differences; `table` may be null. `oldY` and the differences are of half size, `newY` is not.
inline void colorRow(const std::uint32_t* table, const ushort* oldY, const ushort* newY, const ushort* inDr,
                     const ushort* inDb, ushort* dr, ushort* db, int n)
{
    for (int x = 0; x < n; x += kColorChunk) {
        const int count = n - x < kColorChunk ? n - x : kColorChunk;
        growRow(oldY + x, newY + 2 * x, inDr + x, dr + x, count);
        growRow(oldY + x, newY + 2 * x, inDb + x, db + x, count);
        if (table)
            mapColors(table, newY + 2 * x, dr + x, db + x, count);
    }
}

} // namespace pixmill::develop
