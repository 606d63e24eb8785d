#pragma once

#include <pixmill/core/Export.h>

/// How many threads the library's loops may take, for a host that has other work for its processors.
///
/// The first that was said counts: a ThreadScope alive on the calling thread, `setThreads`, and else what the OpenMP
/// runtime tells on the calling thread (`omp_get_max_threads`; `OMP_NUM_THREADS`, `omp_set_num_threads` and
/// `DomainTransform::setup` set it). More than 1024 count as 1024. No choice changes a bit of any result.
///
/// Calls may come from any thread, from tasks and parallel regions of the host, and from a child after `fork`. A call
/// from within an OpenMP region of the host stays on its own thread, and so does one in a child that was forked while
/// another thread than the forking one had called the library and still lived: its workers did not come along.
namespace pixmill {

/// Every loop of the process that starts from now on takes at most `n` threads, the calling one among them; 0 gives the
/// choice back to the OpenMP runtime. May be called at any time, from any thread.
///
/// @throws cv::Exception  `n` is negative; nothing has changed then.
PIXMILL_API void setThreads(int n);

/// How many threads a large loop would take if it were called here and now: 1 or more.
PIXMILL_API int threads();

/// Loops of the thread that makes it take at most `n` threads for as long as it lives. Scopes nest, and end on the
/// thread that made them, the last one first.
///
///     std::thread worker([&] {
///         pixmill::ThreadScope one(1); // a picture a worker
///         ...
///     });
class PIXMILL_API ThreadScope {
public:
    /// @throws cv::Exception  `n` is below 1.
    explicit ThreadScope(int n);
    ~ThreadScope();
    ThreadScope(const ThreadScope&) = delete;
    ThreadScope& operator=(const ThreadScope&) = delete;

private:
    int m_before;
};

} // namespace pixmill
