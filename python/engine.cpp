// The detail engine.
#include "arrays.h"
#include "bindings.h"
#include "numbers.h"
#include "progress.h"
#include "turn.h"

#include <pixmill/engine/TQuillet3.h>

#include <climits>
#include <cstring>
#include <vector>

namespace pixmill::python {

namespace {

constexpr Wanted kWords = {kU16, kPlane};
const char* const kZones[] = {"base", "shadows", "midtones"};

class Engine {
public:
    bool setup(const py::object& y, const py::object& fine, const py::object& medium, const py::object& coarse,
               const py::object& dr, const py::object& db, const py::object& progress)
    {
        constexpr const char* kCall = "DetailEngine.setup";
        Reporter reporter(kCall, progress);
        const Input luma(kCall, "y", y, kWords), d0(kCall, "fine", fine, kWords), d1(kCall, "medium", medium, kWords);
        const Input d2(kCall, "coarse", coarse, kWords), red(kCall, "dr", dr, kWords), blue(kCall, "db", db, kWords);
        const cv::Size size = luma.mat().size(), half((size.width + 1) / 2, (size.height + 1) / 2);
        d0.mustBe(kCall, "fine", size);
        d1.mustBe(kCall, "medium", size);
        d2.mustBe(kCall, "coarse", size);
        red.mustBe(kCall, "dr", half);
        blue.mustBe(kCall, "db", half);
        std::vector<Input> held = {luma, d0, d1, d2}; // the engine shares their pixels
        bool done = false;
        m_turn.take(kCall, [&] {
            TProgress stages(&Reporter::callback, &reporter);
            TQuillet3 fresh = controlsOf(m_engine);
            done = fresh.setup(luma.mat(), d0.mat(), d1.mat(), d2.mat(), red.mat(), blue.mat(), &stages);
            if (done) {
                m_engine = fresh;
                m_held.swap(held);
            }
        });
        reporter.finish(done);
        return true;
    }

    void detail(const py::object& level, const py::object& zone, const py::object& slope, const py::object& cut)
    {
        constexpr const char* kCall = "DetailEngine.set_detail";
        const int l = wholeNumber(kCall, "level", level, 0, 2);
        const int z = choice(kCall, "zone", zone, {kZones[0], kZones[1], kZones[2]});
        const float k = float(number(kCall, {"slope", -1, 1, 0, "", false}, slope));
        const float t = float(number(kCall, {"threshold", -1, 1, 0, "", false}, cut));
        m_turn.take(kCall, [&] {
            m_engine.m_detailK[l][z] = k;
            m_engine.m_detailT[l][z] = t;
            m_engine.m_levelDirty[l] = true;
        });
    }

    void light(const py::args& given)
    {
        constexpr const char* kCall = "DetailEngine.set_light";
        float values[6];
        for (size_t i = 0; i < 6; ++i)
            values[i] = float(number(kCall, filterEntry("light").parameters[i], given[i]));
        m_turn.take(kCall, [&] {
            std::memcpy(m_engine.m_lightParams, values, sizeof values);
            m_engine.m_lightDirty = true;
        });
    }

    void weights(const py::object& red, const py::object& green, const py::object& blue)
    {
        constexpr const char* kCall = "DetailEngine.set_weights";
        const float values[] = {float(number(kCall, {"red", -1, 1, 0, "", false}, red)),
                                float(number(kCall, {"green", -1, 1, 0, "", false}, green)),
                                float(number(kCall, {"blue", -1, 1, 0, "", false}, blue))};
        m_turn.take(kCall, [&] {
            std::memcpy(m_engine.m_colorWeights, values, sizeof values);
            m_engine.m_lightDirty = true;
        });
    }

    py::array render(const py::object& x, const py::object& y, const py::object& width, const py::object& height,
                     const py::object& scale, const py::object& extra)
    {
        constexpr const char* kCall = "DetailEngine.render";
        const cv::Rect region(wholeNumber(kCall, "x", x, 0, INT_MAX), wholeNumber(kCall, "y", y, 0, INT_MAX),
                              wholeNumber(kCall, "width", width, 1, INT_MAX),
                              wholeNumber(kCall, "height", height, 1, INT_MAX));
        const int reduction = wholeNumber(kCall, "scale", scale, 1, INT_MAX);
        const Input added = extra.is_none() ? Input() : Input(kCall, "extra", extra, kWords);
        cv::Mat made;
        m_turn.take(kCall, [&] {
            if (m_held.empty())
                throw Error(kCall, "self", "an engine that is set up", "empty");
            m_engine.proc(region, reduction, added.mat());
            made = m_engine.m_result.clone(); // the next view goes into the same pixels
        });
        return sharing(made);
    }

