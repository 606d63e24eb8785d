#pragma once

#include "messages.h"
#include "saver.h"

#include <string>

namespace editor {

/// The person's own presets: recipes by name, in a file of the person's configuration.
class Presets {
public:
    Presets();

    const Json& all() const { return m_all; } ///< A list of {"name", "recipe"}, by name.
    void put(const std::string& name, const Json& recipe, Saver& saver);
    void remove(const std::string& name, Saver& saver);

private:
    void save(Saver& saver) const;

    std::string m_path;
    Json m_all = Json::array();
};

} // namespace editor
