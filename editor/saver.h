#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace editor {

/// Writes small files whole or not at all, on a thread of its own; of several texts for one file the newest.
class Saver {
public:
    /// @param told  Called on the saver's thread after each file: "" or why it could not be written.
    explicit Saver(std::function<void(const std::string& path, const std::string& fault)> told);

    /// Writes what is still waiting.
    ~Saver();

    void save(const std::string& path, std::string text);

private:
    void work();

    std::function<void(const std::string&, const std::string&)> m_told;
    std::mutex m_guard;
    std::condition_variable m_changed;
    std::map<std::string, std::string> m_waiting;
    bool m_ending = false;
    std::thread m_thread;
};

/// The file's bytes; "" where there is none. @throws Error  where it cannot be read.
std::string contentsOf(const std::string& path);

/// Removes hidden files that a saver which was killed left in the folder.
void removeUnfinished(const std::string& folder);

} // namespace editor
