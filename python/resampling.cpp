// Change of size, blends, borders, views, the edge plane.
#include "arrays.h"
#include "bindings.h"
#include "numbers.h"

#include <pixmill/planar/TPImage.h>
#include <pixmill/resample/blend.h>
#include <pixmill/resample/border.h>
#include <pixmill/resample/guidedUpsize.h>
#include <pixmill/resample/resample.h>

#include <climits>
#include <vector>

namespace pixmill::python {

namespace {

constexpr Wanted kAnyPlane = {kU8 | kU16 | kF32, kPlane}, kWords = {kU16, kPlane}, kBytes = {kU8, kPlane};
constexpr int kCodes[] = {1, 2, 4, 257};
constexpr int kMostFactor = 4096;

int interpolationOf(const char* call, py::handle given)
{
    return kCodes[choice(call, "interpolation", given, {"nearest", "linear", "cubic", "pyramid"})];
}

int wholeFactorInterpolation(const char* call, py::handle given)
{
    return kCodes[choice(call, "interpolation", given, {"nearest", "linear", "cubic"})];
}

/// Rows and columns that `out` has, where one was given, else `usual`.
std::vector<py::ssize_t> targetShape(const char* call, py::handle out, cv::Size usual)
{
    if (py::isinstance<py::array>(out)) {
        const auto array = py::reinterpret_borrow<py::array>(out);
        if (array.ndim() == 2 && array.size() > 0)
            return {array.shape(0), array.shape(1)};
        refuse(call, "out", "an array of (H, W)", describe(out));
    }
    return {usual.height, usual.width};
}

int doubled(const char* call, int side, int factor)
{
    if (side > INT_MAX / factor)
        refuse(call, "p", "a size whose result has at most 2147483647 pixels a side", std::to_string(side));
    return side * factor;
}

template <class Resize>
py::array resized(const char* call, py::handle given, py::handle out, const Resize& sizeAndWork)
{
    const Input p(call, "p", given, kAnyPlane);
    const auto [size, work] = sizeAndWork(p.mat().size());
    Output result(call, "out", out, p.mat().type(), targetShape(call, out, size), {&p}, Output::kApart);
    released(call, [&, run = work] { run(p.mat(), result.mat()); });
    return result.finish();
}

py::array upSize(const py::object& p, const py::object& factor, const py::object& interpolation, const py::object& out)
{
    constexpr const char* kCall = "up_size";
    const int n = wholeNumber(kCall, "factor", factor, 1, kMostFactor);
    const int code = wholeFactorInterpolation(kCall, interpolation);
    return resized(kCall, p, out, [=](cv::Size size) {
        return std::pair(cv::Size(doubled(kCall, size.width, n), doubled(kCall, size.height, n)),
                         [=](const cv::Mat& in, cv::Mat& large) { upSizeNX(in, large, n, code); });
    });
}

py::array downSize(const py::object& p, const py::object& factor, const py::object& interpolation,
                   const py::object& out)
{
    constexpr const char* kCall = "down_size";
    const int n = wholeNumber(kCall, "factor", factor, 1, kMostFactor);
    const int code = wholeFactorInterpolation(kCall, interpolation);
    return resized(kCall, p, out, [=](cv::Size size) {
        return std::pair(cv::Size((size.width - 1) / n + 1, (size.height - 1) / n + 1),
                         [=](const cv::Mat& in, cv::Mat& small) { downSizeNX(in, small, n, code); });
    });
}

py::array doubleSize(const py::object& p, const py::object& interpolation, const py::object& out)
{
    constexpr const char* kCall = "double_size";
    const int code = interpolationOf(kCall, interpolation);
    return resized(kCall, p, out, [=](cv::Size size) {
        return std::pair(cv::Size(doubled(kCall, size.width, 2), doubled(kCall, size.height, 2)),
                         [=](const cv::Mat& in, cv::Mat& large) { upSize2X(in, large, code); });
    });
}

py::array halveSize(const py::object& p, const py::object& interpolation, const py::object& out)
{
    constexpr const char* kCall = "halve_size";
    const int code = interpolationOf(kCall, interpolation);
    return resized(kCall, p, out, [=](cv::Size size) {
        return std::pair(cv::Size((size.width - 1) / 2 + 1, (size.height - 1) / 2 + 1),
                         [=](const cv::Mat& in, cv::Mat& small) { downSize2X(in, small, code); });
    });
}

py::array guidedUpSize(const py::object& p, const py::object& guide, const py::object& out)
{
    constexpr const char* kCall = "guided_up_size";
    constexpr Wanted kIntegers = {kU8 | kU16, kPlane};
    const Input small(kCall, "p", p, kIntegers), large(kCall, "guide", guide, kIntegers);
    large.mustBe(kCall, "guide", {doubled(kCall, small.mat().cols, 2), doubled(kCall, small.mat().rows, 2)});
    Output result(kCall, out, large, {&small, &large}, Output::kApart);
    released(kCall, [&] { upSize2XGuidedByY(large.mat(), small.mat(), result.mat(), true, 4); });
    return result.finish();
}

py::array blend(const py::object& below, const py::object& above, const py::object& alpha, const py::object& opacity,
                const py::object& out)
{
    constexpr const char* kCall = "blend_alpha";
    const double share = number(kCall, {"opacity", 0, 1, 1, "", false}, opacity);
    const Input in0(kCall, "below", below, kAnyPlane), in1(kCall, "above", above, kAnyPlane);
    const Input weights(kCall, "alpha", alpha, kBytes);
    in1.mustBe(kCall, "above", in0.mat().size());
    weights.mustBe(kCall, "alpha", in0.mat().size());
    if (in1.mat().type() != in0.mat().type())
        refuse(kCall, "above", py::str(in0.array().dtype()), py::str(in1.array().dtype()));
    Output result(kCall, out, in1, {&in0, &in1, &weights}, Output::kInPlace);
    released(kCall, [&] { blendAlpha(in0.mat(), in1.mat(), weights.mat(), result.mat(), float(share)); });
    return result.finish();
}

py::array borders(const py::object& p, const py::object& left, const py::object& top, const py::object& right,
                  const py::object& bottom, const py::object& out)
{
    constexpr const char* kCall = "extend_border";
    const py::handle given[] = {left, top, right, bottom};
    const char* const names[] = {"left", "top", "right", "bottom"};
    int margin[4];
    for (int i = 0; i < 4; ++i)
        margin[i] = wholeNumber(kCall, names[i], given[i], 0, INT_MAX);
    if (margin[3] > 0 && margin[1] > margin[3])
        refuse(kCall, "bottom", "0, or at least top", std::to_string(margin[3]));
    const Input in(kCall, "p", p, {kU8 | kU16 | kF32, kPlane | kChannels});
    Output result(kCall, out, in, {&in}, Output::kInPlace);
    released(kCall, [&] {
        if (result.mat().data != in.mat().data)
            in.mat().copyTo(result.mat());
        extendBorder(result.mat(), margin[0], margin[1], margin[2], margin[3]);
    });
    return result.finish();
}

py::array view(const py::object& p, const py::object& x, const py::object& y, const py::object& width,
               const py::object& height, const py::object& scale, const py::object& half, const py::object& smooth)
{
    constexpr const char* kCall = "view";
    const int left = wholeNumber(kCall, "x", x, 0, INT_MAX), top = wholeNumber(kCall, "y", y, 0, INT_MAX);
    const int w = wholeNumber(kCall, "width", width, 1, INT_MAX), h = wholeNumber(kCall, "height", height, 1, INT_MAX);
    const int reduction = wholeNumber(kCall, "scale", scale, 1, INT_MAX);
    const bool isHalf = wholeNumber(kCall, "half", half, 0, 1), isSmooth = wholeNumber(kCall, "smooth", smooth, 0, 1);
    const Input in(kCall, "p", p, kAnyPlane);
    cv::Mat made;
    released(kCall, [&] { made = TPImage::MatRoi(in.mat(), left, top, w, h, reduction, isHalf, isSmooth); });
    return sharing(made);
}

/// TPImage's edge tables, which are the process's.
void prepareEdgeTables()
{
    static std::vector<unsigned char> toEdge(65536);
    static std::vector<unsigned short> toFull(256);
    TPImage::m_lutFullToEdge_p = toEdge.data();
    TPImage::m_lutEdgeToFull_p = toFull.data();
    TPImage::computeLUT();
}

py::array fullToEdge(const py::object& full, const py::object& half, const py::object& out)
{
    constexpr const char* kCall = "full_to_edge";
    const Input in(kCall, "full", full, kWords);
    const Input small = half.is_none() ? Input() : Input(kCall, "half", half, kWords);
    if (small.given())
        small.mustBe(kCall, "half", {(in.mat().cols + 1) / 2, (in.mat().rows + 1) / 2});
    Output result(kCall, "out", out, CV_8UC1, shapeOf(in.mat().size(), CV_8UC1), {&in, &small}, Output::kApart);
    released(kCall, [&] { TPImage::fullToEdge(in.mat(), small.mat(), result.mat()); });
    return result.finish();
}

py::array edgeToFull(const py::object& edge, const py::object& half, const py::object& strength, const py::object& out)
{
    constexpr const char* kCall = "edge_to_full";
    const double share = number(kCall, filterEntry("finest-detail").parameters[2], strength);
    const Input in(kCall, "edge", edge, kBytes), small(kCall, "half", half, kWords);
    small.mustBe(kCall, "half", {(in.mat().cols + 1) / 2, (in.mat().rows + 1) / 2});
    Output result(kCall, "out", out, CV_16UC1, shapeOf(in.mat().size(), CV_16UC1), {&in, &small}, Output::kApart);
    released(kCall, [&] { TPImage::edgeToFull(in.mat(), small.mat(), result.mat(), float(share)); });
    return result.finish();
}

} // namespace

void bindResampling(py::module_& module)
{
    const auto none = [](const char* name) { return py::arg(name) = py::none(); };
    const auto cubic = py::arg("interpolation") = "cubic";
    prepareEdgeTables();
    module.def("up_size", &upSize, py::arg("p"), py::arg("factor"), cubic, py::kw_only(), none("out"),
               "up_size(p, factor, interpolation='cubic', *, out=None)\n--\n\n"
               "Enlarges a plane `factor` times.\n\np: uint8, uint16 or float32 of (H, W).\nfactor: whole, 1..4096.\n"
               "interpolation: 'nearest', 'linear' or 'cubic'.\n"
               "out: of p's type; its shape is the result's. None: factor H rows of factor W pixels.\n\n"
               "Pixel i stands at factor i + (factor - 1) / 2 - 1 / factor. Raises pixmill.Error.\n");
    module.def("down_size", &downSize, py::arg("p"), py::arg("factor"), cubic, py::kw_only(), none("out"),
               "down_size(p, factor, interpolation='cubic', *, out=None)\n--\n\n"
               "Reduces a plane `factor` times, without averaging.\n\np: uint8, uint16 or float32 of (H, W).\n"
               "factor: whole, 1..4096.\ninterpolation: 'nearest', 'linear' or 'cubic'.\n"
               "out: of p's type; its shape is the result's. None: p's over factor, rounded up.\n\n"
               "Raises pixmill.Error.\n");
    module.def("double_size", &doubleSize, py::arg("p"), cubic, py::kw_only(), none("out"),
               "double_size(p, interpolation='cubic', *, out=None)\n--\n\n"
               "Doubles a plane; its pixel i comes back at 2 i.\n\np: uint8, uint16 or float32 of (H, W).\n"
               "interpolation: 'nearest', 'linear', 'cubic', or 'pyramid' for the Gaussian pyramid's step.\n"
               "out: of p's type; its shape is the result's. None: twice p's.\n\nRaises pixmill.Error.\n");
    module.def("halve_size", &halveSize, py::arg("p"), cubic, py::kw_only(), none("out"),
               "halve_size(p, interpolation='cubic', *, out=None)\n--\n\n"
               "Halves a plane: its even pixels, or with 'pyramid' their Gaussian means.\n\n"
               "p: uint8, uint16 or float32 of (H, W).\ninterpolation: 'nearest', 'linear', 'cubic' or 'pyramid'.\n"
               "out: of p's type; its shape is the result's. None: half of p's, rounded up.\n\n"
               "The last column of an odd width repeats the one before it. Raises pixmill.Error.\n");
    module.def("guided_up_size", &guidedUpSize, py::arg("p"), py::arg("guide"), py::kw_only(), none("out"),
               "guided_up_size(p, guide, *, out=None)\n--\n\n"
               "Doubles a plane so that it ends where the guide's edges are: colour differences by luma.\n\n"
               "p: uint8 or uint16 of (H, W).\nguide: uint8 or uint16 of (2 H, 2 W).\n"
               "out: an array like the guide; None: a new one.\n\nRaises pixmill.Error.\n");
    module.def("blend_alpha", &blend, py::arg("below"), py::arg("above"), py::arg("alpha"), py::arg("opacity") = 1.0,
               py::kw_only(), none("out"),
               "blend_alpha(below, above, alpha, opacity=1.0, *, out=None)\n--\n\n"
               "above a + below (1 - a), where a is opacity alpha / 255.\n\n"
               "below, above: uint8, uint16 or float32 of (H, W), of one type.\nalpha: uint8 of (H, W).\n"
               "opacity: 0..1.\nout: an array like above, which it may be.\n\n"
               "Integers are cut toward zero. Raises pixmill.Error.\n");
    module.def(
        "extend_border", &borders, py::arg("p"), py::arg("left"), py::arg("top"), py::arg("right"), py::arg("bottom"),
        py::kw_only(), none("out"),
        "extend_border(p, left, top, right, bottom, *, out=None)\n--\n\n"
        "Overwrites margins that lie inside the picture with the column or row next to them.\n\n"
        "p: uint8, uint16 or float32 of (H, W) or (H, W, C).\nleft, top, right, bottom: pixels; a margin as "
        "large as the picture is skipped. bottom: at least top, or 0.\nout: an array like p, which it may be.\n\n"
        "Raises pixmill.Error.\n");
    module.def("view", &view, py::arg("p"), py::arg("x"), py::arg("y"), py::arg("width"), py::arg("height"),
               py::arg("scale") = 1, py::kw_only(), py::arg("half") = false, py::arg("smooth") = false,
               "view(p, x, y, width, height, scale=1, *, half=False, smooth=False)\n--\n\n"
               "width x height pixels that cover scale times as many of p, from (x, y) on.\n\n"
               "p: uint8, uint16 or float32 of (H, W).\nscale: whole, 1 or more.\n"
               "half: the region is told in pixels of a plane twice as large.\n"
               "smooth: reduces 3 x 3 means instead of single pixels.\n\n"
               "A region past p's far edges is cut, at scales above 1 stretched. Raises pixmill.Error.\n");
    module.def("full_to_edge", &fullToEdge, py::arg("full"), none("half"), py::kw_only(), none("out"),
               "full_to_edge(full, half=None, *, out=None)\n--\n\n"
               "The finest detail in 8 bits: what `full` holds beyond `half`, 128 where it holds no more.\n\n"
               "full: uint16 of (H, W).\nhalf: uint16 of half its size, rounded up; None: reduced here.\n"
               "out: uint8 of (H, W).\n\nRaises pixmill.Error.\n");
    const FilterParameter& strength = filterEntry("finest-detail").parameters[2];
    module.def(
        "edge_to_full", &edgeToFull, py::arg("edge"), py::arg("half"), py::arg("strength") = strength.usual,
        py::kw_only(), none("out"),
        "edge_to_full(edge, half, strength=2.0, *, out=None)\n--\n\n"
        "Enlarges `half` and puts the finest detail back on.\n\nedge: uint8 of (H, W), from full_to_edge.\n"
        "half: uint16 of half its size, rounded up.\nstrength: 0..10; 2 is as it was.\nout: uint16 of (H, W).\n\n"
        "Raises pixmill.Error.\n");
}

} // namespace pixmill::python
