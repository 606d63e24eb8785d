// What the solver takes of memory, disk and threads, and how it gives that back.
#include <pixmill/multiscale/detail/sparse_solver.h>
#include <support/throws.h>

#include <omp.h>

#include <dlfcn.h>
#include <multiscale/solver_calls.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cfenv>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

using namespace pixmill::test;
using namespace pixmill::reference;
using pixmill::multiscale::solverLimits;

namespace {

#ifndef __has_feature
#define __has_feature(name) 0 // only clang tells its sanitizers this way
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer) ||                \
    __has_feature(address_sanitizer)
#define PIXMILL_SANITIZED
constexpr bool kSanitized = true; // whose own memory hides what is measured, and which cannot live under a limit
#else
constexpr bool kSanitized = false;
#endif

class MemoryLimit {
public:
    explicit MemoryLimit(std::size_t bytes) : m_before(solverLimits()) { solverLimits().bytes = bytes; }
    ~MemoryLimit() { solverLimits() = m_before; }

private:
    pixmill::multiscale::SolverLimits m_before;
};

double physicalMegabytes(const char* what)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(what, 0) == 0)
            return std::stod(line.substr(line.find(':') + 1)) / 1024;
    return 0;
}

} // namespace

TEST(PardisoSolver, OutOfMemoryReturnsFalseOrThrowsAndLeavesTheRightHandSide)
{
    const SparseSystem system = pictureSystem(70, 60);
    const ScratchFolder folder;
    struct Case {
        std::size_t bytes;
        const char* doubleText;
    };
    // Too little to analyse, and enough for that but not to factorise.
    for (const Case& c : {Case{100000, "pardisoSolverIC - 11"}, {800000, "pardisoSolverIC - 22"}}) {
        const MemoryLimit limit(c.bytes);
        Call<float> call(system);
        const std::vector<float> b = call.b;
        EXPECT_FALSE(call.run(inCore));
        EXPECT_FALSE(call.run(outOfCore));
        EXPECT_TRUE(call.run(pardisoSolver));
        EXPECT_EQ(call.b, b);
        EXPECT_TRUE(folder.empty());
        EXPECT_THROWS_TEXT(Call<double>(system).run(inCoreDouble), c.doubleText);
    }
    Call<float> again(system);
    EXPECT_TRUE(again.run(inCore));
}

TEST(PardisoSolver, AGridTakesNoMoreMemoryThanNestedDissectionNeeds)
{
    // Measured needs of 200 x 200 unknowns and a tenth more; row by row the factor alone takes 32 MB.
    const SparseSystem system = pictureSystem(200, 200);
    for (const auto& [form, megabytes] : {std::pair(inCore, 15.0), std::pair(outOfCore, 7.4)}) {
        const MemoryLimit limit(std::size_t(megabytes * 1e6));
        Call<float> call(system);
        EXPECT_TRUE(call.run(form)) << megabytes;
    }
}

