#include <pixmill/develop/recipe_table.h>

#include <pixmill/develop/Error.h>
#include <pixmill/develop/detail/recipe_members.h>
#include <pixmill/develop/detail/recipe_words.h>

#include <cmath>
#include <cstdlib>
#include <sstream>
#include <type_traits>

namespace pixmill {

using namespace develop;

namespace {

const char* const kCall = "setByKey";

std::string inWords(const cv::Point2f& point)
{
    return "[" + develop::inWords(point.x) + ", " + develop::inWords(point.y) + "]";
}

/// Writes a line for each member; of a list, for an entry as it is when new.
struct Lister {
    std::vector<RecipeKey>& keys;
    std::string path;

    void add(const char* name, std::string values, const char* unit, std::string neutral, const char* text)
    {
        keys.push_back({path + name, std::move(values), unit, std::move(neutral), text});
    }

    void number(const char* name, float& value, Range range, const char* unit, const char* text)
    {
        add(name, develop::inWords(range), unit, develop::inWords(value), text);
    }

    void flag(const char* name, bool& value, const char* text)
    {
        add(name, "true, false", "", value ? "true" : "false", text);
    }

    void word(const char* name, std::string&, const char* text) { add(name, "text", "", "", text); }
    void point(const char* name, cv::Point2f& value, const char* text)
    {
        add(name, "[x, y]", "picture", inWords(value), text);
    }

    void points(const char* name, std::vector<cv::Point2f>&, const char* text)
    {
        add(name, "list of [x, y]", "picture", "[]", text);
    }

    template <class Enum>
    void choice(const char* name, Enum& value, std::initializer_list<const char*> names, const char* text)
    {
        add(name, joined(names), "", names.begin()[static_cast<int>(value)], text);
    }

    template <class Member>
    void group(const char* name, Member& member)
    {
        Lister inner{keys, path + name + "."};
        describe(inner, member);
    }

    template <class Member>
    void list(const char* name, std::vector<Member>&, const char* text)
    {
        add(name, "list", "", "[]", text);
        Member entry;
        Lister inner{keys, path + name + "[]."};
        describe(inner, entry);
    }

    template <class... Shape>
    void oneOf(std::initializer_list<const char*> names, std::variant<Shape...>&)
    {
        const char* const* name = names.begin();
        const auto show = [&](auto shape) { group(*name++, shape); };
        (show(Shape()), ...);
    }
};

/// Looks for the member with one key and gives it a value.
struct Setter {
    const std::string& key;
    const std::string& value;
    std::string path;
    bool done = false;

    bool isMine(const char* name) const { return path + name == key; }

    void number(const char* name, float& member, Range range, const char*, const char*)
    {
        if (!isMine(name))
            return;
        char* end = nullptr;
        const float number = std::strtof(value.c_str(), &end);
        if (value.empty() || *end)
            throw Error(kCall, key, "a number of " + develop::inWords(range), "\"" + value + "\"");
        checkRange(kCall, key, number, range);
        member = number;
        done = true;
    }

    void flag(const char* name, bool& member, const char*)
    {
        if (!isMine(name))
            return;
        if (value != "true" && value != "false")
            throw Error(kCall, key, "true or false", "\"" + value + "\"");
        member = value == "true";
        done = true;
    }

    void word(const char* name, std::string& member, const char*)
    {
        if (isMine(name)) {
            member = value;
            done = true;
        }
    }

    void point(const char*, cv::Point2f&, const char*) {}
    void points(const char*, std::vector<cv::Point2f>&, const char*) {}

    template <class Enum>
    void choice(const char* name, Enum& member, std::initializer_list<const char*> names, const char*)
    {
        if (!isMine(name))
            return;
        for (size_t i = 0; i < names.size(); ++i)
            if (value == names.begin()[i]) {
                member = static_cast<Enum>(i);
                done = true;
            }
        if (!done)
            throw Error(kCall, key, "one of " + joined(names), "\"" + value + "\"");
    }

    template <class Member>
    void group(const std::string& name, Member& member)
    {
        const std::string outer = path;
        path += name + ".";
        describe(*this, member);
        path = outer;
    }

    template <class Member>
    void list(const char* name, std::vector<Member>& members, const char*)
    {
        for (size_t i = 0; i < members.size(); ++i)
            group(name + ("[" + std::to_string(i) + "]"), members[i]);
    }

    template <class... Shape>
    void oneOf(std::initializer_list<const char*> names, std::variant<Shape...>& shape)
    {
        std::visit([&](auto& chosen) { group(names.begin()[shape.index()], chosen); }, shape);
    }
};

std::string escaped(std::string text)
{
    return text.empty() ? "" : "`" + text + "`";
}

} // namespace

std::vector<RecipeKey> recipeKeys()
{
    std::vector<RecipeKey> keys;
    Lister lister{keys, ""};
    Recipe neutral;
    describe(lister, neutral);
    return keys;
}

void setByKey(Recipe& recipe, const std::string& assignment)
{
    const size_t at = assignment.find('=');
    if (at == std::string::npos)
        throw Error(kCall, "\"" + assignment + "\"", "key=value", "without =");
    const std::string key = assignment.substr(0, at), value = assignment.substr(at + 1);
    Recipe changed = recipe;
    Setter setter{key, value, "", false};
    describe(setter, changed);
    if (!setter.done)
        throw Error(kCall, key, "one that `pixmill recipe keys` lists", "an unknown key");
    if (key == "table.path") {
        const float strength = changed.table.strength;
        changed.table = value.empty() ? Table3D() : Table3D::load(value);
        changed.table.strength = strength;
    }
    recipe = changed;
}

std::string recipePage()
{
    std::ostringstream page;
    page << "# The recipe's keys\n\n"
            "Written by `pixmill recipe keys --markdown`; a recipe file is JSON with `\"version\": 1` and any of these "
            "keys,\nnested at the dots. What is left out is neutral. In a mask's component stands one of `brush`, "
            "`linear`, `radial`\nand `luma`. Unit *picture*: shares of width and height; *longer side*: shares of "
            "the longer side.\n\n"
            "| Key | Values | Unit | Neutral | What it does |\n|---|---|---|---|---|\n";
    for (const RecipeKey& key : recipeKeys())
        page << "| `" << key.key << "` | " << key.values << " | " << key.unit << " | " << escaped(key.neutral) << " | "
             << key.text << " |\n";
    return page.str();
}

} // namespace pixmill
