#pragma once

#include <pixmill/rows/lanes.h>
#include <pixmill/rows/recursive_gaussian.h>
#include <pixmill/rows/rows.h>

#include <opencv2/core/mat.hpp>

#include <algorithm>
#include <cstddef>
#include <cstring>

/// The recursive Gaussian's sweeps of rows and columns side by side, with what they carry along in registers.
namespace pixmill::multiscale {

using namespace rows;

constexpr int kRowLanes = 32; ///< Rows that are swept side by side.

/// Whether the processor's vectors hold eight floats, or more than four.
inline bool takesEight()
{
    return rowPolicy().level > 0;
}

/// L floats side by side in vectors, which stay in registers from one sample to the next.
template <int L, int kMostWidth>
struct Lanes {
    static constexpr int kWidth = std::min(L, kMostWidth);
    typedef float Vector __attribute__((vector_size(4 * kWidth)));
    static constexpr int kCount = L / kWidth;
    Vector v[kCount] = {};

    void store(float* to) const
    {
        for (int k = 0; k < kCount; ++k) {
            const Vector vector = v[k];
            std::memcpy(to + k * kWidth, &vector, sizeof vector);
        }
    }

    void store(float* to, float gain) const
    {
        for (int k = 0; k < kCount; ++k) {
            const Vector scaled = v[k] * gain;
            std::memcpy(to + k * kWidth, &scaled, sizeof scaled);
        }
    }

    void begin(const float* samples, float boundary)
    {
        for (int k = 0; k < kCount; ++k) {
            Vector in;
            std::memcpy(&in, samples + k * kWidth, sizeof in);
            v[k] = in * boundary;
        }
    }

    void step(const float* samples, float nu)
    {
        for (int k = 0; k < kCount; ++k) {
            Vector in;
            std::memcpy(&in, samples + k * kWidth, sizeof in);
            v[k] = in + nu * v[k];
        }
    }
};

/// The sweeps of rows that became lanes. The first one turns the rows, block by block as it comes to them, and the last
/// one turns them back: only what lies between goes through the lanes' memory, which no near cache holds.
template <int W>
class RowSweeps {
public:
    RowSweeps(float* rows, std::ptrdiff_t stride, int width, float* tile, const RecursiveGaussian& gauss)
        : m_rows(rows), m_stride(stride), m_width(width), m_tile(tile), m_gauss(gauss)
    {
    }

    void run(int steps)
    {
        const auto inLanes = [this](int x, int) { return m_tile + std::ptrdiff_t(x) * kRowLanes; };
        const auto stay = [](int, int) {};
        forward([this](int x, int n) { return turn(x, n); });
        for (int i = 1; i < steps; ++i) {
            backward(inLanes, stay);
            forward(inLanes);
        }
        backward([this](int, int) { return m_block; }, [this](int x, int n) { turnBack(x, n); });
    }

private:
    static constexpr int kBlock = 16; ///< Samples of a row: a cache line.
    static constexpr int kAhead = 8 * kBlock;

    /// `take(x, n)` gives n samples from x on in lane form.
    template <class Take>
    void forward(const Take& take)
    {
        Lanes<kRowLanes, W> lanes;
        float* to = m_tile;
        for (int x = 0; x < m_width; x += kBlock) {
            const int n = std::min(kBlock, m_width - x);
            const float* in = take(x, n);
            for (int i = 0; i < n; ++i, in += kRowLanes, to += kRowLanes) {
                if (x + i == 0)
                    lanes.begin(in, m_gauss.boundary);
                else
                    lanes.step(in, m_gauss.nu);
                lanes.store(to);
            }
        }
    }

    /// `place(x, n)` is where n samples from x on go in lane form, and `done(x, n)` is told when they are there.
    template <class Place, class Done>
    void backward(const Place& place, const Done& done)
    {
        Lanes<kRowLanes, W> lanes;
        const float* in = m_tile + std::ptrdiff_t(m_width) * kRowLanes;
        for (int x = (m_width - 1) / kBlock * kBlock; x >= 0; x -= kBlock) {
            const int n = std::min(kBlock, m_width - x);
            float* const out = place(x, n);
            for (int i = n - 1; i >= 0; --i) {
                in -= kRowLanes;
                if (x + i == m_width - 1)
                    lanes.begin(in, m_gauss.boundary);
                else
                    lanes.step(in, m_gauss.nu);
                lanes.store(out + i * kRowLanes);
            }
            done(x, n);
        }
    }

