#include <multiscale/systems.h>
#include <support/throws.h>

#include <pixmill/multiscale/detail/sparse_solver.h>
#include <pixmill/multiscale/pardisoSolver.h>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <immintrin.h>
#include <omp.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <thread>

using namespace pixmill::test;
using pixmill::detail::solverLimits;

namespace {

#ifndef __has_feature
#define __has_feature(name) 0 // only clang tells its sanitizers this way
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer) ||                \
    __has_feature(address_sanitizer)
constexpr bool kSanitized = true; // whose own memory hides what is measured, and which cannot live under a limit
#else
constexpr bool kSanitized = false;
#endif

constexpr double kFloatError = 1e-6, kDoubleError = 1e-11;

using FloatForm = bool(int, float*, int*, int*, float*, float*, int, int);

/// The arrays of one call, so that a test can see what the call did to them.
template <class T>
struct Call {
    explicit Call(const System& s, int columns = 1)
        : n(s.n), nrhs(columns), ia(s.ia), ja(s.ja), a(s.a.begin(), s.a.end()), x(std::size_t(s.n) * columns, T(-7))
    {
        for (int column = 0; column < columns; ++column)
            for (const double v : s.b)
                b.push_back(T(v * (1 - 3 * column)));
    }

    template <class Form>
    bool run(Form* form)
    {
        return form(n, a.data(), ia.data(), ja.data(), b.data(), x.data(), nrhs, mtype);
    }

    int n, nrhs, mtype = 2;
    std::vector<int> ia, ja;
    std::vector<T> a, b, x;
};

FloatForm* const inCore = pardisoSolverIC;
FloatForm* const outOfCore = pardisoSolverOOC;
bool (*const inCoreDouble)(int, double*, int*, int*, double*, double*, int, int) = pardisoSolverIC;

/// A folder for temporary files of its own.
class ScratchFolder {
public:
    ScratchFolder()
    {
        char name[] = "/tmp/pixmill-test-XXXXXX";
        m_path = mkdtemp(name);
        setenv("TMPDIR", m_path.c_str(), 1);
    }
    ~ScratchFolder()
    {
        unsetenv("TMPDIR");
        std::filesystem::remove_all(m_path);
    }
    const std::filesystem::path& path() const { return m_path; }
    bool empty() const { return std::filesystem::is_empty(m_path); }
    std::uintmax_t bytes() const
    {
        std::uintmax_t sum = 0;
        std::error_code gone;
        for (std::filesystem::recursive_directory_iterator i(m_path, gone), end; !gone && i != end; i.increment(gone))
            if (const auto size = std::filesystem::file_size(i->path(), gone); !gone)
                sum += size;
        return sum;
    }

private:
    std::filesystem::path m_path;
};

class MemoryLimit {
public:
    explicit MemoryLimit(std::size_t bytes) : m_before(solverLimits()) { solverLimits().bytes = bytes; }
    ~MemoryLimit() { solverLimits() = m_before; }

private:
    pixmill::detail::SolverLimits m_before;
};

struct NamedSystem {
    const char* name;
    System system;
};

std::vector<NamedSystem> smallSystems()
{
    std::vector<NamedSystem> all;
    for (const auto& [width, height] :
         {std::pair(1, 1), {2, 1}, {1, 2}, {2, 2}, {1, 9}, {33, 1}, {5, 3}, {16, 7}, {21, 23}})
        all.push_back({"picture", pictureSystem(width, height)});
    all.push_back({"rows that wrap round", pictureSystem(19, 11, 40, true)});
    all.push_back({"scattered", scatteredSystem(150, 400)});
    all.push_back({"dense", scatteredSystem(40, 4000)});
    System diagonal, split, columns;
    for (int i = 1; i <= 7; ++i) {
        diagonal.add(i, i);
        diagonal.endRow();
    }
    for (int i = 1; i <= 30; ++i) { // entries at one place, out of order
        if (i < 30)
            split.add(i + 1, -0.25);
        split.add(i, 2.0);
        if (i < 30)
            split.add(i + 1, -0.5);
        split.add(i, 1.5);
        split.endRow();
    }
    for (int i = 1; i <= 20; ++i) { // links downward only
        columns.add(i, 3.0);
        if (i <= 16)
            columns.add(i + 4, -1.0);
        columns.endRow();
    }
    all.insert(all.end(), {{"diagonal", diagonal}, {"entries that add up", split}, {"columns apart", columns}});
    return all;
}

double physicalMegabytes(const char* what)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(what, 0) == 0)
            return std::stod(line.substr(line.find(':') + 1)) / 1024;
    return 0;
}

} // namespace

