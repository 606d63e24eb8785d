#include "exports.h"

#include <utility>

namespace editor {

Exports::Exports(const Surroundings& around, ExportEvents events)
    : m_around(around), m_events(std::move(events)), m_thread([this] { work(); })
{
}

Exports::~Exports()
{
    m_stop = true;
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_ending = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

bool Exports::start(std::vector<Export> batch)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        if (m_busy)
            return false;
        m_busy = true;
        m_stop = false;
        m_batch = std::move(batch);
    }
    m_changed.notify_one();
    return true;
}

void Exports::stop()
{
    m_stop = true;
}

void Exports::work()
{
    std::unique_lock<std::mutex> lock(m_guard);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ending || m_busy; });
        if (m_ending)
            return;
        const std::vector<Export> batch = std::exchange(m_batch, {});
        lock.unlock();
        make(batch);
        lock.lock();
        m_busy = false;
    }
}

void Exports::make(const std::vector<Export>& batch)
{
    int done = 0, failed = 0;
    for (const Export& one : batch) {
        try {
            const bool whole = m_around.develop(one, [&](double share) {
                m_events.share(one, done + failed, int(batch.size()), share);
                return !m_stop;
            });
            if (!whole)
                break;
            ++done;
        } catch (...) {
            m_events.failed(one, m_around.inOneLine());
            ++failed;
        }
    }
    m_events.ended(done, failed, m_stop);
}

} // namespace editor
