#pragma once

#include <pixmill/multiscale/detail/remap_differences.h>
#include <pixmill/rows/look_up.h>
#include <pixmill/rows/pixel.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/pyramid.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

/// The pyramid of K remapped pictures, walked in rolling rows.
///
/// No level exists as a whole: a row of a level lives while the next level and its own coefficients read it. Of level 0
/// not even rows exist, as a table tells what a pixel's K remapped values are.
namespace pixmill::multiscale {

using namespace rows;

/// Reference k of the K is k * step, and invStep 1 / step.
template <int K>
struct References {
    float invStep;
    const RemapDifferences<K>& differences;
    const std::uint32_t* pairs; ///< Of every pixel value, the two remapped values between which it lies, low one first.
};

/// The lower of the two references between which each pixel lies.
template <int K>
inline void bracketRow(const ushort* __restrict g, float invStep, int* __restrict low, int n)
{
    for (int x = 0; x < n; ++x)
        low[x] = limit(int(float(g[x]) * invStep), 0, K - 2);
}

/// Pixels interpolated at a time. Their places between the references come first, then what lies there is picked, and
/// the arithmetic on it comes last: so only the picking is not done in lanes.
constexpr int kPicked = 256;

/// Two neighbouring samples as one number.
template <class Pair, class T>
inline Pair pairAt(const T* samples)
{
    static_assert(sizeof(Pair) == 2 * sizeof(T));
    Pair pair;
    std::memcpy(&pair, samples, sizeof pair);
    return pair;
}

// Picking is kept out of line, so that it stays the plain loop at every processor level: gathers are slower.

template <int K>
__attribute__((noinline)) void pickPairs(const ushort* values, const int* low, std::uint32_t* picked, int n)
{
    for (int x = 0; x < n; ++x)
        picked[x] = pairAt<std::uint32_t>(values + std::ptrdiff_t(x) * K + low[x]);
}

/// From the enlarging step's sums, of which the first belongs to an even column. Two sums add up in one 64-bit number,
/// as they stay below 2^23.
template <int K>
__attribute__((noinline)) void pickSums(const int* sums, const int* low, std::uint64_t* picked, int n)
{
    const auto at = [](const int* s) { return pairAt<std::uint64_t>(s); };
    for (int x = 0; x < n; x += 2) {
        const int* const even = sums + x / 2 * K + low[x];
        picked[x] = at(even - K) + at(even + K) + 6 * at(even);
        if (x + 1 < n) {
            const int* const odd = sums + x / 2 * K + low[x + 1];
            picked[x + 1] = 4 * (at(odd) + at(odd + K));
        }
    }
}

inline ushort blendReferences(int low, int high, float fraction)
{
    return ushort(int(float(high) * fraction + float(low) * (1.0f - fraction)));
}

inline void blendRow(const ushort* __restrict g, const int* __restrict low, float invStep,
                     const std::uint32_t* __restrict values, ushort* __restrict out, int n)
{
    for (int x = 0; x < n; ++x) {
        const float fraction = float(g[x]) * invStep - float(low[x]);
        out[x] = blendReferences(int(values[x] & 65535), int(values[x] >> 16), fraction);
    }
}

/// The same of values less the enlarged next level, biased by 32767. `up` holds pairs of the enlarging step's sums.
inline void blendDetailRow(const ushort* __restrict g, const int* __restrict low, float invStep,
                           const std::uint32_t* __restrict values, const std::uint64_t* __restrict up,
                           ushort* __restrict out, int n)
{
    const auto detail = [](std::uint32_t value, std::uint32_t sum) {
        return clamp16(int(value) - int((sum + 32) >> 6) + 32767);
    };
    for (int x = 0; x < n; ++x) {
        const float fraction = float(g[x]) * invStep - float(low[x]);
        out[x] = blendReferences(detail(values[x] & 65535, std::uint32_t(up[x])),
                                 detail(values[x] >> 16, std::uint32_t(up[x] >> 32)), fraction);
    }
}

/// Level coefficients of one row. `values` are its pixels' remapped values, K each; null at level 0, where a pixel's
/// value tells them. `sums` are the enlarging step's, for the row; null where no level lies above, and the remapped
/// values themselves are interpolated.
template <int K>
inline void coefficientRow(const ushort* g, const References<K>& refs, const ushort* values, const int* sums,
                           ushort* out, int n)
{
    int low[kPicked];
    std::uint32_t picked[kPicked];
    std::uint64_t up[kPicked];
    for (int x = 0; x < n; x += kPicked) {
        const int m = std::min(kPicked, n - x);
        bracketRow<K>(g + x, refs.invStep, low, m);
        if (values)
            pickPairs<K>(values + std::ptrdiff_t(x) * K, low, picked, m);
        else
            lookUpRow<16>(g + x, picked, refs.pairs, m);
        if (sums) {
            pickSums<K>(sums + std::ptrdiff_t(x / 2) * K, low, up, m);
            blendDetailRow(g + x, low, refs.invStep, picked, up, out + x, m);
        } else {
            blendRow(g + x, low, refs.invStep, picked, out + x, m);
        }
    }
}

/// One pixel's sums: `base` and K entries of five pixels, weighed. Eight at a time, the last ones again where K is not
/// a multiple of eight.
template <int K>
inline void weighEntries(const short* const entries[5], int base, int* sums)
{
    const auto eight = [&](int first) {
        const short *a = entries[0] + first, *b = entries[1] + first, *c = entries[2] + first, *d = entries[3] + first,
                    *e = entries[4] + first;
        int s[8];
        for (int k = 0; k < 8; ++k)
            s[k] = base + (a[k] + e[k]) + 4 * (b[k] + c[k] + d[k]) + 2 * c[k];
        std::memcpy(sums + first, s, sizeof s);
    };
    eight(0);
    eight(std::min(8, K - 8));
    if constexpr (K > 16)
        eight(K - 8);
}

/// Entries are fetched so many pixels ahead.
constexpr int kAhead = 16;

/// Begins the reducing step at level 0: of a row of pixels the remapped values around every second one, weighed
/// 1 4 6 4 1 side by side: the pixels, or the bias, and their entries, which begin at at[x].
template <int K>
inline void reduceRemapped(const ushort* g, const RemapDifferences<K>& differences, const int* at, int* bases, int n,
                           int* sums, int outCols)
{
    const short* const all = differences.entries();
    const auto edge = [&](int x) {
        const short* entries[5];
        int v[5];
        for (int i = 0; i < 5; ++i) {
            const int column = mirrored(2 * x - 2 + i, n);
            entries[i] = all + at[column];
            v[i] = differences.base(g[column]);
        }
        weighEntries<K>(entries, weighted(v[0], v[1], v[2], v[3], v[4]), sums + std::ptrdiff_t(x) * K);
    };
    const int end = std::max((n - 1) / 2, 1); // 2 * x + 2 < n
    for (int x = 1; x < end; ++x) {
        const ushort* const v = g + 2 * x;
        bases[x] = weighted(v[-2], v[-1], v[0], v[1], v[2]);
    }
    if (differences.biased())
        std::fill_n(bases, outCols, 16 * differences.base(0));
    edge(0);
    for (int x = 1; x < end; ++x) {
        const int* const p = at + 2 * x;
        const short* const entries[5] = {all + p[-2], all + p[-1], all + p[0], all + p[1], all + p[2]};
        for (const int i : {kAhead, kAhead + 1}) {
            const short* const ahead = all + p[i];
            __builtin_prefetch(ahead);
            __builtin_prefetch(ahead + K - 1);
        }
        weighEntries<K>(entries, bases[x], sums + std::ptrdiff_t(x) * K);
    }
    for (int x = end; x < outCols; ++x)
        edge(x);
}

/// Ends it, from the sums of five rows, n each.
inline void addReduced(const int* const rows[5], ushort* __restrict out, std::ptrdiff_t n)
{
    const int *a = rows[0], *b = rows[1], *c = rows[2], *d = rows[3], *e = rows[4];
    for (std::ptrdiff_t i = 0; i < n; ++i)
        out[i] = ushort((weighted(a[i], b[i], c[i], d[i], e[i]) + 128) >> 8);
}

/// Walks a band of the picture's rows and writes its coefficients at every level.
template <int K>
class RemappedBand {
public:
    /// Memory for pyramids of these levels' sizes.
    explicit RemappedBand(const std::vector<cv::Mat>& levels) : m_levels(int(levels.size()))
    {
        for (int l = 0; l < int(levels.size()); ++l) {
            m_levels[l].size = levels[l].size();
            if (l > 0)
                m_levels[l].rows.resize(std::size_t(kKept) * levels[l].cols * K);
        }
        const std::size_t half = std::size_t(halfSize(levels[0].cols));
        m_scratch.resize((half + 8) * K);
        m_reduced.resize(5 * half * K);
        m_entriesAt.resize(std::size_t(levels[0].cols) + kAhead);
    }

