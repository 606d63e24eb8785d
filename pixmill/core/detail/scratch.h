#pragma once

#include <pixmill/core/detail/aligned.h>

#include <algorithm>
#include <omp.h>

namespace pixmill::detail {

/// One more than the greatest omp_get_thread_num() in the bodies of a loop that is about to run: the caller, who runs
/// all of them where no team is formed, may be any thread of a host's own team, which may be larger than ours.
inline int scratchPieces()
{
    return std::max(omp_get_max_threads(), omp_get_thread_num() + 1);
}

/// Working memory for a parallel loop, one piece for each thread of the team, made before the loop since bodies must
/// not throw.
template <class T>
class TeamScratch {
public:
    explicit TeamScratch(std::size_t each) : m_each((each + 63) / 64 * 64), m_all(m_each * std::size_t(scratchPieces()))
    {
    }

    /// The calling thread's piece, inside the body of a loop of rows.h.
    T* mine() { return m_all.data() + m_each * std::size_t(omp_get_thread_num()); }

private:
    std::size_t m_each;
    AlignedArray<T> m_all;
};

} // namespace pixmill::detail
