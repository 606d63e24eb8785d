#pragma once

#include <pixmill/engine/detail/zones.h>
#include <pixmill/engine/detail/zones_avx512.h>
#include <pixmill/rows/look_up.h>

#include <algorithm>

/// The engine's rows, each by the form that suits the processor.
namespace pixmill::engine {

using namespace rows;

/// Tones a row: each sample's two tables of pairs found in one read, and mixed by luma; in pieces that stay in the
/// nearest cache. `out` may be `in`.
inline void toneRow(const std::uint32_t* pairs, const ushort* Y, const ushort* in, ushort* out, int n)
{
    constexpr int kPiece = 1024;
    std::uint32_t index[kPiece], picked[kPiece];
    ushort midtone[kPiece], beside[kPiece];
    const auto plain = [&](int x, int end) {
        for (; x < end; x += kPiece) {
            const int piece = std::min(kPiece, end - x);
            indexRow(Y + x, in + x, index, piece);
            lookUpRow(index, picked, pairs, piece, [](std::uint32_t i) { return i; });
            weightsRow(Y + x, midtone, beside, piece);
            mixPickedRow(picked, midtone, beside, out + x, piece);
        }
    };
    wideThenPlain(
        n, [=](int count) { return toneRow512(pairs, Y, in, out, count); }, plain);
}

/// in[0], in[step], in[2 * step] ...
inline void everyNth(const ushort* __restrict in, int step, ushort* __restrict out, int n)
{
    if (step == 2)
        for (int x = 0; x < n; ++x)
            out[x] = in[2 * x];
    else
        for (int x = 0; x < n; ++x)
            out[x] = in[step * x];
}

/// Luma plus twice the centred detail. `out` may be `Y`.
inline void addEdgesRow(const ushort* Y, const ushort* d0, const ushort* d1, const ushort* d2, ushort* out, int n)
{
    const auto plain = [=](int x, int end) {
        for (; x < end; ++x)
            out[x] = clamp16(Y[x] + 2 * (d0[x] + d1[x] + d2[x]) - 196608);
    };
    wideThenPlain(
        n, [=](int count) { return addEdgesRow512(Y, d0, d1, d2, out, count); }, plain);
}

} // namespace pixmill::engine
