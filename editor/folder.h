#pragma once

#include <string>
#include <vector>

namespace editor {

/// The photographs that pages may name, and nothing else. A page's text is compared with the names, never made a path.
class Folder {
public:
    /// @param place  A photograph, then that one alone, or a folder. @throws Error  neither of them.
    explicit Folder(const std::string& place);

    const std::string& path() const { return m_path; }
    const std::vector<std::string>& names() const { return m_names; } ///< In the order that a person counts in.
    bool has(const std::string& name) const;

    std::string photo(const std::string& name) const;  ///< The photograph's path.
    std::string recipe(const std::string& name) const; ///< That of its recipe, beside it.

private:
    std::string m_path;
    std::vector<std::string> m_names;
};

} // namespace editor
