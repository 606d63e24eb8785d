#include <pixmill/rows/team.h>

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <utility>

namespace pixmill::rows {
namespace {

constexpr int kMostThreads = 1024;

std::atomic<int> processChoice{0};    ///< of the whole process, 0 none
thread_local int threadChoice = 0;    ///< of this thread, 0 none
thread_local int most = kMostThreads; ///< what the scratch that is alive on this thread has room for
thread_local int bodySlot = -1;       ///< of the body that runs on this thread, -1 none

int choice()
{
    if (threadChoice > 0)
        return threadChoice;
    const int process = processChoice.load(std::memory_order_relaxed);
    return process > 0 ? process : std::min(omp_get_max_threads(), omp_get_thread_limit());
}

} // namespace

void chooseForProcess(int n)
{
    processChoice.store(n, std::memory_order_relaxed);
}

int chooseForThread(int n)
{
    return std::exchange(threadChoice, n);
}

int teamSize()
{
    return bodySlot >= 0 || omp_in_parallel() ? 1 : std::min(choice(), most);
}

Team::Team() : m_size(teamSize()), m_before(most)
{
    most = m_size;
}

Team::~Team()
{
    most = m_before;
}

int Team::member() const
{
    return m_size == 1 ? 0 : std::max(bodySlot, 0);
}

BodyScope::BodyScope(int slot) : m_before(bodySlot)
{
    bodySlot = slot;
}

BodyScope::~BodyScope()
{
    bodySlot = m_before;
}

} // namespace pixmill::rows
