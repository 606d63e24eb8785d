// Curves and tables: splines, look-ups, thresholds, colour tables.
#include "arrays.h"
#include "bindings.h"
#include "filter_frame.h"
#include "numbers.h"

#include <pixmill/adjust/TColorAdjQ3.h>
#include <pixmill/adjust/TLightAdjLUTq3.h>
#include <pixmill/curves/TLut1D.h>
#include <pixmill/curves/TLut3D.h>
#include <pixmill/curves/TLutThreshold.h>
#include <pixmill/curves/TSpline.h>
#include <pixmill/primitives/vector.h>

#include "turn.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace pixmill::python {

namespace {

constexpr int kWords = 65536, kBytes = 256;

float realNumber(const char* call, const char* argument, py::handle given, double least, double most)
{
    return float(number(call, {argument, least, most, 0, "", false}, given));
}

/// One row of numbers as an array of this type; copied where it is not one already.
template <class T>
py::array_t<T> rowOf(const char* call, const char* argument, py::handle given, py::ssize_t length)
{
    const auto row = py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(given);
    if (!row || row.ndim() != 1 || (length > 0 && row.size() != length)) {
        PyErr_Clear();
        refuse(call, argument, length > 0 ? std::to_string(length) + " numbers" : "a row of numbers", describe(given));
    }
    return row;
}

template <class T>
py::array_t<T> tableOf(const void* entries, int count)
{
    py::array_t<T> table(count);
    std::memcpy(table.mutable_data(), entries, size_t(count) * sizeof(T));
    return table;
}

/// A cubic spline through points.
class Spline {
public:
    Spline(const py::object& x, const py::object& y) : Spline(rowOf<float>("Spline", "x", x, 0), y) {}

    py::object at(const py::object& t)
    {
        const auto places = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(t);
        if (!places) {
            PyErr_Clear();
            refuse("Spline", "t", "a number or an array of numbers", describe(t));
        }
        py::array_t<float> values(std::vector<py::ssize_t>(places.shape(), places.shape() + places.ndim()));
        std::transform(places.data(), places.data() + places.size(), values.mutable_data(),
                       [this](float place) { return m_spline->value(place); });
        return values.ndim() == 0 ? py::object(py::float_(values.data()[0])) : values;
    }

private:
    Spline(const py::array_t<float>& x, const py::object& given)
    {
        constexpr int kMost = 1 << 24;
        const int n = int(std::min<py::ssize_t>(x.size(), kMost + 1));
        if (n < 4 || n > kMost)
            refuse("Spline", "x", "4..16777216 points", std::to_string(x.size()));
        if (std::adjacent_find(x.data(), x.data() + n, [](float a, float b) { return !(a < b); }) != x.data() + n)
            refuse("Spline", "x", "numbers that rise", "others");
        const py::array_t<float> y = rowOf<float>("Spline", "y", given, n);
        m_spline = std::make_unique<TSpline>(n);
        std::copy_n(x.data(), n, m_spline->m_x_p);
        std::copy_n(y.data(), n, m_spline->m_y_p);
        m_spline->update();
    }

