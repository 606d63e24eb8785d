#include <pixmill/core/TProgress.h>

#include <pixmill/rows/checked.h>
#include <pixmill/rows/pixel.h>

#include <climits>

using namespace pixmill::rows;

namespace {

// Counts and totals are the host's to write, so every read is checked.

template <class Vector>
auto& innermost(Vector& v)
{
    return checked(v, v.size() - 1);
}

/// Truncated; what no int can hold counts as its nearest end.
int whole(float v)
{
    return int(limit(v, -2147483648.0f, 2147483520.0f));
}

} // namespace

TProgress::TProgress(bool (*callback)(int, void*), void* userData) : m_callback_p(callback), m_userData_p(userData)
{
    reset();
}

void TProgress::reset()
{
    m_weights.clear();
    m_totals.clear();
    m_counts.clear();
    start(1.0f);
}

void TProgress::start(float weight)
{
    m_weights.push_back(weight);
    m_totals.push_back(100);
    m_counts.push_back(0);
}

bool TProgress::prog(int count, int total)
{
    innermost(m_counts) = count;
    innermost(m_totals) = total;
    return progress();
}

bool TProgress::prog()
{
    int& count = innermost(m_counts);
    count += count < INT_MAX;
    return progress();
}

bool TProgress::end()
{
    if (m_totals.empty())
        return true;
    const float weight = m_weights.empty() ? 0.0f : m_weights.back();
    for (auto* stack : {&m_totals, &m_counts})
        if (!stack->empty())
            stack->pop_back();
    if (!m_weights.empty())
        m_weights.pop_back();
    if (m_totals.empty())
        return true; // the root stage has no parent to report through

    const int parentTotal = m_totals.back();
    return prog(whole(float(innermost(m_counts)) + float(parentTotal) * weight), parentTotal);
}

bool TProgress::done()
{
    reset();
    m_counts.back() = m_totals.back();
    return progress();
}

bool TProgress::progress()
{
    const int count = innermost(m_counts);
    if (count > innermost(m_totals))
        m_totals.back() = int(limit((count + 1.0) * 1.2, -2147483648.0,
                                    2147483647.0)); // keeps a stage that was announced too short moving

    float share = 1.0f, sum = 0.0f;
    for (size_t i = 0; i < m_weights.size(); ++i) {
        share *= m_weights[i];
        sum += float(checked(m_counts, i)) * share / float(checked(m_totals, i));
    }
    if (!m_callback_p || !m_userData_p)
        return true;
    return m_callback_p(whole(limit(sum * 1000.0f, -2147483648.0f, 1000.0f)), m_userData_p);
}
