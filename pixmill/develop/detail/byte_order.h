#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Numbers in files, with the high or the low byte first. Behind the end of `bytes` all is 0.
namespace pixmill::develop {

inline uint64_t byteAt(const std::string& bytes, size_t at)
{
    return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0u;
}

inline uint64_t highFirst(const std::string& bytes, size_t at, size_t count)
{
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i)
        value = value << 8 | byteAt(bytes, at + i);
    return value;
}

inline uint64_t lowFirst(const std::string& bytes, size_t at, size_t count)
{
    uint64_t value = 0;
    for (size_t i = count; i-- > 0;)
        value = value << 8 | byteAt(bytes, at + i);
    return value;
}

inline std::string asHighFirst(uint64_t value, size_t count)
{
    std::string out;
    for (size_t i = count; i-- > 0;)
        out += static_cast<char>(value >> 8 * i & 0xff);
    return out;
}

inline std::string asLowFirst(uint64_t value, size_t count)
{
    std::string out;
    for (size_t i = 0; i < count; ++i)
        out += static_cast<char>(value >> 8 * i & 0xff);
    return out;
}

} // namespace pixmill::develop
