// What filters need, to be run tile by tile; the walk itself is Python (_tiles.py).
#include "bindings.h"
#include "numbers.h"

#include <pixmill/develop/Tiles.h>

#include <climits>
#include <map>

namespace pixmill::python {

namespace {

/// The parameters that were told, as the library names them.
std::map<std::string, double> valuesOf(const char* call, const FilterEntry& entry, py::dict told)
{
    std::map<std::string, double> values;
    told = told.attr("copy")();
    for (const FilterParameter& parameter : entry.parameters) {
        const py::object given = told.attr("pop")(pythonName(parameter.name), py::none());
        if (!given.is_none())
            values[parameter.name] = number(call, parameter, given);
    }
    for (const auto& item : told)
        refuse(call, py::str(item.first), "one of the filter's parameters", "unknown");
    return values;
}

py::dict inPython(const FilterEntry& entry, const std::map<std::string, double>& values)
{
    py::dict dict;
    for (const FilterParameter& parameter : entry.parameters) {
        const double value = values.at(parameter.name);
        dict[py::str(pythonName(parameter.name))] =
            parameter.whole ? py::object(py::int_(long(value))) : py::object(py::float_(value));
    }
    return dict;
}

py::tuple tiling(const std::string& call, const std::string& filter, const py::object& rows, const py::object& columns,
                 const py::dict& told)
{
    const FilterEntry& entry = filterEntry(filter);
    const cv::Size size(wholeNumber(call.c_str(), "shape", columns, 0, INT_MAX),
                        wholeNumber(call.c_str(), "shape", rows, 0, INT_MAX));
    const Tiling needs = tilingOf(filter, valuesOf(call.c_str(), entry, told), size);
    const char* const bits[] = {"same", "near", "whole"};
    return py::make_tuple(bits[int(needs.bits)], py::make_tuple(needs.margin.height, needs.margin.width),
                          py::make_tuple(needs.grid.height, needs.grid.width), inPython(entry, needs.values));
}

} // namespace

void bindTiles(py::module_& module)
{
    module.def("_tiling", &tiling);
}

} // namespace pixmill::python
