#pragma once

#include "terminal.h"

#include <string>
#include <vector>

struct FilterOptions {
    std::string name, in, out;
    std::vector<std::string> parameters;
    bool list = false, lenient = false;
    int depth = 0; ///< 8 or 16; 0: the picture's own.
    int quality = 92;
    int tiles = 0; ///< Their side in pixels; 0: in tiles only if the picture is large.
};

struct CompareOptions {
    std::string a, b, picture;
    double times = 8; ///< How much the picture of the difference is brightened.
    bool json = false;
};

struct EditOptions {
    std::string place = "."; ///< A photograph, or a folder of them.
    std::string out;
    int port = 0;
    std::string token;  ///< Of the address; empty: a random one.
    bool stays = false; ///< Opens no browser.
};

/// Each does one command and gives its exit code. @throws pixmill::Error and what the filters throw
int runFilter(Terminal& terminal, const FilterOptions& options);
int runEdit(Terminal& terminal, const EditOptions& options);
int runInfo(Terminal& terminal, const std::vector<std::string>& files, bool json);
int runCompare(Terminal& terminal, const CompareOptions& options);
int runRecipeCheck(Terminal& terminal, const std::vector<std::string>& files);
int runRecipeKeys(bool markdown);
