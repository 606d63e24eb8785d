#pragma once

#include <pixmill/develop/detail/recipe_members.h>

#include <initializer_list>
#include <string>

namespace pixmill::develop {

/// The shortest text that reads back as the same float.
std::string inWords(float value);

/// "-1..1".
std::string inWords(const Range& range);

/// "add, subtract, intersect".
std::string joined(std::initializer_list<const char*> names);

/// @throws Error  unless the value lies within its range; a NaN does not.
void checkRange(const char* call, const std::string& key, float value, const Range& range);

} // namespace pixmill::develop
