#include "terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace {

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

size_t columns(int handle)
{
    winsize size{};
    const bool known = ioctl(handle, TIOCGWINSZ, &size) == 0 && size.ws_col >= 20;
    return known ? size.ws_col : 80;
}

/// "[#####.....]  50 %  words", cut to the terminal's width.
std::string bar(double share, const std::string& words, size_t width)
{
    const int cells = 20, full = int(std::min(std::max(share, 0.0), 1.0) * cells);
    char percent[16];
    std::snprintf(percent, sizeof percent, "] %3d %%  ", int(share * 100));
    return ("[" + std::string(full, '#') + std::string(cells - full, '.') + percent + words).substr(0, width - 1);
}

[[maybe_unused]] std::mutex g_hush;
[[maybe_unused]] int g_hushed = 0, g_saved = -1;

} // namespace

Terminal::Terminal() : m_out(fdopen(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3), "w")), m_bars(isatty(STDERR_FILENO))
{
    if (!m_out) // standard error was closed
        m_out = std::fopen("/dev/null", "w");
}

Terminal::~Terminal()
{
    std::fclose(m_out);
}

void Terminal::line(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(m_guard);
    erase();
    std::fprintf(m_out, "%s\n", text.c_str());
    draw();
}

void Terminal::begin(int workers, int total)
{
    const std::lock_guard<std::mutex> lock(m_guard);
    m_workers.assign(m_bars ? workers : 0, {});
    m_total = total;
    m_done = 0;
}

void Terminal::task(int worker, const std::string& name, double share)
{
    const std::lock_guard<std::mutex> lock(m_guard);
    if (m_workers.empty())
        return;
    m_workers[worker] = {name, share};
    if (now() - m_drawnAt < 0.1)
        return;
    erase();
    draw();
}

void Terminal::done()
{
    const std::lock_guard<std::mutex> lock(m_guard);
    ++m_done;
}

void Terminal::end()
{
    const std::lock_guard<std::mutex> lock(m_guard);
    erase();
    m_workers.clear();
    std::fflush(m_out);
}

void Terminal::erase()
{
    for (; m_shown > 0; --m_shown)
        std::fputs("\033[A\033[2K", m_out);
}

void Terminal::draw()
{
    if (!m_workers.empty()) {
        const size_t width = columns(fileno(m_out));
        double share = m_done;
        for (const Bar& worker : m_workers)
            share += worker.name.empty() ? 0 : worker.share;
        const std::string all = std::to_string(m_done) + " of " + std::to_string(m_total);
        std::fprintf(m_out, "%s\n", bar(share / std::max(m_total, 1), all, width).c_str());
        for (const Bar& worker : m_workers)
            std::fprintf(m_out, "%s\n", bar(worker.share, worker.name, width).c_str());
        m_shown = 1 + int(m_workers.size());
    }
    std::fflush(m_out);
    m_drawnAt = now();
}

// A sanitizer's report must be seen.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
Hush::Hush() = default;
Hush::~Hush() = default;
#else
Hush::Hush()
{
    const std::lock_guard<std::mutex> lock(g_hush);
    if (g_hushed++)
        return;
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    g_saved = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (nowhere >= 0 && g_saved >= 0)
        dup2(nowhere, STDERR_FILENO);
    if (nowhere >= 0)
        close(nowhere);
}

Hush::~Hush()
{
    const std::lock_guard<std::mutex> lock(g_hush);
    if (--g_hushed || g_saved < 0)
        return;
    dup2(g_saved, STDERR_FILENO);
    close(g_saved);
    g_saved = -1;
}
#endif
