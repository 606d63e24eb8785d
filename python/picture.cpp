// The planar picture, from packed pixels or planes and back.
#include "picture.h"

#include "bindings.h"
#include "numbers.h"

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace pixmill::python {

namespace {

constexpr Wanted kPacked = {kU8 | kU16, kThree | kFour}, kWords = {kU16, kPlane};

/// "RGB" or "BGR", the order of the colours in memory.
bool isBgr(const char* call, py::handle order)
{
    return choice(call, "order", order, {"RGB", "BGR"}) == 1;
}

/// Packed pixels as B, G, R, x, which is what a picture is made from: the same pixels where they are so already.
cv::Mat asBgrx(const cv::Mat& packed, bool bgr)
{
    if (bgr && packed.channels() == 4)
        return packed;
    cv::Mat bgrx(packed.size(), CV_MAKETYPE(packed.depth(), 4), cv::Scalar::all(0));
    const int straight[] = {0, 0, 1, 1, 2, 2}, swapped[] = {0, 2, 1, 1, 2, 0};
    cv::mixChannels(&packed, 1, &bgrx, 1, bgr ? straight : swapped, 3);
    return bgrx;
}

void convertPacked(TPImage& picture, const cv::Mat& packed, bool bgr)
{
    cv::Mat bgrx = asBgrx(packed, bgr);
    if (bgrx.step > INT_MAX)
        bgrx = bgrx.clone();
    if (bgrx.depth() == CV_8U)
        picture.convertFrom(bgrx.ptr<unsigned char>(), bgrx.cols, bgrx.rows, int(bgrx.step));
    else
        picture.convertFrom(bgrx.ptr<unsigned short>(), bgrx.cols, bgrx.rows, int(bgrx.step / 2));
}

std::unique_ptr<Picture> fromPacked(const py::object& pixels, const py::object& order)
{
    constexpr const char* kCall = "PlanarPicture.from_packed";
    const bool bgr = isBgr(kCall, order);
    const Input packed(kCall, "pixels", pixels, kPacked);
    auto made = std::make_unique<Picture>();
    released(kCall, [&] { convertPacked(made->picture, packed.mat(), bgr); });
    return made;
}

/// Three planes whose rows are one distance apart.
std::vector<cv::Mat> evenlySpaced(const Input& r, const Input& g, const Input& b)
{
    std::vector<cv::Mat> planes = {r.mat(), g.mat(), b.mat()};
    if (r.mat().step != g.mat().step || r.mat().step != b.mat().step || r.mat().step > INT_MAX)
        for (cv::Mat& plane : planes)
            plane = plane.clone();
    return planes;
}

std::unique_ptr<Picture> fromPlanes(const py::object& r, const py::object& g, const py::object& b)
{
    constexpr const char* kCall = "PlanarPicture.from_planes";
    const Input red(kCall, "r", r, kWords), green(kCall, "g", g, kWords), blue(kCall, "b", b, kWords);
    green.mustBe(kCall, "g", red.mat().size());
    blue.mustBe(kCall, "b", red.mat().size());
    auto made = std::make_unique<Picture>();
    released(kCall, [&] {
        const std::vector<cv::Mat> planes = evenlySpaced(red, green, blue);
        unsigned short* rows[3];
        for (int i = 0; i < 3; ++i)
            rows[i] = const_cast<unsigned short*>(planes[size_t(i)].ptr<unsigned short>());
        made->picture.convertFrompRGB(rows, planes[0].cols, planes[0].rows, int(planes[0].step));
    });
    return made;
}

std::unique_ptr<Picture> fromParts(const py::object& y, const py::object& dr, const py::object& db)
{
    constexpr const char* kCall = "PlanarPicture.from_ydrdb";
    const Input luma(kCall, "y", y, kWords), red(kCall, "dr", dr, kWords), blue(kCall, "db", db, kWords);
    const cv::Size half((luma.mat().cols + 1) / 2, (luma.mat().rows + 1) / 2);
    red.mustBe(kCall, "dr", half);
    blue.mustBe(kCall, "db", half);
    auto made = std::make_unique<Picture>();
    released(kCall, [&] {
        luma.mat().copyTo(made->picture.m_Y);
        red.mat().copyTo(made->picture.m_Dr);
        blue.mat().copyTo(made->picture.m_Db);
        made->picture.m_mask = cv::Mat(half, CV_8UC1, cv::Scalar(255));
    });
    return made;
}

template <cv::Mat TPImage::*Plane>
py::array plane(Picture& self)
{
    cv::Mat header;
    self.turn.take("PlanarPicture", [&] { header = self.picture.*Plane; });
    return sharing(header);
}

py::tuple toPlanes(Picture& self)
{
    constexpr const char* kCall = "PlanarPicture.to_planes";
    const py::array luma = plane<&TPImage::m_Y>(self);
    py::array planes[3];
    unsigned short* rows[3];
    for (int i = 0; i < 3; ++i) {
        planes[i] = newArray(CV_16UC1, {luma.shape(0), luma.shape(1)});
        rows[i] = static_cast<unsigned short*>(planes[i].mutable_data());
    }
    self.turn.take(kCall, [&] { self.picture.convertTopRGB(rows, 0); });
    return py::make_tuple(planes[0], planes[1], planes[2]);
}

/// Packed pixels by way of whole planes.
void pack(const TPImage& picture, bool bgr, cv::Mat& out)
{
    std::vector<cv::Mat> planes(3);
    unsigned short* rows[3];
    for (size_t i = 0; i < 3; ++i) {
        planes[i].create(picture.m_Y.size(), CV_16UC1);
        rows[i] = planes[i].ptr<unsigned short>();
    }
    picture.convertTopRGB(rows, 0);
    if (bgr)
        std::swap(planes[0], planes[2]);
    cv::merge(planes, out);
}

py::array toPacked(Picture& self, const py::object& order, const py::object& out)
{
    constexpr const char* kCall = "PlanarPicture.to_packed";
    const bool bgr = isBgr(kCall, order);
    const py::array luma = plane<&TPImage::m_Y>(self);
    Output result(kCall, "out", out, CV_16UC3, {luma.shape(0), luma.shape(1), 3}, {}, Output::kApart);
    self.turn.take(kCall, [&] { pack(self.picture, bgr, result.mat()); });
    return result.finish();
}

py::array toDisplay(Picture& self, const py::object& out)
{
    constexpr const char* kCall = "PlanarPicture.to_display";
    const py::array luma = plane<&TPImage::m_Y>(self);
    Output result(kCall, "out", out, CV_8UC4, {luma.shape(0), luma.shape(1), 4}, {}, Output::kApart);
    self.turn.take(kCall, [&] {
        cv::Mat& target = result.mat();
        if (target.step > INT_MAX)
            refuse(kCall, "out", "rows of at most 2147483647 bytes", std::to_string(target.step));
        self.picture.convertTo(target.data, int(target.step));
    });
    return result.finish();
}

std::unique_ptr<Picture> clone(Picture& self)
{
    auto made = std::make_unique<Picture>();
    self.turn.take("PlanarPicture.clone", [&] { made->picture = self.picture.clone(true); });
    return made;
}

py::array rgbToLuma(const py::object& r, const py::object& g, const py::object& b, const py::object& out)
{
    constexpr const char* kCall = "rgb_to_luma";
    const Input red(kCall, "r", r, kWords), green(kCall, "g", g, kWords), blue(kCall, "b", b, kWords);
    green.mustBe(kCall, "g", red.mat().size());
    blue.mustBe(kCall, "b", red.mat().size());
    Output result(kCall, out, red, {&red, &green, &blue}, Output::kInPlace);
    released(kCall, [&] { TPImage::PRGB2Y(red.mat(), green.mat(), blue.mat(), result.mat()); });
    return result.finish();
}

py::tuple ydrdbToRgb(const py::object& y, const py::object& dr, const py::object& db)
{
    constexpr const char* kCall = "ydrdb_to_rgb";
    const Input luma(kCall, "y", y, kWords), red(kCall, "dr", dr, kWords), blue(kCall, "db", db, kWords);
    red.mustBe(kCall, "dr", luma.mat().size());
    blue.mustBe(kCall, "db", luma.mat().size());
    std::vector<Output> planes;
    for (int i = 0; i < 3; ++i)
        planes.emplace_back(kCall, py::none(), luma, std::vector<const Input*>(), Output::kApart);
    released(kCall, [&] {
        TPImage::YDRDB2RGB(luma.mat(), red.mat(), blue.mat(), planes[0].mat(), planes[1].mat(), planes[2].mat());
    });
    return py::make_tuple(planes[0].finish(), planes[1].finish(), planes[2].finish());
}

} // namespace

void bindPicture(py::module_& module)
{
    py::class_<Picture>(module, "PlanarPicture",
                        "A picture as 16-bit luma and two half-size colour differences, centred on 32768.\n\n"
                        "Y = 0.299 R + 0.587 G + 0.114 B, Dr = (R - Y) / 2, Db = (B - Y) / 2. Its planes are arrays "
                        "that share its memory. Threads wait for each other's turn.\n")
        .def_static(
            "from_packed", &fromPacked, py::arg("pixels"), py::arg("order") = "RGB",
            "from_packed(pixels, order='RGB')\n--\n\nFrom packed pixels; a fourth channel is not read.\n\n"
            "pixels: uint8 or uint16 of (H, W, 3) or (H, W, 4). 8 bits are widened by a shift, so that white is "
            "65280. No copy where they are B, G, R, x.\norder: 'RGB' or 'BGR'.\n\nRaises pixmill.Error.\n")
        .def_static("from_planes", &fromPlanes, py::arg("r"), py::arg("g"), py::arg("b"),
                    "from_planes(r, g, b)\n--\n\nFrom planes of uint16, (H, W) each. Raises pixmill.Error.\n")
        .def_static(
            "from_ydrdb", &fromParts, py::arg("y"), py::arg("dr"), py::arg("db"),
            "from_ydrdb(y, dr, db)\n--\n\nFrom copies of luma, uint16 of (H, W), and its differences, uint16 of "
            "half its size, rounded up. Raises pixmill.Error.\n")
        .def_property_readonly("y", &plane<&TPImage::m_Y>, "Luma, uint16 of (H, W).")
        .def_property_readonly("dr", &plane<&TPImage::m_Dr>, "Red difference, uint16 of half the size, rounded up.")
        .def_property_readonly("db", &plane<&TPImage::m_Db>, "Blue difference, uint16 of half the size, rounded up.")
        .def_property_readonly("mask", &plane<&TPImage::m_mask>, "Mask, uint8 of half the size, rounded up.")
        .def("to_planes", &toPlanes, "to_planes(self)\n--\n\nRed, green and blue, uint16 of (H, W) each.\n")
        .def("to_packed", &toPacked, py::arg("order") = "RGB", py::kw_only(), py::arg("out") = py::none(),
             "to_packed(self, order='RGB', *, out=None)\n--\n\nPacked pixels, uint16 of (H, W, 3).\n\n"
             "Raises pixmill.Error.\n")
        .def("to_display", &toDisplay, py::kw_only(), py::arg("out") = py::none(),
             "to_display(self, *, out=None)\n--\n\nB, G, R, 255 for a screen, uint8 of (H, W, 4).\n\n"
             "Raises pixmill.Error.\n")
        .def("clone", &clone, "clone(self)\n--\n\nA picture with planes of its own.\n");
    module.def(
        "rgb_to_luma", &rgbToLuma, py::arg("r"), py::arg("g"), py::arg("b"), py::kw_only(), py::arg("out") = py::none(),
        "rgb_to_luma(r, g, b, *, out=None)\n--\n\n0.299 r + 0.587 g + 0.114 b of planes of uint16, (H, W) each.\n\n"
        "out: uint16 of (H, W); may be one of them. Raises pixmill.Error.\n");
    module.def("ydrdb_to_rgb", &ydrdbToRgb, py::arg("y"), py::arg("dr"), py::arg("db"),
               "ydrdb_to_rgb(y, dr, db)\n--\n\nRed, green and blue of a picture.\n\n"
               "y, dr, db: luma and differences at full size, uint16 of (H, W) each.\n\nRaises pixmill.Error.\n");
}

} // namespace pixmill::python
