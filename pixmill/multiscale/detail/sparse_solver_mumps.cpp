#include <pixmill/multiscale/detail/sparse_solver.h>

#include <pixmill/multiscale/detail/nested_dissection.h>
#include <pixmill/multiscale/detail/solver_resources.h>
#include <pixmill/rows/flush.h>

#include <dmumps_c.h>
#include <smumps_c.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <mutex>
#include <new>
#include <vector>

/// The sparse solver on MUMPS, sequential: P. R. Amestoy, I. S. Duff, J. Koster and J.-Y. L'Excellent, "A fully
/// asynchronous multifrontal solver using distributed dynamic scheduling", SIAM Journal on Matrix Analysis and
/// Applications 23, 2001.
namespace pixmill::multiscale {
namespace {

template <class T>
struct Mumps;

template <>
struct Mumps<float> {
    using Record = SMUMPS_STRUC_C;
    static void call(Record& record) { smumps_c(&record); }
};

template <>
struct Mumps<double> {
    using Record = DMUMPS_STRUC_C;
    static void call(Record& record) { dmumps_c(&record); }
};

/// MUMPS keeps state of its own for the process, shared by both precisions.
std::mutex& solverMutex()
{
    static std::mutex mutex;
    return mutex;
}

bool meansOutOfMemory(int code)
{
    constexpr int kCodes[] = {-7, -8, -9, -11, -12, -13, -14, -15, -19};
    return std::find(std::begin(kCodes), std::end(kCodes), code) != std::end(kCodes);
}

/// The row of every entry, as the coordinate form wants it. A stored zero goes to the diagonal, where it adds nothing
/// and links nothing: columns and values can then stay the caller's own arrays.
template <class T>
std::vector<int> rowOfEntries(const UpperRows<T>& m)
{
    std::vector<int> rows(std::size_t(m.ia[m.n]) - 1);
    for (int i = 0; i < m.n; ++i)
        for (int k = m.ia[i] - 1; k < m.ia[i + 1] - 1; ++k)
            rows[k] = m.a[k] == T(0) ? m.ja[k] : i + 1;
    return rows;
}

/// Width of the grid whose cells the entries link to their right and lower neighbours only; 0 if there is none.
/// Without lower neighbours the grid is one row.
int gridWidth(int n, const std::vector<int>& rows, const int* columns)
{
    int width = n;
    bool sideways = false;
    for (std::size_t k = 0; k < rows.size(); ++k) {
        const int reach = columns[k] - rows[k];
        if (reach > 1 && width != n && reach != width)
            return 0;
        if (reach > 1)
            width = reach;
        sideways = sideways || reach == 1;
    }
    if (n % width != 0)
        return 0;
    for (std::size_t k = 0; sideways && k < rows.size(); ++k)
        if (columns[k] - rows[k] == 1 && rows[k] % width == 0)
            return 0; // joins the end of one row with the start of the next
    return width;
}

/// residual = b - A x, summed in double precision.
template <class T>
void residualOf(const UpperRows<T>& m, const T* b, const T* x, std::vector<double>& residual)
{
    std::copy(b, b + m.n, residual.begin());
    for (int i = 0; i < m.n; ++i) {
        const double own = x[i];
        double sum = 0;
        for (int k = m.ia[i] - 1; k < m.ia[i + 1] - 1; ++k) {
            const int j = m.ja[k] - 1;
            const double v = m.a[k];
            sum += v * x[j];
            if (j != i)
                residual[j] -= v * own;
        }
        residual[i] -= sum;
    }
}

template <class T>
double largest(const T* v, std::size_t n)
{
    double most = 0;
    for (std::size_t i = 0; i < n; ++i)
        most = std::max(most, std::abs(double(v[i])));
    return most;
}

} // namespace

template <class T>
bool isWellFormed(const UpperRows<T>& m)
{
    if (m.n < 1 || !m.a || !m.ia || !m.ja || m.ia[0] != 1)
        return false;
    if (!std::is_sorted(m.ia, m.ia + m.n + 1)) // before any column is read by them
        return false;
    for (int i = 0; i < m.n; ++i)
        for (int k = m.ia[i] - 1; k < m.ia[i + 1] - 1; ++k)
            if (m.ja[k] <= i || m.ja[k] > m.n)
                return false;
    return true;
}

/// One MUMPS instance with what it refers to. Members go in reverse order: files after the instance, the lock last.
template <class T>
class SparseSolver<T>::State {
public:
    State() : m_lock(solverMutex()) {}
    ~State() { run(-2); }

