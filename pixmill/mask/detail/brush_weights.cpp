#include <pixmill/mask/detail/brush_weights.h>

#include <pixmill/mask/detail/brush_cover.h>
#include <pixmill/mask/detail/brush_falloff.h>
#include <pixmill/rows/rows.h>

#include <algorithm>

namespace pixmill::mask {

using namespace rows;

namespace {

constexpr int kLargestKept = 1024; // 4 MB

} // namespace

void BrushWeights::update(int radius, const float* table, bool hasEdge)
{
    const bool keep = radius <= kLargestKept;
    const std::size_t entries = keep ? std::size_t(brushDistance(radius, radius) + 0.5f) + 1 : kBrushTable;
    // The host may write into the table, so that equal radii alone do not tell equal weights.
    if (radius == m_radius && hasEdge == m_hasEdge && std::equal(m_key.begin(), m_key.end(), table))
        return;
    m_radius = -1; // nothing is kept should memory run out
    m_reach.clear();
    m_key.assign(table, table + entries);
    useTable(hasEdge);
    if (keep) {
        const std::size_t n = std::size_t(radius) + 1;
        m_quarter.resize(n * n + kBrushLanes);
        m_reach.resize(n);
        forEachIndex(int(n), long(n * n), [&](int dy) {
            float* w = &m_quarter[dy * n];
            tableWeights(m_table.data(), none(), 0, dy, w, int(n));
            std::size_t reach = n;
            while (reach > 0 && w[reach - 1] == none())
                --reach;
            m_reach[dy] = int(reach);
        });
    }
    m_radius = radius;
    m_hasEdge = hasEdge;
}

void BrushWeights::useTable(bool hasEdge)
{
    m_areWithinOne = std::all_of(m_key.begin(), m_key.end(), [](float v) { return v >= 0.0f && v <= 1.0f; });
    m_areShares = false;
    m_table = m_key;
    if (hasEdge)
        return;
    const int n = int(m_key.size());
    forEachIndex(n, n * 256L, [&](int i) { m_table[i] = openShare(m_key[i]); });
    m_areShares = std::all_of(m_table.begin(), m_table.end(), [](float v) { return v >= 0.0f; });
    if (!m_areShares)
        m_table = m_key;
}

const float* BrushWeights::weights(int dx, int dy, int n, float* room) const
{
    if (isKept())
        return &m_quarter[std::size_t(dy) * (std::size_t(m_radius) + 1) + dx];
    tableWeights(m_table.data(), none(), dx, dy, room, n);
    return room;
}

} // namespace pixmill::mask
