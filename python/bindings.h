#pragma once

#include <pybind11/pybind11.h>

/// What the module is made of, a file each.
namespace pixmill::python {

void bindFilters(pybind11::module_& module);
void bindHalfSize(pybind11::module_& module);
void bindResampling(pybind11::module_& module);
void bindTables(pybind11::module_& module);
void bindMappings(pybind11::module_& module);
void bindPicture(pybind11::module_& module);
void bindEngine(pybind11::module_& module);
void bindMask(pybind11::module_& module);
void bindRecipe(pybind11::module_& module);
void bindDeveloper(pybind11::module_& module);
void bindServices(pybind11::module_& module);
void bindTiles(pybind11::module_& module);

} // namespace pixmill::python
