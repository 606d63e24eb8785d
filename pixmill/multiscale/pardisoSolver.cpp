#include <pixmill/multiscale/detail/sparse_solver.h>
#include <pixmill/multiscale/pardisoSolver.h>

#include <algorithm>
#include <cstddef>

namespace {

using namespace pixmill::multiscale;

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

/// Solves for `x`.
///
/// @return false if memory ran out.
template <class T>
bool solveByStages(const System<T>& s, FactorStore store, const StageTexts& texts)
{
    if (!s.b || !s.x || s.nrhs < 1 || (s.mtype != 2 && s.mtype != -2))
        throw texts.analysis;
    const auto passed = [&texts](SolveOutcome outcome, const char* text) {
        if (outcome == SolveOutcome::failure || (outcome == SolveOutcome::outOfMemory && texts.alsoForMemory))
            throw text;
        return outcome == SolveOutcome::success;
    };
    const MatrixKind kind = s.mtype == 2 ? MatrixKind::positiveDefinite : MatrixKind::indefinite;
    SparseSolver<T> solver(s.matrix, kind, store); // gives everything back at the end, also on a throw
    return passed(solver.analyse(), texts.analysis) && passed(solver.factorise(), texts.factorisation) &&
           passed(solver.solve(s.b, s.x, s.nrhs), texts.solution);
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