TEST(PardisoSolver, OutOfCoreKeepsTheFactorInFilesAndRemovesThem)
{
    const SparseSystem system = pictureSystem(300, 300);
    const ScratchFolder folder;
    std::atomic<bool> done{false};
    std::uintmax_t most = 0;
    std::thread watch([&] {
        while (!done) {
            most = std::max(most, folder.bytes());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    Call<float> disk(system), memory(system);
    EXPECT_TRUE(disk.run(outOfCore));
    done = true;
    watch.join();
    EXPECT_GT(most, 50u * system.n); // the matrix has 12 bytes an unknown, the factor more than 100
    EXPECT_TRUE(folder.empty());

    EXPECT_TRUE(memory.run(inCore));
    EXPECT_LT(relativeError({memory.b.begin(), memory.b.end()}, disk.b.data()), kFloatError);
}

TEST(PardisoSolver, OutOfCoreWithoutAFolderForItsFilesFailsInTheFactorisation)
{
    const SparseSystem system = pictureSystem(20, 20);
    const ScratchFolder folder;
    setenv("TMPDIR", (folder.path() / "missing").c_str(), 1);
    EXPECT_THROWS_TEXT(Call<float>(system).run(outOfCore), "pardisoSolverOOC - 22");
    const std::filesystem::path deep = folder.path() / std::string(200, 'd') / std::string(200, 'd');
    std::filesystem::create_directories(deep); // longer than the solver's own field
    setenv("TMPDIR", deep.c_str(), 1);
    EXPECT_THROWS_TEXT(Call<float>(system).run(outOfCore), "pardisoSolverOOC - 22");
    EXPECT_TRUE(std::filesystem::is_empty(deep));
}

TEST(PardisoSolver, CallsFromSeveralThreadsWaitForEachOther)
{
    const SparseSystem system = pictureSystem(40, 30);
    const std::vector<double> expected = iteratedSolution(system);
    std::vector<std::thread> team;
    std::vector<double> errors(4, 1.0);
    for (int k = 0; k < 4; ++k)
        team.emplace_back([&, k] {
            double most = 0;
            for (int round = 0; round < 8; ++round) {
                if (k == 3) {
                    Call<double> call(system);
                    call.run(inCoreDouble);
                    most = std::max(most, relativeError(expected, call.x.data()));
                } else {
                    Call<float> call(system);
                    call.run(k == 2 ? outOfCore : inCore);
                    most = std::max(most, relativeError(expected, call.b.data()));
                }
            }
            errors[k] = most;
        });
    for (std::thread& t : team)
        t.join();
    for (const double error : errors)
        EXPECT_LT(error, kFloatError);
}

TEST(PardisoSolver, TheHostsThreadsAndArithmeticModesAreAsBefore)
{
    auto* const denseThreads = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, "openblas_get_num_threads"));
    const int team = omp_get_max_threads();
    omp_set_num_threads(3);
    const auto subnormal = [] {
        volatile float least = 0x1p-126f, half = 0.5f;
        return least * half;
    };
    const int dense = denseThreads ? denseThreads() : 0;
    Call<float> call(pictureSystem(20, 20));
    EXPECT_TRUE(call.run(inCore));
    call.a[0] = -1;
    EXPECT_THROWS_TEXT(call.run(inCore), "pardisoSolverIC - 22");
    EXPECT_EQ(subnormal(), 0x1p-127f);
    EXPECT_EQ(std::fegetround(), FE_TONEAREST);
    EXPECT_EQ(denseThreads ? denseThreads() : 0, dense);
    EXPECT_EQ(omp_get_max_threads(), 3);
    omp_set_num_threads(team);
}

namespace {

/// Solves with little more address space than the process has, from next to none to plenty; ends the process with 0 if
/// every call ended in success or out of memory.
void limitAddressSpace()
{
    const SparseSystem system = pictureSystem(150, 150);
    const std::vector<double> expected = iteratedSolution(system);
    const auto outcomeWith = [&](double megabytes, int form) {
        Call<float> single(system);
        Call<double> twice(system);
        rlimit before, now;
        getrlimit(RLIMIT_AS, &before);
        now = before;
        now.rlim_cur = rlim_t((physicalMegabytes("VmSize") + megabytes) * 1024 * 1024);
        setrlimit(RLIMIT_AS, &now);
        bool solved = false;
        try {
            solved = form == 2 ? twice.run(inCoreDouble) : single.run(form == 1 ? outOfCore : inCore);
        } catch (const char*) {
            if (form != 2)
                _exit(2);
        }
        setrlimit(RLIMIT_AS, &before);
        if (solved && form != 2 && !(relativeError(expected, single.b.data()) < kFloatError))
            _exit(3);
        if (!solved && single.b != Call<float>(system).b)
            _exit(4);
        return solved;
    };
    // The dense kernels' first buffer cannot be had, then it can.
    if (outcomeWith(5, 0) || outcomeWith(100, 0) || !outcomeWith(400, 0))
        _exit(5);
    for (int form = 0; form < 3; ++form) {
        int outcomes[2] = {};
        for (double megabytes = 0; megabytes < 24; megabytes += 0.3)
            ++outcomes[outcomeWith(megabytes, form)];
        if (outcomes[0] < 10 || outcomes[1] < 3)
            _exit(6);
    }
    _exit(0);
}

/// Files may grow to a part of what the factor needs, as on a disk that fills up.
void fillDisk()
{
    const SparseSystem system = pictureSystem(200, 200);
    const ScratchFolder folder;
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {1 << 20, 1 << 20};
    setrlimit(RLIMIT_FSIZE, &limit);
    Call<float> call(system);
    try {
        call.run(outOfCore);
        _exit(2);
    } catch (const char* text) {
        if (std::string(text) != "pardisoSolverOOC - 22")
            _exit(3);
    }
    const bool clean = folder.empty() && call.b == Call<float>(system).b;
    std::filesystem::remove_all(folder.path());
    _exit(clean ? 0 : 4);
}

/// Peak of physical memory of all processes that were started, above what this one has.
double peakMegabytes(FloatForm* form, const SparseSystem& system)
{
    Call<float> call(system);
    call.run(form);
    rusage all;
    getrusage(RUSAGE_CHILDREN, &all);
    return all.ru_maxrss / 1024.0 - physicalMegabytes("VmRSS");
}

} // namespace

TEST(PardisoSolverDeathTest, NoLimitOfTheAddressSpaceEndsTheProcess)
{
    if (kSanitized)
        GTEST_SKIP() << "a sanitizer needs the whole address space";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(limitAddressSpace(), testing::ExitedWithCode(0), "");
}

TEST(PardisoSolverDeathTest, AFullDiskFailsInTheFactorisationAndLeavesNoFile)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(fillDisk(), testing::ExitedWithCode(0), "");
}

