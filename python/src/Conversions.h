#pragma once

// Conversions between Python objects and the library's types: numpy arrays <-> cv::Mat
// (without a copy where the layout allows), sequences <-> points, lines and rotated
// rectangles, Python values <-> JSON for the shared tool layer.

#include <ToolDefinition.h>

#include <opencv2/core.hpp>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <string>
#include <vector>

namespace pyfunctions {

namespace py = pybind11;
using frontend::json;

/// Arguments converted in the function body, so a wrong type gets a message naming the
/// argument; their caster names give the signatures (and the type stubs) the types accepted.
struct ImageLike {
    py::object object; ///< numpy array
};
struct PointsLike {
    py::object object; ///< array-like of shape (n, 2) or (n, 3)
};
struct EnumLike {
    py::object object; ///< IntEnum member, int or member name
};

/// A matrix viewing a numpy array's buffer, and what keeps that buffer alive: the array
/// itself, or a contiguous copy when its layout cannot be described by a cv::Mat header.
struct ArrayView {
    cv::Mat mat;
    py::object owner;
};

/// An 8-bit image: a uint8 array of shape (rows, columns) or (rows, columns, channels).
/// The matrix shares the array's memory when each row's pixels are contiguous (any row
/// stride, so crops of larger arrays are not copied), else views a contiguous copy.
/// Raises TypeError for a non-array or another dtype, ValueError for other dimensions or
/// an empty array. `what` names the argument in messages.
ArrayView imageArgument(const py::handle& object, const char* what);

/// A single-channel matrix of one of the given OpenCV depths (CV_8U, CV_16U, CV_32S,
/// CV_32F ...) from a 2-D array, as imageArgument does for images.
ArrayView matrixArgument(const py::handle& object, const char* what, std::initializer_list<int> depths);

/// As imageArgument, None giving an empty matrix (an optional mask).
ArrayView optionalImageArgument(const py::handle& object, const char* what);

/// A numpy array sharing the matrix's memory (the matrix is kept alive by the array);
/// None for an empty matrix. Shape (rows, columns) for one channel, else
/// (rows, columns, channels).
py::object arrayFromMat(const cv::Mat& mat);

/// Points from an array-like of shape (n, 2) (an empty sequence gives no points).
std::vector<cv::Point2d> pointsArgument(const py::handle& object, const char* what);
/// 3-D points from an array-like of shape (n, 3).
std::vector<cv::Point3d> points3Argument(const py::handle& object, const char* what);
/// A float64 array of shape (n, 2).
py::array_t<double> pointsArray(const std::vector<cv::Point2d>& points);

/// A rotated rectangle as ((centre x, centre y), (width, height), angle in degrees).
py::tuple rotatedRectTuple(const cv::RotatedRect& box);

/// A real number (int, float, numpy scalar); TypeError naming `what` otherwise.
double numberArgument(const py::handle& value, const char* what);

/// A Python value as JSON: None, bool, int, float, str, lists and tuples, dicts with str
/// keys, numpy scalars and arrays, and objects with a to_dict() method (the ROI classes).
/// Raises TypeError naming `where` for anything else.
json toJson(const py::handle& value, const std::string& where);
/// JSON as Python objects (objects become dicts in their order, arrays lists).
py::object toPython(const json& value);

} // namespace pyfunctions

// Points, 3-D points and small vectors travel as tuples of floats; any sequence of numbers
// (a tuple, a list, a numpy array) of the right length is accepted.
namespace pybind11::detail {

// The deferred arguments keep the Python object as it came.
#define PYFUNCTIONS_DEFERRED_CASTER(Type, Name)                                                                      \
    template <>                                                                                                      \
    struct type_caster<Type> {                                                                                       \
        PYBIND11_TYPE_CASTER(Type, const_name(Name));                                                                \
        bool load(handle source, bool)                                                                               \
        {                                                                                                            \
            value.object = reinterpret_borrow<object>(source);                                                       \
            return true;                                                                                             \
        }                                                                                                            \
        static handle cast(const Type& v, return_value_policy, handle) { return v.object.inc_ref(); }                \
    };

PYFUNCTIONS_DEFERRED_CASTER(pyfunctions::ImageLike, "numpy.ndarray")
PYFUNCTIONS_DEFERRED_CASTER(pyfunctions::PointsLike, "numpy.typing.ArrayLike")
PYFUNCTIONS_DEFERRED_CASTER(pyfunctions::EnumLike, "int | str")
#undef PYFUNCTIONS_DEFERRED_CASTER

bool loadDoubles(handle source, double* values, size_t count);

template <typename T, size_t N, typename Derived>
struct DoublesCaster {
    bool load(handle source, bool /*convert*/)
    {
        double values[N];
        if (!loadDoubles(source, values, N))
            return false;
        static_cast<Derived*>(this)->assign(values);
        return true;
    }
    static handle castDoubles(const double* values)
    {
        tuple out(N);
        for (size_t i = 0; i < N; ++i)
            out[i] = float_(values[i]);
        return out.release();
    }
};

template <>
struct type_caster<cv::Point2d> : DoublesCaster<cv::Point2d, 2, type_caster<cv::Point2d>> {
    PYBIND11_TYPE_CASTER(cv::Point2d, const_name("tuple[float, float]"));
    void assign(const double* v) { value = {v[0], v[1]}; }
    static handle cast(const cv::Point2d& p, return_value_policy, handle)
    {
        const double v[2] = {p.x, p.y};
        return castDoubles(v);
    }
};

template <>
struct type_caster<cv::Point3d> : DoublesCaster<cv::Point3d, 3, type_caster<cv::Point3d>> {
    PYBIND11_TYPE_CASTER(cv::Point3d, const_name("tuple[float, float, float]"));
    void assign(const double* v) { value = {v[0], v[1], v[2]}; }
    static handle cast(const cv::Point3d& p, return_value_policy, handle)
    {
        const double v[3] = {p.x, p.y, p.z};
        return castDoubles(v);
    }
};

template <>
struct type_caster<cv::Vec4d> : DoublesCaster<cv::Vec4d, 4, type_caster<cv::Vec4d>> {
    PYBIND11_TYPE_CASTER(cv::Vec4d, const_name("tuple[float, float, float, float]"));
    void assign(const double* v) { value = {v[0], v[1], v[2], v[3]}; }
    static handle cast(const cv::Vec4d& l, return_value_policy, handle) { return castDoubles(l.val); }
};

template <>
struct type_caster<cv::Vec6d> : DoublesCaster<cv::Vec6d, 6, type_caster<cv::Vec6d>> {
    PYBIND11_TYPE_CASTER(cv::Vec6d, const_name("tuple[float, float, float, float, float, float]"));
    void assign(const double* v) { value = cv::Vec6d(v); }
    static handle cast(const cv::Vec6d& l, return_value_policy, handle) { return castDoubles(l.val); }
};

} // namespace pybind11::detail
