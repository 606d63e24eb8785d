#pragma once

#include "errors.h"

#include <opencv2/core/mat.hpp>

#include <pybind11/numpy.h>

#include <vector>

/// Arrays as planes: without a copy wherever rows are dense.
namespace pixmill::python {

/// Element types, as bits of a set.
enum Types : unsigned { kU8 = 1, kU16 = 2, kF32 = 4 };

/// Shapes, as bits of a set.
enum Shapes : unsigned {
    kPlane = 1,    ///< (H, W)
    kThree = 2,    ///< (H, W, 3)
    kFour = 4,     ///< (H, W, 4)
    kChannels = 8, ///< (H, W, C), C up to 512
};

/// What an argument may be.
struct Wanted {
    unsigned types, shapes;
};

std::string inWords(Wanted wanted);

/// An array that is read. Rows that are not dense, and data out of line, are copied first.
class Input {
public:
    Input() = default;

    /// @throws Error  anything but an array of these types and shapes with at least one pixel.
    Input(const char* call, const char* argument, py::handle given, Wanted wanted);

    const cv::Mat& mat() const { return m_mat; }
    const py::array& array() const { return m_array; }
    bool given() const { return !m_mat.empty(); }

    /// Refuses another size.
    void mustBe(const char* call, const char* argument, cv::Size size) const;

private:
    py::array m_array;
    py::object m_pin;
    cv::Mat m_mat;
};

/// An array that is written: one that was given, or a new one. Where the one given has no dense rows, or shares memory
/// with an input in a way that the work does not allow, the result is made beside it and copied.
class Output {
public:
    enum Aliasing { kApart, kInPlace };

    /// `shape` has the channels as its third number, or two numbers.
    ///
    /// @throws Error  `out` is neither None nor a writeable array of this type and shape.
    Output(const char* call, const char* argument, py::handle out, int type, std::vector<py::ssize_t> shape,
           const std::vector<const Input*>& inputs, Aliasing aliasing);

    /// As `like`.
    Output(const char* call, py::handle out, const Input& like, const std::vector<const Input*>& inputs,
           Aliasing aliasing);

    cv::Mat& mat() { return m_mat; }

    /// The array, with the result in it.
    py::array finish();

private:
    py::array m_array;
    py::object m_pin;
    cv::Mat m_mat;
    const void* m_direct = nullptr;
};

/// The array of a C++ plane, which lives as long as the array does.
py::array sharing(const cv::Mat& plane);

/// A new array of (H, W) or (H, W, C) and the header over it.
py::array newArray(int type, const std::vector<py::ssize_t>& shape);

/// A header over an array whose rows are dense, or an empty one.
cv::Mat headerOver(const py::array& array, int type);

/// The shape that an array of this size and type has.
std::vector<py::ssize_t> shapeOf(cv::Size size, int type);

/// 0..6, as OpenCV names depths, or -1 for types that no plane has.
int depthOf(const py::array& array);

} // namespace pixmill::python
