#pragma once

#include <pixmill/rows/rows.h>

#include <gtest/gtest.h>
#include <omp.h>

/// Runs operations in every way that must not change a bit.
namespace pixmill::test {

/// Restores the process's team size and row policy.
class PolicyGuard {
public:
    PolicyGuard() : m_policy(rows::rowPolicy()), m_team(omp_get_max_threads()) {}
    ~PolicyGuard()
    {
        rows::rowPolicy() = m_policy;
        omp_set_num_threads(m_team);
    }
    PolicyGuard(const PolicyGuard&) = delete;
    PolicyGuard& operator=(const PolicyGuard&) = delete;

private:
    rows::RowPolicy m_policy;
    int m_team;
};

/// Calls `check()` for teams of 1, 2, 3 and 8 threads, small planes included, at each row level the processor has. In
/// the larger teams every member has its share, even where one thread could take all, and takes it from its end.
template <class Check>
void everyWay(const Check& check)
{
    PolicyGuard guard;
    const int top = rows::rowPolicy().level;
    for (int level = 0; level <= top; ++level)
        for (const int team : {1, 2, 3, 8}) {
            SCOPED_TRACE(testing::Message() << "row level " << level << ", " << team << " threads");
            rows::rowPolicy() = {level, 1, team > 2};
            omp_set_num_threads(team);
            check();
        }
}

} // namespace pixmill::test
