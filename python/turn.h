#pragma once

#include "errors.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace pixmill::python {

/// An object's turns: one thread at a time works on it, the others wait without the interpreter's lock.
class Turn {
public:
    Turn() = default;
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /// @throws Error  this very thread is at work on the object, and called it from its progress.
    template <class Work>
    void take(const char* call, const Work& work)
    {
        released(call, [&] {
            if (m_holder == std::this_thread::get_id())
                throw Error(call, "self", "an object that is not at work", "at work: this call comes from inside it");
            const std::lock_guard<std::mutex> lock(m_mutex);
            const Holding holding(m_holder);
            work();
        });
    }

private:
    struct Holding {
        explicit Holding(std::atomic<std::thread::id>& holder) : holder(holder) { holder = std::this_thread::get_id(); }
        ~Holding() { holder = std::thread::id(); }
        Holding(const Holding&) = delete;
        Holding& operator=(const Holding&) = delete;
        std::atomic<std::thread::id>& holder;
    };

    std::mutex m_mutex;
    std::atomic<std::thread::id> m_holder{std::thread::id()};
};

} // namespace pixmill::python
