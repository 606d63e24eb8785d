#include <pixmill/develop/detail/recipe_words.h>

#include <pixmill/develop/Error.h>

#include <charconv>

namespace pixmill::develop {

std::string inWords(float value)
{
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string inWords(const Range& range)
{
    if (range.least > 0 && range.least < 1e-3f)
        return "above 0 to " + inWords(range.most);
    return inWords(range.least) + ".." + inWords(range.most);
}

std::string joined(std::initializer_list<const char*> names)
{
    std::string text;
    for (const char* name : names)
        text += (text.empty() ? "" : ", ") + std::string(name);
    return text;
}

void checkRange(const char* call, const std::string& key, float value, const Range& range)
{
    if (!(value >= range.least && value <= range.most))
        throw Error(call, key, inWords(range), inWords(value));
}

} // namespace pixmill::develop
