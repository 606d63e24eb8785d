#pragma once

#include <string_view>
#include <vector>

namespace editor {

/// A file of the page, as it was when the program was built.
struct PageFile {
    const char* name; ///< Below the address; "" is the page.
    const char* type;
    std::string_view text;
};

const std::vector<PageFile>& pageFiles();

} // namespace editor
