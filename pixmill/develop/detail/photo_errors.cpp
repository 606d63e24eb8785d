#include <pixmill/develop/detail/photo_errors.h>

#include <pixmill/develop/Error.h>

namespace pixmill::develop {

void refuseFile(const char* call, const std::string& path, const std::string& problem)
{
    throw Error(call, "", "", path + ": " + problem);
}

std::string inOneLine(const std::string& said, const std::string& path, const std::string& otherwise)
{
    std::string line = said.substr(0, said.find('\n'));
    const size_t at = line.find(path);
    if (at != std::string::npos)
        line.erase(at, path.size());
    for (const std::string noName : {" (\"\")", "\"\" "}) // what is left of some decoders' file name
        if (line.find(noName) != std::string::npos)
            line.erase(line.find(noName), noName.size());
    while (!line.empty() && (line.back() == '.' || line.back() == ' '))
        line.pop_back();
    return line.empty() ? otherwise : line;
}

} // namespace pixmill::develop
