#include "Editor.h"
#include "desk.h"
#include "server.h"

#include <pixmill/develop/Error.h>

#include <cstdio>
#include <filesystem>
#include <random>

namespace editor {

namespace {

/// 128 bits that nobody guesses.
std::string randomToken()
{
    std::random_device device;
    std::string token;
    char word[9];
    for (int i = 0; i < 4; ++i) {
        std::snprintf(word, sizeof word, "%08x", unsigned(device()));
        token += word;
    }
    return token;
}

std::string folderForExports(const Options& options)
{
    namespace fs = std::filesystem;
    if (!options.out.empty())
        return fs::absolute(options.out).string();
    const fs::path place = fs::absolute(options.place);
    return ((fs::is_directory(place) ? place : place.parent_path()) / "developed").string();
}

} // namespace

void run(const Options& asked, const Surroundings& around)
{
    Options options = asked;
    options.out = folderForExports(asked);
    Server server(options.port, options.token.empty() ? randomToken() : options.token);
    Desk desk(options, around, server);
    around.ready(server.address());
    server.run(desk, around.stopWanted);
}

} // namespace editor
