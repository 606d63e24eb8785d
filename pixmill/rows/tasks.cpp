#include <pixmill/rows/tasks.h>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <pthread.h>

#include <atomic>
#include <mutex>
#include <new>

/// The one place that calls the task library. It is compiled without the thread sanitizer, which cannot see into the
/// packaged library: rows.cpp tells the sanitizer what is handed over.
namespace pixmill::rows {
namespace {

bool workersLost = false; ///< in a child, after `fork`, of a process that had workers then
bool sentHome = false;    ///< before the last `fork`
std::mutex forks;         ///< one after another
std::atomic<bool> forking{false};
std::atomic<int> loops{0}; ///< that have workers, or are about to

/// Sends the workers home before a `fork`: a child would else have its parent's record of workers and none of the
/// threads, perhaps one of their locks, and the task library's end would stumble over them. The next loop calls new
/// ones. They stay where another thread of the host is in a loop, which the task library may wait for without end, and
/// where one has used them and still lives; the child's loops then run on their calling thread.
void beforeFork()
{
    forks.lock();
    forking = true;  // from here on loops run on their calling thread
    if (workersLost) // they would be waited for
        return;
    sentHome = false;
    if (loops == 0) {
        tbb::task_scheduler_handle handle{tbb::attach{}};
        sentHome = tbb::finalize(handle, std::nothrow);
    }
}

void afterForkInParent()
{
    forking = false;
    forks.unlock();
}

void afterForkInChild()
{
    workersLost = workersLost || !sentHome;
    loops = 0; // of threads that are the parent's
    forking = false;
    forks.unlock();
}

/// A loop that asks for workers. There are none while some thread forks, nor where they were lost.
class Workers {
public:
    Workers()
    {
        static const int registered = pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
        ++loops;
        m_atHand = registered == 0 && !forking && !workersLost;
        if (!m_atHand)
            --loops;
    }
    ~Workers()
    {
        if (m_atHand)
            --loops;
    }
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    bool atHand() const { return m_atHand; }

private:
    bool m_atHand;
};

} // namespace

void runTasks(int count, void (*task)(void* context, int k), void* context)
{
    const Workers workers;
    if (!workers.atHand()) {
        for (int k = 0; k < count; ++k)
            task(context, k);
        return;
    }
    // A group of its own: a host that cancels its tasks would else leave a loop within them undone.
    using Group = tbb::task_group_context;
    Group group(Group::isolated, Group::default_traits | Group::fp_settings);
    // Isolated also while it waits: else the caller could take up any other task of the host in the midst of this one.
    tbb::this_task_arena::isolate([&] {
        tbb::parallel_for(
            0, count, [=](int k) { task(context, k); }, tbb::simple_partitioner(), group);
    });
}

} // namespace pixmill::rows
