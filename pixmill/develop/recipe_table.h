#pragma once

#include <pixmill/develop/Export.h>
#include <pixmill/develop/Recipe.h>

#include <string>
#include <vector>

/// A recipe as text: every member has a key such as "light.shadows" or "detail.fine.shadows.slope".
namespace pixmill {

/// One line of the recipe's table.
struct RecipeKey {
    std::string key;     ///< In lists with [] for each of their entries: "locals[].light.shadows".
    std::string values;  ///< "-1..1", "true, false", "text", "add, subtract, intersect".
    std::string unit;    ///< "degrees", "longer side"; empty: none.
    std::string neutral; ///< The value it has when nothing is set.
    std::string text;    ///< What it does, one line.
};

/// Every key, in the order of Recipe's members.
PIXMILL_DEVELOP_API std::vector<RecipeKey> recipeKeys();

/// The recipe as JSON, with its version; a table of colours is named by its path alone.
PIXMILL_DEVELOP_API std::string recipeToJson(const Recipe& recipe);

/// A recipe from JSON. Keys that are left out are neutral; a table that is named has not been loaded.
///
/// @throws Error  text that is no JSON, another version, an unknown key, a wrong type, a value out of its range: the
///                key's path in `argument`.
PIXMILL_DEVELOP_API Recipe recipeFromJson(const std::string& text);

/// A recipe from a file, with its table, which is looked for beside the file.
///
/// @throws Error  as `recipeFromJson` and Table3D::load, and for a file that cannot be read.
PIXMILL_DEVELOP_API Recipe loadRecipe(const std::string& path);

/// Sets one member by "key=value": "light.shadows=0.3", "table.path=warm.cube", "locals[0].enabled=false".
///
/// A table that is named is loaded. @throws Error  an unknown key, a value that is none or out of its range.
PIXMILL_DEVELOP_API void setByKey(Recipe& recipe, const std::string& assignment);

/// The table of all keys as a page of Markdown.
PIXMILL_DEVELOP_API std::string recipePage();

} // namespace pixmill
