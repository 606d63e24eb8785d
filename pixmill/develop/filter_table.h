#pragma once

#include <pixmill/develop/Export.h>

#include <string>
#include <vector>

/// The toolbox's filters as a person calls them: names, parameters, ranges and usual values, told once for the command
/// and for other languages.
namespace pixmill {

/// One number that a filter takes.
struct FilterParameter {
    const char* name; ///< "sigmaS".
    double least;     ///< The range's lower end, itself allowed.
    double most;      ///< The range's upper end, itself allowed.
    double usual;     ///< What it is when nothing is said.
    const char* text; ///< What it means, with its unit.
    bool whole;       ///< Only whole numbers have a meaning.
};

/// One filter of the toolbox.
struct FilterEntry {
    const char* name;                        ///< "local-laplacian".
    const char* purpose;                     ///< What it does, in a sentence.
    std::vector<FilterParameter> parameters; ///< In the order in which they are told.
};

/// Every filter: those of luma, then those of colour.
PIXMILL_DEVELOP_API const std::vector<FilterEntry>& filterTable();

/// @throws Error  no filter has this name.
PIXMILL_DEVELOP_API const FilterEntry& filterEntry(const std::string& name);

} // namespace pixmill
