#include "folder.h"
#include <pixmill/develop/Error.h>

#include <string.h>

#include <algorithm>
#include <filesystem>
#include <set>

namespace editor {

namespace fs = std::filesystem;

namespace {

const std::set<std::string> kEndings{".jpg",  ".jpeg", ".png", ".tif", ".tiff", ".webp", ".heic",
                                     ".heif", ".exr",  ".jp2", ".psd", ".dng",  ".cr2",  ".nef",
                                     ".arw",  ".orf",  ".raf", ".rw2", ".pef"};

/// A picture by its name, hidden files aside, that lies in the folder itself and is not led to elsewhere by a link.
bool isPhotograph(const fs::path& path, const fs::path& folder)
{
    std::string ending = path.extension().string(), name = path.filename().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    std::error_code failed;
    return name[0] != '.' && kEndings.count(ending) && fs::is_regular_file(path, failed) &&
           fs::canonical(path, failed).parent_path() == folder;
}

} // namespace

Folder::Folder(const std::string& place)
{
    std::error_code failed;
    const fs::path given = fs::canonical(place, failed);
    if (failed)
        throw pixmill::Error("pixmill edit", "", "", place + ": no such file or folder");
    const bool folder = fs::is_directory(given);
    m_path = (folder ? given : given.parent_path()).string();
    if (!folder)
        m_names.push_back(given.filename().string());
    for (const auto& entry : folder ? fs::directory_iterator(given, failed) : fs::directory_iterator())
        if (isPhotograph(entry.path(), given))
            m_names.push_back(entry.path().filename().string());
    if (failed || m_names.empty())
        throw pixmill::Error("pixmill edit", "", "", place + ": holds no photographs");
    std::sort(m_names.begin(), m_names.end(),
              [](const std::string& a, const std::string& b) { return strverscmp(a.c_str(), b.c_str()) < 0; });
}

bool Folder::has(const std::string& name) const
{
    return std::find(m_names.begin(), m_names.end(), name) != m_names.end();
}

std::string Folder::photo(const std::string& name) const
{
    return (fs::path(m_path) / name).string();
}

std::string Folder::recipe(const std::string& name) const
{
    return photo(name) + ".pixmill.json";
}

} // namespace editor