    std::unique_ptr<TSpline> m_spline;
};

/// p's pixels replaced by entries of a table that has as many as their type has values.
template <class T>
py::array lookedUp(const Input& p, const py::object& table, int depth, const py::object& out)
{
    constexpr const char* kCall = "look_up";
    const int inDepth = p.mat().depth();
    TLut1D lut(inDepth, depth);
    const auto entries = rowOf<T>(kCall, "table", table, inDepth == CV_8U ? kBytes : kWords);
    std::memcpy(lut.m_lut_p, entries.data(), size_t(entries.nbytes()));
    Output result(kCall, "out", out, depth, shapeOf(p.mat().size(), depth), {&p}, Output::kInPlace);
    released(kCall, [&] { lut.apply(p.mat(), result.mat()); });
    return result.finish();
}

py::array lookUp(const py::object& given, const py::object& table, const py::object& out)
{
    constexpr const char* kCall = "look_up";
    const Input p(kCall, "p", given, {kU8 | kU16, kPlane});
    const int depth = py::isinstance<py::array>(table) ? depthOf(py::reinterpret_borrow<py::array>(table)) : -1;
    if (depth != CV_16U && (depth != CV_8U || p.mat().depth() == CV_16U))
        refuse(kCall, "table", p.mat().depth() == CV_8U ? "256 numbers of uint8 or uint16" : "65536 numbers of uint16",
               describe(table));
    return depth == CV_8U ? lookedUp<unsigned char>(p, table, depth, out)
                          : lookedUp<unsigned short>(p, table, depth, out);
}

template <class Lut, class T>
py::array thresholdTable(const float* v, int range, int entries)
{
    Lut lut(v[4], v[5], range, v[6]);
    lut.setupLinearThreshold(v[2], v[3], v[0], v[1]);
    return tableOf<T>(lut.m_lut_p, entries);
}

py::array threshold(const py::object& slope, const py::object& cut, const py::object& slopeShift,
                    const py::object& cutShift, const py::object& low, const py::object& high, const py::object& range,
                    const py::object& smooth, const py::object& bits)
{
    constexpr const char* kCall = "threshold_table";
    const float v[] = {realNumber(kCall, "slope", slope, -1, 1),
                       realNumber(kCall, "threshold", cut, -1, 1),
                       realNumber(kCall, "slope_shift", slopeShift, -1.5, 1.5),
                       realNumber(kCall, "threshold_shift", cutShift, -1.5, 1.5),
                       realNumber(kCall, "low", low, 0, 100),
                       realNumber(kCall, "high", high, 0, 100),
                       realNumber(kCall, "smooth", smooth, 0, 10)};
    const int depth = wholeNumber(kCall, "bits", bits, 8, 16);
    const int entries = depth == 8 ? kBytes : kWords;
    const int reach = wholeNumber(kCall, "range", range, 0, entries / 2);
    if (depth != 8 && depth != 16)
        refuse(kCall, "bits", "8 or 16", std::to_string(depth));
    return depth == 8 ? thresholdTable<TLut8U, unsigned char>(v, reach, entries)
                      : thresholdTable<TLut16U, unsigned short>(v, reach, entries);
}

py::array lightTable(const py::args& given)
{
    const FilterEntry& entry = filterEntry("light");
    std::array<float, 6> v{};
    for (size_t i = 0; i < v.size(); ++i)
        v[i] = float(number("light_table", entry.parameters[i], given[i]));
    TLightAdjLUTq3 curve;
    released("light_table", [&] {
        curve.setupParams(v[0], v[1], v[2], v[3], v[4], v[5]);
        curve.computeLUT16U(true);
    });
    return tableOf<unsigned short>(curve.m_lutY_p, kWords);
}

py::array_t<unsigned short> identityGrid(int n)
{
    py::array_t<unsigned short> table({n, n, n, 3});
    TLut3D lut;
    std::fill_n(lut.m_size, 3, n);
    lut.m_table_p = table.mutable_data();
    lut.initialize(n, 3, TLut3D::LAST_FASTEST);
    return table;
}

py::array identityColours(const py::object& size)
{
    return identityGrid(wholeNumber("identity_colour_table", "size", size, 2, 256));
}

/// A share of the colour goes, and each channel of what is left is raised to its power.
void giveLook(unsigned short* colour, const float* powers, double grey)
{
    const double luma = 0.299 * colour[0] + 0.587 * colour[1] + 0.114 * colour[2];
    for (int c = 0; c < 3; ++c) {
        float share = float((colour[c] + grey * (luma - colour[c])) / 65535.0);
        vsPowx(1, &share, powers[c], &share);
        colour[c] = cv::saturate_cast<unsigned short>(65535.0 * share);
    }
}

py::array lookTable(const py::object& red, const py::object& green, const py::object& blue, const py::object& grey)
{
    constexpr int kGrid = 17;
    const py::object given[] = {red, green, blue, grey};
    double v[4];
    for (size_t i = 0; i < 4; ++i)
        v[i] = number("look_table", filterEntry("table").parameters[i], given[i]);
    const float powers[] = {float(v[0]), float(v[1]), float(v[2])};
    py::array_t<unsigned short> table = identityGrid(kGrid);
    unsigned short* const entries = table.mutable_data();
    released("look_table", [&] {
        for (int i = 0; i < kGrid * kGrid * kGrid; ++i)
            giveLook(entries + 3 * i, powers, v[3]);
    });
    return table;
}

py::array colourTable(const py::object& given, const py::object& table, const py::object& out)
{
    constexpr const char* kCall = "colour_table";
    constexpr int kMostPoints = 256;
    const Input p(kCall, "p", given, {kU16, kThree});
    if (!py::isinstance<py::array_t<unsigned short>>(table))
        refuse(kCall, "table", "uint16 of (A, B, C, 3)", describe(table));
    const auto entries = py::array_t<unsigned short, py::array::c_style | py::array::forcecast>::ensure(table);
    TLut3D lut;
    bool fits = entries.ndim() == 4 && entries.shape(3) == 3;
    for (int axis = 0; fits && axis < 3; ++axis) {
        fits = entries.shape(axis) >= 2 && entries.shape(axis) <= kMostPoints;
        lut.m_size[axis] = int(entries.shape(axis));
    }
    if (!fits)
        refuse(kCall, "table", "uint16 of (A, B, C, 3), 2..256 points each", describe(table));
    lut.m_table_p = const_cast<unsigned short*>(entries.data());
    Output result(kCall, out, p, {&p}, Output::kInPlace);
    released(kCall, [&] {
        cv::Mat in = p.mat();
        lut.applyLutOn16UC3Mat(in, result.mat(), TLut3D::LUT3D_LINEAR);
    });
    return result.finish();
}

/// White balance and saturation of colour differences: tables that are built once.
class ColourAdjustment {
public:
    ColourAdjustment(const py::object& warmth, const py::object& tint, const py::object& saturation,
                     const py::object& floor)
    {
        const std::vector<FilterParameter>& parameters = filterEntry("colour").parameters;
        const py::handle given[] = {warmth, tint, saturation, floor};
        float* const controls[] = {&m_tables.m_warmth, &m_tables.m_tint, &m_tables.m_saturation,
                                   &m_tables.m_chromaFloor};
        for (size_t i = 0; i < 4; ++i)
            *controls[i] = float(number("ColourAdjustment", parameters[i], given[i]));
        m_tables.m_dirty = 1;
        released("ColourAdjustment", [&] { m_tables.computeLUT16U(); });
    }

