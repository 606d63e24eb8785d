#include <pixmill/filters/detail/guided_columns.h>

#include <pixmill/filters/detail/guided_avx512.h>
#include <pixmill/rows/rows.h>
#include <pixmill/rows/samples.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace pixmill::filters {

namespace {

constexpr int kExponent = 0x7f800000; ///< The bits of a float's exponent.
constexpr int kOne = 0x3f800000;      ///< 1 as the bits of a float.
constexpr int kFarthest = 40 << 23;   ///< Planes of magnitudes within 2^40 and 2^-40 have normal products and means.

float floatOf(int bits)
{
    float v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

/// Whether a plane's samples are numbers neither too large nor too small.
bool inRange(Magnitudes m)
{
    return m.greatest == 0 ||
           ((m.least & kExponent) >= kOne - kFarthest && (m.greatest & kExponent) <= kOne + kFarthest);
}

/// The power of two at or below the least magnitude: 2^23 units.
double powerBelow(Magnitudes m)
{
    return m.greatest == 0 ? 1.0 : double(floatOf(m.least & kExponent));
}

struct Plain {
    const float* s;
    double operator()(int x) const { return double(s[x]); }
};

struct Product {
    const float *p, *q;
    double operator()(int x) const { return double(p[x] * q[x]); }
};

/// Calls `use` with a row's samples, in the form that they have.
template <class Use>
void withSamples(MomentRow row, const Use& use)
{
    row.b ? use(Product{row.a, row.b}) : use(Plain{row.a});
}

template <class Samples>
inline void addSamples(Samples samples, double times, double* __restrict sums, int n)
{
    for (int x = 0; x < n; ++x)
        sums[x] += times * samples(x);
}

template <class Samples>
inline void slideSamples(Samples in, Samples out, Fetch ahead, double* __restrict sums, int n)
{
    fetchingRow(
        n, [=](int x) { sums[x] += in(x)-out(x); }, ahead);
}

struct MeanByProduct {
    double reciprocal;
    float operator()(double sum) const { return float(sum * reciprocal); }
};

/// Rounds the product to 51 bits.
struct MeanByRoundedProduct {
    double reciprocal;

    float operator()(double sum) const
    {
        double mean = sum * reciprocal;
        std::uint64_t bits;
        std::memcpy(&bits, &mean, sizeof bits);
        bits = (bits + 2) & ~std::uint64_t(3);
        std::memcpy(&mean, &bits, sizeof mean);
        return float(mean);
    }
};

/// The mean of kFours sums of four columns and kOnes columns after them.
template <int kFours, int kOnes, class Mean>
inline void meansAcross(const double* sums, const double* fours, Mean mean, float* __restrict means, int n)
{
    for (int x = 0; x < n; ++x) {
        double sum = sums[x + 4 * kFours];
        for (int i = 1; i < kOnes; ++i)
            sum += sums[x + 4 * kFours + i];
        for (int j = 0; j < kFours; ++j)
            sum += fours[x + 4 * j];
        means[x] = mean(sum);
    }
}

inline void sumsOfFour(const double* sums, double* __restrict fours, int n)
{
    for (int x = 0; x < n; ++x)
        fours[x] = (sums[x] + sums[x + 1]) + (sums[x + 2] + sums[x + 3]);
}

template <class Mean>
inline void meansOfRow(const double* sums, int side, Mean mean, double* scratch, float* means, int n)
{
    if (side > 3 && side <= 17)
        sumsOfFour(sums, scratch, n + side - 4);
    switch (side) {
    case 3:
        return meansAcross<0, 3>(sums, scratch, mean, means, n);
    case 5:
        return meansAcross<1, 1>(sums, scratch, mean, means, n);
    case 7:
        return meansAcross<1, 3>(sums, scratch, mean, means, n);
    case 9:
        return meansAcross<2, 1>(sums, scratch, mean, means, n);
    case 11:
        return meansAcross<2, 3>(sums, scratch, mean, means, n);
    case 13:
        return meansAcross<3, 1>(sums, scratch, mean, means, n);
    case 15:
        return meansAcross<3, 3>(sums, scratch, mean, means, n);
    case 17:
        return meansAcross<4, 1>(sums, scratch, mean, means, n);
    default:
        std::copy_n(sums, n + side - 1, scratch);
        spanSums(scratch, side, scratch + n + side, n);
        meansOfTails(scratch + n + side, mean, means, n);
    }
}

} // namespace

Magnitudes magnitudesOf(const float* samples, int n)
{
    Magnitudes all;
    runSpan(
        [&all, samples](int, int count) {
            int least = Magnitudes::kNone, greatest = 0;
            for (int x = 0; x < count; ++x) {
                int bits;
                std::memcpy(&bits, samples + x, sizeof bits);
                bits &= Magnitudes::kNone;
                greatest = std::max(greatest, bits);
                least = std::min(least, (bits - 1) & Magnitudes::kNone); // 0 becomes the greatest
            }
            all = {least == Magnitudes::kNone ? least : least + 1, greatest};
        },
        0, n);
    return all;
}

double unitsOfSum(Magnitudes samples, double count)
{
    if (!inRange(samples))
        return std::numeric_limits<double>::infinity();
    return count * floatOf(samples.greatest) * 0x1p23 / powerBelow(samples);
}

double unitsOfSum(Magnitudes one, Magnitudes other, double count)
{
    if (!inRange(one) || !inRange(other))
        return std::numeric_limits<double>::infinity();
    return count * (floatOf(one.greatest) * floatOf(other.greatest)) * 0x1p23 / (powerBelow(one) * powerBelow(other));
}

ExactMean::ExactMean(double count) : m_count(count), m_reciprocal(1.0 / count)
{
    std::uint64_t bits;
    std::memcpy(&bits, &m_reciprocal, sizeof bits);
    bits &= ~std::uint64_t(0x7fffff);
    double head;
    std::memcpy(&head, &bits, sizeof head);
    const double error = (head * count - 1.0) + (m_reciprocal - head) * count; // no step of it rounds
    m_product = std::abs(error) <= 0x1p-54 ? Form::kProduct : Form::kRoundedProduct;
}

void addColumns(MomentRow row, double times, double* sums, int n)
{
    runSpan([=](int, int count) { withSamples(row, [=](auto samples) { addSamples(samples, times, sums, count); }); },
            0, n);
}

void meansOfColumns(const double* sums, int side, const ExactMean& mean, ExactMean::Form form, double* scratch,
                    float* means, int n)
{
    const double count = mean.count(), reciprocal = mean.reciprocal();
    runSpan(
        [=](int, int windows) {
            switch (form) {
            case ExactMean::Form::kProduct:
                return meansOfRow(sums, side, MeanByProduct{reciprocal}, scratch, means, windows);
            case ExactMean::Form::kRoundedProduct:
                return meansOfRow(sums, side, MeanByRoundedProduct{reciprocal}, scratch, means, windows);
            case ExactMean::Form::kQuotient:
                return meansOfRow(sums, side, QuotientByProduct{count, reciprocal}, scratch, means, windows);
            }
        },
        0, n);
}

void slideMeans(const SlideRow& row, const ExactMean& mean, ExactMean::Form form)
{
    if (takesAvx512()) {
        slideMeans512(row, mean, form);
        return;
    }
    runSpan(
        [row](int, int columns) {
            if (row.in.b)
                slideSamples(Product{row.in.a, row.in.b}, Product{row.out.a, row.out.b}, row.ahead, row.sums, columns);
            else
                slideSamples(Plain{row.in.a}, Plain{row.out.a}, row.ahead, row.sums, columns);
        },
        0, row.n + row.side - 1);
    meansOfColumns(row.sums, row.side, mean, form, row.scratch, row.means, row.n);
}

bool pushRow(MeansOfRows& rows, MomentRow row, float* product, double* pieces, float* means, int n)
{
    bool complete = false;
    runSpan(
        [=, &rows, &complete](int, int count) {
            if (row.b)
                zipRow(row.a, row.b, product, count, [](float a, float b) { return a * b; });
            complete = rows.push(row.b ? product : row.a, pieces, means);
        },
        0, n);
    return complete;
}

} // namespace pixmill::filters
