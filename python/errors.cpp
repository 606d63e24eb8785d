#include "errors.h"

#include <opencv2/core.hpp>

#include <pybind11/numpy.h>

#include <exception>
#include <new>

namespace pixmill::python {

namespace {

/// "p is CV_8UC1 4 x 4, wanted CV_16UC1" taken apart; other words go to `given`.
[[noreturn]] void rethrowWords(const char* call, const std::string& words)
{
    const size_t is = words.find(" is "), wanted = words.rfind(", wanted ");
    if (is == std::string::npos || wanted == std::string::npos || wanted < is)
        throw Error(call, "", "", words);
    throw Error(call, words.substr(0, is), words.substr(wanted + 9), words.substr(is + 4, wanted - is - 4));
}

void raise(const char* type, const py::tuple& arguments)
{
    const py::object exception = py::module_::import("pixmill._errors").attr(type);
    PyErr_SetObject(exception.ptr(), exception(*arguments).ptr());
}

void translate(std::exception_ptr thrown)
{
    try {
        std::rethrow_exception(thrown);
    } catch (const Error& error) {
        raise("Error", py::make_tuple(error.call, error.argument, error.wanted, error.given));
    } catch (const Cancelled& cancelled) {
        raise("Cancelled", py::make_tuple(cancelled.call));
    }
}

} // namespace

void refuse(const char* call, const std::string& argument, const std::string& wanted, const std::string& given)
{
    throw Error(call, argument, wanted, given);
}

std::string describe(py::handle given)
{
    if (py::isinstance<py::array>(given))
        return py::str("{} of {}").format(given.attr("dtype"), given.attr("shape"));
    if (py::isinstance<py::str>(given) || PyNumber_Check(given.ptr()))
        return py::repr(given);
    return py::str(py::type::handle_of(given).attr("__name__"));
}

void rethrowAs(const char* call)
{
    try {
        throw;
    } catch (const Error& error) {
        throw Error(call, error.argument, error.wanted, error.given);
    } catch (const cv::Exception& exception) {
        if (exception.code == cv::Error::StsNoMem)
            throw std::bad_alloc();
        rethrowWords(call, exception.err);
    } catch (const char* text) {
        throw Error(call, "", "", text);
    } catch (const Cancelled&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (py::error_already_set&) {
        throw;
    } catch (const std::exception& exception) {
        throw Error(call, "", "", exception.what());
    } catch (...) {
        throw Error(call, "", "", "failed without words");
    }
}

void bindErrors(py::module_& module)
{
    const py::module_ errors = py::module_::import("pixmill._errors");
    module.attr("Error") = errors.attr("Error");
    module.attr("Cancelled") = errors.attr("Cancelled");
    py::register_exception_translator(&translate);
}

} // namespace pixmill::python
