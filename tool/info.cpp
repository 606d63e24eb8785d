// pixmill info and pixmill recipe: what files and recipes hold.
#include "commands.h"
#include "program.h"
#include <pixmill/develop/Photo.h>
#include <pixmill/develop/recipe_table.h>

#include <nlohmann/json.hpp>

#include <cstdio>

using namespace pixmill;

namespace {

void print(const std::string& file, const PhotoInfo& info)
{
    std::fprintf(output(), "%s: %s, %d x %d, %d channels of %d bits, orientation %d, %s\n", file.c_str(),
                 info.format.c_str(), info.width, info.height, info.channels, info.bits, info.orientation,
                 info.profile.empty() ? "no colour profile" : info.profile.c_str());
    for (const auto& value : info.values)
        std::fprintf(output(), "  %s: %s\n", value.first.c_str(), value.second.c_str());
}

nlohmann::ordered_json asJson(const std::string& file, const PhotoInfo& info)
{
    nlohmann::ordered_json json = {{"file", file},
                                   {"format", info.format},
                                   {"width", info.width},
                                   {"height", info.height},
                                   {"channels", info.channels},
                                   {"bits", info.bits},
                                   {"orientation", info.orientation},
                                   {"profile", info.profile}};
    for (const auto& value : info.values)
        json["values"][value.first] = value.second;
    return json;
}

/// Does `one` for every file; one that fails is told, and the rest goes on.
template <class One>
int forEach(Terminal& terminal, const std::vector<std::string>& files, const One& one)
{
    int code = kDone;
    for (const std::string& file : files) {
        try {
            one(file);
        } catch (...) {
            terminal.line(inOneLine());
            code = kFailed;
        }
    }
    return code;
}

} // namespace

int runInfo(Terminal& terminal, const std::vector<std::string>& files, bool json)
{
    auto list = nlohmann::ordered_json::array();
    const int code = forEach(terminal, files, [&](const std::string& file) {
        PhotoInfo info;
        {
            const Hush hush;
            info = inspectPhoto(file);
        }
        if (json)
            list.push_back(asJson(file, info));
        else
            print(file, info);
    });
    if (json)
        std::fprintf(output(), "%s\n",
                     list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    return code;
}

int runRecipeCheck(Terminal& terminal, const std::vector<std::string>& files)
{
    return forEach(terminal, files, [](const std::string& file) { loadRecipe(file); });
}

int runRecipeKeys(bool markdown)
{
    if (markdown) {
        std::fputs(recipePage().c_str(), output());
        return kDone;
    }
    for (const RecipeKey& key : recipeKeys())
        std::fprintf(output(), "%s  (%s%s%s)  %s\n", key.key.c_str(), key.values.c_str(), key.unit.empty() ? "" : ", ",
                     key.unit.c_str(), key.text.c_str());
    return kDone;
}
