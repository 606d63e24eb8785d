#include <pixmill/develop/Error.h>

#include <utility>

namespace pixmill {

namespace {

std::string inWords(const std::string& call, const std::string& argument, const std::string& wanted,
                    const std::string& given)
{
    if (argument.empty())
        return call + ": " + given;
    return call + ": " + argument + " is " + given + ", wanted " + wanted;
}

} // namespace

Error::Error(std::string call, std::string argument, std::string wanted, std::string given)
    : std::runtime_error(inWords(call, argument, wanted, given)), call(std::move(call)), argument(std::move(argument)),
      wanted(std::move(wanted)), given(std::move(given))
{
}

Error::~Error() = default;

} // namespace pixmill
