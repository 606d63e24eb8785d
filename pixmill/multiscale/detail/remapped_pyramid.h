#pragma once

#include <pixmill/multiscale/detail/reduce_differences.h>
#include <pixmill/multiscale/detail/remap_differences.h>
#include <pixmill/multiscale/detail/remapped_coefficients.h>
#include <pixmill/rows/mirrored.h>
#include <pixmill/rows/plane.h>
#include <pixmill/rows/pyramid.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

/// The pyramid of K remapped pictures, walked in rolling rows.
///
/// No level exists as a whole: a row of a level lives while the next level and its own coefficients read it. Of level 0
/// not even rows exist, as a table tells what a pixel's K remapped values are.
namespace pixmill::multiscale {

using namespace rows;

/// Walks a band of the picture's rows and writes its coefficients at every level. `Sum` holds eight times the largest
/// difference.
template <int K, class Sum>
class RemappedBand {
public:
    RemappedBand(const cv::Mat& picture, const RemapDifferences<K>& differences, const AlignedArray<Two<Sum>>& between,
                 float invStep, std::vector<cv::Mat>& out)
        : m_picture(picture), m_differences(differences), m_out(out), m_levels(out.size()),
          m_blocks(differences.places().step, invStep, between.data())
    {
        for (std::size_t l = 0; l < out.size(); ++l) {
            m_levels[l].size = out[l].size();
            if (l > 0)
                m_levels[l].makeRoom();
        }
        const int n = picture.cols, half = halfSize(n);
        m_constant.assign(n + 2, 32768);
        m_scratch.resize(pyramidScratch(n, 1));
        m_fractions.assign(half, 128);
        m_sums = AlignedArray<int>(std::size_t(half) * kSumsOf<K>);
        std::fill(m_sums.begin(), m_sums.end(), 0);
        for (std::vector<int>& places : m_places)
            places.resize(n + 4);
    }

    /// Coefficients of rows first..end-1 of level 0, and of the rows of each level above that lie over them.
    void run(int first, int end)
    {
        plan(first, end);
        const int top = int(m_levels.size()) - 1;
        if (top == 0)
            for (int y = first; y < end; ++y)
                emit(0, y, 1);
        else
            produce(top, m_levels[top].last);
    }

private:
    static constexpr int kLine = 32; ///< Differences in a line of a cache: a row's column -1 begins one.
    static constexpr int kKept = 5;  ///< Rows of a level that live at a time.

    struct Level {
        cv::Size size;
        int first = 0, end = 0;          ///< Rows whose coefficients this band writes.
        int next = 0, last = 0;          ///< Rows to be computed: the next, and the last that is needed.
        int emitted = 0;                 ///< The next row whose coefficients are to be written.
        std::vector<ushort> plain;       ///< The last kKept rows, by row number modulo kKept, ...
        AlignedArray<short> differences; ///< ... and their differences; two mirrored columns on both sides.

        void makeRoom()
        {
            plain.resize(std::size_t(kKept) * plainLength());
            differences = AlignedArray<short>(kKept * differencesLength());
            std::fill(differences.begin(), differences.end(), short(0)); // vectors add up what stands behind a row
        }

        int plainLength() const { return size.width + 2; }
        std::size_t differencesLength() const
        {
            return (std::size_t(size.width + 2) * K + 3 * kLine - 1) / kLine * kLine; // vectors may end a line behind
        }
        ushort* plainRow(int y) { return plain.data() + std::ptrdiff_t(y % kKept) * plainLength() + 1; }
        short* row(int y) { return differences.data() + y % kKept * differencesLength() + kLine + K; }

        void mirrorEnds(int y)
        {
            const int n = size.width;
            short* const d = row(y);
            for (const int i : {-2, -1, n, n + 1})
                std::memcpy(d + std::ptrdiff_t(i) * K, d + std::ptrdiff_t(mirrored(i, n)) * K, K * sizeof(short));
            ushort* const p = plainRow(y);
            p[-1] = p[mirrored(-1, n)];
            p[n] = p[n - 1];
        }
    };

    /// Runs row kernels at the processor's level; the walk itself is recursive, and so stays as it is.
    template <class Kernels>
    static void atLevel(const Kernels& kernels)
    {
        runSpan([&](int, int) { kernels(); }, 0, 1);
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
        m_nextPair = count > 1 ? m_levels[1].next - 2 : 0;
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
        Level& level = m_levels[l];
        if (l > 1)
            produce(l - 1, std::min(2 * y + 2, m_levels[l - 1].size.height - 1));
        atLevel([&] { reducePlain(l, y); });
        if (l > 1)
            atLevel([&] {
                const short* rows[5];
                for (int k = 0; k < 5; ++k)
                    rows[k] = m_levels[l - 1].row(mirrored(2 * y - 2 + k, m_levels[l - 1].size.height));
                reduceDifferences<K, Sum>(rows, m_fractions.data(), level.row(y), level.size.width);
            });
        else
            for (; m_nextPair <= y; ++m_nextPair) // the first two only begin the sums
                atLevel([&] { reducePair(m_nextPair, level.row(y)); });
        level.mirrorEnds(y);
        if (l + 1 == int(m_levels.size()) && y >= level.first && y < level.end)
            emit(l, y, 1);
    }

