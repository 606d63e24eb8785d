#include "report.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace {

volatile std::sig_atomic_t interrupted = 0;

void onInterrupt(int)
{
    interrupted = 1;
}

} // namespace

void heading(const std::string& text)
{
    std::printf("\n%s\n%s\n", text.c_str(), std::string(text.size(), '-').c_str());
}

void step(const std::string& what, double ms, double pixels)
{
    std::printf("  %-58s %9.1f ms", what.c_str(), ms);
    if (pixels > 0)
        std::printf("  %8.1f MPix/s", pixels / ms * 1e-3);
    std::printf("\n");
    std::fflush(stdout);
}

void wrote(const std::string& path)
{
    std::printf("  wrote %s\n", path.c_str());
}

ProgressBar::ProgressBar(std::string what) : m_what(std::move(what))
{
    interrupted = 0;
    std::signal(SIGINT, onInterrupt);
    draw(0);
}

ProgressBar::~ProgressBar()
{
    std::signal(SIGINT, SIG_DFL);
    if (isatty(STDERR_FILENO))
        std::fprintf(stderr, "\r%*s\r", 79, "");
}

bool ProgressBar::callback(int thousandth, void* self)
{
    auto* bar = static_cast<ProgressBar*>(self);
    if (thousandth / 10 != bar->m_last / 10)
        bar->draw(bar->m_last = thousandth);
    return !interrupted;
}

void ProgressBar::draw(int thousandth) const
{
    if (!isatty(STDERR_FILENO))
        return;
    const int width = 40, done = width * thousandth / 1000;
    std::fprintf(stderr, "\r  %-24s [%s%s] %3d %%", m_what.c_str(), std::string(done, '#').c_str(),
                 std::string(width - done, '.').c_str(), thousandth / 10);
}
