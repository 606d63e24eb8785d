#include <pixmill/develop/detail/temporary_file.h>

#include <pixmill/develop/detail/photo_errors.h>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>

namespace pixmill::develop {

namespace {

std::mutex g_guard;
std::set<std::string> g_open; // names of the files that are neither in place nor gone
bool g_closed = false;        // the program ends

std::string hiddenName(const std::string& target)
{
    static std::atomic<int> count{0};
    const std::filesystem::path path(target);
    const std::string name = "." + path.filename().string().substr(0, 200) + "." + std::to_string(getpid()) + "-" +
                             std::to_string(count++) + ".part";
    return (path.parent_path() / name).string();
}

[[noreturn]] void refuse(const std::string& target, const char* step)
{
    refuseFile("PhotoWriter", target, std::string(step) + ": " + std::strerror(errno));
}

/// A new name comes to stay with its folder only; a file system that cannot do so loses nothing but that.
void syncFolder(const std::string& target)
{
    const std::string folder = std::filesystem::path(target).parent_path().string();
    const int handle = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0)
        return;
    fsync(handle);
    close(handle);
}

} // namespace

TemporaryFile::TemporaryFile(std::string target) : m_target(std::move(target)), m_name(hiddenName(m_target))
{
    const std::lock_guard<std::mutex> lock(g_guard);
    if (g_closed)
        refuseFile("PhotoWriter", m_target, "not written: the program is ending");
    const int handle = open(m_name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (handle < 0)
        refuse(m_target, "cannot be written");
    m_file = fdopen(handle, "w+b");
    g_open.insert(m_name);
}

TemporaryFile::~TemporaryFile()
{
    discard();
}

void TemporaryFile::discard() noexcept
{
    if (!m_file)
        return;
    std::fclose(m_file);
    m_file = nullptr;
    const std::lock_guard<std::mutex> lock(g_guard);
    unlink(m_name.c_str());
    g_open.erase(m_name);
}

void TemporaryFile::commit()
{
    if (std::fflush(m_file) || fsync(fileno(m_file)))
        refuse(m_target, "cannot be written");
    {
        const std::lock_guard<std::mutex> lock(g_guard);
        if (g_closed || std::rename(m_name.c_str(), m_target.c_str()))
            refuse(m_target, "cannot take its name");
        g_open.erase(m_name);
    }
    std::fclose(m_file);
    m_file = nullptr;
    syncFolder(m_target);
}

void discardTemporaryFiles()
{
    const std::lock_guard<std::mutex> lock(g_guard);
    g_closed = true;
    for (const std::string& name : g_open)
        unlink(name.c_str());
    g_open.clear();
}

} // namespace pixmill::develop
