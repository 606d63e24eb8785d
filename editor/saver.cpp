#include "saver.h"
#include <pixmill/develop/Error.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace editor {

namespace fs = std::filesystem;

namespace {

const char* const kUnfinished = ".pixmill-unfinished-";

/// Brings all of `text` to the disk. @return whether it could be.
bool writeAll(int file, const std::string& text)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR)
            return false;
        done += std::size_t(std::max<ssize_t>(count, 0));
    }
    return fsync(file) == 0;
}

void syncFolder(const fs::path& folder)
{
    const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0)
        return;
    fsync(opened);
    close(opened);
}

/// A file of that text under a name of its own, which then takes the place of `path`. @return "" or what failed.
std::string replace(const std::string& path, const std::string& text)
{
    const fs::path folder = fs::path(path).parent_path();
    std::string hidden = (folder / (std::string(kUnfinished) + "XXXXXX")).string();
    const int file = mkostemp(hidden.data(), O_CLOEXEC);
    if (file < 0)
        return std::strerror(errno);
    fchmod(file, 0644);
    const bool written = writeAll(file, text);
    int fault = written ? 0 : errno;
    close(file);
    if (written && rename(hidden.c_str(), path.c_str()) == 0) {
        syncFolder(folder);
        return "";
    }
    fault = fault ? fault : errno;
    unlink(hidden.c_str());
    return std::strerror(fault);
}

} // namespace

Saver::Saver(std::function<void(const std::string&, const std::string&)> told)
    : m_told(std::move(told)), m_thread([this] { work(); })
{
}

Saver::~Saver()
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_ending = true;
    }
    m_changed.notify_one();
    m_thread.join();
}

void Saver::save(const std::string& path, std::string text)
{
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_waiting[path] = std::move(text);
    }
    m_changed.notify_one();
}

void Saver::work()
{
    std::unique_lock<std::mutex> lock(m_guard);
    for (;;) {
        m_changed.wait(lock, [this] { return m_ending || !m_waiting.empty(); });
        if (m_waiting.empty())
            return;
        const auto next = m_waiting.extract(m_waiting.begin());
        lock.unlock();
        m_told(next.key(), replace(next.key(), next.mapped()));
        lock.lock();
    }
}

std::string contentsOf(const std::string& path)
{
    std::error_code failed;
    if (!fs::exists(path, failed))
        return "";
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw pixmill::Error("pixmill edit", "", "", path + ": cannot be read, or is empty");
    return text.str();
}

void removeUnfinished(const std::string& folder)
{
    const auto old =
        fs::file_time_type::clock::now() - std::chrono::minutes(1); // a younger one may be another editor's
    std::error_code failed;
    for (const auto& entry : fs::directory_iterator(folder, failed))
        if (entry.path().filename().string().rfind(kUnfinished, 0) == 0 && entry.last_write_time(failed) < old)
            fs::remove(entry.path(), failed);
}

} // namespace editor
