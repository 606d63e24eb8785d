#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// What the sparse solver takes from the process besides its arrays: assurance of memory, the dense kernels' threads,
/// and a folder for its files.
namespace pixmill::multiscale {

/// Whether `bytes` more can be had now: within the process's solver limits, within what the machine has to give
/// without ending other programs, and as one mapping. Nothing is kept.
///
/// The solver does not survive every allocation that fails, so it is asked before each stage with the stage's need.
bool memoryCanHold(std::size_t bytes);

/// Makes the dense kernels take their first scratch buffer, once for the process.
///
/// OpenBLAS waits for ever if that buffer cannot be mapped, so this comes before any stage that calls them.
///
/// @return false, and nothing is done, if there is no room for the buffer.
bool denseKernelsReady();

/// While it lives, dense kernels run on the calling thread alone: fronts are small, so a team costs more than it gives,
/// and the host's own team has the other processors. Any BLAS will do; only OpenBLAS has threads to hold back.
class OneDenseThread {
public:
    OneDenseThread();
    ~OneDenseThread();
    OneDenseThread(const OneDenseThread&) = delete;
    OneDenseThread& operator=(const OneDenseThread&) = delete;

private:
    int m_denseThreads = 0;
    int m_team = 0;
};

/// Pages that this process and those forked from it share.
class SharedPages {
public:
    explicit SharedPages(std::size_t bytes);
    ~SharedPages();
    SharedPages(const SharedPages&) = delete;
    SharedPages& operator=(const SharedPages&) = delete;

    void* data() const { return m_data; } ///< Zeros at first; null if there were none to be had.

private:
    std::size_t m_bytes;
    void* m_data;
};

/// Runs `work` in a copy of this process that ends with it, and waits for its end.
///
/// Not every allocation inside the solver is checked: one that fails ends the process it happens in, by a signal or by
/// exit(), and no guard foresees all of them. So the process is not the host's. What `work` does is seen here in shared
/// pages alone; whether it came to its end it must tell there. The copy writes nothing to the host's streams, runs none
/// of its handlers, keeps none of its files open, and goes when the host goes.
///
/// One at a time. Where the system forks no processes at all, and under sanitizers, whose bookkeeping a copy of a
/// process with threads does not survive, `work` runs here. Where it has no memory left for one, it does not run.
void runApart(const std::function<void()>& work);

/// A folder of our own below the system's folder for temporary files, removed with all that is in it; `runApart` sees
/// to that where the process died that made it.
class TemporaryFolder {
public:
    TemporaryFolder() = default;
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    bool create();
    const std::string& path() const { return m_path; } ///< Empty until created.

private:
    std::string m_path;
};

} // namespace pixmill::multiscale