    /// Coefficients of rows first..end-1 of level 0, and of the rows of each level above that lie over them.
    /// `gauss` is the plain picture's pyramid, `out` takes the coefficients of each level.
    void run(const std::vector<cv::Mat>& gauss, std::vector<cv::Mat>& out, const References<K>& refs, int first,
             int end)
    {
        m_gauss = &gauss;
        m_out = &out;
        m_refs = &refs;
        plan(first, end);
        const int top = int(m_levels.size()) - 1;
        if (top == 0)
            for (int y = first; y < end; ++y)
                emitTop(0, y);
        else
            produce(top, m_levels[top].last);
    }

private:
    static constexpr int kKept = 8; ///< Rows of a level that live at a time.

    struct Level {
        cv::Size size;
        int first = 0, end = 0;   ///< Rows whose coefficients this band writes.
        int next = 0, last = 0;   ///< Rows to be computed: the next, and the last that is needed.
        int emitted = 0;          ///< The next row whose coefficients are to be written.
        std::vector<ushort> rows; ///< The last kKept rows, by row number modulo kKept.
    };

    /// Runs row kernels at the processor's level; the walk itself is recursive, and so stays as it is.
    template <class Kernels>
    static void atLevel(const Kernels& kernels)
    {
        runSpan([&](int, int) { kernels(); }, 0, 1);
    }

