// Recipes: everything a photographer set.
#include "recipe.h"

#include "bindings.h"

#include <pixmill/develop/recipe_table.h>

namespace pixmill::python {

namespace {

/// Runs what reads text or files, with this call's name in what it throws.
template <class Work>
auto named(const char* call, const Work& work)
{
    try {
        return work();
    } catch (...) {
        rethrowAs(call);
    }
}

std::string wordsOf(const char* call, const char* argument, py::handle given)
{
    if (!py::isinstance<py::str>(given))
        refuse(call, argument, "a text", describe(given));
    return given.cast<std::string>();
}

/// A value as an assignment has it: 0.3, true, warm.cube.
std::string valueInWords(py::handle value)
{
    if (py::isinstance<py::bool_>(value))
        return value.cast<bool>() ? "true" : "false";
    return py::str(value);
}

Recipe fromJson(const py::object& text)
{
    const std::string words = wordsOf("Recipe.from_json", "text", text);
    return named("Recipe.from_json", [&] { return recipeFromJson(words); });
}

Recipe load(const py::object& path)
{
    const std::string name = wordsOf("Recipe.load", "path", py::module_::import("os").attr("fspath")(path));
    return named("Recipe.load", [&] { return loadRecipe(name); });
}

void set(Recipe& recipe, const py::object& key, const py::object& value)
{
    const std::string assignment = wordsOf("Recipe", "key", key) + "=" + valueInWords(value);
    named("Recipe", [&] { setByKey(recipe, assignment); });
}

/// The member of a recipe's JSON at "locals[0].light.shadows".
py::object get(const Recipe& recipe, const py::object& key)
{
    const py::object tree = py::module_::import("json").attr("loads")(recipeToJson(recipe));
    return py::module_::import("pixmill._recipe").attr("member")(tree, wordsOf("Recipe", "key", key));
}

/// A recipe that was written as JSON, its table loaded again.
Recipe restored(const std::string& text)
{
    Recipe recipe = recipeFromJson(text);
    if (recipe.table.path.empty())
        return recipe;
    const float strength = recipe.table.strength;
    recipe.table = Table3D::load(recipe.table.path);
    recipe.table.strength = strength;
    return recipe;
}

py::list keys()
{
    py::list lines;
    for (const RecipeKey& key : recipeKeys())
        lines.append(py::make_tuple(key.key, key.values, key.unit, key.neutral, key.text));
    return lines;
}

} // namespace

Recipe recipeOf(const char* call, py::handle given)
{
    if (!py::isinstance<Recipe>(given))
        return py::module_::import("pixmill._recipe").attr("as_recipe")(call, given).cast<Recipe>();
    return given.cast<Recipe>();
}

void bindRecipe(py::module_& module)
{
    py::class_<Recipe>(module, "Recipe",
                       "Recipe()\n--\n\nEverything a photographer set; a fresh one is neutral. "
                       "`recipe[\"light.shadows\"] = 0.3`; recipe_keys() tells every key.\n")
        .def(py::init<>())
        .def_static("from_json", &fromJson, py::arg("text"),
                    "from_json(text)\n--\n\nA recipe from JSON. Raises pixmill.Error, the key's path in `argument`.\n")
        .def_static("load", &load, py::arg("path"),
                    "load(path)\n--\n\nA recipe from a file, with its colour table. Raises pixmill.Error.\n")
        .def("to_json", &recipeToJson, "to_json(self)\n--\n\nThe recipe as JSON; a colour table by its path alone.\n")
        .def("__setitem__", &set, py::arg("key"), py::arg("value"),
             "__setitem__(self, key, value)\n--\n\nSets one member. Raises pixmill.Error.\n")
        .def("__getitem__", &get, py::arg("key"),
             "__getitem__(self, key)\n--\n\nOne member, or the part of the recipe below it. Raises KeyError.\n")
        .def(
            "__eq__",
            [](const Recipe& a, const py::object& b) { return py::isinstance<Recipe>(b) && a == b.cast<Recipe>(); },
            py::arg("other"), "__eq__(self, other)\n--\n\nWhether all members are equal.\n")
        .def(
            "__copy__", [](const Recipe& recipe) { return recipe; }, "__copy__(self)\n--\n\nA recipe of its own.\n")
        .def(py::pickle([](const Recipe& recipe) { return recipeToJson(recipe); },
                        [](const std::string& text) { return named("Recipe", [&] { return restored(text); }); }));
    module.def("recipe_keys", &keys,
               "recipe_keys()\n--\n\nEvery key of a recipe: (key, values, unit, neutral value, what it does).\n");
}

} // namespace pixmill::python
