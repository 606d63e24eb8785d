#pragma once

#include <CLI/CLI.hpp>

#include <string>

/// The program's manual page (troff) and bash's completion, from the options as they are declared.
std::string manualOf(const CLI::App& app);
std::string completionOf(const CLI::App& app);