TEST(PardisoSolver, EveryFormAgreesWithADenseSolution)
{
    for (const auto& [name, system] : smallSystems()) {
        SCOPED_TRACE(testing::Message() << name << ", order " << system.n);
        const std::vector<double> expected = denseSolution(system);
        for (FloatForm* form : {inCore, outOfCore}) {
            Call<float> call(system);
            ASSERT_TRUE(call.run(form));
            EXPECT_LT(relativeError(expected, call.b.data()), kFloatError);
        }
        Call<double> call(system);
        ASSERT_TRUE(call.run(inCoreDouble));
        EXPECT_LT(relativeError(expected, call.x.data()), kDoubleError);
        EXPECT_EQ(call.b, system.b);

        Call<float> negated(system);
        EXPECT_FALSE(negated.run(pardisoSolver)); // true would mean that memory ran out
        EXPECT_LT(relativeError(expected, negated.b.data()), kFloatError);
    }
}

TEST(PardisoSolver, RefinementHoldsSinglePrecisionToTheRoundingOfTheResult)
{
    // Links 100000 times the diagonal's own part: unrefined, the error is past 1e-3.
    const System system = pictureSystem(150, 110, 100000);
    const std::vector<double> expected = iteratedSolution(system);
    for (FloatForm* form : {inCore, outOfCore}) {
        Call<float> call(system);
        ASSERT_TRUE(call.run(form));
        EXPECT_LT(relativeError(expected, call.b.data()), kFloatError);
    }
    Call<double> call(system);
    ASSERT_TRUE(call.run(inCoreDouble));
    EXPECT_LT(relativeError(expected, call.x.data()), 1e-9);
}

TEST(PardisoSolver, SolvesEachRightHandSideAndLeavesTheMatrix)
{
    const System system = pictureSystem(13, 9);
    const std::vector<double> expected = denseSolution(system);
    Call<float> single(system, 3);
    const Call<float> before = single;
    ASSERT_TRUE(single.run(inCore));
    Call<double> twice(system, 3);
    ASSERT_TRUE(twice.run(inCoreDouble));
    for (int column = 0; column < 3; ++column) {
        std::vector<double> scaled = expected;
        for (double& v : scaled)
            v *= 1 - 3 * column;
        EXPECT_LT(relativeError(scaled, &single.b[std::size_t(system.n) * column]), kFloatError);
        EXPECT_LT(relativeError(scaled, &twice.x[std::size_t(system.n) * column]), kDoubleError);
    }
    EXPECT_EQ(single.a, before.a);
    EXPECT_EQ(single.ia, before.ia);
    EXPECT_EQ(single.ja, before.ja);
}

TEST(PardisoSolver, MalformedInputFailsInTheFirstStage)
{
    struct Case {
        const char* name;
        void (*spoil)(Call<double>&);
    };
    const Case cases[] = {
        {"order below 1", [](auto& c) { c.n = 0; }},
        {"negative order", [](auto& c) { c.n = -4; }},
        {"no right-hand side", [](auto& c) { c.nrhs = 0; }},
        {"first row start", [](auto& c) { c.ia[0] = 0; }},
        {"falling row starts", [](auto& c) { std::swap(c.ia[3], c.ia[5]); }},
        {"column 0", [](auto& c) { c.ja[2] = 0; }},
        {"column past the order", [](auto& c) { c.ja[4] = c.n + 1; }},
        {"column left of the diagonal", [](auto& c) { c.ja[c.ia[5] - 1] = 5; }},
        {"unsymmetric kind", [](auto& c) { c.mtype = 11; }},
    };
    const System system = pictureSystem(6, 5);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Call<double> twice(system);
        c.spoil(twice);
        EXPECT_THROWS_TEXT(twice.run(inCoreDouble), "pardisoSolverIC - 11");

        Call<float> single(system);
        single.n = twice.n, single.nrhs = twice.nrhs, single.mtype = twice.mtype;
        single.ia = twice.ia, single.ja = twice.ja;
        const std::vector<float> b = single.b;
        EXPECT_THROWS_TEXT(single.run(inCore), "pardisoSolverIC - 11");
        EXPECT_THROWS_TEXT(single.run(outOfCore), "pardisoSolverOOC - 11");
        EXPECT_THROWS_TEXT(single.run(pardisoSolver), "pardisoSolverIC - 11");
        EXPECT_EQ(single.b, b);
    }
    EXPECT_THROWS_TEXT(pardisoSolverIC(1, nullptr, nullptr, nullptr, (float*)nullptr, nullptr, 1, 2),
                       "pardisoSolverIC - 11");
}