TEST(PardisoSolver, OutOfCoreTakesClearlyLessMemory)
{
    if (kSanitized)
        GTEST_SKIP() << "a sanitizer keeps what is freed";
    const SparseSystem system = pictureSystem(600, 500);
    const double disk = peakMegabytes(outOfCore, system), memory = peakMegabytes(inCore, system); // the larger one last
    EXPECT_LT(disk, 0.55 * memory) << disk << " of " << memory << " MB";
}

#ifndef PIXMILL_SANITIZED // whose own allocator may not be replaced

namespace {

long allocationsLeft = -1; ///< In forked processes, before every further one fails; -1 for no end.
bool isForked = false;

} // namespace

extern "C" void* __libc_malloc(std::size_t);

extern "C" void* malloc(std::size_t bytes)
{
    if (isForked && allocationsLeft >= 0 && allocationsLeft-- == 0) {
        allocationsLeft = 0;
        return nullptr;
    }
    return __libc_malloc(bytes);
}

TEST(PardisoSolver, AnAllocationThatFailsInsideTheSolverDoesNotEndTheHost)
{
    pthread_atfork(nullptr, nullptr, [] { isForked = true; });
    const SparseSystem system = pictureSystem(60, 60);
    const ScratchFolder folder;
    int unsolved = 0;
    for (FloatForm* form : {inCore, outOfCore}) {
        bool solved = false;
        for (long count = 0; !solved && count < 4000; count += 1 + count / 24) {
            allocationsLeft = count;
            Call<float> call(system);
            try {
                solved = call.run(form);
            } catch (const char*) { // that the files cannot be written may be told as such
            }
            unsolved += !solved;
            EXPECT_TRUE(solved || call.b == Call<float>(system).b);
            EXPECT_TRUE(folder.empty());
        }
        EXPECT_TRUE(solved);
    }
    allocationsLeft = -1;
    EXPECT_GT(unsolved, 40);
}

#endif
