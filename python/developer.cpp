// Photographs developed by a recipe: as a live view or all of it.
#include "arrays.h"
#include "bindings.h"
#include "numbers.h"
#include "progress.h"
#include "recipe.h"
#include "turn.h"

#include <pixmill/develop/Developer.h>

#include <climits>
#include <cstring>

namespace pixmill::python {

namespace {

constexpr Wanted kPacked = {kU8 | kU16, kThree | kFour};

Order orderOf(const char* call, py::handle words, bool four)
{
    if (choice(call, "order", words, {"RGB", "BGR"}) == 1)
        return four ? Order::BGRA : Order::BGR;
    return four ? Order::RGBA : Order::RGB;
}

Pixels pixelsOf(const cv::Mat& mat, Order order)
{
    return {mat.data, mat.cols, mat.rows, std::ptrdiff_t(mat.step), mat.depth() == CV_8U ? Depth::Bits8 : Depth::Bits16,
            order};
}

/// Renders all of the picture into rows of an array.
bool renderInto(Developer& developer, const Recipe& recipe, Order order, cv::Mat& out, Reporter& reporter, float before)
{
    const Depth depth = out.depth() == CV_8U ? Depth::Bits8 : Depth::Bits16;
    return developer.renderAll(recipe, depth, order, [&](int y, int rows, const void* pixels, std::ptrdiff_t stride) {
        const size_t bytes = size_t(out.cols) * out.elemSize();
        for (int i = 0; i < rows; ++i)
            std::memcpy(out.ptr(y + i), static_cast<const char*>(pixels) + i * stride, bytes);
        return reporter(before + (1 - before) * float(y + rows) / float(out.rows));
    });
}

py::array developAll(const py::object& array, const py::object& recipe, const py::object& order, const py::object& out,
                     const py::object& progress)
{
    constexpr const char* kCall = "develop";
    constexpr float kOpening = 0.1f, kPrepared = 0.6f;
    const Recipe settings = recipeOf(kCall, recipe);
    Reporter reporter(kCall, progress);
    const Input packed(kCall, "array", array, kPacked);
    const Order channels = orderOf(kCall, order, packed.mat().channels() == 4);
    Output result(kCall, out, packed, {&packed}, Output::kInPlace); // the picture is taken apart before it is written
    bool done = false;
    released(kCall, [&] {
        Developer developer;
        const auto opening = [&](double share) { return reporter(kOpening * float(share)); };
        const auto preparing = [&](double share) { return reporter(kOpening + (kPrepared - kOpening) * float(share)); };
        done = developer.open(pixelsOf(packed.mat(), channels), opening, Opening::Needed) &&
               developer.prepare(settings, preparing) &&
               renderInto(developer, settings, channels, result.mat(), reporter, kPrepared);
    });
    reporter.finish(done);
    return result.finish();
}

class Developing {
public:
    bool open(const py::object& array, const py::object& order, const py::object& progress)
    {
        constexpr const char* kCall = "Developer.open";
        Reporter reporter(kCall, progress);
        const Input packed(kCall, "array", array, kPacked);
        const Order channels = orderOf(kCall, order, packed.mat().channels() == 4);
        bool done = false;
        m_turn.take(kCall, [&] {
            done = m_developer.open(pixelsOf(packed.mat(), channels), [&](float share) { return reporter(share); });
        });
        reporter.finish(done);
        return true;
    }

    py::tuple size(const py::object& scale)
    {
        const int reduction = wholeNumber("Developer.size", "scale", scale, 1, 64);
        cv::Size size;
        m_turn.take("Developer.size", [&] { size = m_developer.size(reduction); });
        return py::make_tuple(size.width, size.height);
    }

    py::array render(const py::object& recipe, const py::object& view, const py::object& scale, const py::object& order,
                     const py::object& out)
    {
        constexpr const char* kCall = "Developer.render";
        const Recipe settings = recipeOf(kCall, recipe);
        const int reduction = wholeNumber(kCall, "scale", scale, 1, 64);
        const cv::Rect area = viewOf(kCall, view, reduction);
        const bool four = py::isinstance<py::array>(out) && py::reinterpret_borrow<py::array>(out).ndim() == 3 &&
                          py::reinterpret_borrow<py::array>(out).shape(2) == 4;
        const Order channels = orderOf(kCall, order, four);
        Output result(kCall, "out", out, four ? CV_8UC4 : CV_8UC3, {area.height, area.width, four ? 4 : 3}, {},
                      Output::kApart);
        m_turn.take(kCall, [&] {
            cv::Mat& target = result.mat();
            m_developer.render(area, reduction, settings, channels, target.data, std::ptrdiff_t(target.step));
        });
        return result.finish();
    }

    py::array renderAll(const py::object& recipe, const py::object& bits, const py::object& order,
                        const py::object& out, const py::object& progress)
    {
        constexpr const char* kCall = "Developer.render_all";
        const Recipe settings = recipeOf(kCall, recipe);
        const int depth = wholeNumber(kCall, "bits", bits, 8, 16);
        if (depth != 8 && depth != 16)
            refuse(kCall, "bits", "8 or 16", std::to_string(depth));
        Reporter reporter(kCall, progress);
        const Order channels = orderOf(kCall, order, false);
        const cv::Rect whole = viewOf(kCall, py::none(), 1);
        Output result(kCall, "out", out, depth == 8 ? CV_8UC3 : CV_16UC3, {whole.height, whole.width, 3}, {},
                      Output::kApart);
        bool done = false;
        m_turn.take(kCall, [&] {
            if (m_developer.size() != whole.size())
                throw Error(kCall, "self", "the photograph that was open when the call began", "another one");
            done = renderInto(m_developer, settings, channels, result.mat(), reporter, 0);
        });
        reporter.finish(done);
        return result.finish();
    }

