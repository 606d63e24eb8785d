#include <pixmill/multiscale/detail/solver_resources.h>
#include <pixmill/multiscale/detail/sparse_solver.h>

#include <dlfcn.h>
#include <immintrin.h>
#include <omp.h>
#include <stdlib.h>
#include <sys/mman.h>

#include <filesystem>
#include <fstream>
#include <limits>
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

} // namespace

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
    static bool ready = false;                               // under the solver's lock
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
    if (!get || !set)
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

FlushSubnormals::FlushSubnormals() : m_modes(_mm_getcsr())
{
    _mm_setcsr(m_modes | _MM_FLUSH_ZERO_ON | _MM_DENORMALS_ZERO_ON);
}

FlushSubnormals::~FlushSubnormals()
{
    _mm_setcsr(m_modes);
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
    std::string path = (parent / "pixmill-XXXXXX").string();
    if (!mkdtemp(path.data()))
        return false;
    m_path = std::move(path);
    return true;
}

} // namespace pixmill::multiscale
