#pragma once

#include <pixmill/rows/processor.h>

#include <cstddef>

#if PIXMILL_X86
#include <emmintrin.h>
#endif

/// Writing past the caches. A plane that no cache holds when it is done costs half as much to write so, since its lines
/// are not read first; a smaller one is wanted in the cache by whoever reads it next. Only hand kernels write so.
namespace pixmill::rows {

/// Whether a plane of so many bytes is to be written past the caches.
inline bool streams(std::size_t bytes)
{
    return bytes >= std::size_t(24) << 20;
}

/// Ends a thread's writing past the caches, before another thread may read.
inline void endStreaming()
{
#if PIXMILL_X86
    _mm_sfence();
#endif
}

} // namespace pixmill::rows
