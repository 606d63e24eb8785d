#pragma once

#include <pixmill/rows/memory.h>
#include <pixmill/rows/team.h>

namespace pixmill::rows {

/// Working memory for a parallel loop, one piece for each member of the team, made before the loop: what fails then has
/// changed nothing yet.
template <class T>
class TeamScratch {
public:
    explicit TeamScratch(std::size_t each) : m_each((each + 63) / 64 * 64), m_all(m_each * std::size_t(m_team.size()))
    {
    }

    /// The running member's piece, inside the body of a loop of rows.h.
    T* mine() { return m_all.data() + m_each * std::size_t(m_team.member()); }

private:
    Team m_team;
    std::size_t m_each;
    AlignedArray<T> m_all;
};

} // namespace pixmill::rows