    /// Row y of level 0, reduced along the row; the last five live.
    int* reduced(int y) { return m_reduced.data() + std::ptrdiff_t(y % 5) * halfSize(m_levels[0].size.width) * K; }

    ushort* row(int l, int y)
    {
        Level& level = m_levels[l];
        return level.rows.data() + std::ptrdiff_t(y % kKept) * level.size.width * K;
    }

    /// Which rows of each level the band needs: its own, those that enlarge to the level below, and, from the level
    /// above down, those that are reduced to it.
    void plan(int first, int end)
    {
        const int count = int(m_levels.size());
        for (int l = 0; l < count; ++l) {
            Level& level = m_levels[l];
            level.first = level.emitted = first;
            level.end = end;
            level.next = first;
            level.last = end - 1;
            if (l > 0 && m_levels[l - 1].end > m_levels[l - 1].first) {
                const Level& below = m_levels[l - 1];
                level.next = std::min(level.next, std::max(below.first / 2 - 1, 0));
                level.last = std::max(level.last, std::min((below.end - 1) / 2 + 1, level.size.height - 1));
            }
            first = (first + 1) / 2;
            end = (end + 1) / 2;
        }
        for (int l = count - 1; l > 1; --l) {
            const Level& above = m_levels[l];
            Level& level = m_levels[l - 1];
            const int height = level.size.height;
            level.next = std::min(level.next, std::max(std::min(2 * above.next - 2, height - 3), 0));
            level.last = std::max(level.last, std::min(2 * above.last + 2, height - 1));
        }
        m_nextReduced = count > 1 ? std::max(2 * m_levels[1].next - 2, 0) : 0;
    }

