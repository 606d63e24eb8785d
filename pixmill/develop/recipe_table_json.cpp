#include <pixmill/develop/recipe_table.h>

#include <pixmill/develop/Error.h>
#include <pixmill/develop/detail/recipe_members.h>
#include <pixmill/develop/detail/recipe_words.h>

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace pixmill {

using namespace develop;
using Json = nlohmann::ordered_json;

namespace {

constexpr int kVersion = 1;
const char* const kCall = "recipeFromJson";

/// 0.3f as 0.3, not as 0.30000001192092896.
double shortDouble(float value)
{
    return std::strtod(inWords(value).c_str(), nullptr);
}

Json pair(const cv::Point2f& point)
{
    return Json::array({shortDouble(point.x), shortDouble(point.y)});
}

/// Writes the members of one object.
struct Writer {
    Json& json;

    void number(const char* name, float& value, Range, const char*, const char*) { json[name] = shortDouble(value); }
    void flag(const char* name, bool& value, const char*) { json[name] = value; }
    void word(const char* name, std::string& value, const char*) { json[name] = value; }
    void point(const char* name, cv::Point2f& value, const char*) { json[name] = pair(value); }

    void points(const char* name, std::vector<cv::Point2f>& values, const char*)
    {
        Json& list = json[name] = Json::array();
        for (const cv::Point2f& value : values)
            list.push_back(pair(value));
    }

    template <class Enum>
    void choice(const char* name, Enum& value, std::initializer_list<const char*> names, const char*)
    {
        json[name] = names.begin()[static_cast<int>(value)];
    }

    template <class Member>
    void group(const char* name, Member& member)
    {
        Writer inner{json[name] = Json::object()};
        describe(inner, member);
    }

    template <class Member>
    void list(const char* name, std::vector<Member>& members, const char*)
    {
        Json& list = json[name] = Json::array();
        for (Member& member : members) {
            Writer inner{list.emplace_back(Json::object())};
            describe(inner, member);
        }
    }

    template <class... Shape>
    void oneOf(std::initializer_list<const char*> names, std::variant<Shape...>& shape)
    {
        std::visit([&](auto& chosen) { group(names.begin()[shape.index()], chosen); }, shape);
    }
};

/// Reads the members of one object; each finds its key, and `finish` refuses those that none asked for.
class Reader {
public:
    Reader(const Json& json, std::string path) : m_json(json), m_path(std::move(path))
    {
        if (!json.is_object())
            refuse(m_path.empty() ? "the recipe" : m_path, "an object", json.type_name());
    }

    void number(const char* name, float& value, Range range, const char*, const char*)
    {
        if (const Json* found = find(name)) {
            value = numberIn(*found, at(name));
            checkRange(kCall, at(name), value, range);
        }
    }

    void flag(const char* name, bool& value, const char*)
    {
        const Json* found = find(name);
        if (found && !found->is_boolean())
            refuse(at(name), "true or false", found->type_name());
        value = found ? found->get<bool>() : value;
    }

    void word(const char* name, std::string& value, const char*)
    {
        const Json* found = find(name);
        if (found && !found->is_string())
            refuse(at(name), "a text", found->type_name());
        value = found ? found->get<std::string>() : value;
    }

    void point(const char* name, cv::Point2f& value, const char*)
    {
        if (const Json* found = find(name))
            value = pointIn(*found, at(name));
    }

    void points(const char* name, std::vector<cv::Point2f>& values, const char*)
    {
        forEach(name, [&](const Json& entry, const std::string& path) { values.push_back(pointIn(entry, path)); });
    }

    template <class Enum>
    void choice(const char* name, Enum& value, std::initializer_list<const char*> names, const char*)
    {
        const Json* found = find(name);
        if (!found)
            return;
        for (size_t i = 0; i < names.size(); ++i)
            if (*found == names.begin()[i]) {
                value = static_cast<Enum>(i);
                return;
            }
        refuse(at(name), "one of " + joined(names), found->dump());
    }

    template <class Member>
    void group(const char* name, Member& member)
    {
        if (const Json* found = find(name))
            readAll(*found, at(name), member);
    }

    template <class Member>
    void list(const char* name, std::vector<Member>& members, const char*)
    {
        forEach(name, [&](const Json& entry, const std::string& path) {
            Member member;
            readAll(entry, path, member);
            members.push_back(std::move(member));
        });
    }

    template <class... Shape>
    void oneOf(std::initializer_list<const char*> names, std::variant<Shape...>& shape)
    {
        int found = 0;
        size_t at = 0;
        const auto take = [&](auto chosen) {
            const char* name = names.begin()[at++];
            if (!find(name))
                return;
            ++found;
            group(name, chosen);
            shape = std::move(chosen);
        };
        (take(Shape()), ...);
        if (found != 1)
            refuse(m_path, "one of " + joined(names), found ? "several of them" : "without any");
    }

    /// @throws Error  for a key that is no member's.
    void finish() const
    {
        for (const auto& entry : m_json.items())
            if (!m_asked.count(entry.key()))
                refuse(at(entry.key()), "one of " + known(), "unknown");
    }

    template <class Member>
    static void readAll(const Json& json, const std::string& path, Member& member)
    {
        Reader reader(json, path);
        describe(reader, member);
        reader.finish();
    }

    /// A key that is none of the recipe's members.
    const Json* find(const std::string& name)
    {
        m_asked.insert(name);
        const auto found = m_json.find(name);
        return found == m_json.end() ? nullptr : &*found;
    }

private:
    [[noreturn]] static void refuse(const std::string& key, const std::string& wanted, const std::string& given)
    {
        throw Error(kCall, key, wanted, given);
    }

    std::string at(const std::string& name) const { return m_path.empty() ? name : m_path + "." + name; }

    std::string known() const
    {
        std::string names;
        for (const std::string& name : m_asked)
            names += (names.empty() ? "" : ", ") + name;
        return names;
    }

    static float numberIn(const Json& json, const std::string& path)
    {
        if (!json.is_number())
            refuse(path, "a number", json.type_name());
        return json.get<float>();
    }

    static cv::Point2f pointIn(const Json& json, const std::string& path)
    {
        if (!json.is_array() || json.size() != 2)
            refuse(path, "two numbers in brackets", json.type_name());
        const cv::Point2f point(numberIn(json[0], path + "[0]"), numberIn(json[1], path + "[1]"));
        checkRange(kCall, path + "[0]", point.x, {-100, 100});
        checkRange(kCall, path + "[1]", point.y, {-100, 100});
        return point;
    }

    template <class Take>
    void forEach(const char* name, const Take& take)
    {
        const Json* found = find(name);
        if (!found)
            return;
        if (!found->is_array())
            refuse(at(name), "a list", found->type_name());
        for (size_t i = 0; i < found->size(); ++i)
            take((*found)[i], at(name) + "[" + std::to_string(i) + "]");
    }

    const Json& m_json;
    std::string m_path;
    std::set<std::string> m_asked;
};

Json parse(const std::string& text)
{
    try {
        return Json::parse(text);
    } catch (const Json::exception& fault) {
        std::string said = fault.what(); // "[json.exception.parse_error.101] parse error at line 1, ..."
        throw Error(kCall, "", "", "no JSON: " + said.substr(said.find("] ") + 2));
    }
}

std::string contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw Error("loadRecipe", "", "", path + ": cannot be read, or is empty");
    return text.str();
}

} // namespace

