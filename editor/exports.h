#pragma once

#include "Editor.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace editor {

/// What a batch of exports tells, on its own thread.
struct ExportEvents {
    std::function<void(const Export& one, int done, int total, double share)> share;
    std::function<void(const Export& one, const std::string& fault)> failed;
    std::function<void(int done, int failed, bool stopped)> ended;
};

/// Exports in the background, one batch at a time, one picture after another.
class Exports {
public:
    Exports(const Surroundings& around, ExportEvents events);
    ~Exports(); ///< Stops.

    /// @return false where a batch is still at work.
    bool start(std::vector<Export> batch);
    void stop();

private:
    void work();
    void make(const std::vector<Export>& batch);

    const Surroundings& m_around;
    const ExportEvents m_events;
    std::mutex m_guard;
    std::condition_variable m_changed;
    std::vector<Export> m_batch;
    bool m_busy = false, m_ending = false;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace editor
