// Which file becomes which, and which are made already.
#include "develop.h"
#include "program.h"
#include <pixmill/develop/Error.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

namespace fs = std::filesystem;

namespace {

bool isFolder(const DevelopOptions& options)
{
    if (options.in.size() > 1 || fs::is_directory(options.out) || options.out.back() == '/')
        return true;
    return pixmill::formatOfName(options.out).empty();
}

/// Refuses an output that looks like a picture of a format that is not written: it would become a folder.
void checkOutput(const DevelopOptions& options)
{
    const char* const readOnly[] = {".avif", ".bmp", ".dng", ".exr", ".gif", ".heic", ".heif", ".jp2", ".webp"};
    std::string ending = fs::path(options.out).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    if (options.in.size() == 1 && !fs::is_directory(options.out) &&
        std::find(std::begin(readOnly), std::end(readOnly), ending) != std::end(readOnly))
        throw pixmill::Error("pixmill develop", "", "",
                             options.out + ": has no format that can be written: jpeg, png or tiff");
}

/// Refuses one picture's output whose name tells another format than was asked for.
void checkFormat(const DevelopOptions& options)
{
    const std::string named = pixmill::formatOfName(options.out);
    if (!isFolder(options) && !options.format.empty() && named != options.format)
        throw pixmill::Error("pixmill develop", "", "",
                             options.out + ": is a name of " + named + ", and --format is " + options.format);
}

std::string endingOf(const std::string& format)
{
    return format == "jpeg" ? ".jpg" : format == "png" ? ".png" : ".tif";
}

std::string outputFor(const std::string& in, const DevelopOptions& options)
{
    const fs::path name(in);
    const std::string own = pixmill::formatOfName(in);
    const bool keeps = !own.empty() && (options.format.empty() || options.format == own);
    const std::string ending = keeps ? name.extension().string() : endingOf(options.format);
    return (fs::path(options.out) / (name.stem().string() + ending)).string();
}

void fail(Task& task, const std::string& why)
{
    task.state = Task::State::Failed;
    task.words = task.in + ": " + why;
}

std::uint64_t hashed(const std::string& text)
{
    std::uint64_t hash = 14695981039346656037u; // FNV-1a
    for (const unsigned char c : text)
        hash = (hash ^ c) * 1099511628211u;
    return hash;
}

/// Size and time of change to the nanosecond; "none" for no file.
std::string stampOf(const std::string& path)
{
    struct stat found {};
    if (stat(path.c_str(), &found))
        return "none";
    std::ostringstream text;
    text << found.st_size << ' ' << found.st_mtim.tv_sec << '.' << found.st_mtim.tv_nsec;
    return text.str();
}

} // namespace

std::vector<Task> planTasks(const DevelopOptions& options)
{
    checkOutput(options);
    checkFormat(options);
    const bool folder = isFolder(options);
    std::set<std::string> inputs;
    std::map<std::string, std::string> makerOf;
    std::vector<Task> tasks;
    for (const std::string& in : options.in)
        inputs.insert(trueName(in));
    std::set<std::string> seen;
    for (const std::string& in : options.in) {
        Task task;
        task.in = in;
        task.out = folder ? outputFor(in, options) : options.out;
        const std::string out = trueName(task.out);
        if (!seen.insert(trueName(in)).second) {
            task.state = Task::State::Twice;
            task.words = in + ": given twice, done once";
        } else if (inputs.count(out)) {
            fail(task, "its output would take the place of an input, " + task.out);
        } else if (!makerOf.emplace(out, in).second) {
            fail(task, "its output " + task.out + " is that of " + makerOf[out] + " already");
        }
        tasks.push_back(task);
    }
    return tasks;
}

Ledger::Ledger(const DevelopOptions& options, const std::string& settings) : m_settings(settings)
{
    if (!isFolder(options))
        return; // one picture to a file is done whenever it is asked for
    m_path = (fs::path(options.out) / ".pixmill-done").string();
    std::ifstream file(m_path);
    for (std::string line; std::getline(file, line);) {
        const size_t tab = line.find('\t');
        if (tab != std::string::npos)
            m_known.emplace_back(line.substr(tab + 1), line.substr(0, tab));
    }
}

std::string Ledger::fingerprint(const Task& task) const
{
    std::ostringstream text;
    text << std::hex << hashed(trueName(task.in) + '\n' + stampOf(task.in) + '\n' + m_settings);
    return text.str();
}

bool Ledger::isDone(const Task& task) const
{
    const std::string name = fs::path(task.out).filename().string();
    for (auto known = m_known.rbegin(); known != m_known.rend(); ++known)
        if (known->first == name)
            return known->second == fingerprint(task) + ' ' + stampOf(task.out);
    return false;
}

void Ledger::add(const Task& task)
{
    if (m_path.empty())
        return;
    const std::string line =
        fingerprint(task) + ' ' + stampOf(task.out) + '\t' + fs::path(task.out).filename().string() + '\n';
    const int file = open(m_path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0)
        return;                                                    // then the next run does it again
    const ssize_t written = write(file, line.data(), line.size()); // one write: no line is mixed with another's
    (void)written;
    close(file);
}