    py::array renderMask(const py::object& recipe, const py::object& index, const py::object& view,
                         const py::object& scale)
    {
        constexpr const char* kCall = "Developer.render_mask";
        const Recipe settings = recipeOf(kCall, recipe);
        const int reduction = wholeNumber(kCall, "scale", scale, 1, 64);
        const int place = wholeNumber(kCall, "index", index, 0, INT_MAX);
        if (size_t(place) >= settings.locals.size())
            refuse(kCall, "index", "below " + std::to_string(settings.locals.size()), std::to_string(place));
        const cv::Rect area = viewOf(kCall, view, reduction);
        cv::Mat made;
        m_turn.take(kCall, [&] {
            m_developer.renderMask(area, reduction, settings.locals[size_t(place)].mask, made);
            made = made.clone();
        });
        return sharing(made);
    }

private:
    /// (x, y, width, height) of the picture at this scale; None: all of it.
    cv::Rect viewOf(const char* call, py::handle view, int scale)
    {
        cv::Size all;
        m_turn.take(call, [&] { all = m_developer.size(scale); });
        if (all.empty())
            refuse(call, "self", "a developer with a photograph", "without");
        if (view.is_none())
            return {{}, all};
        if (!py::isinstance<py::sequence>(view) || py::len(view) != 4)
            refuse(call, "view", "(x, y, width, height) or None", describe(view));
        int v[4];
        for (int i = 0; i < 4; ++i)
            v[i] = wholeNumber(call, "view", py::object(view[py::int_(i)]), 0, INT_MAX);
        const cv::Rect area(v[0], v[1], v[2], v[3]);
        if (area.empty() || v[0] > all.width - v[2] || v[1] > all.height - v[3])
            refuse(call, "view", "inside " + std::to_string(all.width) + " x " + std::to_string(all.height),
                   py::str(view));
        return area;
    }

    Developer m_developer;
    Turn m_turn;
};

} // namespace

void bindDeveloper(py::module_& module)
{
    const auto none = [](const char* name) { return py::arg(name) = py::none(); };
    const auto rgb = py::arg("order") = "RGB";
    module.def("develop", &developAll, py::arg("array"), none("recipe"), py::kw_only(), rgb, none("out"),
               none("progress"),
               "develop(array, recipe=None, *, order='RGB', out=None, progress=None)\n--\n\n"
               "A photograph developed by a recipe, at full size.\n\n"
               "array: uint8 or uint16 of (H, W, 3) or (H, W, 4); a fourth channel comes back full.\n"
               "recipe: a Recipe, a mapping such as {'light.shadows': 0.3}, the path of a file, or None.\n"
               "order: 'RGB' or 'BGR'.\nout: an array like `array`, which it may be; None: a new one.\n"
               "progress: called with the share done, 0..1; False cancels, what it raises comes through.\n\n"
               "Needs 19 bytes a pixel for a moment. Returns the result. Raises pixmill.Error, pixmill.Cancelled.\n");
    py::class_<Developing>(
        module, "Developer",
        "Developer()\n--\n\nAn open photograph and its development, for a live view: only what a moved "
        "control touches is computed again. Threads wait for each other's turn.\n")
        .def(py::init<>())
        .def("open", &Developing::open, py::arg("array"), rgb, py::kw_only(), none("progress"),
             "open(self, array, order='RGB', *, progress=None)\n--\n\nTakes a photograph in; the array is not needed "
             "afterwards.\n\narray: uint8 or uint16 of (H, W, 3) or (H, W, 4).\n\n"
             "Returns True. Raises pixmill.Error, and pixmill.Cancelled; the developer is then as it was.\n")
        .def("size", &Developing::size, py::arg("scale") = 1,
             "size(self, scale=1)\n--\n\n(width, height) of the picture reduced by scale, 1..64; (0, 0) when none is "
             "open.\n")
        .def("render", &Developing::render, none("recipe"), none("view"), py::arg("scale") = 1, py::kw_only(), rgb,
             none("out"),
             "render(self, recipe=None, view=None, scale=1, *, order='RGB', out=None)\n--\n\n"
             "A view for a screen.\n\nview: (x, y, width, height) in pixels of the picture reduced by scale; None: all "
             "of "
             "it.\nscale: whole, 1..64.\nout: uint8 of (height, width, 3) or (height, width, 4).\n\n"
             "Returns uint8. Raises pixmill.Error.\n")
        .def("render_all", &Developing::renderAll, none("recipe"), py::arg("bits") = 8, py::kw_only(), rgb, none("out"),
             none("progress"),
             "render_all(self, recipe=None, bits=8, *, order='RGB', out=None, progress=None)\n--\n\n"
             "All of the picture at full size, in bands.\n\nbits: 8 or 16.\nout: uint8 or uint16 of (H, W, 3).\n\n"
             "Returns the result. Raises pixmill.Error, pixmill.Cancelled.\n")
        .def("render_mask", &Developing::renderMask, py::arg("recipe"), py::arg("index") = 0, none("view"),
             py::arg("scale") = 1,
             "render_mask(self, recipe, index=0, view=None, scale=1)\n--\n\n"
             "The mask of the recipe's local adjustment `index`, uint8 of (height, width). Raises pixmill.Error.\n");
}

} // namespace pixmill::python