    void produce(int l, int y)
    {
        while (m_levels[l].next <= y) {
            reduce(l, m_levels[l].next++);
            emitBelow(l);
        }
    }

    /// Row y of level l from the level below.
    void reduce(int l, int y)
    {
        const Level& level = m_levels[l];
        const cv::Size below = m_levels[l - 1].size;
        ushort* const out = row(l, y);
        if (l > 1) {
            produce(l - 1, std::min(2 * y + 2, below.height - 1));
            const ushort* rows[5];
            for (int k = 0; k < 5; ++k)
                rows[k] = row(l - 1, mirrored(2 * y - 2 + k, below.height));
            atLevel([&] { pyrDownRow<K>(rows, below.width, out, level.size.width, m_scratch.data()); });
        } else {
            for (; m_nextReduced <= std::min(2 * y + 2, below.height - 1); ++m_nextReduced)
                atLevel([&] {
                    const ushort* const g = (*m_gauss)[0].template ptr<ushort>(m_nextReduced);
                    m_refs->differences.locateRow(g, m_entriesAt.data(), below.width);
                    reduceRemapped<K>(g, m_refs->differences, m_entriesAt.data(), m_scratch.data(), below.width,
                                      reduced(m_nextReduced), level.size.width);
                });
            const int* rows[5];
            for (int k = 0; k < 5; ++k)
                rows[k] = reduced(mirrored(2 * y - 2 + k, below.height));
            atLevel([&] { addReduced(rows, out, std::ptrdiff_t(level.size.width) * K); });
        }
        if (l + 1 == int(m_levels.size()) && y >= level.first && y < level.end)
            emitTop(l, y);
    }

    /// Writes the rows of the level below that the rows of level l there are by now suffice for.
    void emitBelow(int l)
    {
        Level &level = m_levels[l], &below = m_levels[l - 1];
        const int newest = level.next - 1;
        const bool complete = newest == level.size.height - 1;
        for (; below.emitted < below.end && (complete || below.emitted / 2 + 1 <= newest); ++below.emitted) {
            const int y = below.emitted, n = level.size.width;
            const auto rows = expandedRows<ushort>(y, level.size.height, [&](int i) { return row(l, i); });
            int* const sums = m_scratch.data() + K;
            const ushort* const g = (*m_gauss)[l - 1].template ptr<ushort>(y);
            ushort* const out = (*m_out)[l - 1].template ptr<ushort>(y);
            const ushort* const values = l > 1 ? row(l - 1, y) : nullptr;
            atLevel([&] {
                pyrUpSums<K>(rows.data(), y % 2 != 0, n, sums);
                coefficientRow<K>(g, *m_refs, values, sums, out, below.size.width);
            });
        }
    }

    void emitTop(int l, int y)
    {
        const ushort* g = (*m_gauss)[l].template ptr<ushort>(y);
        ushort* out = (*m_out)[l].template ptr<ushort>(y);
        const int n = m_levels[l].size.width;
        const ushort* const values = l > 0 ? row(l, y) : nullptr;
        atLevel([&] { coefficientRow<K>(g, *m_refs, values, nullptr, out, n); });
    }

    std::vector<Level> m_levels;
    std::vector<int> m_scratch, m_reduced, m_entriesAt;
    int m_nextReduced = 0; ///< The next row of level 0 to be reduced along the row.
    const std::vector<cv::Mat>* m_gauss = nullptr;
    std::vector<cv::Mat>* m_out = nullptr;
    const References<K>* m_refs = nullptr;
};

} // namespace pixmill::multiscale
