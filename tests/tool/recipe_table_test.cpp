// A recipe's keys, its JSON and what is refused.
#include "tool/files.h"
#include <pixmill/develop/Error.h>
#include <pixmill/develop/recipe_table.h>

#include <gtest/gtest.h>

#include <set>

using namespace pixmill;

namespace {

/// A recipe in which no member has its neutral value.
Recipe everything()
{
    Recipe recipe;
    float next = 0.01f;
    for (const RecipeKey& key : recipeKeys())
        if (key.values == "-1..1" && key.key.find("[]") == std::string::npos)
            setByKey(recipe, key.key + "=" + std::to_string(next += 0.01f));
    recipe.table.path = "warm.cube";
    recipe.table.strength = 0.7f;
    LocalAdjustment local;
    local.enabled = false;
    local.light.shadows = 0.11f;
    local.detail.coarse.midtones.threshold = -0.12f;
    local.color.tint = 0.13f;
    Brush brush;
    brush.strokes.push_back({{{0.1f, 0.2f}, {0.3f, -0.4f}}, 0.14f, 0.15f, 0.16f, 1.7f, true});
    local.mask.components = {{brush, MaskCombine::Subtract, true, 0.1f},
                             {LinearGradient{{0.1f, 0.2f}, {0.3f, 0.4f}}, MaskCombine::Intersect, false, 0.2f},
                             {RadialGradient{{0.6f, 0.7f}, 0.8f, 0.9f, -12.5f, 0.3f}, MaskCombine::Add, true, 0.3f},
                             {LumaRange{0.2f, 0.6f, 0.05f}, MaskCombine::Add, true, 0.0f}};
    recipe.locals = {local, LocalAdjustment()};
    return recipe;
}

struct Refused {
    const char* json;
    const char* argument;
    const char* given;
};

// clang-format off
const Refused kRefused[] = {
    {R"({})",                                                       "version",                "missing"},
    {R"({"version": 2})",                                           "version",                "2"},
    {R"({"version": 1, "lihgt": {}})",                              "lihgt",                  "unknown"},
    {R"({"version": 1, "light": {"shadow": 0}})",                   "light.shadow",           "unknown"},
    {R"({"version": 1, "light": {"shadows": "0.3"}})",              "light.shadows",          "string"},
    {R"({"version": 1, "light": {"shadows": null}})",               "light.shadows",          "null"},
    {R"({"version": 1, "light": {"shadows": 1.5}})",                "light.shadows",          "1.5"},
    {R"({"version": 1, "light": 3})",                               "light",                  "number"},
    {R"({"version": 1, "detail": {"fine": {"base": {"slope": -2}}}})", "detail.fine.base.slope", "-2"},
    {R"({"version": 1, "locals": {}})",                             "locals",                 "object"},
    {R"({"version": 1, "locals": [{}, {"enabled": 1}]})",           "locals[1].enabled",      "number"},
    {R"({"version": 1, "locals": [{"mask": {"components": [{}]}}]})", "locals[0].mask.components[0]", "without any"},
    {R"({"version": 1, "locals": [{"mask": {"components": [{"luma": {}, "brush": {}}]}}]})",
                                                    "locals[0].mask.components[0]",           "several of them"},
    {R"({"version": 1, "locals": [{"mask": {"components": [{"luma": {"low": 0.5, "high": 0.2}}]}}]})",
                                                    "locals[0].mask.components[0].luma.high", "0.2"},
    {R"({"version": 1, "locals": [{"mask": {"components": [{"luma": {}, "combine": "xor"}]}}]})",
                                                    "locals[0].mask.components[0].combine",   "\"xor\""},
    {R"({"version": 1, "locals": [{"mask": {"components": [{"linear": {"to": [1]}}]}}]})",
                                                    "locals[0].mask.components[0].linear.to", "array"},
};
// clang-format on

} // namespace

TEST(RecipeTable, EveryKeySurvivesJson)
{
    const Recipe recipe = everything();
    const std::string json = recipeToJson(recipe);
    const Recipe back = recipeFromJson(json);
    EXPECT_TRUE(recipe == back);
    EXPECT_EQ(json, recipeToJson(back));
    EXPECT_TRUE(Recipe() == recipeFromJson(R"({"version": 1})"));
    EXPECT_TRUE(Recipe() == recipeFromJson(recipeToJson(Recipe())));
}

TEST(RecipeTable, EveryKeyIsToldOnceWithWordsAndWritten)
{
    std::set<std::string> seen;
    const std::string json = recipeToJson(everything());
    for (const RecipeKey& key : recipeKeys()) {
        EXPECT_TRUE(seen.insert(key.key).second) << key.key;
        EXPECT_FALSE(key.text.empty() || key.values.empty()) << key.key;
        const std::string last = key.key.substr(key.key.rfind('.') + 1);
        EXPECT_NE(std::string::npos, json.find('"' + last + '"')) << key.key;
    }
    EXPECT_TRUE(seen.count("detail.fine.shadows.slope"));
    EXPECT_TRUE(seen.count("locals[].mask.components[].brush.strokes[].hardness"));
}

TEST(RecipeTable, RefusesWithThePathOfTheKey)
{
    for (const Refused& one : kRefused) {
        SCOPED_TRACE(one.json);
        try {
            recipeFromJson(one.json);
            ADD_FAILURE() << "taken";
        } catch (const Error& fault) {
            EXPECT_EQ(one.argument, fault.argument);
            EXPECT_EQ(one.given, fault.given);
        }
    }
    EXPECT_THROW(recipeFromJson("{\"version\": 1,"), Error);
    EXPECT_THROW(recipeFromJson(R"({"version": 1, "light": {"shadows": 1e999}})"), Error);
}

TEST(RecipeTable, SettingAKeyChangesThatAloneOrNothing)
{
    Recipe recipe, wanted;
    recipe.locals.resize(2);
    wanted.locals.resize(2);
    wanted.detail.fine.shadows.slope = -0.25f;
    wanted.locals[1].enabled = false;
    wanted.locals[1].color.warmth = 1e-3f;
    for (const char* assignment :
         {"detail.fine.shadows.slope=-0.25", "locals[1].enabled=false", "locals[1].color.warmth=1e-3"})
        setByKey(recipe, assignment);
    EXPECT_TRUE(wanted == recipe);
    for (const char* bad : {"light.shadows", "light.shadows=", "light.shadows=x", "light.shadows=0.3x",
                            "light.shadows=nan", "light.shadows=2", "light=1", "shadows=1", "locals[2].enabled=true",
                            "locals[0].enabled=1", "table.path=/no/such.cube"})
        EXPECT_THROW(setByKey(recipe, bad), Error) << bad;
    EXPECT_TRUE(wanted == recipe);
}

TEST(RecipeTable, ARecipeFileBringsItsTableFromBesideIt)
{
    const Folder folder;
    put(folder / "two.cube", "LUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n");
    put(folder / "a.json", R"({"version": 1, "table": {"path": "two.cube", "strength": 0.5}})");
    const Recipe recipe = loadRecipe(folder / "a.json");
    EXPECT_EQ("two.cube", recipe.table.path);
    EXPECT_EQ(0.5f, recipe.table.strength);
    ASSERT_EQ(2, recipe.table.size);
    EXPECT_EQ(65535, recipe.table.entries->back());
    put(folder / "b.json", R"({"version": 1, "light": {"shadows": 7}})");
    try {
        loadRecipe(folder / "b.json");
        ADD_FAILURE() << "taken";
    } catch (const Error& fault) {
        EXPECT_EQ((folder / "b.json") + ": light.shadows", fault.argument);
    }
}
