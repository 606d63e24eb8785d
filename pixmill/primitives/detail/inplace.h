#pragma once

#include <pixmill/primitives/region.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/scratch.h>

#include <algorithm>
#include <cstring>

namespace pixmill::primitives {

using namespace rows;

/// Runs a neighbourhood filter in place, as if all its samples were copied first.
///
/// The region falls into bands of rows. What two neighbouring bands both read is set aside before anything is written;
/// each band is then copied with its frame and filtered from the copy by `filter(corner, cornerStep, dst, rows)`, where
/// `corner` is the corner of the first window. A band's height is a multiple of the mask's.
template <class T, class Filter>
void filterInPlace(T* srcDst, int step, IppiSize roi, IppiSize mask, IppiPoint anchor, const Filter& filter)
{
    const int shared = mask.height - 1;
    const int bandRows = int(std::min<long long>(roi.height, mask.height * std::max(4LL, 32LL / mask.height)));
    const int bands = (roi.height + bandRows - 1) / bandRows;
    const long pixels = long(roi.width) * roi.height;
    const std::size_t columns = std::size_t(roi.width) + mask.width - 1;
    const auto corner = [=](int y) { return rowAt(srcDst, step, y - anchor.y) - anchor.x; };

    AlignedArray<T> seams(std::size_t(bands - 1) * shared * columns);
    const auto seam = [&](int band, int row) { return seams.data() + (std::size_t(band) * shared + row) * columns; };
    forEachIndex(bands - 1, pixels, [&](int b) {
        for (int j = 0; j < shared; ++j)
            std::memcpy(seam(b, j), corner((b + 1) * bandRows + j), sizeof(T) * columns);
    });

    TeamScratch<T> copies((std::size_t(bandRows) + shared) * columns);
    forEachIndex(bands, pixels, [&](int b) {
        T* const copy = copies.mine();
        const int top = b * bandRows, rows = std::min(bandRows, roi.height - top);
        for (int j = 0; j < rows + shared; ++j) {
            const T* row = corner(top + j);
            if (b > 0 && j < shared)
                row = seam(b - 1, j);
            else if (b + 1 < bands && j >= rows)
                row = seam(b, j - rows);
            std::memcpy(copy + columns * j, row, sizeof(T) * columns);
        }
        filter(copy, int(sizeof(T) * columns), rowAt(srcDst, step, top), rows);
    });
}

} // namespace pixmill::primitives