TEST(PardisoSolver, AMatrixThatIsNotPositiveDefiniteFailsInTheFactorisation)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    struct Case {
        const char* name;
        void (*spoil)(System&, double value);
        double value;
    };
    const auto setDiagonal = [](System& s, double v) { s.a[s.ia[12] - 1] = v; };
    const auto setLink = [](System& s, double v) { s.a[s.ia[12]] = v; };
    const auto setAll = [](System& s, double v) { s.a.assign(s.a.size(), v); };
    const auto setLast = [](System& s, double v) { s.a.back() = v; };
    const Case cases[] = {
        {"negative diagonal", setDiagonal, -3},
        {"zero diagonal", setDiagonal, 0},
        {"large link", setLink, 1e6},
        {"NaN", setLink, nan},
        {"infinity", setDiagonal, inf},
        {"all zero", setAll, 0},
        {"last diagonal too small", setLast, 1e-3},
    };
    const ScratchFolder folder;
    for (const auto& [width, height] : {std::pair(6, 5), {30, 1}}) // the grid's order and one row
        for (const Case& c : cases) {
            SCOPED_TRACE(c.name);
            System system = pictureSystem(width, height);
            c.spoil(system, c.value);
            Call<float> call(system);
            EXPECT_THROWS_TEXT(call.run(inCore), "pardisoSolverIC - 22");
            EXPECT_THROWS_TEXT(call.run(outOfCore), "pardisoSolverOOC - 22");
            EXPECT_EQ(call.b, Call<float>(system).b);
            EXPECT_TRUE(folder.empty());
            EXPECT_THROWS_TEXT(Call<double>(system).run(inCoreDouble), "pardisoSolverIC - 22");
        }
    System empty;
    for (int i = 0; i < 3; ++i)
        empty.endRow();
    empty.ja.reserve(1), empty.a.reserve(1); // rows without an entry, but arrays
    int columns[1] = {};
    float values[1] = {}, b[3] = {}, x[3] = {};
    EXPECT_THROWS_TEXT(pardisoSolverIC(3, values, empty.ia.data(), columns, b, x, 1, 2), "pardisoSolverIC - 22");
}

TEST(PardisoSolver, AnIndefiniteMatrixCanBeDeclared)
{
    System system = scatteredSystem(60, 150);
    for (int i = 0; i < system.n; i += 3)
        system.a[system.ia[i] - 1] *= -1;
    const std::vector<double> expected = denseSolution(system);
    Call<double> twice(system);
    EXPECT_THROWS_TEXT(twice.run(inCoreDouble), "pardisoSolverIC - 22");
    twice.mtype = -2;
    ASSERT_TRUE(twice.run(inCoreDouble));
    EXPECT_LT(relativeError(expected, twice.x.data()), kDoubleError);
    Call<float> single(system);
    single.mtype = -2;
    ASSERT_TRUE(single.run(outOfCore));
    EXPECT_LT(relativeError(expected, single.b.data()), kFloatError);
}

TEST(PardisoSolver, OutOfMemoryReturnsFalseOrThrowsAndLeavesTheRightHandSide)
{
    const System system = pictureSystem(70, 60);
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
    const System system = pictureSystem(200, 200);
    for (const auto& [form, megabytes] : {std::pair(inCore, 15.0), std::pair(outOfCore, 7.4)}) {
        const MemoryLimit limit(std::size_t(megabytes * 1e6));
        Call<float> call(system);
        EXPECT_TRUE(call.run(form)) << megabytes;
    }
}

TEST(PardisoSolver, OutOfCoreKeepsTheFactorInFilesAndRemovesThem)
{
    const System system = pictureSystem(300, 300);
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
    const System system = pictureSystem(20, 20);
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
    const System system = pictureSystem(40, 30);
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
    const unsigned modes = _mm_getcsr();
    const int dense = denseThreads ? denseThreads() : 0;
    Call<float> call(pictureSystem(20, 20));
    EXPECT_TRUE(call.run(inCore));
    call.a[0] = -1;
    EXPECT_THROWS_TEXT(call.run(inCore), "pardisoSolverIC - 22");
    EXPECT_EQ(_mm_getcsr() & ~0x3fu, modes & ~0x3fu); // all but the flags of what happened
    EXPECT_EQ(denseThreads ? denseThreads() : 0, dense);
    EXPECT_EQ(omp_get_max_threads(), 3);
    omp_set_num_threads(team);
}

namespace {

/// Solves with little more address space than the process has, from next to none to plenty; ends the process with 0 if
/// every call ended in success or out of memory.
void limitAddressSpace()
{
    const System system = pictureSystem(150, 150);
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
    const System system = pictureSystem(200, 200);
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
double peakMegabytes(FloatForm* form, const System& system)
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
    const System system = pictureSystem(600, 500);
    const double disk = peakMegabytes(outOfCore, system), memory = peakMegabytes(inCore, system); // the larger one last
    EXPECT_LT(disk, 0.55 * memory) << disk << " of " << memory << " MB";
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

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
    const System system = pictureSystem(60, 60);
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
