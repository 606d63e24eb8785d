#include "program.h"
#include <pixmill/develop/Photo.h>

#include <opencv2/core.hpp>

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <memory>
#include <new>
#include <thread>

namespace {

std::atomic<bool> g_stop{false};
std::FILE* g_output = stdout;

void onSignal(int)
{
    g_stop = true;
}

void listen(int signal, void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
}

/// What the command's thread and the waiting one share; outlives both.
struct Shared {
    std::mutex guard;
    std::condition_variable changed;
    bool finished = false;
    int code = kFailed;
};

int guarded(Terminal& terminal, const std::function<int()>& command)
{
    try {
        return command();
    } catch (const Stopped&) {
        return kInterrupted;
    } catch (...) {
        terminal.end();
        terminal.line("pixmill: " + inOneLine());
        return kFailed;
    }
}

} // namespace

std::FILE* openOutput()
{
    const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3), nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    std::FILE* file = own >= 0 ? fdopen(own, "w") : nullptr;
    if (file && nowhere >= 0 && dup2(nowhere, STDOUT_FILENO) >= 0)
        g_output = file;
    if (nowhere >= 0)
        close(nowhere);
    return g_output;
}

std::FILE* output()
{
    return g_output;
}

bool stopWanted()
{
    return g_stop;
}

int runCommand(Terminal& terminal, const std::function<int()>& command)
{
    using namespace std::chrono_literals;
    for (const int signal : {SIGINT, SIGTERM})
        listen(signal, onSignal);
    if (std::signal(SIGHUP, SIG_IGN) != SIG_IGN) // else by `nohup`: the terminal may go
        listen(SIGHUP, onSignal);
    listen(SIGPIPE, SIG_IGN);
    listen(SIGXFSZ, SIG_IGN); // a file that may not grow is told as such
    const auto shared = std::make_shared<Shared>();
    std::thread work([&terminal, &command, shared] {
        const int code = guarded(terminal, command);
        const std::lock_guard<std::mutex> lock(shared->guard);
        shared->code = code;
        shared->finished = true;
        shared->changed.notify_all();
    });

    std::unique_lock<std::mutex> lock(shared->guard);
    while (!shared->finished && !stopWanted())
        shared->changed.wait_for(lock, 50ms);
    if (!shared->changed.wait_for(lock, 600ms, [&] { return shared->finished; })) {
        pixmill::discardUnfinishedPhotos();
        terminal.end();
        terminal.line("pixmill: interrupted");
        _exit(kInterrupted);
    }
    lock.unlock();
    work.join();
    if (!stopWanted())
        return shared->code;
    terminal.end();
    terminal.line("pixmill: interrupted");
    return kInterrupted;
}

std::string inOneLine()
{
    std::string text;
    try {
        throw;
    } catch (const pixmill::Error& fault) {
        text =
            fault.argument.empty() ? fault.given : fault.argument + " is " + fault.given + ", wanted " + fault.wanted;
    } catch (const char* words) {
        text = words;
    } catch (const std::bad_alloc&) {
        text = "there is not enough memory";
    } catch (const cv::Exception& fault) {
        text = fault.code == cv::Error::StsNoMem ? "there is not enough memory" : fault.what();
    } catch (const std::exception& fault) {
        text = fault.what();
    }
    return text.substr(0, text.find('\n'));
}

std::string trueName(const std::string& path)
{
    std::error_code failed;
    const std::filesystem::path name = std::filesystem::weakly_canonical(path, failed);
    return failed ? path : name.string();
}

void keepInputs(const std::string& out, const std::vector<std::string>& inputs)
{
    for (const std::string& input : inputs)
        if (trueName(out) == trueName(input))
            throw pixmill::Error("pixmill", "", "", out + ": would take the place of an input");
}
