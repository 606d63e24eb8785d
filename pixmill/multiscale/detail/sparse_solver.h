#pragma once

#include <cstddef>
#include <memory>

/// The library's one way to a sparse direct solver. Nothing of the solver behind it shows here.
namespace pixmill::multiscale {

enum class SolveOutcome { success, outOfMemory, failure };

/// A symmetric matrix of order n: its upper triangle by rows, with 1-based indices.
///
/// Row i (from 0) holds the entries `ia[i] - 1` to `ia[i + 1] - 2` of `a` and `ja`, in any order; entries at one place
/// add up, and zeros may be stored.
template <class T>
struct UpperRows {
    int n;
    const T* a;
    const int* ia; ///< n + 1 row starts, the first of them 1.
    const int* ja;
};

/// Whether the order is 1 or more, there are all arrays, row starts rise from 1, and columns lie from the diagonal on.
template <class T>
bool isWellFormed(const UpperRows<T>& m);

enum class MatrixKind { positiveDefinite, indefinite };
enum class FactorStore { memory, disk };

/// What the solver may ask for; for the whole process. Hosts leave it alone, tests lower it between calls.
struct SolverLimits {
    std::size_t bytes; ///< A stage that needs more ends as out of memory.
};
SolverLimits& solverLimits();

/// Direct solution of one symmetric system in three stages, each called once and in this order, the next one only
/// after a success.
///
/// The solver underneath is not thread-safe: from `analyse` to `release` an object holds a lock of the whole process,
/// so a second one on another thread waits, and one thread must not have two. Over the same time dense kernels run on
/// the calling thread alone. The matrix's arrays must stay as they are until `release`.
template <class T>
class SparseSolver {
public:
    SparseSolver(const UpperRows<T>& matrix, MatrixKind kind, FactorStore store);
    ~SparseSolver();
    SparseSolver(const SparseSolver&) = delete;
    SparseSolver& operator=(const SparseSolver&) = delete;

    /// Checks the rows, orders and analyses. Rows that are malformed are a failure: an order below 1, missing arrays,
    /// row starts that fall or do not begin at 1, columns left of the diagonal or beyond the order.
    SolveOutcome analyse();

    /// Factorises. A failure if the matrix holds a value that is not finite, is singular, is not positive definite
    /// though it was said to be, or if the folder for temporary files cannot take the factor.
    SolveOutcome factorise();

    /// Solves for `nrhs` right-hand sides, n values each, one after another in `b`, with up to five steps of
    /// refinement on residuals in double precision. `x` is of the same size and must not be `b`.
    SolveOutcome solve(const T* b, T* x, int nrhs);

    /// Gives back everything that was taken, memory and files; also done on destruction.
    void release();

private:
    class State;

    UpperRows<T> m_matrix;
    MatrixKind m_kind;
    FactorStore m_store;
    std::unique_ptr<State> m_state; ///< From `analyse` to `release`.
};

extern template class SparseSolver<float>;
extern template class SparseSolver<double>;

} // namespace pixmill::multiscale
