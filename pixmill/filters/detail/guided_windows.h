#pragma once

#include <pixmill/filters/detail/guided_columns.h>
#include <pixmill/filters/detail/guided_finish.h>
#include <pixmill/rows/memory.h>
#include <pixmill/rows/pixel.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <iterator>
#include <limits>

/// Box means of many planes at once, row by row: what the box filter gives for each plane, without the planes.
namespace pixmill::filters {

using namespace rows;

/// The moments of planes whose means are wanted: plane `i` times plane `k`, or plane `i` itself.
struct Moment {
    static constexpr int kNone = -1;
    int i, k;
};

/// Rows of planes with a margin on every side that repeats the edge samples. Padded row and column numbers.
class PaddedRows {
public:
    PaddedRows(const cv::Mat* planes, int margin) : m_planes(planes), m_margin(margin) {}

    /// A row, of which column 0 is the column `left`.
    EdgedRow operator()(int plane, int row, int left) const
    {
        return {at(plane, row), m_planes[plane].cols, left - m_margin};
    }

    /// Where in memory a row stands that will be read soon.
    const float* ahead(int plane, int row, int left) const { return at(plane, row) + std::max(left - m_margin, 0); }

    /// Whether a row is the one before it again.
    bool repeats(int row) const
    {
        const int y = row - m_margin;
        return y <= 0 || y >= m_planes[0].rows;
    }

private:
    const float* at(int plane, int row) const
    {
        const cv::Mat& m = m_planes[plane];
        return m.ptr<float>(limit(row - m_margin, 0, m.rows - 1));
    }

    const cv::Mat* m_planes;
    int m_margin;
};

/// The means of all moments of `kPlanes` planes, over a strip of windows.
///
/// Where a moment's samples show that its sums are exact in any order, they run along with the windows; elsewhere they
/// are formed in the box filter's order. The results are the same, so both may take turns row by row.
template <int kPlanes, const auto& kTable>
class WindowMoments {
    static constexpr int kMoments = int(std::size(kTable));

public:
    WindowMoments(int r, int mostWidth)
        : m_r(r), m_stride((mostWidth + 2 * r + 15) / 16 * 16 + kBeyondColumns), m_mean(double(side()) * side()),
          m_floats(std::size_t(m_stride) * (3 * kPlanes + 1 + kMoments)),
          m_columns(std::size_t(m_stride) * (kMoments + 2) + 64),
          m_sums(MeansOfRows::pieceScratch(mask()) + kMoments * MeansOfRows::scratchSize(mostWidth, mask()))
    {
    }

    /// Windows left..left+width-1, their rows from `first` on.
    void begin(int left, int width, int first)
    {
        m_left = left;
        m_width = width;
        m_first = m_row = first;
        std::fill_n(m_recent, kPlanes, RecentMagnitudes(side() + 1));
        std::fill_n(m_ran, kMoments, first - 2); // no row before any
        std::fill_n(m_pushed, kMoments, first - 2);
    }

    /// The row that push() takes.
    int row() const { return m_row; }

    /// Takes the next row of samples. Where it completes a row of means, `finish()` is asked for what takes them.
    /// Returns whether it did. Compiled once, not for every level: its rows' work finds the level by itself.
    template <class Rows, class Finish>
    __attribute__((noinline)) bool push(const Rows& rows, const Finish& finish)
    {
        const int row = m_row++;
        const bool complete = row >= m_first + 2 * m_r, again = row > m_first && rows.repeats(row);
        for (int p = 0; p < kPlanes; ++p) {
            const EdgedRow own = rows(p, row, m_left).within(samples());
            if (!again)
                m_latest[p] = magnitudesOf(own.s, own.width);
            m_recent[p].add(m_latest[p]);
        }
        if (complete)
            finishRow(rows, row, finish());
        return complete;
    }

    /// The completed row of means of every moment.
    struct Means {
        const float* row[kMoments];
        const float* operator[](int moment) const { return row[moment]; }
    };

    Means means()
    {
        Means all;
        for (int m = 0; m < kMoments; ++m)
            all.row[m] = meansOf(m);
        return all;
    }

private:
    /// The row's means, and what `finish` makes of them.
    template <class Rows, class Finish>
    void finishRow(const Rows& rows, int row, const Finish& finish)
    {
        double units[kMoments];
        for (int m = 0; m < kMoments; ++m)
            units[m] = unitsOf(m);
        if constexpr (Finish::kTakesRegisters)
            if (runsTogether(row, units)) {
                runTogether(rows, row, units, finish);
                return;
            }
        runEach(rows, row, units);
        runSpan([&finish, all = means()](int, int n) { finish(all, n); }, 0, m_width);
    }

    template <class Rows>
    void runEach(const Rows& rows, int row, const double* units)
    {
        for (int p = 0; p < kPlanes; ++p) {
            m_in[p] = rows(p, row, m_left).samples(0, samples(), floats(p));
            if (row > m_first + 2 * m_r)
                m_out[p] = rows(p, row - side(), m_left).samples(0, samples(), floats(kPlanes + p));
        }
        for (int m = 0; m < kMoments; ++m)
            if (units[m] <= kExactUnits)
                run(rows, row, m, m_mean.form(units[m]));
            else
                pushInOrder(rows, row, m);
    }

    /// Whether all moments' column sums can move on to a row in one pass.
    bool runsTogether(int row, const double* units) const
    {
        bool together = takesAvx512() && side() <= kWidestTogether;
        for (int m = 0; m < kMoments; ++m)
            together = together && m_ran[m] == row - 1 && units[m] <= kExactUnits;
        return together;
    }

