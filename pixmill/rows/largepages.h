#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

namespace pixmill::rows {

/// Asks for large pages behind a block that is about to be written for the first time: its first touch then costs a
/// quarter. Blocks that hold no whole large page are left as they are, and a system that declines loses nothing.
inline void preferLargePages(void* block, std::size_t bytes)
{
    constexpr std::uintptr_t kPage = std::uintptr_t(2) << 20;
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (start + kPage - 1) / kPage * kPage, end = (start + bytes) / kPage * kPage;
    if (first < end)
        madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

} // namespace pixmill::rows
