#pragma once

#include <pixmill/rows/rows.h>

#include <cstddef>
#include <cstring>

namespace pixmill::rows {

/// A sample of a row that may begin at any byte: pixels of another type than told are read as they lie.
template <class S>
inline S load(const S* at)
{
    S v;
    std::memcpy(&v, at, sizeof v);
    return v;
}

template <class D>
inline void store(D* at, D v)
{
    std::memcpy(at, &v, sizeof v);
}

/// out[x] = table[index(in[x])] for n samples; `out` may be `in`.
///
/// Never inlined, so that it is compiled for every processor alike: plain loads beat the gathers that wider levels
/// would make of them. Eight are under way before the first is stored.
template <class S, class D, class Index>
__attribute__((noinline)) void lookUpRow(const S* in, D* out, const D* table, int n, Index index)
{
    int x = 0;
    for (; x + 8 <= n; x += 8) {
        D v[8];
        for (int k = 0; k < 8; ++k)
            v[k] = table[index(load(in + x + k))];
        for (int k = 0; k < 8; ++k)
            store(out + x + k, v[k]);
    }
    for (; x < n; ++x)
        store(out + x, table[index(load(in + x))]);
}

/// By the low `bits` bits of a sample.
template <int bits, class S, class D>
inline void lookUpRow(const S* in, D* out, const D* table, int n)
{
    lookUpRow(in, out, table, n, [](S v) { return v & ((1u << bits) - 1); });
}

/// The same for every row of a plane; steps in bytes.
template <int bits, class S, class D>
void lookUpRows(const void* in, std::ptrdiff_t inStep, void* out, std::ptrdiff_t outStep, cv::Size size, const D* table)
{
    forEachRow(size, [=](int y) {
        lookUpRow<bits>(reinterpret_cast<const S*>(static_cast<const char*>(in) + y * inStep),
                        reinterpret_cast<D*>(static_cast<char*>(out) + y * outStep), table, size.width);
    });
}

} // namespace pixmill::rows
