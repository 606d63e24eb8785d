#include <pixmill/develop/detail/smoothing.h>

#include <pixmill/develop/detail/core.h>

#include <algorithm>
#include <cmath>

namespace pixmill::develop {

namespace {

constexpr int kLanes = SmoothingRoom::kLanes;   ///< Rows walked side by side, so that no step waits for the one before.
constexpr int kStrip = SmoothingRoom::kStrip;   ///< Columns walked down and up together: they stay in the second cache.
constexpr int kSquare = SmoothingRoom::kSquare; ///< Samples of so many rows are turned into lanes at a time.
constexpr int kRowsAhead = 16;                  ///< Rows of a strip lie far apart, so the processor is told which come.

/// How strongly neighbours are coupled, for the largest sigma: e^(flat + steep * difference).
struct Coupling {
    float flat, steep;

    Coupling(float sigma, float contrast)
        : flat(-std::sqrt(2.0f) / (sigma * 4 * std::sqrt(3.0f / 63))), steep(flat * sigma / contrast)
    {
    }
};

template <class T>
inline void coupleRow(const T* __restrict a, const T* __restrict b, const Coupling& coupling, float* __restrict out,
                      int n)
{
    const float flat = coupling.flat, steep = coupling.steep;
    for (int i = 0; i < n; ++i)
        out[i] = rows::exponentialBelow0(std::max(flat + steep * std::abs(float(b[i]) - float(a[i])), -80.0f));
}

/// A coupling for half the sigma is its square.
template <int iteration, class Value>
inline void narrow(Value& v)
{
    for (int i = 0; i < iteration; ++i)
        v *= v;
}

/// A sample of eight rows.
typedef float Eight __attribute__((vector_size(4 * kSquare)));

/// A square of samples in lane form, column by column.
struct Square {
    Eight at[kSquare];

    template <class Row>
    void load(const Row& row)
    {
        rows::turnSquare(row, [&](int k) { return &at[k]; });
    }
    template <class Row>
    void store(const Row& row) const
    {
        rows::turnSquare([&](int k) { return &at[k]; }, row);
    }

    void toLanes(float* lanes) const
    {
        for (int k = 0; k < kSquare; ++k)
            std::memcpy(lanes + k * kLanes, &at[k], sizeof at[k]);
    }
    void fromLanes(const float* lanes)
    {
        for (int k = 0; k < kSquare; ++k)
            std::memcpy(&at[k], lanes + k * kLanes, sizeof at[k]);
    }
};

/// Pulls samples towards those before them in the walk, which they become.
template <int iteration>
inline void pull(Eight& samples, const float* coupling, Eight& last)
{
    Eight c;
    std::memcpy(&c, coupling, sizeof c);
    narrow<iteration>(c);
    samples = last = samples + (last - samples) * c;
}

/// Two squares of a tile, whose walks hide each other's latency.
struct Squares {
    Square upper, lower;

    template <int iteration>
    void walk(const float* coupling, Eight (&last)[2])
    {
#pragma GCC unroll 8
        for (int k = 0; k < kSquare; ++k) {
            pull<iteration>(upper.at[k], coupling + k * kLanes, last[0]);
            pull<iteration>(lower.at[k], coupling + k * kLanes + kSquare, last[1]);
        }
    }

