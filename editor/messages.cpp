// What pages may say: one table.
#include "messages.h"

#include <algorithm>
#include <vector>

namespace editor {

namespace {

constexpr int kDeepest = 16; ///< A recipe with points of strokes goes nine levels down.

enum class Kind { Whole, Flag, Text, Texts, Object };

/// A member of a message. For numbers `least` and `most` are its range, for texts its length, for lists their count.
struct Member {
    const char* name;
    Kind kind;
    double least, most;
    bool needed = true;
};

struct Message {
    const char* type;
    std::vector<Member> members;
};

constexpr double kMostSide = 16384, kNumbers = 1e15;

const Member kSeq{"seq", Kind::Whole, 0, kNumbers};
const Member kRest{"rest", Kind::Flag, 0, 0};
const Member kRecipe{"recipe", Kind::Object, 0, 0};
const Member kPhoto{"photo", Kind::Text, 1, 255};
const Member kPhotos{"photos", Kind::Texts, 1, 100000};
const Member kName{"name", Kind::Text, 1, 80};

// clang-format off
const Message kMessages[] = {
    {"open",         {kPhoto}},
    {"view",         {kSeq, kRest,
                      {"x", Kind::Whole, 0, 65535}, {"y", Kind::Whole, 0, 65535},
                      {"width", Kind::Whole, 1, kMostSide}, {"height", Kind::Whole, 1, kMostSide},
                      {"scale", Kind::Whole, 1, 64},
                      {"before", Kind::Flag, 0, 0}, {"clipping", Kind::Flag, 0, 0},
                      {"mask", Kind::Whole, -1, 1000}}},
    {"recipe",       {kSeq, kRest, kRecipe}},
    {"undo",         {kSeq}},
    {"redo",         {kSeq}},
    {"ack",          {{"frame", Kind::Whole, 0, kNumbers}}},
    {"apply",        {kPhotos, kRecipe}},
    {"export",       {kPhotos, {"format", Kind::Text, 3, 4}, {"quality", Kind::Whole, 1, 100},
                      {"depth", Kind::Whole, 0, 16}}},
    {"stopExport",   {}},
    {"savePreset",   {kName, kRecipe}},
    {"deletePreset", {kName}},
};
// clang-format on

bool fits(const Member& member, const Json& value)
{
    const auto within = [&](double n) { return n >= member.least && n <= member.most; };
    switch (member.kind) {
    case Kind::Whole:
        return value.is_number_integer() && within(value.get<double>());
    case Kind::Flag:
        return value.is_boolean();
    case Kind::Text:
        return value.is_string() && within(double(value.get_ref<const std::string&>().size()));
    case Kind::Texts:
        return value.is_array() && within(double(value.size())) &&
               std::all_of(value.begin(), value.end(), [](const Json& one) { return one.is_string(); });
    case Kind::Object:
        return value.is_object();
    }
    return false;
}

std::string wanted(const Member& member)
{
    const auto range = [&](const char* what) {
        return what + std::to_string((long long)member.least) + ".." + std::to_string((long long)member.most);
    };
    switch (member.kind) {
    case Kind::Whole:
        return range("a whole number, ");
    case Kind::Flag:
        return "true or false";
    case Kind::Text:
        return range("a text of bytes, ");
    case Kind::Texts:
        return range("a list of texts, ");
    case Kind::Object:
        return "an object";
    }
    return "";
}

/// Parsed, but never so deep that a walk through it could use the stack up.
Json parsed(const std::string& text)
{
    const auto shallow = [](int depth, Json::parse_event_t, Json&) {
        if (depth > kDeepest)
            throw Refused("", "nested too deep");
        return true;
    };
    try {
        return Json::parse(text, shallow);
    } catch (const Json::exception&) {
        throw Refused("", "no JSON");
    }
}

const Message& kindOf(const Json& message)
{
    const auto type = message.is_object() ? message.find("type") : message.end();
    if (!message.is_object() || type == message.end() || !type->is_string())
        throw Refused("", "a message is an object with a type");
    for (const Message& known : kMessages)
        if (*type == known.type)
            return known;
    throw Refused("", "no message is of this type");
}

} // namespace

Json checkedMessage(const std::string& text)
{
    Json message = parsed(text);
    const Message& kind = kindOf(message);
    std::size_t known = 1;
    for (const Member& member : kind.members) {
        const auto found = message.find(member.name);
        known += found != message.end();
        if (found == message.end() ? member.needed : !fits(member, *found))
            throw Refused(kind.type, std::string(member.name) + ": wanted " + wanted(member));
    }
    if (message.size() != known)
        throw Refused(kind.type, "a member that is not known");
    return message;
}

std::string errorMessage(const std::string& about, const std::string& words)
{
    return Json{{"type", "error"}, {"about", about}, {"text", words}}.dump(-1, ' ', false,
                                                                           Json::error_handler_t::replace);
}

} // namespace editor
