#pragma once

#include <pixmill/develop/detail/core.h>
#include <pixmill/develop/detail/tables.h>
#include <pixmill/develop/detail/tone_avx512.h>

#include <algorithm>

/// Levels of detail toned and summed.
namespace pixmill::develop {

/// Whether a level is toned anew in every sum, rather than once and kept.
inline bool tonesInPassing(const DetailTable& table)
{
    return rows::takesAvx512() && table.lines().reach >= kLeastReach && table.lines().darkReach >= kLeastReach;
}

/// sumToned512 by flags: 1 the first level, 2 the second, 4 the third.
inline int sumTonedBy(int flags, const ushort* Y, const DetailTable* tables, const ushort* const* in,
                      ushort* const* keep, ushort* out, int n)
{
    using Form = int(const ushort*, const DetailTable*, const ushort* const*, ushort* const*, ushort*, int);
    constexpr Form* kForms[8] = {sumToned512<false, false, false>, sumToned512<true, false, false>,
                                 sumToned512<false, true, false>,  sumToned512<true, true, false>,
                                 sumToned512<false, false, true>,  sumToned512<true, false, true>,
                                 sumToned512<false, true, true>,   sumToned512<true, true, true>};
    return kForms[flags](Y, tables, in, keep, out, n);
}

/// engine::addEdgesRow of levels that are toned before where `flags` has a bit for them, and kept where `keep` has a
/// row for such a one.
inline void sumToned(int flags, const ushort* Y, const DetailTable* tables, const ushort* const* in,
                     ushort* const* keep, ushort* out, int n)
{
    if (flags == 0) {
        engine::addEdgesRow(Y, in[0], in[1], in[2], out, n);
        return;
    }
    constexpr int kPiece = 256;
    ushort toned[3][kPiece];
    for (int x = rows::takesAvx512() ? sumTonedBy(flags, Y, tables, in, keep, out, n) : 0; x < n; x += kPiece) {
        const int piece = std::min(kPiece, n - x);
        const ushort* levels[3];
        for (int i = 0; i < 3; ++i) {
            levels[i] = in[i] + x;
            if ((flags >> i & 1) == 0)
                continue;
            ushort* to = keep[i] ? keep[i] + x : toned[i];
            engine::toneRow(tables[i].pairs(), Y + x, in[i] + x, to, piece);
            levels[i] = to;
        }
        engine::addEdgesRow(Y + x, levels[0], levels[1], levels[2], out + x, piece);
    }
}

} // namespace pixmill::develop