    py::tuple apply(const py::object& dr, const py::object& db, const py::object& y, const py::object& oldY)
    {
        constexpr const char* kCall = "ColourAdjustment.apply";
        constexpr Wanted kPlanes = {kU16, kPlane};
        const Input red(kCall, "dr", dr, kPlanes), blue(kCall, "db", db, kPlanes), luma(kCall, "y", y, kPlanes);
        const Input before(kCall, "old_y", oldY.is_none() ? y : oldY, kPlanes);
        blue.mustBe(kCall, "db", red.mat().size());
        luma.mustBe(kCall, "y", red.mat().size());
        before.mustBe(kCall, "old_y", red.mat().size());
        Output newDr(kCall, py::none(), red, {}, Output::kApart), newDb(kCall, py::none(), blue, {}, Output::kApart);
        m_turn.take(kCall,
                    [&] { m_tables.proc(before.mat(), luma.mat(), red.mat(), blue.mat(), newDr.mat(), newDb.mat()); });
        return py::make_tuple(newDr.finish(), newDb.finish());
    }

private:
    Turn m_turn;
    TColorAdjQ3 m_tables{1, 1, 1, 1, 2, 1};
};

void bindColours(py::module_& module)
{
    const std::vector<FilterParameter>& colour = filterEntry("colour").parameters;
    const auto usual = [&](size_t i) { return usualOf(colour[i]); };
    py::class_<ColourAdjustment>(
        module, "ColourAdjustment",
        "ColourAdjustment(warmth=0.0, tint=0.0, saturation=0.3, floor=0.0)\n--\n\n"
        "White balance and saturation of colour differences, by tables that know the luma. -1..1 each.\n")
        .def(py::init<const py::object&, const py::object&, const py::object&, const py::object&>(),
             py::arg("warmth") = usual(0), py::arg("tint") = usual(1), py::arg("saturation") = usual(2),
             py::arg("floor") = usual(3))
        .def("apply", &ColourAdjustment::apply, py::arg("dr"), py::arg("db"), py::arg("y"),
             py::arg("old_y") = py::none(),
             "apply(self, dr, db, y, old_y=None)\n--\n\n"
             "dr, db, y, old_y: uint16 of (H, W), differences centred on 32768.\n"
             "old_y: luma before the caller's own change; colour grows as luma did. None: y.\n\n"
             "Returns the new (dr, db). Raises pixmill.Error.\n");
    module.def(
        "identity_colour_table", &identityColours, py::arg("size"),
        "identity_colour_table(size)\n--\n\nA colour table that changes nothing: uint16 of (size, size, size, 3).\n\n"
        "size: whole, 2..256. Raises pixmill.Error.\n");
    const FilterEntry& look = filterEntry("table");
    const auto usualLook = [&](size_t i) { return py::arg(look.parameters[i].name) = usualOf(look.parameters[i]); };
    module.def("look_table", &lookTable, usualLook(0), usualLook(1), usualLook(2), usualLook(3),
               ("look_table(" + defaults(look) + ")\n--\n\n" + look.purpose +
                "\n\nA table for colour_table: uint16 of (17, 17, 17, 3).\n\n" + parameterLines(look) +
                "\nRaises pixmill.Error.\n")
                   .c_str());
    module.def("colour_table", &colourTable, py::arg("p"), py::arg("table"), py::kw_only(), py::arg("out") = py::none(),
               "colour_table(p, table, *, out=None)\n--\n\n"
               "Looks colours up in a grid of them, trilinear.\n\np: uint16 of (H, W, 3).\n"
               "table: uint16 of (A, B, C, 3), 2..256 points each: what stands for the first, second and third "
               "channel's values.\nout: an array like p, which it may be.\n\nRaises pixmill.Error.\n");
}

} // namespace

