#pragma once

#include <pixmill/rows/running_means.h>

#include <algorithm>

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

/// The magnitudes of the last rows of a plane, without a queue: of `count` + 1 at the least, of 2 * `count` at most.
class RecentMagnitudes {
public:
    explicit RecentMagnitudes(int count = 1) : m_count(count) {}

    void add(Magnitudes row)
    {
        if (m_taken == m_count) {
            m_older = m_newer;
            m_newer = {};
            m_taken = 0;
        }
        m_newer.add(row);
        ++m_taken;
    }

    Magnitudes all() const
    {
        Magnitudes both = m_older;
        both.add(m_newer);
        return both;
    }

private:
    Magnitudes m_older, m_newer;
    int m_count, m_taken = 0;
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
    const float* ahead; ///< Samples to be fetched into the cache, where the moment is a plane's own.
    double* sums;
    int side;
    double* scratch; ///< 2 * (n + side) + 64 values.
    float* means;
    int n;
};

/// sums += samples of `in` - samples of `out`, then meansOfColumns.
void slideMeans(const SlideRow& row, const ExactMean& mean, ExactMean::Form form);

/// MeansOfRows::push.
bool pushRow(MeansOfRows& rows, MomentRow row, float* product, double* pieces, float* means, int n);

} // namespace pixmill::filters
