// The live editor, as a command.
#include "Editor.h"
#include "commands.h"
#include "develop.h"
#include "program.h"
#include <pixmill/core/Threads.h>

#include <spawn.h>
#include <sys/wait.h>

#include <thread>

extern char** environ;

namespace {

/// Exports go the way of `pixmill develop`.
bool developExport(const editor::Export& one, const std::function<bool(double)>& share)
{
    DevelopOptions options;
    options.format = one.format;
    options.depth = one.depth;
    options.quality = one.quality;
    Task task;
    task.in = one.in;
    task.out = one.out;
    try {
        developOne(task, options, one.recipe, share);
    } catch (const Stopped&) {
        return false;
    }
    return true;
}

/// Has the desktop open the address. Where there is none, the line on the terminal has to do.
void openBrowser(const std::string& address)
{
    std::string program = "xdg-open", argument = address;
    char* arguments[] = {program.data(), argument.data(), nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, program.c_str(), nullptr, nullptr, arguments, environ) == 0)
        std::thread([child] { waitpid(child, nullptr, 0); }).detach();
}

} // namespace

int runEdit(Terminal& terminal, const EditOptions& options)
{
    editor::Surroundings around;
    around.develop = developExport;
    around.stopWanted = stopWanted;
    around.inOneLine = inOneLine;
    around.ready = [&](const std::string& address) {
        std::fprintf(output(), "%s\n", address.c_str());
        std::fflush(output());
        if (options.stays)
            return;
        terminal.line("The editor is open in the browser; Ctrl+C ends it.");
        openBrowser(address);
    };
    const Hush hush;
    editor::Options asked;
    asked.place = options.place;
    asked.out = options.out;
    asked.port = options.port;
    asked.token = options.token;
    editor::run(asked, around);
    return kDone;
}