std::string recipeToJson(const Recipe& recipe)
{
    Json json;
    json["version"] = kVersion;
    Recipe copy = recipe; // the walk through the members needs a recipe that could be changed
    Writer writer{json};
    describe(writer, copy);
    return json.dump(2) + "\n";
}

Recipe recipeFromJson(const std::string& text)
{
    const Json json = parse(text);
    Recipe recipe;
    Reader reader(json, "");
    const Json* version = reader.find("version");
    if (!version || *version != kVersion)
        throw Error(kCall, "version", std::to_string(kVersion), version ? version->dump() : "missing");
    describe(reader, recipe);
    reader.finish();
    return recipe;
}

Recipe loadRecipe(const std::string& path)
{
    Recipe recipe;
    try {
        recipe = recipeFromJson(contents(path));
    } catch (const Error& fault) {
        if (fault.argument.empty())
            throw fault.call == kCall ? Error("loadRecipe", "", "", path + ": " + fault.given) : fault;
        throw Error("loadRecipe", path + ": " + fault.argument, fault.wanted, fault.given);
    }
    if (!recipe.table.path.empty()) {
        const auto beside = std::filesystem::path(path).parent_path() / recipe.table.path;
        Table3D table = Table3D::load(beside.string());
        table.path = recipe.table.path;
        table.strength = recipe.table.strength;
        recipe.table = table;
    }
    return recipe;
}

} // namespace pixmill
