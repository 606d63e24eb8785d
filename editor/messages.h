#pragma once

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>

namespace editor {

using Json = nlohmann::json;

/// A message that is not what the table wants. `about` is its type where that could be read.
struct Refused : std::runtime_error {
    std::string about;
    Refused(std::string about, const std::string& words) : std::runtime_error(words), about(std::move(about)) {}
};

/// A page's message, checked against the one table of all messages: every member that is needed is there, has its kind
/// and lies in its range, and none is there that the table does not know. @throws Refused
Json checkedMessage(const std::string& text);

/// {"type": "error", ...} for a page.
std::string errorMessage(const std::string& about, const std::string& words);

} // namespace editor
