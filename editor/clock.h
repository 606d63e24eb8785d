#pragma once

#include <algorithm>
#include <chrono>

namespace editor {

/// Milliseconds of a clock that only goes forward.
inline double now()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Milliseconds from one lap to the next.
class Watch {
public:
    double lap()
    {
        const double before = m_at;
        m_at = now();
        return m_at - before;
    }

private:
    double m_at = now();
};

/// So many a second, and a few more at once.
class Allowance {
public:
    Allowance(double perSecond, double atOnce) : m_perSecond(perSecond), m_most(atOnce), m_left(atOnce) {}

    /// Takes `cost` where it is left.
    bool take(double cost)
    {
        const double time = now();
        m_left = std::min(m_most, m_left + (time - m_at) * m_perSecond / 1000);
        m_at = time;
        if (cost > m_left)
            return false;
        m_left -= cost;
        return true;
    }

private:
    double m_perSecond, m_most, m_left, m_at = now();
};

} // namespace editor
