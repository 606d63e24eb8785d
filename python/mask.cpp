// Painted masks with undo.
#include "bindings.h"
#include "numbers.h"
#include "picture.h"

#include <pixmill/mask/TDrawMask.h>

#include <climits>
#include <memory>

namespace pixmill::python {

namespace {

constexpr int kFarthest = 1 << 24, kWidest = 1 << 20;

class Painted {
public:
    explicit Painted(Picture& picture)
    {
        picture.turn.take("DrawMask", [&] { m_mask.setInImage(&picture.picture); });
    }

    void fill(const py::object& value)
    {
        const int v = wholeNumber("DrawMask.fill", "value", value, 0, 255);
        m_turn.take("DrawMask.fill", [&] { m_mask.setValue(static_cast<unsigned char>(v)); });
    }

    void invert()
    {
        m_turn.take("DrawMask.invert", [&] { m_mask.invert(); });
    }

    /// A whole stroke; nothing is recorded where a number is refused.
    void stroke(const py::object& points, const py::object& diameter, const py::object& inner, const py::object& value,
                const py::object& opacity, const py::object& edge)
    {
        constexpr const char* kCall = "DrawMask.stroke";
        const int outer = wholeNumber(kCall, "diameter", diameter, 1, kWidest);
        const int core = inner.is_none() ? outer : wholeNumber(kCall, "inner", inner, 0, outer);
        const int v = wholeNumber(kCall, "value", value, 0, 255);
        const float share = float(number(kCall, {"opacity", 0, 1, 1, "", false}, opacity));
        const float stop = float(number(kCall, {"edge", 0, 4, 0, "", false}, edge));
        const std::vector<cv::Point> dots = placesOf(points);
        m_turn.take(kCall, [&] {
            m_mask.drawStart(0, 0);
            for (const cv::Point& dot : dots)
                m_mask.drawADot(dot, static_cast<unsigned char>(v), outer, core, share, stop);
            m_mask.drawEnd();
        });
    }

    void undo()
    {
        m_turn.take("DrawMask.undo", [&] { m_mask.undo(); });
    }

    void reset()
    {
        m_turn.take("DrawMask.reset", [&] { m_mask.reset(); });
    }

    /// The mask with all strokes in it, which later ones do not change.
    py::array render()
    {
        cv::Mat made;
        m_turn.take("DrawMask.render", [&] {
            m_mask.proc();
            made = m_mask.m_mask.clone();
        });
        return sharing(made);
    }

    py::array region(const py::object& x, const py::object& y, const py::object& width, const py::object& height,
                     const py::object& scale)
    {
        constexpr const char* kCall = "DrawMask.region";
        const cv::Rect roi(wholeNumber(kCall, "x", x, 0, INT_MAX), wholeNumber(kCall, "y", y, 0, INT_MAX),
                           wholeNumber(kCall, "width", width, 1, INT_MAX),
                           wholeNumber(kCall, "height", height, 1, INT_MAX));
        const int reduction = wholeNumber(kCall, "scale", scale, 1, INT_MAX);
        cv::Mat made;
        m_turn.take(kCall, [&] {
            m_mask.proc();
            made = m_mask.getMaskRoi(roi, reduction);
        });
        return sharing(made);
    }

private:
    static std::vector<cv::Point> placesOf(const py::object& points)
    {
        constexpr const char* kCall = "DrawMask.stroke";
        std::vector<cv::Point> places;
        if (!py::isinstance<py::sequence>(points))
            refuse(kCall, "points", "a sequence of (x, y)", describe(points));
        for (const py::handle point : points) {
            if (!py::isinstance<py::sequence>(point) || py::len(point) != 2)
                refuse(kCall, "points", "a sequence of (x, y)", describe(point));
            const py::object x = point[py::int_(0)], y = point[py::int_(1)];
            places.emplace_back(wholeNumber(kCall, "points", x, -kFarthest, kFarthest),
                                wholeNumber(kCall, "points", y, -kFarthest, kFarthest));
        }
        return places;
    }

    TDrawMask m_mask;
    Turn m_turn;
};

} // namespace

void bindMask(py::module_& module)
{
    py::class_<Painted>(
        module, "DrawMask",
        "DrawMask(picture)\n--\n\nA mask that is painted over a PlanarPicture with a brush, with undo; 255 "
        "is fully selected. It has half the picture's size. Threads wait for each other's turn.\n")
        .def(py::init<Picture&>(), py::arg("picture"))
        .def("fill", &Painted::fill, py::arg("value"), "fill(self, value)\n--\n\nAll of it becomes value, 0..255.\n")
        .def("invert", &Painted::invert, "invert(self)\n--\n\nTakes 255 less the mask.\n")
        .def("stroke", &Painted::stroke, py::arg("points"), py::arg("diameter"), py::arg("inner") = py::none(),
             py::arg("value") = 255, py::arg("opacity") = 1.0, py::arg("edge") = 0.0,
             "stroke(self, points, diameter, inner=None, value=255, opacity=1.0, edge=0.0)\n--\n\n"
             "Paints a dot at each point; dots of one stroke never pile up past its opacity.\n\n"
             "points: (x, y) in whole pixels of the picture.\ndiameter: of a dot, in pixels of the picture.\n"
             "inner: the diameter of full weight; None: all of it, a hard brush.\nvalue: 0..255.\nopacity: 0..1.\n"
             "edge: 0..4; stops at the picture's edges, sooner the larger.\n\nRaises pixmill.Error.\n")
        .def("undo", &Painted::undo,
             "undo(self)\n--\n\nTakes the last fill, inversion or stroke back. Raises pixmill.Error where there is "
             "none.\n")
        .def("reset", &Painted::reset, "reset(self)\n--\n\nBack to the picture's own mask.\n")
        .def("render", &Painted::render,
             "render(self)\n--\n\nThe mask with all that was painted, uint8 of half the picture's size.\n")
        .def("region", &Painted::region, py::arg("x"), py::arg("y"), py::arg("width"), py::arg("height"),
             py::arg("scale") = 1,
             "region(self, x, y, width, height, scale=1)\n--\n\nThe mask for the colours of a view: the corner in "
             "pixels of "
             "the picture, the size in pixels of the view. Raises pixmill.Error.\n");
}

} // namespace pixmill::python