    SolveOutcome analyse(const UpperRows<T>& m, MatrixKind kind);
    SolveOutcome factorise(const UpperRows<T>& m, MatrixKind kind, FactorStore store);
    SolveOutcome solve(const UpperRows<T>& m, const T* b, T* x, int nrhs);

private:
    SolveOutcome run(int job);

    std::unique_lock<std::mutex> m_lock;
    OneDenseThread m_denseThread;
    TemporaryFolder m_folder;
    std::vector<int> m_rows;
    typename Mumps<T>::Record m_mumps = {};
    bool m_started = false;
};

template <class T>
SolveOutcome SparseSolver<T>::State::run(int job)
{
    if (job == -1)
        m_started = true;
    else if (!m_started)
        return SolveOutcome::failure;
    m_mumps.job = job;
    {
        // Factors fade away from the diagonal, in single precision down to subnormal numbers: without this a
        // factorisation takes four times as long, for digits 30 orders below any pixel's.
        const rows::FlushSubnormals flush;
        Mumps<T>::call(m_mumps);
    }
    const int code = m_mumps.infog[0];
    if (job == -2 || (job == -1 && code < 0))
        m_started = false;
    if (code == 0)
        return SolveOutcome::success;
    return meansOutOfMemory(code) ? SolveOutcome::outOfMemory : SolveOutcome::failure;
}

template <class T>
SolveOutcome SparseSolver<T>::State::analyse(const UpperRows<T>& m, MatrixKind kind)
{
    constexpr std::size_t kBytesAnUnknown = 130; // what ordering and symbolic analysis of a grid take at most
    const std::size_t entries = m.ia[m.n] - 1;
    if (!denseKernelsReady() || !memoryCanHold(kBytesAnUnknown * std::max<std::size_t>(m.n, entries / 3)))
        return SolveOutcome::outOfMemory;
    if (entries == 0)
        return SolveOutcome::success; // all zero: for the factorisation to refuse

    m_rows = rowOfEntries(m);
    const int width = gridWidth(m.n, m_rows, m.ja);
    std::vector<int> position;
    if (width > 0)
        position = gridEliminationOrder(width, m.n / width);

    m_mumps.sym = kind == MatrixKind::positiveDefinite ? 1 : 2;
    m_mumps.par = 1;
    m_mumps.comm_fortran = -987654; // the communicator of the whole program
    if (const SolveOutcome outcome = run(-1); outcome != SolveOutcome::success)
        return outcome;

    const auto control = [this](int number, int value) { m_mumps.icntl[number - 1] = value; };
    for (const int stream : {1, 2, 3})
        control(stream, -1);              // silent
    control(4, 0);                        // no diagnostics
    control(6, 0);                        // no permutation of columns
    control(7, position.empty() ? 2 : 1); // approximate minimum fill, or the order given
    control(10, 0);                       // refinement is our own
    control(11, 0);                       // no error analysis
    control(12, 1);                       // no compressed ordering
    control(28, 1);                       // sequential analysis
    control(58, 2);                       // symbolic factorisation by column counts, in half the time
    if (kind == MatrixKind::indefinite)
        control(14, 100); // percent of room for pivots that must wait
    if (!position.empty())
        m_mumps.keep[0] = 12; // least unknowns a front for fronts to be merged: many small leaves cost time
    m_mumps.n = m.n;
    m_mumps.nnz = std::int64_t(m_rows.size());
    m_mumps.irn = m_rows.data();
    m_mumps.jcn = const_cast<int*>(m.ja); // only read
    m_mumps.a = const_cast<T*>(m.a);
    m_mumps.perm_in = position.empty() ? nullptr : position.data();
    const SolveOutcome outcome = run(1);
    m_mumps.perm_in = nullptr;
    return outcome;
}

template <class T>
SolveOutcome SparseSolver<T>::State::factorise(const UpperRows<T>& m, MatrixKind kind, FactorStore store)
{
    // A value that is not finite would pass, and make all of the result NaN.
    if (!m_started || !std::all_of(m.a, m.a + m_rows.size(), [](T v) { return std::isfinite(v); }))
        return SolveOutcome::failure;

    if (store == FactorStore::disk) {
        if (!m_folder.create() || m_folder.path().size() >= sizeof m_mumps.ooc_tmpdir)
            return SolveOutcome::failure;
        std::strcpy(m_mumps.ooc_tmpdir, m_folder.path().c_str());
        m_mumps.icntl[21] = 1;
        m_mumps.keep[98] = 3; // buffered, without the thread for input and output, which never ends on a full disk
    }
    const std::size_t megabytes = m_mumps.infog[store == FactorStore::disk ? 25 : 15];
    if (!memoryCanHold(megabytes * 1000000 + 16 * std::size_t(m.n)))
        return SolveOutcome::outOfMemory;
    const SolveOutcome outcome = run(2);
    m_mumps.irn = nullptr;
    m_rows = {};
    if (outcome != SolveOutcome::success)
        return outcome;

    const int negativePivots = m_mumps.infog[11]; // counted, not refused
    return kind == MatrixKind::positiveDefinite && negativePivots > 0 ? SolveOutcome::failure : outcome;
}

template <class T>
SolveOutcome SparseSolver<T>::State::solve(const UpperRows<T>& m, const T* b, T* x, int nrhs)
{
    // Single precision alone is off by 1e-4 of the range in flat pictures. A correction from a residual in double
    // precision brings that to half a unit in the last place, in one or two steps.
    constexpr int kMostCorrections = 5;
    constexpr double kNegligible = std::max(double(std::numeric_limits<T>::epsilon()) / 128, 1e-15);

    const std::size_t n = m.n, count = n * nrhs;
    if (!memoryCanHold(count * 3 * sizeof(T) + n * sizeof(double)))
        return SolveOutcome::outOfMemory;
    std::vector<T> change(b, b + count);
    std::vector<double> residual(n);
    m_mumps.nrhs = nrhs;
    m_mumps.lrhs = m.n;
    m_mumps.rhs = change.data();
    if (const SolveOutcome outcome = run(3); outcome != SolveOutcome::success)
        return outcome;
    std::copy(change.begin(), change.end(), x);

    double before = largest(x, count);
    for (int step = 0; step < kMostCorrections; ++step) {
        for (std::size_t first = 0; first < count; first += n) {
            residualOf(m, b + first, x + first, residual);
            std::copy(residual.begin(), residual.end(), change.begin() + first);
        }
        if (const SolveOutcome outcome = run(3); outcome != SolveOutcome::success)
            return outcome;
        for (std::size_t i = 0; i < count; ++i)
            x[i] += change[i];

        // Corrections shrink by a steady factor, so the next one can be told from the last two. A NaN ends it too.
        const double now = largest(change.data(), count);
        if (!(now * now > before * kNegligible * largest(x, count)))
            break;
        before = now;
    }
    return SolveOutcome::success;
}

template <class T>
SparseSolver<T>::SparseSolver(const UpperRows<T>& matrix, MatrixKind kind, FactorStore store)
    : m_matrix(matrix), m_kind(kind), m_store(store)
{
}

template <class T>
SparseSolver<T>::~SparseSolver() = default;

template <class T>
SolveOutcome SparseSolver<T>::analyse()
try {
    if (!isWellFormed(m_matrix))
        return SolveOutcome::failure;
    m_state = std::make_unique<State>();
    return m_state->analyse(m_matrix, m_kind);
} catch (const std::bad_alloc&) {
    return SolveOutcome::outOfMemory;
}

template <class T>
SolveOutcome SparseSolver<T>::factorise()
try {
    return m_state ? m_state->factorise(m_matrix, m_kind, m_store) : SolveOutcome::failure;
} catch (const std::bad_alloc&) {
    return SolveOutcome::outOfMemory;
}

template <class T>
SolveOutcome SparseSolver<T>::solve(const T* b, T* x, int nrhs)
try {
    return m_state && b && x && nrhs > 0 ? m_state->solve(m_matrix, b, x, nrhs) : SolveOutcome::failure;
} catch (const std::bad_alloc&) {
    return SolveOutcome::outOfMemory;
}

template <class T>
void SparseSolver<T>::release()
{
    m_state.reset();
}

template bool isWellFormed(const UpperRows<float>&);
template bool isWellFormed(const UpperRows<double>&);
template class SparseSolver<float>;
template class SparseSolver<double>;

} // namespace pixmill::multiscale
