#pragma once

#include "errors.h"

#include <pixmill/core/TProgress.h>

#include <exception>

namespace pixmill::python {

/// A progress callable seen from C++: told shares of the work, 0..1, it answers False to cancel. What it raises, and
/// Ctrl-C, end the work and come through afterwards. Ctrl-C is looked for without a callable too.
class Reporter {
public:
    /// @throws Error  neither None nor callable.
    Reporter(const char* call, py::handle callable);

    /// From any code that runs without the interpreter's lock; false ends the work.
    bool operator()(double share);

    /// The same with `step` in between, which needs the interpreter's lock.
    template <class Step>
    bool withLock(const Step& step);

    /// What TProgress calls.
    static bool callback(int thousandths, void* reporter);

    /// Raises what came up. @throws Cancelled  the work is not done.
    void finish(bool done);

private:
    bool ask(double share);

    const char* m_call;
    py::handle m_callable;
    std::exception_ptr m_thrown;
};

template <class Step>
bool Reporter::withLock(const Step& step)
{
    if (m_thrown)
        return false;
    const py::gil_scoped_acquire locked;
    try {
        return step();
    } catch (...) {
        m_thrown = std::current_exception();
    }
    return false;
}

} // namespace pixmill::python
