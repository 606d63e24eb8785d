#pragma once

#include <pixmill/rows/sister.h>

namespace pixmill::rows {

/// The threads that a large loop of rows.h takes from here: as pixmill/core/Threads.h tells, and the calling one alone
/// inside a loop's body.
PIXMILL_SISTER_API int teamSize();

/// Limits the loops of the process, or of the calling thread, to n threads; 0 takes the limit away. The thread's counts
/// before the process's. The second returns what was chosen before.
void chooseForProcess(int n);
int chooseForThread(int n);

/// The team of the loops that follow on this thread, for what is made once a member before them. No loop takes more
/// while it lives, whatever another thread says in between. Teams end where they began, the last one first.
class Team {
public:
    Team();
    ~Team();
    Team(const Team&) = delete;
    Team& operator=(const Team&) = delete;

    int size() const { return m_size; }

    /// Inside the body of a loop: this run's number in the team, below `size`. No two that run at once share one.
    int member() const;

private:
    int m_size, m_before;
};

/// While it lives, the calling thread runs the body of a loop, as member `slot` of its team.
class BodyScope {
public:
    explicit BodyScope(int slot);
    ~BodyScope();
    BodyScope(const BodyScope&) = delete;
    BodyScope& operator=(const BodyScope&) = delete;

private:
    int m_before;
};

} // namespace pixmill::rows
