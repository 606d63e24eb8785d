#pragma once

#include <pixmill/develop/Recipe.h>

#include <functional>
#include <string>

/// The live editor: a host of pixmill::develop that a browser is the screen of. docs/host.md tells its road.
namespace editor {

/// One picture from file to file, as `pixmill develop` does it.
struct Export {
    std::string in, out;
    std::string format; ///< "jpeg", "png" or "tiff".
    int depth = 0;      ///< 8 or 16; 0: as the picture's own.
    int quality = 92;
    pixmill::Recipe recipe;
};

/// Makes an export, telling its share, 0..1; false from `share` stops it. @return false when stopped. @throws Error
using Exporter = std::function<bool(const Export&, const std::function<bool(double share)>& share)>;

/// What the editor was asked for.
struct Options {
    std::string place = "."; ///< A photograph, or a folder of them.
    std::string out;         ///< Where exports go; empty: a folder "developed" beside the photographs.
    int port = 0;            ///< 0: any that is free.
    std::string token;       ///< In the address; empty: a random one.
};

/// What the editor needs of the program it runs in.
struct Surroundings {
    Exporter develop;
    std::function<bool()> stopWanted;
    std::function<void(const std::string& address)> ready; ///< Told once, when pages can be opened.
    std::function<std::string()> inOneLine;                ///< What is being thrown, for a person.
};

/// Serves the editor on the loopback interface until the surroundings want it to stop. @throws Error
void run(const Options& options, const Surroundings& around);

} // namespace editor