    /// A plain row, and what its sums have below 256.
    void reducePlain(int l, int y)
    {
        const cv::Size below = m_levels[l - 1].size;
        const ushort* rows[5];
        for (int k = 0; k < 5; ++k)
            rows[k] = plain(l - 1, mirrored(2 * y - 2 + k, below.height));
        ushort* const out = m_levels[l].plainRow(y);
        int* const fractions = m_fractions.data();
        const bool biased = m_differences.biased();
        pyrDownRowOfOne(rows, below.width, m_levels[l].size.width, m_scratch.data(), [=](int x, int sum) {
            out[x] = ushort(sum >> 8);
            fractions[x] = biased ? 128 : sum & 255;
        });
    }

    /// Rows 2y + 1 and 2y + 2 of level 0, which end row y of level 1.
    void reducePair(int y, short* out)
    {
        int* places[2];
        for (int k = 0; k < 2; ++k) {
            places[k] = m_places[k].data() + 2;
            locateRow(mirrored(2 * y + 1 + k, m_picture.rows), places[k]);
        }
        reduceRemappedPair<K, Sum>(m_differences.entries(), places[0], places[1], m_sums.data(), m_fractions.data(),
                                   out, m_levels[1].size.width);
    }

    /// Where the entries of a row's pixels begin.
    void locateRow(int y, int* __restrict at) const
    {
        const EntryPlaces places = m_differences.places();
        const ushort* const g = m_picture.ptr<ushort>(y);
        const int n = m_picture.cols;
        for (int x = 0; x < n; ++x)
            at[x] = places(g[x]);
        for (const int x : {-2, -1, n, n + 1})
            at[x] = at[mirrored(x, n)];
    }

    /// Writes the rows of the level below that the rows of level l there are by now suffice for.
    void emitBelow(int l)
    {
        Level &level = m_levels[l], &below = m_levels[l - 1];
        const int newest = level.next - 1;
        const bool complete = newest == level.size.height - 1;
        while (below.emitted < below.end && (complete || below.emitted / 2 + 1 <= newest)) {
            const int count = std::min(2 - below.emitted % 2, below.end - below.emitted);
            emit(l - 1, below.emitted, count);
            below.emitted += count;
        }
    }

    /// Coefficients of rows y..y+count-1, to which the same rows of the next level enlarge.
    void emit(int l, int y, int count)
    {
        CoefficientRow rows[2];
        for (int k = 0; k < count; ++k)
            rows[k] = coefficientRow(l, y + k);
        atLevel([&] { m_blocks.run(rows, count); });
    }

    CoefficientRow coefficientRow(int l, int y)
    {
        CoefficientRow row = {};
        row.pixels = plain(l, y);
        row.base = l > 0 ? base(l, y) : row.pixels;
        row.differences = l > 0 ? m_levels[l].row(y) : nullptr;
        row.width = m_levels[l].size.width;
        row.out = m_out[l].template ptr<ushort>(y);
        if (l + 1 < int(m_levels.size())) {
            const int height = m_levels[l + 1].size.height;
            row.aboveDifferences =
                expandedRows<short>(y, height, [&](int i) -> const short* { return m_levels[l + 1].row(i); });
            row.aboveBase = expandedRows<ushort>(y, height, [&](int i) { return base(l + 1, i); });
            row.odd = y % 2 != 0;
        }
        return row;
    }

    const ushort* plain(int l, int y) { return l > 0 ? m_levels[l].plainRow(y) : m_picture.ptr<ushort>(y); }

    /// What differences are added to.
    const ushort* base(int l, int y) { return m_differences.biased() ? m_constant.data() + 1 : plain(l, y); }

    const cv::Mat& m_picture;
    const RemapDifferences<K>& m_differences;
    std::vector<cv::Mat>& m_out;
    std::vector<Level> m_levels;
    std::vector<ushort> m_constant;
    std::vector<int> m_scratch, m_fractions;
    std::vector<int> m_places[2]; ///< Of two rows' pixels, with two mirrored columns on both sides.
    AlignedArray<int> m_sums;     ///< What rows of level 0 leave for those below.
    int m_nextPair = 0;           ///< The next row of level 1 whose last two rows of level 0 are to be taken.
    CoefficientBlocks<K, Sum> m_blocks;
};

} // namespace pixmill::multiscale
