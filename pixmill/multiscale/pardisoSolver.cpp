#include <pixmill/multiscale/pardisoSolver.h>

#include <pixmill/multiscale/detail/solver_resources.h>
#include <pixmill/multiscale/detail/sparse_solver.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

using namespace pixmill::multiscale;

namespace {

/// What each stage throws when it fails, and whether running out of memory is such a failure.
struct StageTexts {
    const char* analysis;
    const char* factorisation;
    const char* solution;
    bool alsoForMemory;
};

// The in-core form in single precision says 22 for its last stage too: hosts know it so.
constexpr StageTexts kInCoreFloat = {"pardisoSolverIC - 11", "pardisoSolverIC - 22", "pardisoSolverIC - 22", false};
constexpr StageTexts kInCoreDouble = {"pardisoSolverIC - 11", "pardisoSolverIC - 22", "pardisoSolverIC - 33", true};
constexpr StageTexts kOutOfCore = {"pardisoSolverOOC - 11", "pardisoSolverOOC - 22", "pardisoSolverOOC - 33", false};

template <class T>
struct System {
    UpperRows<T> matrix;
    T* b;
    T* x;
    int nrhs, mtype;
};

enum Stage { analysis, factorisation, solution };

/// How far the work came. A stage that does not come back died for want of memory.
struct Report {
    Stage stage = analysis;
    SolveOutcome outcome = SolveOutcome::outOfMemory;

    template <class Work>
    bool passes(Stage next, const Work& work)
    {
        stage = next;
        outcome = SolveOutcome::outOfMemory;
        outcome = work();
        return outcome == SolveOutcome::success;
    }
};

/// All stages, for `x`.
template <class T>
void runStages(const System<T>& s, FactorStore store, T* x, Report& report)
{
    const MatrixKind kind = s.mtype == 2 ? MatrixKind::positiveDefinite : MatrixKind::indefinite;
    SparseSolver<T> solver(s.matrix, kind, store); // gives everything back at the end, also on a throw
    if (report.passes(analysis, [&] { return solver.analyse(); }) &&
        report.passes(factorisation, [&] { return solver.factorise(); }))
        report.passes(solution, [&] { return solver.solve(s.b, x, s.nrhs); });
}

/// The same where a death cannot take the host along.
template <class T>
Report runStagesApart(const System<T>& s, FactorStore store)
{
    constexpr std::size_t kHead = 64; // the report, then the solution
    const std::size_t most = std::numeric_limits<std::ptrdiff_t>::max() / (2 * sizeof(T)) / s.nrhs;
    const std::size_t count = std::size_t(std::max(s.matrix.n, 0)) * s.nrhs;
    if (std::size_t(std::max(s.matrix.n, 0)) > most || !memoryCanHold(kHead + count * sizeof(T)))
        return {};
    const SharedPages pages(kHead + count * sizeof(T));
    if (!pages.data() || !denseKernelsReady()) // once for the host, not for every copy
        return {};
    static_assert(sizeof(Report) <= kHead);
    Report* const report = new (pages.data()) Report;
    T* const x = reinterpret_cast<T*>(static_cast<char*>(pages.data()) + kHead);
    runApart([&] { runStages(s, store, x, *report); });
    if (report->outcome == SolveOutcome::success && report->stage == solution)
        std::copy_n(x, count, s.x);
    return *report;
}

/// Solves for `x`.
///
/// @return false if memory ran out.
template <class T>
bool solveByStages(const System<T>& s, FactorStore store, const StageTexts& texts)
{
    if (!s.b || !s.x || s.nrhs < 1 || (s.mtype != 2 && s.mtype != -2) || !isWellFormed(s.matrix))
        throw texts.analysis;
    const Report report = runStagesApart(s, store);
    const bool solved = report.outcome == SolveOutcome::success;
    if (report.outcome == SolveOutcome::failure || (!solved && texts.alsoForMemory)) {
        const char* const all[] = {texts.analysis, texts.factorisation, texts.solution};
        throw all[report.stage];
    }
    return solved;
}

/// Solves for `b`.
bool solveInPlace(const System<float>& s, FactorStore store, const StageTexts& texts)
{
    const bool solved = solveByStages(s, store, texts);
    if (solved)
        std::copy_n(s.x, std::size_t(s.matrix.n) * s.nrhs, s.b);
    return solved;
}

} // namespace

bool pardisoSolverIC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype)
{
    return solveInPlace({{n, a, ia, ja}, b, x, nrhs, mtype}, FactorStore::memory, kInCoreFloat);
}

bool pardisoSolverIC(int n, double* a, int* ia, int* ja, double* b, double* x, int nrhs, int mtype)
{
    return solveByStages<double>({{n, a, ia, ja}, b, x, nrhs, mtype}, FactorStore::memory, kInCoreDouble);
}

bool pardisoSolverOOC(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype)
{
    return solveInPlace({{n, a, ia, ja}, b, x, nrhs, mtype}, FactorStore::disk, kOutOfCore);
}

bool pardisoSolver(int n, float* a, int* ia, int* ja, float* b, float* x, int nrhs, int mtype)
{
    return !pardisoSolverIC(n, a, ia, ja, b, x, nrhs, mtype);
}
