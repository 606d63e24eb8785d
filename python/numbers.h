#pragma once

#include "errors.h"

#include <pixmill/develop/filter_table.h>

#include <string>

namespace pixmill::python {

/// A parameter's name in Python: sigma_s for sigmaS, lambda_ for lambda.
std::string pythonName(const std::string& name);

/// "whole, 1..500" or "0..1".
std::string rangeOf(const FilterParameter& parameter);

/// @throws Error  no number, or one out of the parameter's range.
double number(const char* call, const FilterParameter& parameter, py::handle given);

/// A whole number within least..most. @throws Error  anything else.
int wholeNumber(const char* call, const char* argument, py::handle given, int least, int most);

/// The usual value as Python has it, an int where only whole numbers have a meaning.
py::object usualOf(const FilterParameter& parameter);

/// One of several words. @return its place. @throws Error  anything else.
int choice(const char* call, const char* argument, py::handle given, std::initializer_list<const char*> words);

} // namespace pixmill::python
