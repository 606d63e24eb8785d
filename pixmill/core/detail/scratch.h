#pragma once

#include <pixmill/core/detail/aligned.h>

#include <omp.h>

namespace pixmill::detail {

/// Working memory for a parallel loop, one piece for each thread of the team, made before the loop since bodies must
/// not throw.
template <class T>
class TeamScratch {
public:
    explicit TeamScratch(std::size_t each)
        : m_alone(omp_in_parallel()), m_each((each + 63) / 64 * 64),
          m_all(m_each * std::size_t(m_alone ? 1 : omp_get_max_threads()))
    {
    }

    /// The calling thread's piece, inside the body of a loop of rows.h.
    T* mine() { return m_all.data() + m_each * std::size_t(m_alone ? 0 : omp_get_thread_num()); }

private:
    bool m_alone; ///< Made by one thread of a host's team: the loop stays on it, and its number is the host's.
    std::size_t m_each;
    AlignedArray<T> m_all;
};

} // namespace pixmill::detail
