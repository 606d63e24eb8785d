#include <pixmill/mask/detail/brush_weights.h>

#include <pixmill/core/detail/rows.h>
#include <pixmill/mask/detail/brush.h>

#include <algorithm>

namespace pixmill::detail {

namespace {

constexpr int kLargestKept = 1024; // 4 MB

} // namespace

void BrushWeights::update(int radius, const float* table)
{
    m_table_p = table;
    if (radius > kLargestKept) {
        m_radius = radius;
        m_reach.clear();
        return;
    }
    // The host may write into the table, so that equal radii alone do not tell equal weights.
    const std::size_t farthest = std::size_t(brushDistance(radius, radius) + 0.5f);
    if (isKept() && radius == m_radius && std::equal(m_key.begin(), m_key.end(), table))
        return;
    const std::size_t n = std::size_t(radius) + 1;
    m_reach.clear(); // nothing is kept should memory run out
    m_key.assign(table, table + farthest + 1);
    m_quarter.resize(n * n);
    m_full.resize(n);
    m_reach.resize(n);
    m_radius = radius;
    forEachIndex(int(n), long(n * n), [&](int dy) {
        float* w = &m_quarter[dy * n];
        tableWeights(table, 0, dy, w, int(n));
        std::size_t reach = n, full = 0;
        while (reach > 0 && w[reach - 1] == 0.0f)
            --reach;
        while (full < n && w[full] == 1.0f)
            ++full;
        m_reach[dy] = int(reach);
        m_full[dy] = int(full);
    });
}

const float* BrushWeights::weights(int dx, int dy, int n, float* room) const
{
    if (isKept())
        return &m_quarter[std::size_t(dy) * (std::size_t(m_radius) + 1) + dx];
    tableWeights(m_table_p, dx, dy, room, n);
    return room;
}

} // namespace pixmill::detail
