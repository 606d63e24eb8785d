#include <pixmill/multiscale/detail/multigrid/cycle.h>

#include <pixmill/multiscale/detail/multigrid/smoother.h>
#include <pixmill/multiscale/detail/multigrid/transfer.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/scratch.h>

#include <cstring>

using namespace pixmill::rows;

namespace pixmill::multiscale {
namespace {

constexpr int kSweepsOnTheLast = 6;

enum class Order { forward, backward };

class Cycle {
public:
    explicit Cycle(const std::vector<Level>& levels)
        : m_levels(levels), m_scratch(2 * (std::size_t(levels[0].width) + 2))
    {
    }

    void run(std::size_t k)
    {
        const Level& level = m_levels[k];
        clear(level);
        if (k + 1 == m_levels.size())
            return solveLast(level);
        sweep(level, Order::forward);
        restrictTo(m_levels[k + 1], level);
        run(k + 1);
        forEachRow({level.width, level.height},
                   [&](int y) { prolongRow(level.coarser, m_levels[k + 1].x, y, level.x); });
        sweep(level, Order::backward);
    }

private:
    static void clear(const Level& level)
    {
        forEachRow({level.width, level.height},
                   [&](int y) { std::memset(level.x.row(y), 0, level.width * sizeof(float)); });
    }

    void halfSweep(const Level& level, int parity, int firstColumn)
    {
        forEachSpan((level.height + 1 - parity) / 2, long(level.width) * level.height / 2, [&](int i, int end) {
            float *t = m_scratch.mine(), *next = t + level.width;
            for (; i < end; ++i) {
                const int y = 2 * i + parity;
                addRowsAround(level, y, level.b.row(y), t);
                relaxRow(level, y, firstColumn, t, next);
            }
        });
    }

    void sweep(const Level& level, Order order)
    {
        const int first = order == Order::forward ? 0 : 1;
        halfSweep(level, first, first);
        halfSweep(level, 1 - first, first);
    }

    void restrictTo(const Level& coarse, const Level& level)
    {
        forEachRow({level.width, level.height}, [&](int y) { residualRow(level, y, level.r.row(y)); });
        forEachRow({coarse.width, coarse.height},
                   [&](int j) { restrictRow(level.coarser, level.r, j, coarse.b.row(j), coarse.width); });
    }

    void solveLast(const Level& level)
    {
        for (int k = 0; k < kSweepsOnTheLast; ++k) {
            sweep(level, Order::forward);
            sweep(level, Order::backward);
        }
    }

    const std::vector<Level>& m_levels;
    TeamScratch<float> m_scratch;
};

} // namespace

void cycle(const std::vector<Level>& levels)
{
    Cycle(levels).run(0);
}

} // namespace pixmill::multiscale
