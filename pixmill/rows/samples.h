#pragma once

#include <cstddef>
#include <type_traits>

/// Element-wise loops over the samples of a row, whose output may be the input.
namespace pixmill::rows {

// A destination that is exactly the source carries nothing from one sample to the next.
#if defined(__clang__)
#define PIXMILL_SAME_SAMPLE_ALIASING _Pragma("clang loop vectorize(assume_safety)")
#else
#define PIXMILL_SAME_SAMPLE_ALIASING _Pragma("GCC ivdep")
#endif

/// The row `y` of an image whose step is in bytes; `y` may be negative.
template <class T>
inline T* rowAt(T* p, int step, int y)
{
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + std::ptrdiff_t(step) * y);
}

// The row loops take everything by value: behind a reference, a store of bytes could change it.

template <class S, class D, class F>
inline void mapRow(const S* s, D* d, int n, F f)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        d[x] = f(s[x]);
}

template <class A, class B, class D, class F>
inline void zipRow(const A* a, const B* b, D* d, int n, F f)
{
    PIXMILL_SAME_SAMPLE_ALIASING
    for (int x = 0; x < n; ++x)
        d[x] = f(a[x], b[x]);
}

/// What a loop over a row fetches into the cache meanwhile: `step` floats for every sixteen samples.
struct Fetch {
    const float* from;
    int step = 16;
};

/// Calls `each(x)` for n samples, each on its own, and fetches meanwhile, line by line: many fetched at a time would
/// wait for each other.
template <class Each, class... Fetches>
inline void fetchingRow(int n, const Each& each, Fetches... fetches)
{
    constexpr int kLine = 16; ///< Floats of a cache line.
    int x = 0;
    for (; x + kLine <= n; x += kLine) {
        (__builtin_prefetch(fetches.from + x / kLine * fetches.step), ...);
        PIXMILL_SAME_SAMPLE_ALIASING
        for (int i = x; i < x + kLine; ++i)
            each(i);
    }
    for (; x < n; ++x)
        each(x);
}

} // namespace pixmill::rows