void bindTables(py::module_& module)
{
    const auto none = [](const char* name) { return py::arg(name) = py::none(); };
    const auto zero = [](const char* name) { return py::arg(name) = 0.0; };
    py::class_<Spline>(
        module, "Spline",
        "Spline(x, y)\n--\n\nThe cubic spline through at least 4 points, not-a-knot at its ends; x rises.\n")
        .def(py::init<const py::object&, const py::object&>(), py::arg("x"), py::arg("y"))
        .def("__call__", &Spline::at, py::arg("t"),
             "__call__(self, t)\n--\n\nIts value at a number, or float32 at an array of them.\n");
    module.def("look_up", &lookUp, py::arg("p"), py::arg("table"), py::kw_only(), none("out"),
               "look_up(p, table, *, out=None)\n--\n\ntable[p].\n\np: uint8 or uint16 of (H, W).\n"
               "table: 256 numbers of uint8 or uint16 for uint8, 65536 of uint16 for uint16.\n"
               "out: of p's shape and the table's type; may be p.\n\nRaises pixmill.Error.\n");
    module.def("threshold_table", &threshold, zero("slope"), zero("threshold"), zero("slope_shift"),
               zero("threshold_shift"), py::kw_only(), py::arg("low"), py::arg("high"), py::arg("range"),
               py::arg("smooth"), py::arg("bits") = 16,
               "threshold_table(slope=0.0, threshold=0.0, slope_shift=0.0, threshold_shift=0.0, *, low, high, range, "
               "smooth, bits=16)\n--\n\n"
               "A line through mid-grey with a gap or a dead zone cut into it, as a table for look_up.\n\n"
               "slope, threshold: -1..1. slope_shift, threshold_shift: -1.5..1.5, on from there.\n"
               "low, high: 0..100, the slopes at -1 and 1.\nrange: whole, entries that a threshold of 1 reaches.\n"
               "smooth: 0..10, sigma for each of them.\nbits: 8 or 16.\n\nRaises pixmill.Error.\n");
    const FilterEntry& light = filterEntry("light");
    const auto usual = [&](size_t i) { return py::arg(light.parameters[i].name) = usualOf(light.parameters[i]); };
    module.def(
        "light_table",
        [](const py::object& a, const py::object& b, const py::object& c, const py::object& d, const py::object& e,
           const py::object& f) { return lightTable(py::args(py::make_tuple(a, b, c, d, e, f))); },
        usual(0), usual(1), usual(2), usual(3), usual(4), usual(5),
        ("light_table(" + defaults(light) + ")\n--\n\nThe curve of light_curve as a table for look_up.\n\n" +
         parameterLines(light) + "\nRaises pixmill.Error.\n")
            .c_str());
    bindColours(module);
}

} // namespace pixmill::python
