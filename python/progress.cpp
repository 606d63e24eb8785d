#include "progress.h"

namespace pixmill::python {

Reporter::Reporter(const char* call, py::handle callable) : m_call(call), m_callable(callable)
{
    if (!callable.is_none() && !PyCallable_Check(callable.ptr()))
        refuse(call, "progress", "a callable or None", describe(callable));
}

bool Reporter::ask(double share)
{
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
    return m_callable.is_none() || m_callable(share).ptr() != Py_False;
}

bool Reporter::operator()(double share)
{
    return withLock([&] { return ask(share); });
}

bool Reporter::callback(int thousandths, void* reporter)
{
    return (*static_cast<Reporter*>(reporter))(thousandths / 1000.0);
}

void Reporter::finish(bool done)
{
    if (m_thrown)
        std::rethrow_exception(std::exchange(m_thrown, nullptr));
    if (!done)
        throw Cancelled{m_call};
}

} // namespace pixmill::python