    template <cv::Mat TQuillet3::*Plane>
    py::object colour()
    {
        cv::Mat header;
        m_turn.take("DetailEngine", [&] { header = m_engine.*Plane; });
        return header.empty() ? py::object(py::none()) : sharing(header);
    }

private:
    /// An engine without a picture, with these controls.
    static TQuillet3 controlsOf(const TQuillet3& engine)
    {
        TQuillet3 fresh;
        std::memcpy(fresh.m_detailK, engine.m_detailK, sizeof fresh.m_detailK);
        std::memcpy(fresh.m_detailT, engine.m_detailT, sizeof fresh.m_detailT);
        std::memcpy(fresh.m_lightParams, engine.m_lightParams, sizeof fresh.m_lightParams);
        std::memcpy(fresh.m_colorWeights, engine.m_colorWeights, sizeof fresh.m_colorWeights);
        return fresh;
    }

    TQuillet3 m_engine;
    Turn m_turn;
    std::vector<Input> m_held;
};

} // namespace

void bindEngine(py::module_& module)
{
    const auto zero = [](const char* name) { return py::arg(name) = 0.0; };
    py::class_<Engine>(
        module, "DetailEngine",
        "DetailEngine()\n--\n\nThe adjusted luma of a region, from luma and three planes of detail; only what "
        "a control touches is computed again. Threads wait for each other's turn.\n")
        .def(py::init<>())
        .def("setup", &Engine::setup, py::arg("y"), py::arg("fine"), py::arg("medium"), py::arg("coarse"),
             py::arg("dr"), py::arg("db"), py::kw_only(), py::arg("progress") = py::none(),
             "setup(self, y, fine, medium, coarse, dr, db, *, progress=None)\n--\n\nTakes a picture in.\n\n"
             "y, fine, medium, coarse: uint16 of (H, W); detail d adds 2 (d - 32768). Shared where rows are dense: "
             "leave them as they are.\ndr, db: uint16 of half the size, rounded up, centred on 32768.\n"
             "progress: called with the share done, 0..1; False cancels, what it raises comes through.\n\n"
             "Returns True. Raises pixmill.Error, and pixmill.Cancelled; the engine is then as it was.\n")
        .def("set_detail", &Engine::detail, py::arg("level"), py::arg("zone") = "base", zero("slope"),
             zero("threshold"),
             "set_detail(self, level, zone='base', slope=0.0, threshold=0.0)\n--\n\n"
             "level: 0 the finest, 1, 2.\nzone: 'base', 'shadows' or 'midtones'.\nslope, threshold: -1..1.\n\n"
             "Raises pixmill.Error.\n")
        .def(
            "set_light",
            [](Engine& engine, const py::object& a, const py::object& b, const py::object& c, const py::object& d,
               const py::object& e, const py::object& f) { engine.light(py::args(py::make_tuple(a, b, c, d, e, f))); },
            zero("brightness"), zero("contrast"), zero("highlights"), zero("shadows"), zero("whites"), zero("blacks"),
            "set_light(self, brightness=0.0, contrast=0.0, highlights=0.0, shadows=0.0, whites=0.0, blacks=0.0)\n--\n\n"
            "The light curve, -1..1 each. Raises pixmill.Error.\n")
        .def("set_weights", &Engine::weights, zero("red"), zero("green"), zero("blue"),
             "set_weights(self, red=0.0, green=0.0, blue=0.0)\n--\n\nHow bright colours are, -1..1 each. Raises "
             "pixmill.Error.\n")
        .def("render", &Engine::render, py::arg("x"), py::arg("y"), py::arg("width"), py::arg("height"),
             py::arg("scale") = 1, py::arg("extra") = py::none(),
             "render(self, x, y, width, height, scale=1, extra=None)\n--\n\nThe luma of a region, reduced.\n\n"
             "x, y: its corner in pixels of the picture.\nwidth, height: in pixels of the result.\nscale: whole, 1 or "
             "more.\nextra: uint16 of the result's shape, centred on 32768, added to the finest level.\n\n"
             "Returns uint16. Raises pixmill.Error.\n")
        .def_property_readonly("full_dr", &Engine::colour<&TQuillet3::m_fullDr>,
                               "Red difference at full size, smoothed along its edges; None before setup.")
        .def_property_readonly("full_db", &Engine::colour<&TQuillet3::m_fullDb>,
                               "Blue difference at full size, smoothed along its edges; None before setup.");
}

} // namespace pixmill::python
