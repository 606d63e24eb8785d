#pragma once

#include <pixmill/filters/detail/guided_edges.h>
#include <pixmill/rows/running_means.h>

#include <algorithm>
#include <vector>

/// Sums of columns that run down the rows, for windows whose sums are exact whatever the order of the additions. Each
/// function is a row's work and takes the processor's row level itself: the walk around them is compiled once.
namespace pixmill::filters {

using namespace rows;

/// The least magnitude above 0 and the greatest of some samples, as the bits of floats.
struct Magnitudes {
    static constexpr int kNone = 0x7fffffff;

    int least = kNone, greatest = 0;

    void add(Magnitudes other)
    {
        least = std::min(least, other.least);
        greatest = std::max(greatest, other.greatest);
    }
};

Magnitudes magnitudesOf(const float* samples, int n);

/// The magnitudes of the last `count` rows of a plane.
class RecentMagnitudes {
public:
    explicit RecentMagnitudes(int count = 1) : m_rows(std::size_t(count)) {}

    void add(Magnitudes row)
    {
        if (m_taken == m_rows.size()) {
            for (std::size_t i = m_taken - 1; i > 0; --i)
                m_rows[i - 1].add(m_rows[i]);
            m_newer = {};
            m_taken = 0;
        }
        m_newer.add(row);
        m_rows[m_taken++] = row;
    }

    Magnitudes all() const
    {
        Magnitudes both = m_newer;
        if (m_taken < m_rows.size())
            both.add(m_rows[m_taken]);
        return both;
    }

private:
    std::vector<Magnitudes> m_rows; ///< The newer rows, then, of those before, each together with what follows it.
    Magnitudes m_newer;
    std::size_t m_taken = 0;
};

/// Every sample is a multiple of a unit: the value of the last bit of the least one. The greatest magnitude that a sum
/// of `count` samples may have, in such units; infinite where a sample is no number, or so large or small that a
/// product or a mean might not be a normal float. Of the products of two planes, rounded to floats, likewise.
double unitsOfSum(Magnitudes samples, double count);
double unitsOfSum(Magnitudes one, Magnitudes other, double count);

constexpr double kExactUnits = 0x1p53;   ///< A double holds every sum of so many units.
constexpr double kProductUnits = 0x1p49; ///< Up to here a product with the reciprocal gives the mean.

/// float(double(sum / count)), for exact sums and counts below 2^23.
class ExactMean {
public:
    explicit ExactMean(double count);

    /// What sums of at most so many units ask for, up to kExactUnits.
    enum class Form { kProduct, kRoundedProduct, kQuotient };
    Form form(double units) const { return units <= kProductUnits ? m_product : Form::kQuotient; }

    double count() const { return m_count; }
    double reciprocal() const { return m_reciprocal; }

private:
    double m_count, m_reciprocal;
    Form m_product;
};

/// The samples of a moment in a row: those of `a`, or their products with those of `b`, rounded to floats.
struct MomentRow {
    const float *a, *b;
};

/// sums += times * samples.
void addColumns(MomentRow row, double times, double* sums, int n);

/// means[x] = mean of sums[x] + ... + sums[x + side - 1] for n windows; `scratch` is for 2 * (n + side) values.
void meansOfColumns(const double* sums, int side, const ExactMean& mean, ExactMean::Form form, double* scratch,
                    float* means, int n);

/// A row of a strip that column sums and the means of n windows move on by. Sums and means have room for whole vectors
/// of eight.
struct SlideRow {
    MomentRow in, out;
    Fetch ahead;
    double* sums;
    int side;
    double* scratch; ///< 2 * (n + side) + 64 values.
    float* means;
    int n;
};

/// sums += samples of `in` - samples of `out`, then meansOfColumns.
void slideMeans(const SlideRow& row, const ExactMean& mean, ExactMean::Form form);

/// As SlideRow, of all moments of `kPlanes` planes at once, and of windows of 3 to kWidestTogether columns.
template <int kPlanes, int kMoments>
struct SlideRows {
    EdgedRow in[kPlanes], out[kPlanes];
    const float* ahead[kPlanes]; ///< Fetched meanwhile.
    double* sums;                ///< The first moment's; those of the next stand `stride` further on.
    int stride, side, n;
    ExactMean::Form form[kMoments];
};

constexpr int kWidestTogether = 127;

/// Values that rows of column sums and of means have room for beyond their windows' columns.
constexpr int kBeyondColumns = 48;

/// MeansOfRows::push.
bool pushRow(MeansOfRows& rows, MomentRow row, float* product, double* pieces, float* means, int n);

} // namespace pixmill::filters
