#include <pixmill/multiscale/detail/multigrid/workspace.h>

#include <pixmill/rows/rows.h>

#include <cstdint>
#include <cstring>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

constexpr std::size_t kLine = 64;

std::size_t wholeLines(std::size_t bytes)
{
    return (bytes + kLine - 1) / kLine * kLine;
}

/// By the team: the first touch of fresh pages is what it costs.
void clear(void* block, std::size_t bytes)
{
    constexpr std::size_t kPiece = 1 << 18;
    forEachIndex(int((bytes + kPiece - 1) / kPiece), long(bytes / sizeof(float)), [=](int i) {
        const std::size_t first = std::size_t(i) * kPiece;
        std::memset(static_cast<char*>(block) + first, 0, std::min(kPiece, bytes - first));
    });
}

} // namespace

void Workspace::lend(void* block, std::size_t bytes)
{
    const std::size_t skip =
        wholeLines(reinterpret_cast<std::uintptr_t>(block)) - reinterpret_cast<std::uintptr_t>(block);
    if (bytes > skip)
        m_lent.push_back({static_cast<char*>(block) + skip, bytes - skip});
}

void* Workspace::take(std::size_t bytes)
{
    const std::size_t whole = wholeLines(bytes);
    for (Block& b : m_lent)
        if (b.left >= whole) {
            void* const taken = b.free;
            b.free += whole;
            b.left -= whole;
            clear(taken, whole);
            return taken;
        }
    m_own.emplace_back(whole);
    clear(m_own.back().data(), whole);
    return m_own.back().data();
}

} // namespace pixmill::multiscale
