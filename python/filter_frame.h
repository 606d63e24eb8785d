#pragma once

#include "arrays.h"
#include "progress.h"

#include <pixmill/develop/filter_table.h>

/// The one frame of the filters from an array to an array of its shape: a row of a table each.
namespace pixmill::python {

/// What a filter works on; planes of C++, without the interpreter's lock.
struct Job {
    const cv::Mat& p;
    const cv::Mat& guide; ///< Empty where none was given.
    cv::Mat& out;         ///< Of the size and type of `p`.
    const double* values; ///< In the order of the filter's parameters.
    TProgress* progress;  ///< For filters that report, else null.
};

/// What an optional second array may be.
struct GuideRow {
    unsigned types = 0; ///< 0: the filter has none.
    unsigned shapes = 0;
    bool sameType = false; ///< Of the type of `p`.
    const char* text = nullptr;
};

struct FilterRow {
    const char* name;
    const char* entry; ///< Its name in filterTable().
    Wanted p;
    GuideRow guide;
    int (*reports)(const double* values); ///< How often it tells its progress; null: never.
    Output::Aliasing aliasing;            ///< Whether it may work in place.
    bool (*run)(const Job& job);          ///< False where the work was cancelled.
    const char* text;
};

/// A function of the module, and its place in the module's `_entries`.
void bindFilter(py::module_& module, const FilterRow& row);

/// Every parameter with its range, one a line, for docstrings.
std::string parameterLines(const FilterEntry& entry);

/// "radius=8, eps=0.01", for signatures.
std::string defaults(const FilterEntry& entry);

} // namespace pixmill::python
