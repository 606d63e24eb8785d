#include "numbers.h"

#include <cctype>
#include <cmath>
#include <cstdio>

namespace pixmill::python {

namespace {

std::string inWords(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

} // namespace

std::string pythonName(const std::string& name)
{
    if (name == "lambda")
        return "lambda_";
    std::string words;
    for (const char c : name)
        words += std::isupper(c) ? std::string("_") + char(std::tolower(c)) : std::string(1, c);
    return words;
}

std::string rangeOf(const FilterParameter& parameter)
{
    return (parameter.whole ? "whole, " : "") + inWords(parameter.least) + ".." + inWords(parameter.most);
}

double number(const char* call, const FilterParameter& parameter, py::handle given)
{
    const double value = PyFloat_AsDouble(given.ptr());
    if (value == -1 && PyErr_Occurred()) {
        if (!PyErr_ExceptionMatches(PyExc_TypeError) && !PyErr_ExceptionMatches(PyExc_OverflowError))
            throw py::error_already_set();
        PyErr_Clear();
        refuse(call, pythonName(parameter.name), rangeOf(parameter), describe(given));
    }
    if (!(value >= parameter.least && value <= parameter.most) || (parameter.whole && value != std::floor(value)))
        refuse(call, pythonName(parameter.name), rangeOf(parameter), describe(given));
    return value;
}

int wholeNumber(const char* call, const char* argument, py::handle given, int least, int most)
{
    return int(number(call, {argument, double(least), double(most), 0, "", true}, given));
}

py::object usualOf(const FilterParameter& parameter)
{
    return parameter.whole ? py::object(py::int_(long(parameter.usual))) : py::float_(parameter.usual);
}

int choice(const char* call, const char* argument, py::handle given, std::initializer_list<const char*> words)
{
    std::string wanted;
    int place = 0;
    for (const char* word : words) {
        if (py::isinstance<py::str>(given) && given.cast<std::string>() == word)
            return place;
        wanted += (place++ ? ", '" : "'") + std::string(word) + "'";
    }
    refuse(call, argument, words.size() == 1 ? wanted : "one of " + wanted, describe(given));
}

} // namespace pixmill::python
