// Threads, the filters' table, the version.
#include "bindings.h"
#include "numbers.h"

#include <pixmill/core/TPixmill.h>
#include <pixmill/core/Threads.h>
#include <pixmill/version.h>

#include <memory>
#include <thread>

namespace pixmill::python {

namespace {

constexpr int kMostThreads = 1024;

/// A choice of threads for a `with` block.
class Scope {
public:
    explicit Scope(int n) : m_n(n) {}

    void enter()
    {
        if (m_scope)
            refuse("ThreadScope", "self", "a scope that is not entered", "entered already");
        m_scope = std::make_unique<ThreadScope>(m_n);
        m_thread = std::this_thread::get_id();
    }

    void exit()
    {
        if (!m_scope || m_thread != std::this_thread::get_id())
            refuse("ThreadScope", "self", "a scope that this thread has entered", "another");
        m_scope.reset();
    }

    ~Scope()
    {
        if (m_scope && m_thread != std::this_thread::get_id())
            static_cast<void>(m_scope.release()); // it ends on its own thread or never
    }

private:
    int m_n;
    std::unique_ptr<ThreadScope> m_scope;
    std::thread::id m_thread;
};

py::list filterTableInPython()
{
    py::list filters;
    for (const FilterEntry& entry : filterTable()) {
        py::dict parameters;
        for (const FilterParameter& p : entry.parameters)
            parameters[pythonName(p.name).c_str()] = py::make_tuple(p.least, p.most, usualOf(p), p.text);
        filters.append(py::make_tuple(entry.name, entry.purpose, parameters));
    }
    return filters;
}

} // namespace

void bindServices(py::module_& module)
{
    TPixmill::setConsole(false);
    module.attr("__version__") = pixmill::version();
    module.def(
        "set_threads", [](const py::object& n) { setThreads(wholeNumber("set_threads", "n", n, 0, kMostThreads)); },
        py::arg("n"),
        "set_threads(n)\n--\n\nEvery call from now on takes at most n threads; 0: as many as the machine has.\n"
        "No choice changes a bit of any result.\n");
    module.def("threads", &threads, "threads()\n--\n\nHow many threads a large call would take here and now.\n");
    module.def(
        "filter_table", &filterTableInPython,
        "filter_table()\n--\n\nThe command's filters: (name, purpose, {parameter: (least, most, usual, text)}).\n");
    py::class_<Scope>(module, "ThreadScope",
                      "ThreadScope(n)\n--\n\n`with ThreadScope(1): ...`: at most n threads for this thread's calls.\n")
        .def(py::init([](const py::object& n) {
                 return std::make_unique<Scope>(wholeNumber("ThreadScope", "n", n, 1, kMostThreads));
             }),
             py::arg("n"))
        .def(
            "__enter__",
            [](Scope& scope) -> Scope& {
                scope.enter();
                return scope;
            },
            py::return_value_policy::reference_internal, "__enter__(self)\n--\n\nBegins on this thread.\n")
        .def(
            "__exit__", [](Scope& scope, const py::args&) { scope.exit(); },
            "__exit__(self, *args)\n--\n\nEnds on the thread that began it.\n");
}

} // namespace pixmill::python
