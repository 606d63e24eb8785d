#pragma once

#include <pixmill/rows/pixel.h>

#include <algorithm>

/// Rows of samples that repeat their ends.
namespace pixmill::filters {

using namespace rows;

/// A row that repeats the ends of its `width` samples: column 0 stands at s[first].
struct EdgedRow {
    const float* s;
    int width, first;

    /// The row's own samples among the first n columns; there is one at least.
    EdgedRow within(int n) const
    {
        const int begin = std::max(first, 0);
        return {s + begin, std::min(first + n, width) - begin, 0};
    }

    /// n samples from column x on: in `buffer` unless they stand side by side already.
    const float* samples(int x, int n, float* buffer) const
    {
        const int from = first + x;
        if (from >= 0 && from + n <= width)
            return s + from;
        const int begin = limit(-from, 0, n), end = limit(width - from, begin, n);
        std::fill(buffer, buffer + begin, s[0]);
        std::copy(s + from + begin, s + from + end, buffer + begin);
        std::fill(buffer + end, buffer + n, s[width - 1]);
        return buffer;
    }
};

/// The rows of planes in three pieces of whole vectors of eight: the first `delay` columns, at most kMostDelay; those
/// that stand side by side; and from column m_tail on those up to `end`.
template <int kPlanes>
class RowEdges {
public:
    static constexpr int kMostDelay = 144;

    RowEdges(const EdgedRow (&rows)[kPlanes], int delay, int end)
        : m_tail(std::max(std::min(rows[0].width - rows[0].first, end) / 8 * 8, delay))
    {
        for (int p = 0; p < kPlanes; ++p) {
            m_left[p] = rows[p].samples(0, delay, m_buffers[p]);
            m_middle[p] = rows[p].s + rows[p].first;
            m_right[p] = rows[p].samples(m_tail, (end - m_tail + 7) / 8 * 8, m_buffers[p] + kMostDelay);
        }
    }

    int m_tail;
    const float *m_left[kPlanes], *m_middle[kPlanes], *m_right[kPlanes];

private:
    float m_buffers[kPlanes][4 * kMostDelay];
};

} // namespace pixmill::filters
