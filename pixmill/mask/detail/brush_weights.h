#pragma once

#include <cstddef>
#include <vector>

namespace pixmill::mask {

/// The weights of a dot by its distance from the centre in rows and columns, kept from one dot of a stroke to the next.
///
/// All four quarters of a dot have the same weights, so one is kept. Very large dots are not; their weights are
/// computed row by row. A dot without an edge has shares in place of weights (see openShare), unless a weight has none.
class BrushWeights {
public:
    /// Makes the weights those of this radius and this table of kBrushTable entries, unless they are.
    void update(int radius, const float* table, bool hasEdge);

    /// Columns, from the centre on, of which all others have no weight.
    long reach(int dy) const { return isKept() ? m_reach[dy] : m_radius + 1L; }

    /// The weight, or share, that changes no coverage.
    float none() const { return m_areShares ? 1.0f : 0.0f; }

    bool areShares() const { return m_areShares; }

    /// Whether all weights are 0..1, as they are unless the host wrote others into the table.
    bool areWithinOne() const { return m_areWithinOne; }

    /// n weights or shares from column dx on, and kBrushLanes more of no meaning; `room` for as many, which are used
    /// when they are not kept.
    const float* weights(int dx, int dy, int n, float* room) const;

private:
    bool isKept() const { return !m_reach.empty(); }
    void useTable(bool hasEdge);

    int m_radius = -1;
    bool m_hasEdge = false;
    bool m_areShares = false;
    bool m_areWithinOne = false;
    std::vector<float> m_key;     ///< the part of the host's table that the weights are made from
    std::vector<float> m_table;   ///< the same, or its shares
    std::vector<float> m_quarter; ///< row by row, m_radius + 1 of each, then kBrushLanes more
    std::vector<int> m_reach;
};

} // namespace pixmill::mask
