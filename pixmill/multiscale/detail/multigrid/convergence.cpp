#include <pixmill/multiscale/detail/multigrid/convergence.h>

#include <algorithm>
#include <cmath>

namespace pixmill::multiscale {

void Convergence::step(double size)
{
    m_sizes[m_steps++] = size;
    const double whole = std::log(m_sizes[0] / m_enough), done = std::log(m_sizes[0] / larger(m_steps - 1));
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
    const double now = larger(m_steps - 1), before = larger(m_steps - 4);
    const double rate = std::clamp(std::cbrt(now / before), 0.3, 0.95);
    return now * rate / (1 - rate) < m_enough;
}

bool Convergence::hopeless() const
{
    if (m_steps >= kLongest)
        return true;
    if (m_steps < 40 || m_steps % 20 != 0)
        return false;
    const int past = m_steps / 2;
    const double now = larger(m_steps - 1), fall = std::log(larger(m_steps - 1 - past) / now) / past;
    return !(fall > 0) || std::log(now / m_enough) / fall > 1.5 * kLongest - m_steps;
}

} // namespace pixmill::multiscale
