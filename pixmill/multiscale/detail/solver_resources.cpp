#include <pixmill/multiscale/detail/solver_resources.h>

#include <pixmill/multiscale/detail/sparse_solver.h>

#include <omp.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <mutex>
#include <system_error>

namespace pixmill::multiscale {
namespace {

template <class Function>
Function* symbol(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

bool mappable(std::size_t bytes)
{
    void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return p != MAP_FAILED && munmap(p, bytes) == 0;
}

/// What the machine can give before it must end a process: free and reclaimable memory, and swap. All there is if the
/// system does not tell.
std::size_t availableBytes()
{
    std::ifstream info("/proc/meminfo");
    std::size_t kilobytes = 0, value = 0;
    bool told = false;
    for (std::string key, rest; info >> key >> value && std::getline(info, rest);)
        if (key == "MemAvailable:" || key == "SwapFree:") {
            kilobytes += value;
            told = told || key == "MemAvailable:";
        }
    return told ? kilobytes * 1024 : std::numeric_limits<std::size_t>::max();
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

std::string folderPrefix(pid_t process)
{
    return "pixmill-" + std::to_string(process) + "-";
}

/// What a process that died left in the folder for temporary files.
void removeFolders(pid_t process)
{
    std::error_code error;
    const std::string prefix = folderPrefix(process);
    std::filesystem::directory_iterator it(std::filesystem::temp_directory_path(error), error), end;
    for (; !error && it != end; it.increment(error))
        if (it->path().filename().string().compare(0, prefix.size(), prefix) == 0) {
            std::error_code ignored;
            std::filesystem::remove_all(it->path(), ignored);
        }
}

/// In the copy: nothing that its death does may reach the host or the user. Its signals are blocked already.
void leaveHost()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGABRT, SIG_DFL);
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::atexit([] { _exit(1); }); // before the host's own handlers
    const int nowhere = open("/dev/null", O_RDWR);
    for (int stream = 0; nowhere >= 0 && stream <= 2; ++stream)
        dup2(nowhere, stream);
#ifdef SYS_close_range
    syscall(SYS_close_range, 3u, ~0u, 0u);
#endif
    omp_set_num_threads(1); // a team would be started in vain
    // The fork has ended OpenBLAS's team. Asked for a team of one, it would first start that anew, and wait for ever
    // for memory that is not there; told so, it works on this thread.
    if (int* const team = static_cast<int*>(dlsym(RTLD_DEFAULT, "blas_cpu_number")))
        *team = 1;
}

} // namespace

SharedPages::SharedPages(std::size_t bytes)
    : m_bytes(bytes), m_data(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
{
    if (m_data == MAP_FAILED)
        m_data = nullptr;
}

SharedPages::~SharedPages()
{
    if (m_data)
        munmap(m_data, m_bytes);
}

void runApart(const std::function<void()>& work)
{
    static std::mutex turn;
    const std::lock_guard<std::mutex> lock(turn);
    if (kSanitized)
        return work();
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // so that no handler of the host's runs in the copy
    const pid_t copy = fork();
    const int error = errno;
    if (copy == 0) {
        leaveHost();
        try {
            work();
        } catch (...) {
            _exit(1); // as if it had died
        }
        _exit(0);
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (copy < 0)
        return error == ENOMEM ? void() : work();
    int status = 0; // not looked at: a host that waits for all its children may have it
    while (waitpid(copy, &status, 0) < 0 && errno == EINTR) {
    }
    removeFolders(copy);
}

SolverLimits& solverLimits()
{
    static SolverLimits limits{std::numeric_limits<std::size_t>::max()};
    return limits;
}

bool memoryCanHold(std::size_t bytes)
{
    // A mapping is granted far beyond what the machine has, so large needs are compared with that first.
    constexpr std::size_t kLarge = std::size_t(1) << 28;
    return bytes <= solverLimits().bytes && (bytes < kLarge || bytes <= availableBytes()) && mappable(bytes);
}

bool denseKernelsReady()
{
    using Gemm = void(const char*, const char*, const int*, const int*, const int*, const float*, const float*,
                      const int*, const float*, const int*, const float*, float*, const int*);
    constexpr std::size_t kScratch = std::size_t(192) << 20; // OpenBLAS maps 128 MB
    static std::atomic<bool> ready{false};
    static std::mutex turn;
    if (ready) // always so in a copy of the host, where none could give the lock back
        return true;
    const std::lock_guard<std::mutex> lock(turn);
    if (!ready && mappable(kScratch)) {
        if (auto* gemm = symbol<Gemm>("sgemm_")) {
            constexpr int n = 64; // large enough for the path that packs
            static const float zeros[n * n] = {};
            static float sums[n * n];
            const float one = 1.0f, none = 0.0f;
            gemm("N", "N", &n, &n, &n, &one, zeros, &n, zeros, &n, &none, sums, &n);
        }
        ready = true;
    }
    return ready;
}

OneDenseThread::OneDenseThread()
{
    auto* const get = symbol<int()>("openblas_get_num_threads");
    auto* const set = symbol<void(int)>("openblas_set_num_threads");
    if (!get || !set || get() == 1)
        return;
    m_team = omp_get_max_threads(); // a BLAS on OpenMP changes the host's team along with its own
    m_denseThreads = get();
    set(1);
}

OneDenseThread::~OneDenseThread()
{
    if (m_denseThreads < 1)
        return;
    symbol<void(int)>("openblas_set_num_threads")(m_denseThreads);
    omp_set_num_threads(m_team);
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    if (!m_path.empty())
        std::filesystem::remove_all(m_path, ignored);
}

bool TemporaryFolder::create()
{
    std::error_code error;
    const std::filesystem::path parent = std::filesystem::temp_directory_path(error);
    if (error)
        return false;
    std::string path = (parent / (folderPrefix(getpid()) + "XXXXXX")).string();
    if (!mkdtemp(path.data()))
        return false;
    m_path = std::move(path);
    return true;
}

} // namespace pixmill::multiscale
