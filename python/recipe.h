#pragma once

#include "errors.h"

#include <pixmill/develop/Recipe.h>

namespace pixmill::python {

/// The recipe that an argument means: a Recipe, a mapping, the path of a file, or None for a neutral one.
Recipe recipeOf(const char* call, py::handle given);

} // namespace pixmill::python
