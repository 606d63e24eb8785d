#include <pixmill/rows/tasks.h>

#include <tbb/global_control.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <pthread.h>

#include <new>

/// The one place that calls the task library. It is compiled without the thread sanitizer, which cannot see into the
/// packaged library: rows.cpp tells the sanitizer what is handed over.
namespace pixmill::rows {
namespace {

bool workersLost = false; ///< in a child, after `fork`, of a process that had workers then
bool sentHome = false;    ///< before the last `fork`

/// Sends the workers home before a `fork`: a child would else have its parent's record of workers and none of the
/// threads, perhaps one of their locks, and the task library's end would stumble over them. The next loop calls new
/// ones. They stay where another thread of the host has used them and still lives; the child's loops then run on their
/// calling thread.
void beforeFork()
{
    if (workersLost) // they would be waited for
        return;
    tbb::task_scheduler_handle handle{tbb::attach{}};
    sentHome = tbb::finalize(handle, std::nothrow);
}

void afterForkInChild()
{
    workersLost = workersLost || !sentHome;
}

bool workersAtHand()
{
    static const int registered = pthread_atfork(beforeFork, nullptr, afterForkInChild);
    return registered == 0 && !workersLost;
}

} // namespace

void runTasks(int count, void (*task)(void* context, int k), void* context)
{
    if (!workersAtHand()) {
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
