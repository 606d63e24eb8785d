#include "arrays.h"

#include <climits>
#include <utility>

namespace pixmill::python {

namespace {

constexpr int kMostChannels = CV_CN_MAX;

struct TypeName {
    unsigned bit;
    int depth;
    const char* name;
};
constexpr TypeName kTypes[] = {{kU8, CV_8U, "uint8"}, {kU16, CV_16U, "uint16"}, {kF32, CV_32F, "float32"}};

struct ShapeName {
    unsigned bit;
    const char* name;
};
constexpr ShapeName kShapes[] = {
    {kPlane, "(H, W)"}, {kThree, "(H, W, 3)"}, {kFour, "(H, W, 4)"}, {kChannels, "(H, W, C)"}};

/// "a, b or c" of the names whose bits are set.
template <class Names>
std::string listed(const Names& names, unsigned set)
{
    std::string text;
    for (const auto& entry : names)
        if (set & entry.bit) {
            set &= ~entry.bit;
            text += (text.empty() ? "" : set ? ", " : " or ") + std::string(entry.name);
        }
    return text;
}

bool hasType(int depth, unsigned types)
{
    for (const TypeName& type : kTypes)
        if (type.depth == depth)
            return types & type.bit;
    return false;
}

bool hasShape(const py::array& array, unsigned shapes)
{
    if (array.ndim() == 2)
        return shapes & kPlane;
    if (array.ndim() != 3)
        return false;
    const py::ssize_t channels = array.shape(2);
    return (channels == 3 && (shapes & kThree)) || (channels == 4 && (shapes & kFour)) ||
           (channels >= 1 && channels <= kMostChannels && (shapes & kChannels));
}

bool hasPixels(const py::array& array)
{
    for (py::ssize_t i = 0; i < array.ndim(); ++i)
        if (array.shape(i) < 1 || array.shape(i) > INT_MAX)
            return false;
    return true;
}

int typeOf(const py::array& array)
{
    return CV_MAKETYPE(depthOf(array), array.ndim() == 3 ? int(array.shape(2)) : 1);
}

/// The owner of the memory cannot be resized while a weak reference to it lives, not even by force.
py::object pinned(const py::array& array)
{
    const py::object base = py::reinterpret_borrow<py::object>(py::detail::array_proxy(array.ptr())->base);
    return py::weakref(base && py::isinstance<py::array>(base) ? base : py::object(array));
}

using Bounds = std::pair<const char*, const char*>;

Bounds boundsOf(const py::array& array)
{
    const char *low = static_cast<const char*>(array.data()), *high = low + array.itemsize();
    for (py::ssize_t i = 0; i < array.ndim(); ++i) {
        const py::ssize_t reach = (array.shape(i) - 1) * array.strides(i);
        (reach < 0 ? low : high) += reach;
    }
    return {low, high};
}

bool overlap(const py::array& a, const py::array& b)
{
    const Bounds x = boundsOf(a), y = boundsOf(b);
    return x.first < y.second && y.first < x.second;
}

bool isSame(const cv::Mat& a, const cv::Mat& b)
{
    return a.data == b.data && a.type() == b.type() && a.size() == b.size() && (a.step == b.step || a.rows == 1);
}

bool mayWrite(const py::array& out, const cv::Mat& header, const std::vector<const Input*>& inputs,
              Output::Aliasing aliasing)
{
    for (const Input* input : inputs)
        if (input->given() && overlap(out, input->array()) &&
            !(aliasing == Output::kInPlace && isSame(header, input->mat())))
            return false;
    return true;
}

py::dtype dtypeOf(int depth)
{
    return depth == CV_8U ? py::dtype::of<uchar>() : depth == CV_16U ? py::dtype::of<ushort>() : py::dtype::of<float>();
}

std::string inWords(int type, const std::vector<py::ssize_t>& shape)
{
    py::tuple sides(shape.size());
    for (size_t i = 0; i < shape.size(); ++i)
        sides[i] = shape[i];
    return py::str("{} of {}").format(dtypeOf(CV_MAT_DEPTH(type)), sides);
}

bool fits(const py::array& array, int type, const std::vector<py::ssize_t>& shape)
{
    return depthOf(array) == CV_MAT_DEPTH(type) && array.ndim() == py::ssize_t(shape.size()) &&
           std::equal(shape.begin(), shape.end(), array.shape());
}

} // namespace

std::string inWords(Wanted wanted)
{
    return listed(kTypes, wanted.types) + " of " + listed(kShapes, wanted.shapes);
}

int depthOf(const py::array& array)
{
    const auto* descr = py::detail::array_descriptor_proxy(py::detail::array_proxy(array.ptr())->descr);
    if (descr->byteorder == '>')
        return -1;
    switch (descr->type_num) {
    case py::detail::npy_api::NPY_UBYTE_:
        return CV_8U;
    case py::detail::npy_api::NPY_USHORT_:
        return CV_16U;
    case py::detail::npy_api::NPY_FLOAT_:
        return CV_32F;
    default:
        return -1;
    }
}

cv::Mat headerOver(const py::array& array, int type)
{
    const py::ssize_t item = array.itemsize(), channels = CV_MAT_CN(type), cols = array.shape(1);
    const bool denseChannels = channels == 1 || array.strides(2) == item;
    const bool denseRow = denseChannels && (cols == 1 || array.strides(1) == item * channels);
    const bool oneRow = array.shape(0) == 1;
    const py::ssize_t step = oneRow ? item * channels * cols : array.strides(0);
    const bool aligned = reinterpret_cast<size_t>(array.data()) % size_t(item) == 0 && step % item == 0;
    if (!denseRow || !aligned || step < item * channels * cols)
        return {};
    return cv::Mat(int(array.shape(0)), int(cols), type, const_cast<void*>(array.data()), size_t(step));
}

Input::Input(const char* call, const char* argument, py::handle given, Wanted wanted)
{
    if (!py::isinstance<py::array>(given))
        refuse(call, argument, inWords(wanted), describe(given));
    m_array = py::reinterpret_borrow<py::array>(given);
    if (!hasType(depthOf(m_array), wanted.types) || !hasShape(m_array, wanted.shapes))
        refuse(call, argument, inWords(wanted), describe(given));
    if (!hasPixels(m_array))
        refuse(call, argument, "sides of 1 to 2147483647 pixels", describe(given));
    const int type = typeOf(m_array);
    m_mat = headerOver(m_array, type);
    if (m_mat.empty()) {
        m_array = m_array.attr("copy")("C");
        m_mat = headerOver(m_array, type);
    }
    m_pin = pinned(m_array);
}

void Input::mustBe(const char* call, const char* argument, cv::Size size) const
{
    if (m_mat.size() != size)
        refuse(call, argument, py::str("{} rows of {} pixels").format(size.height, size.width), describe(m_array));
}

std::vector<py::ssize_t> shapeOf(cv::Size size, int type)
{
    if (CV_MAT_CN(type) == 1)
        return {size.height, size.width};
    return {size.height, size.width, CV_MAT_CN(type)};
}

py::array newArray(int type, const std::vector<py::ssize_t>& shape)
{
    return py::array(dtypeOf(CV_MAT_DEPTH(type)), shape);
}

Output::Output(const char* call, const char* argument, py::handle out, int type, std::vector<py::ssize_t> shape,
               const std::vector<const Input*>& inputs, Aliasing aliasing)
{
    if (out.is_none()) {
        m_array = newArray(type, shape);
        m_mat = headerOver(m_array, type);
        m_direct = m_mat.data;
        return;
    }
    if (!py::isinstance<py::array>(out))
        refuse(call, argument, inWords(type, shape), describe(out));
    m_array = py::reinterpret_borrow<py::array>(out);
    if (!fits(m_array, type, shape))
        refuse(call, argument, inWords(type, shape), describe(out));
    if (!m_array.writeable())
        refuse(call, argument, "an array that may be written", "read-only");
    m_mat = headerOver(m_array, type);
    m_pin = pinned(m_array);
    if (m_mat.empty() || !mayWrite(m_array, m_mat, inputs, aliasing))
        m_mat = cv::Mat(int(shape[0]), int(shape[1]), type);
    else
        m_direct = m_mat.data;
}

Output::Output(const char* call, py::handle out, const Input& like, const std::vector<const Input*>& inputs,
               Aliasing aliasing)
    : Output(call, "out", out, like.mat().type(),
             std::vector<py::ssize_t>(like.array().shape(), like.array().shape() + like.array().ndim()), inputs,
             aliasing)
{
}

py::array Output::finish()
{
    if (m_mat.data != m_direct)
        m_array[py::ellipsis()] = py::array(sharing(m_mat)).attr("reshape")(m_array.attr("shape"));
    return m_array;
}

py::array sharing(const cv::Mat& plane)
{
    auto* kept = new cv::Mat(plane);
    const py::capsule owner(kept, [](void* mat) { delete static_cast<cv::Mat*>(mat); });
    const std::vector<py::ssize_t> shape = shapeOf(plane.size(), plane.type());
    std::vector<py::ssize_t> strides = {py::ssize_t(plane.step), py::ssize_t(plane.elemSize()),
                                        py::ssize_t(plane.elemSize1())};
    strides.resize(shape.size());
    return py::array(dtypeOf(plane.depth()), shape, strides, plane.data, owner);
}

} // namespace pixmill::python
