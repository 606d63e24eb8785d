#include <pixmill/multiscale/detail/multigrid/convergence.h>
#include <pixmill/rows/logarithm.h>

#include <algorithm>

// Results hang on how many steps there are, so no function of the C library has a say in that.
namespace pixmill::multiscale {

using rows::wideLogarithm;

void Convergence::step(double size)
{
    m_sizes[m_steps++] = size;
    const double whole = wideLogarithm(m_sizes[0] / m_enough);
    const double done = wideLogarithm(m_sizes[0] / larger(m_steps - 1));
    if (whole > 0 && done > m_share * whole)
        m_share = std::min(done / whole, 1.0);
}

double Convergence::larger(int step) const
{
    return std::max(m_sizes[step], m_sizes[std::max(step - 1, 0)]);
}

bool Convergence::reached() const
{
    if (m_steps < 5)
        return false;
    // What is left is now * rate / (1 - rate), with a step's rate of three steps' fall, from 0.3 to 0.95.
    const double now = larger(m_steps - 1), before = larger(m_steps - 4), mostRate = m_enough / (now + m_enough);
    return mostRate > 0.95 || (mostRate > 0.3 && now < before * mostRate * mostRate * mostRate);
}

bool Convergence::hopeless() const
{
    if (m_steps >= kLongest)
        return true;
    if (m_steps < 40 || m_steps % 20 != 0)
        return false;
    const int past = m_steps / 2;
    const double now = larger(m_steps - 1), old = larger(m_steps - 1 - past), fall = wideLogarithm(old / now) / past;
    return !(old > now) || !(fall > 0) || wideLogarithm(now / m_enough) / fall > 1.5 * kLongest - m_steps;
}

} // namespace pixmill::multiscale
