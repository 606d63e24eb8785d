#include "presets.h"
#include <pixmill/develop/Error.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace editor {

namespace {

constexpr std::size_t kMost = 200;

std::filesystem::path configuration()
{
    const char* const set = std::getenv("XDG_CONFIG_HOME");
    const char* const home = std::getenv("HOME");
    const std::filesystem::path base = set && *set ? set : std::string(home ? home : "/tmp") + "/.config";
    return base / "pixmill";
}

bool isPreset(const Json& one)
{
    return one.is_object() && one.contains("name") && one["name"].is_string() && one.contains("recipe") &&
           one["recipe"].is_object();
}

} // namespace

Presets::Presets() : m_path((configuration() / "presets.json").string())
{
    const Json file = Json::parse(contentsOf(m_path), nullptr, false);
    for (const Json& one : file.is_array() ? file : Json::array())
        if (isPreset(one))
            m_all.push_back(one);
}

void Presets::put(const std::string& name, const Json& recipe, Saver& saver)
{
    const Json made{{"name", name}, {"recipe", recipe}};
    const auto same = std::find_if(m_all.begin(), m_all.end(), [&](const Json& one) { return one["name"] == name; });
    if (same != m_all.end())
        *same = made;
    else if (m_all.size() >= kMost)
        throw pixmill::Error("the editor", "name", "200 presets at most", "one more");
    else
        m_all.push_back(made);
    std::sort(m_all.begin(), m_all.end(), [](const Json& a, const Json& b) { return a["name"] < b["name"]; });
    save(saver);
}

void Presets::remove(const std::string& name, Saver& saver)
{
    Json left = Json::array();
    for (const Json& one : m_all)
        if (one["name"] != name)
            left.push_back(one);
    m_all = std::move(left);
    save(saver);
}

void Presets::save(Saver& saver) const
{
    std::error_code failed;
    std::filesystem::create_directories(configuration(), failed);
    saver.save(m_path, m_all.dump(2) + "\n");
}

} // namespace editor
