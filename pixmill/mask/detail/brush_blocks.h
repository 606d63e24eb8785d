#pragma once

#include <pixmill/rows/pixel.h>

#include <cstring>

/// What the loops over a dot's rows share.
namespace pixmill::mask {

using namespace rows;

constexpr int kBrushBlock = 64; ///< pixels that the loops work best on
constexpr int kBrushLanes = 16; ///< the floats of a block handled at a time

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

/// Walks a run of n pixels in a row that holds `room` of them from its first on: block(i) does the kBrushBlock pixels
/// from i on, some of them perhaps beyond the run, and rest(i, n - i) those that have no room for a block.
template <class Block, class Rest>
inline void inBlocks(int n, int room, const Block& block, const Rest& rest)
{
    int i = 0;
    for (; i < n && i + kBrushBlock <= room; i += kBrushBlock)
        block(i);
    if (i < n)
        rest(i, n - i);
}

} // namespace pixmill::mask