    float* row(int l) const { return m_rows + l * m_stride; }

    /// Eight rows at a time by whole cache lines, so that no row step can map them onto the same few.
    template <class Square>
    void forEachLine(int x, const Square& square) const
    {
        for (int l = 0; l < kRowLanes; l += 8)
            for (int k = 0; k < kBlock; k += 8)
                square(x + k, l, m_block + k * kRowLanes + l);
    }

    const float* turn(int x, int n)
    {
        if (n < kBlock) {
            rowsToLanes<kRowLanes>([=](int l) { return row(l) + x; }, kRowLanes, n, m_block);
            return m_block;
        }
        for (int l = 0; l < kRowLanes; ++l)
            __builtin_prefetch(row(l) + x + kAhead);
        forEachLine(x, [this](int at, int l, float* lanes) {
            turnSquare([=](int k) { return row(l + k) + at; }, [=](int k) { return lanes + k * kRowLanes; });
        });
        return m_block;
    }

    void turnBack(int x, int n)
    {
        if (n < kBlock)
            return lanesToRows<kRowLanes>(m_block, kRowLanes, n, [=](int l) { return row(l) + x; });
        for (int l = 0; l < kRowLanes; ++l)
            __builtin_prefetch(row(l) + x - kAhead);
        forEachLine(x, [this](int at, int l, float* lanes) {
            turnSquare([=](int k) { return lanes + k * kRowLanes; }, [=](int k) { return row(l + k) + at; });
        });
    }

    float* m_rows;
    std::ptrdiff_t m_stride;
    int m_width;
    float* m_tile;
    RecursiveGaussian m_gauss;
    mutable float m_block[kBlock * kRowLanes];
};

/// Both sweeps of L columns at once. They meet in the middle, and each then reads what the other has written: that is
/// meant, and it is not the row's result. Until they meet they read `from(y)`, behind it they write times `gain` to
/// `to(y)`; what lies between goes through `column`.
template <int L, int W, class From, class To>
inline void sweepColumnsFused(float* column, int height, const RecursiveGaussian& gauss, const From& from, const To& to,
                              float gain)
{
    Lanes<L, W> top, bottom;
    const auto at = [=](int y) { return column + std::ptrdiff_t(y) * L; };
    top.begin(from(0), gauss.boundary);
    top.store(at(0));
    bottom.begin(from(height - 1), gauss.boundary);
    bottom.store(at(height - 1));
    int y = 1;
    for (; 2 * y < height - 1; ++y) {
        bottom.step(from(height - 1 - y), gauss.nu);
        bottom.store(at(height - 1 - y));
        top.step(from(y), gauss.nu);
        top.store(at(y));
    }
    if (2 * y == height - 1) { // one row between them
        bottom.step(from(y), gauss.nu);
        bottom.store(at(y));
        top.step(at(y), gauss.nu);
        top.store(to(y), gain);
        ++y;
    }
    for (; y < height; ++y) {
        bottom.step(at(height - 1 - y), gauss.nu);
        bottom.store(to(height - 1 - y), gain);
        top.step(at(y), gauss.nu);
        top.store(to(y), gain);
    }
}

/// All pairs of sweeps of L columns, and the final scaling: the first pair reads the plane, the last one writes it.
template <int L, int W>
inline void sweepStrip(cv::Mat& plane, int x, float* buffer, const RecursiveGaussian& gauss, int steps)
{
    const auto inPlane = [&plane, x](int y) { return plane.ptr<float>(y) + x; };
    const auto inBuffer = [buffer](int y) { return buffer + std::ptrdiff_t(y) * L; };
    if (steps == 1)
        return sweepColumnsFused<L, W>(buffer, plane.rows, gauss, inPlane, inPlane, gauss.post);
    sweepColumnsFused<L, W>(buffer, plane.rows, gauss, inPlane, inBuffer, 1.0f);
    for (int i = 2; i < steps; ++i)
        sweepColumnsFused<L, W>(buffer, plane.rows, gauss, inBuffer, inBuffer, 1.0f);
    sweepColumnsFused<L, W>(buffer, plane.rows, gauss, inBuffer, inPlane, gauss.post);
}

} // namespace pixmill::multiscale
