#include "filter_frame.h"

#include "numbers.h"

#include <array>
#include <utility>

namespace pixmill::python {

namespace {

constexpr size_t kMostParameters = 6;

/// A row with its parameters, for as long as the module lives.
struct Bound {
    const FilterRow& row;
    const FilterEntry& entry;
};

void checkGuide(const FilterRow& row, const Input& p, const Input& guide)
{
    guide.mustBe(row.name, "guide", p.mat().size());
    if (row.guide.sameType && guide.mat().depth() != p.mat().depth())
        refuse(row.name, "guide", py::str(p.array().dtype()), py::str(guide.array().dtype()));
}

/// Runs the row; numbers are read first, since reading them may run code of the caller.
py::array call(const Bound& bound, py::handle given, py::handle guideGiven, const py::handle* numbers, py::handle out,
               py::handle progress)
{
    const FilterRow& row = bound.row;
    std::array<double, kMostParameters> values;
    for (size_t i = 0; i < bound.entry.parameters.size(); ++i)
        values[i] = number(row.name, bound.entry.parameters[i], numbers[i]);
    Reporter reporter(row.name, progress);
    const Input p(row.name, "p", given, row.p);
    Input guide;
    if (!guideGiven.is_none()) {
        guide = Input(row.name, "guide", guideGiven, {row.guide.types, row.guide.shapes});
        checkGuide(row, p, guide);
    }
    Output result(row.name, out, p, {&p, &guide}, row.aliasing);
    bool done = false;
    released(row.name, [&] {
        if (row.reports) {
            TProgress stages(&Reporter::callback, &reporter);
            stages.m_totals.back() = row.reports(values.data());
            done = row.run({p.mat(), guide.mat(), result.mat(), values.data(), &stages});
        } else {
            done = row.run({p.mat(), guide.mat(), result.mat(), values.data(), nullptr});
        }
    });
    reporter.finish(done);
    return result.finish();
}

std::string documentation(const FilterRow& row, const FilterEntry& entry)
{
    const std::string guide = row.guide.types ? "guide=None, " : "", report = row.reports ? ", progress=None" : "";
    std::string text =
        std::string(row.name) + "(p, " + guide + defaults(entry) + ", *, out=None" + report + ")\n--\n\n";
    text += std::string(entry.purpose) + "\n\n" + row.text + "\n\np: " + inWords(row.p) + ".\n";
    if (row.guide.types)
        text += std::string("guide: ") + inWords({row.guide.types, row.guide.shapes}) + ", of p's height and width; " +
                row.guide.text + "\n";
    text += parameterLines(entry) + "out: an array like p that takes the result; None: a new one.\n";
    if (row.reports)
        text += "progress: called with the share done, 0..1; False cancels, what it raises comes through.\n";
    return text + "\nReturns the result. Raises pixmill.Error for anything else than told.\n";
}

template <size_t>
using Object = py::object;

template <size_t... I>
void define(py::module_& module, const FilterRow& row, std::index_sequence<I...>)
{
    const FilterEntry& entry = filterEntry(row.entry);
    const Bound bound{row, entry};
    const std::string names[] = {pythonName(entry.parameters[I].name)...};
    const std::string text = documentation(row, entry);
    const auto number = [&](size_t i) { return py::arg(names[i].c_str()) = usualOf(entry.parameters[i]); };
    const auto none = [](const char* name) { return py::arg(name) = py::none(); };
    const auto withGuide = [bound](const py::object& p, const py::object& guide, const Object<I>&... numbers,
                                   const py::object& out, const py::object& progress) {
        const py::handle values[] = {numbers...};
        return call(bound, p, guide, values, out, progress);
    };
    const auto quiet = [withGuide](const py::object& p, const py::object& guide, const Object<I>&... numbers,
                                   const py::object& out) { return withGuide(p, guide, numbers..., out, py::none()); };
    const auto alone = [withGuide](const py::object& p, const Object<I>&... numbers, const py::object& out,
                                   const py::object& progress) {
        return withGuide(p, py::none(), numbers..., out, progress);
    };
    const auto aloneQuiet = [withGuide](const py::object& p, const Object<I>&... numbers, const py::object& out) {
        return withGuide(p, py::none(), numbers..., out, py::none());
    };
    const py::arg p("p");
    if (row.guide.types && row.reports)
        module.def(row.name, withGuide, text.c_str(), p, none("guide"), number(I)..., py::kw_only(), none("out"),
                   none("progress"));
    else if (row.guide.types)
        module.def(row.name, quiet, text.c_str(), p, none("guide"), number(I)..., py::kw_only(), none("out"));
    else if (row.reports)
        module.def(row.name, alone, text.c_str(), p, number(I)..., py::kw_only(), none("out"), none("progress"));
    else
        module.def(row.name, aloneQuiet, text.c_str(), p, number(I)..., py::kw_only(), none("out"));
}

} // namespace

std::string parameterLines(const FilterEntry& entry)
{
    std::string text;
    for (const FilterParameter& parameter : entry.parameters)
        text += pythonName(parameter.name) + ": " + rangeOf(parameter) + "; " + parameter.text + ".\n";
    return text;
}

std::string defaults(const FilterEntry& entry)
{
    std::string text;
    for (const FilterParameter& parameter : entry.parameters)
        text +=
            (text.empty() ? "" : ", ") + pythonName(parameter.name) + "=" + std::string(py::repr(usualOf(parameter)));
    return text;
}

void bindFilter(py::module_& module, const FilterRow& row)
{
    module.attr("_entries")[row.name] = row.entry;
    switch (filterEntry(row.entry).parameters.size()) {
    case 1:
        return define(module, row, std::make_index_sequence<1>());
    case 2:
        return define(module, row, std::make_index_sequence<2>());
    case 3:
        return define(module, row, std::make_index_sequence<3>());
    case 4:
        return define(module, row, std::make_index_sequence<4>());
    case 6:
        return define(module, row, std::make_index_sequence<6>());
    default:
        throw std::logic_error(std::string(row.name) + " has a number of parameters that no frame takes");
    }
}

} // namespace pixmill::python
