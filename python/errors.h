#pragma once

#include <pixmill/develop/Error.h>

#include <pybind11/pybind11.h>

#include <string>

/// Failures: all that the libraries throw reaches Python as pixmill.Error, MemoryError or pixmill.Cancelled.
namespace pixmill::python {

namespace py = pybind11;

/// A progress callable answered False; becomes pixmill.Cancelled.
struct Cancelled {
    const char* call;
};

/// @throws Error  always.
[[noreturn]] void refuse(const char* call, const std::string& argument, const std::string& wanted,
                         const std::string& given);

/// "uint16 of (480, 640)" for an array, "'text'" or "list" for anything else.
std::string describe(py::handle given);

/// What is being thrown, as an Error of this call. From a catch block, with the interpreter's lock.
[[noreturn]] void rethrowAs(const char* call);

/// Runs what touches no Python object without the interpreter's lock.
template <class Work>
void released(const char* call, const Work& work)
{
    try {
        const py::gil_scoped_release unlocked;
        work();
    } catch (...) {
        rethrowAs(call);
    }
}

void bindErrors(py::module_& module);

} // namespace pixmill::python