    template <class Rows, class Finish>
    void runTogether(const Rows& rows, int row, const double* units, const Finish& finish)
    {
        SlideRows<kPlanes, kMoments> all;
        for (int p = 0; p < kPlanes; ++p) {
            all.in[p] = rows(p, row, m_left);
            all.out[p] = rows(p, row - side(), m_left);
            all.ahead[p] = rows.ahead(p, row + kAhead, m_left);
        }
        all.sums = columns(0);
        all.stride = m_stride;
        all.side = side();
        all.n = m_width;
        for (int m = 0; m < kMoments; ++m)
            all.form[m] = m_mean.form(units[m]);
        slideTogether512<kTable>(all, m_mean, finish);
        std::fill_n(m_ran, kMoments, row);
    }

    static constexpr int kAhead = 2; ///< Rows after the one that enters which are fetched.

    int side() const { return 2 * m_r + 1; }
    int samples() const { return m_width + 2 * m_r; }
    cv::Size mask() const { return {side(), side()}; }
    float* floats(int i) { return &m_floats[std::size_t(m_stride) * i]; }
    float* meansOf(int moment) { return floats(3 * kPlanes + 1 + moment); }
    double* columns(int moment) { return &m_columns[std::size_t(m_stride) * moment]; }

    /// unitsOfSum of the rows that a moment's windows have and had; infinite, too, for windows of other sizes than
    /// ExactMean takes, and those of one sample.
    double unitsOf(int moment) const
    {
        const double count = m_mean.count();
        if (count == 1 || count >= 0x1p23)
            return std::numeric_limits<double>::infinity();
        const auto [i, k] = kTable[moment];
        return k == Moment::kNone ? unitsOfSum(m_recent[i].all(), count)
                                  : unitsOfSum(m_recent[i].all(), m_recent[k].all(), count);
    }

    MomentRow samplesOf(int moment, const float* const* planes) const
    {
        const auto [i, k] = kTable[moment];
        return {planes[i], k == Moment::kNone ? nullptr : planes[k]};
    }

    /// A moment's samples of any row.
    template <class Rows>
    MomentRow fetch(const Rows& rows, int row, int moment)
    {
        const float* planes[kPlanes];
        for (int p = 0; p < kPlanes; ++p)
            planes[p] = rows(p, row, m_left).samples(0, samples(), floats(2 * kPlanes + p));
        return samplesOf(moment, planes);
    }

    /// A moment's share of the rows that are fetched from memory: more than a line at a time waits for the others.
    template <class Rows>
    Fetch aheadOf(const Rows& rows, int row, int m) const
    {
        constexpr int kShares = std::max(kMoments / kPlanes, 1);
        const int share = m / kPlanes % kShares;
        return {rows.ahead(m % kPlanes, row + kAhead, m_left) + samples() / kShares * share, 16 / kShares};
    }

    /// The column sums move on to the rows up to `row`, or begin there.
    template <class Rows>
    void run(const Rows& rows, int row, int m, ExactMean::Form form)
    {
        if (m_ran[m] == row - 1) {
            slideMeans({samplesOf(m, m_in), samplesOf(m, m_out), aheadOf(rows, row, m), columns(m), side(),
                        columns(kMoments), meansOf(m), m_width},
                       m_mean, form);
        } else {
            beginColumns(rows, row, m);
            meansOfColumns(columns(m), side(), m_mean, form, columns(kMoments), meansOf(m), m_width);
        }
        m_ran[m] = row;
    }

    template <class Rows>
    void beginColumns(const Rows& rows, int row, int m)
    {
        std::fill_n(columns(m), m_stride, 0.0);
        for (int y = row - 2 * m_r, times; y <= row; y += times) {
            for (times = 1; y + times <= row && rows.repeats(y + times);)
                ++times;
            addColumns(fetch(rows, y, m), times, columns(m), samples());
        }
    }

    /// The box filter's order goes on by a row, or begins with the rows of this row's windows.
    template <class Rows>
    void pushInOrder(const Rows& rows, int row, int m)
    {
        double *const pieces = m_sums.data(), *const scratch = pieces + MeansOfRows::pieceScratch(mask());
        const bool begins = m_pushed[m] != row - 1;
        const int from = begins ? row - 2 * m_r : row;
        if (begins)
            m_means[m].begin(scratch + m * MeansOfRows::scratchSize(m_width, mask()), m_width, mask(), from);
        for (int y = from; y <= row; ++y) {
            const bool again = (y > from || !begins) && rows.repeats(y);
            pushRow(m_means[m], again ? MomentRow{} : fetch(rows, y, m), floats(3 * kPlanes), pieces, meansOf(m),
                    samples());
        }
        m_pushed[m] = row;
    }

    int m_r, m_stride, m_left = 0, m_width = 0, m_first = 0, m_row = 0;
    ExactMean m_mean;
    const float *m_in[kPlanes] = {}, *m_out[kPlanes] = {}; ///< The rows that enter and leave.
    Magnitudes m_latest[kPlanes];
    RecentMagnitudes m_recent[kPlanes];
    int m_ran[kMoments], m_pushed[kMoments]; ///< The rows that the column sums and the box filter's order stand at.
    AlignedArray<float> m_floats;
    AlignedArray<double> m_columns, m_sums;
    MeansOfRows m_means[kMoments];
};

} // namespace pixmill::filters
