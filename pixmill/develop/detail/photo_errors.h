#pragma once

#include <string>

namespace pixmill::develop {

/// @throws Error  always: "PATH: PROBLEM", one line.
[[noreturn]] void refuseFile(const char* call, const std::string& path, const std::string& problem);

/// The first line of what another library said of `path`, without the path itself, or `otherwise` where it said
/// nothing.
std::string inOneLine(const std::string& said, const std::string& path, const std::string& otherwise);

} // namespace pixmill::develop