    /// From the last sample to the first; `coupling` is the first one's with the second.
    template <int iteration>
    void walkBack(const float* coupling, Eight (&last)[2])
    {
#pragma GCC unroll 8
        for (int k = kSquare - 1; k >= 0; --k) {
            pull<iteration>(upper.at[k], coupling + k * kLanes, last[0]);
            pull<iteration>(lower.at[k], coupling + k * kLanes + kSquare, last[1]);
        }
    }
};

static_assert(kLanes == 2 * kSquare, "a tile is two squares high");

/// Squares that cover a row; what they cover beyond it is not coupled.
int squaresOf(int cols)
{
    return (cols + kSquare - 1) / kSquare;
}

/// Forward and back along a tile of rows. `load(square, x, l)` brings the samples of eight rows from row l of the tile
/// on and eight columns from x on.
template <int iteration, class Load>
inline void walkTile(float* top, std::ptrdiff_t step, int cols, float* lanes, const float* coupling, const Load& load)
{
    Eight last[2] = {};
    Squares both;
    const int end = squaresOf(cols) * kSquare;
    for (int x = 0; x < end; x += kSquare) {
        load(both.upper, x, 0);
        load(both.lower, x, kSquare);
        both.walk<iteration>(coupling + x * kLanes, last);
        both.upper.toLanes(lanes + x * kLanes);
        both.lower.toLanes(lanes + x * kLanes + kSquare);
    }
    for (int x = end - kSquare; x >= 0; x -= kSquare) {
        both.upper.fromLanes(lanes + x * kLanes);
        both.lower.fromLanes(lanes + x * kLanes + kSquare);
        both.walkBack<iteration>(coupling + (x + 1) * kLanes, last);
        float* to = top + x;
        both.upper.store([=](int k) { return to + k * step; });
        both.lower.store([=](int k) { return to + (k + kSquare) * step; });
    }
}

/// Calls `tile(y, lanes, coupling)` for each tile of rows.
template <class Tile>
void forEachTile(cv::Size size, float* couplings, const Tile& tile)
{
    const int tiles = (size.height + kLanes - 1) / kLanes;
    const std::ptrdiff_t each = std::ptrdiff_t(squaresOf(size.width) * kSquare + 1) * kLanes;
    rows::forEachSpan(
        tiles, size.area(),
        [&](int i, int end) {
            rows::AlignedArray<float> lanes{std::size_t(each)};
            for (; i < end; ++i)
                tile(i * kLanes, lanes.data(), couplings + i * each);
        },
        rows::kFinePieces);
}

inline void toFloats(const float* in, float* out)
{
    std::memcpy(out, in, sizeof(Eight));
}

inline void toFloats(const ushort* in, float* out)
{
    typedef ushort Samples __attribute__((vector_size(2 * kSquare)));
    Samples samples;
    std::memcpy(&samples, in, sizeof samples);
    const Eight floats = __builtin_convertvector(samples, Eight);
    std::memcpy(out, &floats, sizeof floats);
}

/// Samples of eight rows from the source's row y on; past its edges its last row repeats, and columns are 0.
template <class T>
inline void loadSquare(const cv::Mat& source, int y, int x, Square& square)
{
    float samples[kSquare][kSquare];
    const int n = source.cols - x;
    for (int k = 0; k < kSquare; ++k) {
        const T* row = source.ptr<T>(std::min(y + k, source.rows - 1)) + x;
        T edge[kSquare] = {};
        if (n < kSquare)
            row = std::copy_n(row, n, edge) - n;
        toFloats(row, samples[k]);
    }
    square.load([&](int k) { return samples[k]; });
}

/// Couplings of a square's columns with those before, of which the last becomes the next `before`; those with columns
/// outside, before the first and from `cols` on, are 0.
inline void coupleSquare(const Square& square, int x, int cols, const Coupling& coupling, Eight& before, float* out)
{
    float samples[kSquare + 1][kSquare], couplings[kSquare][kSquare];
    std::memcpy(samples[0], &before, sizeof before);
    std::memcpy(samples[1], square.at, sizeof square.at);
    before = square.at[kSquare - 1];
    for (int k = 0; k < kSquare; ++k)
        coupleRow(samples[k], samples[k + 1], coupling, couplings[k], kSquare);
    if (x == 0)
        std::fill_n(couplings[0], kSquare, 0.0f);
    for (int k = std::max(cols - x, 0); k < kSquare; ++k)
        std::fill_n(couplings[k], kSquare, 0.0f);
    for (int k = 0; k < kSquare; ++k)
        std::memcpy(out + k * kLanes, couplings[k], sizeof couplings[k]);
}

/// The first walk takes its samples from the source, and makes the couplings.
template <class T>
void walkAlongFirst(const cv::Mat& source, const Coupling& coupling, cv::Mat& plane, float* couplings)
{
    const auto step = std::ptrdiff_t(plane.step1());
    const int cols = source.cols;
    forEachTile(source.size(), couplings, [&](int y, float* lanes, float* out) {
        Eight before[kLanes / kSquare] = {};
        std::fill_n(out + squaresOf(cols) * kSquare * kLanes, kLanes, 0.0f);
        walkTile<0>(plane.ptr<float>(y), step, cols, lanes, out, [&](Square& square, int x, int l) {
            loadSquare<T>(source, y + l, x, square);
            coupleSquare(square, x, cols, coupling, before[l / kSquare], out + x * kLanes + l);
        });
    });
}

template <int iteration>
void walkAlong(cv::Mat& plane, cv::Size size, float* couplings)
{
    const auto step = std::ptrdiff_t(plane.step1());
    forEachTile(size, couplings, [&](int y, float* lanes, const float* coupling) {
        float* top = plane.ptr<float>(y);
        walkTile<iteration>(top, step, size.width, lanes, coupling, [=](Square& square, int x, int l) {
            const float* from = top + l * step + x;
            square.load([=](int k) { return from + k * step; });
        });
    });
}

template <int iteration>
inline void pullRow(const float* __restrict from, const float* __restrict coupling, float* __restrict row)
{
    for (int x = 0; x < kStrip; ++x) {
        float c = coupling[x];
        narrow<iteration>(c);
        row[x] += (from[x] - row[x]) * c;
    }
}

/// Down and up a strip of columns; `couple(y)` sees to the couplings of row y.
template <int iteration, class Couple>
inline void walkStrip(float* top, std::ptrdiff_t step, int rows, const float* coupling, const Couple& couple)
{
    for (int y = 1; y < rows; ++y) {
        float* row = top + y * step;
        const float* ahead = top + std::min(y + kRowsAhead, rows - 1) * step;
        for (int i = 0; i < kStrip; i += 16)
            __builtin_prefetch(ahead + i, 1, 2);
        couple(y);
        pullRow<iteration>(row - step, coupling + std::ptrdiff_t(y) * kStrip, row);
    }
    for (int y = rows - 2; y >= 0; --y) {
        float* row = top + y * step;
        pullRow<iteration>(row + step, coupling + std::ptrdiff_t(y + 1) * kStrip, row);
    }
}

/// Calls `strip(x, coupling)` for each strip of columns.
template <class Strip>
void forEachStrip(cv::Size size, float* couplings, const Strip& strip)
{
    const int strips = (size.width + kStrip - 1) / kStrip;
    forEachIndex(strips, size.area(),
                 [&](int i) { strip(i * kStrip, couplings + std::ptrdiff_t(i) * size.height * kStrip); });
}

template <class T>
void walkDownFirst(const cv::Mat& source, const Coupling& coupling, cv::Mat& plane, float* couplings)
{
    const auto step = std::ptrdiff_t(plane.step1());
    forEachStrip(source.size(), couplings, [&](int x, float* out) {
        const int n = std::min(kStrip, source.cols - x);
        walkStrip<0>(plane.ptr<float>() + x, step, source.rows, out, [&](int y) {
            float* to = out + std::ptrdiff_t(y) * kStrip;
            coupleRow(source.ptr<T>(y - 1) + x, source.ptr<T>(y) + x, coupling, to, n);
            std::fill(to + n, to + kStrip, 0.0f);
        });
    });
}

template <int iteration>
void walkDown(cv::Mat& plane, cv::Size size, float* couplings)
{
    const auto step = std::ptrdiff_t(plane.step1());
    forEachStrip(size, couplings, [&](int x, const float* coupling) {
        walkStrip<iteration>(plane.ptr<float>() + x, step, size.height, coupling, [](int) {});
    });
}

/// A plane with room beyond the far edges for whole tiles and strips, whose rows begin at different places of the
/// caches.
cv::Mat planeFor(cv::Size size)
{
    constexpr int kLine = 16;
    const cv::Size room = SmoothingRoom::roomFor(size);
    cv::Mat plane;
    ensureLarge(plane, {room.width + kLine, room.height}, CV_32FC1);
    return plane;
}

template <class T>
cv::Mat smooth(const cv::Mat& source, const Coupling& coupling, const SmoothingRoom& room)
{
    const cv::Size size = source.size();
    cv::Mat plane = planeFor(size);
    walkAlongFirst<T>(source, coupling, plane, room.along);
    walkDownFirst<T>(source, coupling, plane, room.down);
    walkAlong<1>(plane, size, room.along);
    walkDown<1>(plane, size, room.down);
    walkAlong<2>(plane, size, room.along);
    walkDown<2>(plane, size, room.down);
    return plane(cv::Rect({}, size));
}

} // namespace

cv::Mat smoothedEdgeAware(const cv::Mat& source, float sigma, float contrast, const SmoothingRoom& room)
{
    const Coupling coupling(sigma, contrast);
    return source.type() == CV_16UC1 ? smooth<ushort>(source, coupling, room) : smooth<float>(source, coupling, room);
}

} // namespace pixmill::develop
