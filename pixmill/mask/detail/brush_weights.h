#pragma once

#include <cstddef>
#include <vector>

namespace pixmill::detail {

/// The weights of a dot by its distance from the centre in rows and columns, kept from one dot of a stroke to the next.
///
/// All four quarters of a dot have the same weights, so one is kept. Very large dots are not; their weights are
/// computed row by row.
class BrushWeights {
public:
    /// Makes the weights those of this radius and this table of kBrushTable entries, unless they are.
    void update(int radius, const float* table);

    /// Columns, from the centre on, of which all others have weight 0.
    long reach(int dy) const { return isKept() ? m_reach[dy] : m_radius + 1L; }

    /// Columns, from the centre on, that all have weight 1.
    int full(int dy) const { return isKept() ? m_full[dy] : 0; }

    /// Whether all weights are 0..1, as they are unless the host wrote others into the table.
    bool isWithinOne() const { return m_isWithinOne; }

    /// n weights from column dx on; `room` for as many, which are used when the weights are not kept.
    const float* weights(int dx, int dy, int n, float* room) const;

private:
    bool isKept() const { return !m_reach.empty(); }

    int m_radius = -1;
    bool m_isWithinOne = false;
    const float* m_table_p = nullptr; ///< the caller's, between an update and the end of its dot
    std::vector<float> m_key;         ///< the part of the table that the weights were made from
    std::vector<float> m_quarter;     ///< row by row, m_radius + 1 of each
    std::vector<int> m_reach, m_full;
};

} // namespace pixmill::detail
