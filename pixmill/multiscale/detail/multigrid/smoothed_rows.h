#pragma once

#include <pixmill/multiscale/detail/multigrid/schur_rows.h>

#include <algorithm>
#include <array>

namespace pixmill::multiscale {

/// The weights of the steps before a cycle; after it they come in the reverse order. Together they are the Chebyshev
/// polynomial that makes all errors small whose eigenvalues, of the system divided by its diagonal, lie in 0.1..1.95;
/// none is above 2.
constexpr std::array<float, 3> kStepWeights = {0.5476f, 0.9756f, 4.4656f};

/// Jacobi steps z += w gain (residual - S z) for the system of colour 0, row by row and all at once: step k works
/// two rows behind step k - 1.
///
/// @tparam kSteps  how many; their weights are `weights`.
template <int kSteps>
class SmoothedRows {
public:
    static std::size_t roomFor(int count) { return kSteps * SchurRows<float>::roomFor(count); }

    SmoothedRows(const Grid& grid, const Plane<float>& gain, const Plane<float>& residual, const float* weights,
                 float* room)
        : m_before(grid, gain, residual, weights, room + SchurRows<float>::roomFor(grid.count)), m_schur(grid, room),
          m_gain(gain), m_residual(residual), m_weight(weights[kSteps - 1])
    {
    }

    /// To be called before row(y), the first of the rows asked for.
    void begin(int y)
    {
        m_before.begin(std::max(y - 2, 0));
        m_schur.begin(y);
    }

    /// Row y of z after the steps, within the picture. `make(y, row)` gives row y of z before them.
    template <class Make>
    void row(int y, const Make& make, float* __restrict out)
    {
        m_schur.row(y, step(make), out);
        const float *z = m_schur.z(y), *gain = m_gain.row(y), *residual = m_residual.row(y);
        for (int k = 0; k < m_gain.width; ++k)
            out[k] = z[k] + m_weight * gain[k] * (residual[k] - out[k]);
    }

private:
    template <class Make>
    auto step(const Make& make)
    {
        return [this, &make](int y, float* out) { m_before.row(y, make, out); };
    }

    SmoothedRows<kSteps - 1> m_before;
    SchurRows<float> m_schur;
    const Plane<float>&m_gain, &m_residual;
    float m_weight;
};

template <>
class SmoothedRows<0> {
public:
    SmoothedRows(const Grid&, const Plane<float>&, const Plane<float>&, const float*, float*) {}

    void begin(int) {}

    template <class Make>
    void row(int y, const Make& make, float* out)
    {
        make(y, out);
    }
};

} // namespace pixmill::multiscale
