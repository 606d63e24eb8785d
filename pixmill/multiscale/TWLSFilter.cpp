#include <pixmill/multiscale/TWLSFilter.h>

#include <pixmill/multiscale/detail/direct_solve.h>
#include <pixmill/multiscale/detail/multigrid/grid_solver.h>
#include <pixmill/primitives/memory.h>
#include <pixmill/primitives/vector.h>
#include <pixmill/rows/check.h>
#include <pixmill/rows/logarithm.h>
#include <pixmill/rows/rows.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>

using namespace pixmill::rows;
using namespace pixmill::multiscale;

namespace {

template <class T>
T* allocate(std::size_t count)
{
    return static_cast<T*>(MKL_malloc(count * sizeof(T), 32));
}

template <class T>
void release(T*& p)
{
    MKL_free(p);
    p = nullptr;
}

} // namespace

/// The weight of two neighbours with its sign in the matrix.
struct TWLSFilter::Weight {
    float lambda, alpha, eps;

    /// out = -lambda / (|to - from|^alpha + eps), for `n` neighbours.
    void row(int n, const float* __restrict from, const float* __restrict to, float* __restrict out) const
    {
        const Power power(alpha);
        for (int x = 0; x < n; ++x)
            out[x] = -lambda / (power(std::abs(to[x] - from[x])) + eps);
    }
};

TWLSFilter::~TWLSFilter()
{
    freemem();
}

void TWLSFilter::freemem()
{
    release(m_dx_p);
    release(m_dy_p);
    release(m_work_p);
    release(m_a_p);
    release(m_ia_p);
    release(m_ja_p);
    m_width = m_height = m_numPixels = m_nnzCapacity = 0;
    m_held = 0;
}

void TWLSFilter::realloc(int width, int height)
{
    const std::size_t n = std::size_t(width) * height;
    const bool held = m_dx_p && m_dy_p && m_work_p && m_a_p && m_ia_p && m_ja_p && n == m_held;
    if (width < 1 || height < 1 || (held && width == m_width && height == m_height))
        return;
    freemem();
    if (n <= std::numeric_limits<int>::max() / 3) { // entries are counted in an int
        m_dx_p = allocate<float>(n);
        m_dy_p = allocate<float>(n);
        m_work_p = allocate<float>(n);
        m_a_p = allocate<float>(3 * n);
        m_ia_p = allocate<int>(n + 1);
        m_ja_p = allocate<int>(3 * n);
    }
    if (!m_dx_p || !m_dy_p || !m_work_p || !m_a_p || !m_ia_p || !m_ja_p) {
        freemem();
        throw "TWLSFilter::realloc - failed";
    }
    m_width = width;
    m_height = height;
    m_numPixels = int(n);
    m_held = n;
    m_nnzCapacity = int(3 * n);
}

/// Lends the arrays of the matrix while it lives, and then fills them.
class TWLSFilter::LentMatrix {
public:
    explicit LentMatrix(TWLSFilter& filter) : m_filter(filter)
    {
        space.lend(filter.m_a_p, 3 * filter.m_held * sizeof(float));
        space.lend(filter.m_ja_p, 3 * filter.m_held * sizeof(int));
        space.lend(filter.m_ia_p, (filter.m_held + 1) * sizeof(int));
    }
    ~LentMatrix()
    {
        m_filter.sumDiagonal();
        m_filter.storeUpperTriangle();
    }
    LentMatrix(const LentMatrix&) = delete;
    LentMatrix& operator=(const LentMatrix&) = delete;

    Workspace space;

private:
    TWLSFilter& m_filter;
};

bool TWLSFilter::Proc(float* in, int width, int height, float lambda, float alpha, float* guide, bool logGuide)
{
    return Proc(in, width, height, lambda, alpha, guide, logGuide, nullptr);
}

bool TWLSFilter::Proc(float* in, int width, int height, float lambda, float alpha, float* guide, bool logGuide,
                      TProgress* progress)
{
    if (width < 1 || height < 1)
        return true;
    PIXMILL_CHECK(in, "TWLSFilter::Proc", "in", describe(in), "samples");
    PIXMILL_CHECK(guide, "TWLSFilter::Proc", "guide", describe(guide), "samples");
    realloc(width, height);
    if (logGuide)
        takeLogarithm(guide);
    weigh(guide, {lambda, alpha, m_weightEps});
    sumDiagonal();
    return solve(in, progress);
}

/// @return false if the host cancelled. Out of memory leaves `in` as it is.
bool TWLSFilter::solve(float* in, TProgress* progress)
try {
    GridOutcome outcome;
    {
        LentMatrix matrix(*this);
        outcome = solveGrid({m_width, m_height, m_dx_p, m_dy_p}, m_work_p, in, matrix.space, progress);
    }
    if (outcome == GridOutcome::unsuitable)
        solveDirectly(int(m_held), m_a_p, m_ia_p, m_ja_p, in, m_work_p);
    return outcome != GridOutcome::cancelled;
} catch (const std::bad_alloc&) {
    return true;
}

void TWLSFilter::takeLogarithm(float* guide) const
{
    std::for_each(guide, guide + m_held, [eps = m_logEps](float& v) { v += eps; });
    vsLn(int(m_held), guide, guide);
}

/// The zeros in the last row and column keep rows apart in all that follows.
void TWLSFilter::weigh(const float* guide, const Weight& weight)
{
    forEachRow({m_width, m_height}, [&](int y) {
        const std::ptrdiff_t row = std::ptrdiff_t(y) * m_width;
        const float* g = guide + row;
        if (y + 1 < m_height)
            weight.row(m_width, g, g + m_width, m_dy_p + row);
        else
            std::fill_n(m_dy_p + row, m_width, 0.0f);
        weight.row(m_width - 1, g, g + 1, m_dx_p + row);
        m_dx_p[row + m_width - 1] = 0.0f;
    });
}

/// A pixel's 1 and the weights of its four neighbours, subtracted one after the other.
void TWLSFilter::sumDiagonal()
{
    forEachRow({m_width, m_height}, [&](int y) {
        const std::ptrdiff_t row = std::ptrdiff_t(y) * m_width;
        const float* dx = m_dx_p + row;
        const float* dy = m_dy_p + row;
        float* diagonal = m_work_p + row;
        for (int x = 0; x < m_width; ++x)
            diagonal[x] = 1.0f - dx[x] - dy[x];
        for (int x = 1; x < m_width; ++x)
            diagonal[x] -= dx[x - 1];
        for (int x = 0; y > 0 && x < m_width; ++x)
            diagonal[x] -= dy[x - m_width];
    });
}

void TWLSFilter::storeUpperTriangle()
{
    const std::ptrdiff_t n = m_held, w = m_width, last = n - w; // pixels from `last` on have none below
    forEachRow({m_width, m_height}, [&](int y) {
        for (std::ptrdiff_t i = y * w, end = i + w; i < end; ++i) {
            std::ptrdiff_t c = std::min(i, last) * 3 + std::max<std::ptrdiff_t>(i - last, 0) * 2;
            m_ia_p[i] = int(c + 1);
            const auto store = [&](float value, std::ptrdiff_t column) {
                m_a_p[c] = value;
                m_ja_p[c++] = int(column);
            };
            store(m_work_p[i], i + 1);
            if (i + 1 < n)
                store(m_dx_p[i], i + 2); // at the end of a row a zero
            if (i < last)
                store(m_dy_p[i], i + 1 + w);
        }
    });
    m_ia_p[n] = int(3 * n - w);
}
