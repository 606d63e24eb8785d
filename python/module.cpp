#include "bindings.h"
#include "errors.h"

namespace pixmill::python {

namespace {

void bindAll(py::module_& module)
{
    py::options options;
    options.disable_function_signatures(); // each text begins with its own, which inspect.signature reads
    bindErrors(module);
    bindServices(module);
    module.attr("_entries") = py::dict(); // the command's names by Python's
    bindFilters(module);
    bindHalfSize(module);
    bindResampling(module);
    bindTables(module);
    bindMappings(module);
    bindPicture(module);
    bindEngine(module);
    bindMask(module);
    bindRecipe(module);
    bindDeveloper(module);
    bindTiles(module);
}

} // namespace

} // namespace pixmill::python

PYBIND11_MODULE(_pixmill, module)
{
    module.doc() = "The compiled half of pixmill.";
    pixmill::python::bindAll(module);
}
