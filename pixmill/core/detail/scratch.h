#pragma once

#include <pixmill/core/detail/aligned.h>

#include <omp.h>

namespace pixmill::detail {

/// The threads that a loop of rows.h may run on from here. Inside a host's parallel region that is the calling one
/// alone, whose number there says nothing about this loop.
struct Team {
    int size = omp_in_parallel() ? 1 : omp_get_max_threads();

    /// The calling thread's number, inside the body of a loop.
    int member() const { return size == 1 ? 0 : omp_get_thread_num(); }
};

/// Working memory for a parallel loop, one piece for each thread of the team, made before the loop: what fails then has
/// changed nothing yet.
template <class T>
class TeamScratch {
public:
    explicit TeamScratch(std::size_t each) : m_each((each + 63) / 64 * 64), m_all(m_each * std::size_t(m_team.size)) {}

    /// The calling thread's piece, inside the body of a loop of rows.h.
    T* mine() { return m_all.data() + m_each * std::size_t(m_team.member()); }

private:
    Team m_team;
    std::size_t m_each;
    AlignedArray<T> m_all;
};

} // namespace pixmill::detail
