#pragma once

#include <pixmill/multiscale/detail/multigrid/grid.h>

#include <algorithm>

namespace pixmill::multiscale {

/// The system of colour 0 alone, S z = c0 z - (neighbours' sum of t), where t, on colour 1, is what fits z there
/// exactly. Rows are had one after the other; of z and t only four stay. What rows are computed does not change their
/// bits.
///
/// `make(y, row)` writes row y of z, once for each row from y - 2 of the first row asked for to y + 2 of the last.
template <class T>
class SchurRows {
public:
    static std::size_t roomFor(int count) { return 8 * (std::size_t(count) + 2); }

    SchurRows(const Grid& grid, T* room)
        : m_grid(grid), m_each(std::ptrdiff_t(grid.count) + 2), m_z(room + 1), m_t(m_z + 4 * m_each)
    {
        std::fill_n(room, roomFor(grid.count), T(0));
    }

    /// To be called before row(y), the first of the rows asked for.
    void begin(int y)
    {
        m_first = y;
        m_next = y - 2;
    }

    /// Row y of S z, within the picture. One place alone asks for rows of z, or steps upon steps would multiply the
    /// code.
    template <class Make>
    void row(int y, const Make& make, T* __restrict out)
    {
        for (; m_next <= y + 2; ++m_next) {
            take(m_next, make);
            if (m_next >= m_first)
                fit(m_next - 1);
        }
        sumForColour0(m_grid, y, t(y - 1), t(y), t(y + 1), out);
        const float* c0 = m_grid.c0.row(y);
        const T* v = z(y);
        for (int k = 0; k < m_grid.count; ++k)
            out[k] = c0[k] * v[k] - out[k];
    }

    /// Row y of z, from y - 1 to y + 2 of the last row asked for.
    T* z(int y) const { return m_z + (y & 3) * m_each; }

private:
    T* t(int y) const { return m_t + (y & 3) * m_each; }

    bool outside(int y) const { return y < 0 || y >= m_grid.height; }

    template <class Make>
    void take(int y, const Make& make)
    {
        if (outside(y))
            std::fill_n(z(y), m_grid.count, T(0));
        else
            make(y, z(y));
    }

    void fit(int y)
    {
        T* __restrict out = t(y);
        if (outside(y)) {
            std::fill_n(out, m_grid.count, T(0));
            return;
        }
        sumForColour1(m_grid, y, z(y - 1), z(y), z(y + 1), out);
        const float* c1 = m_grid.c1.row(y);
        for (int k = 0; k < m_grid.count; ++k)
            out[k] = out[k] / c1[k];
    }

    const Grid& m_grid;
    std::ptrdiff_t m_each;
    T *m_z, *m_t;
    int m_first = 0, m_next = 0; ///< the first row asked for; the next row of z
};

} // namespace pixmill::multiscale
