#include "Conversions.h"

#include <climits>
#include <cstdint>

namespace pyfunctions {

namespace {

std::string typeName(const py::handle& object)
{
    return py::str(py::type::handle_of(object).attr("__name__"));
}

std::string shapeText(const py::array& array)
{
    std::string text = "(";
    for (py::ssize_t d = 0; d < array.ndim(); ++d)
        text += (d ? ", " : "") + std::to_string(array.shape(d));
    return text + (array.ndim() == 1 ? ",)" : ")");
}

py::array requireArray(const py::handle& object, const char* what, const char* expected)
{
    if (!py::isinstance<py::array>(object))
        throw py::type_error(std::string(what) + " must be a numpy array (" + expected + "), got " +
                             typeName(object));
    return py::reinterpret_borrow<py::array>(object);
}

int depthOf(const py::dtype& dtype)
{
    const char kind = dtype.kind();
    const py::ssize_t size = dtype.itemsize();
    if (kind == 'u' && size == 1) return CV_8U;
    if (kind == 'i' && size == 1) return CV_8S;
    if (kind == 'u' && size == 2) return CV_16U;
    if (kind == 'i' && size == 2) return CV_16S;
    if (kind == 'i' && size == 4) return CV_32S;
    if (kind == 'f' && size == 4) return CV_32F;
    if (kind == 'f' && size == 8) return CV_64F;
    return -1;
}

const char* dtypeName(int depth)
{
    switch (depth) {
    case CV_8U: return "uint8";
    case CV_8S: return "int8";
    case CV_16U: return "uint16";
    case CV_16S: return "int16";
    case CV_32S: return "int32";
    case CV_32F: return "float32";
    case CV_64F: return "float64";
    }
    return "?";
}

// Wraps a checked array of rows x columns x channels elements of `depth`: the array's own
// buffer when each row is one contiguous run of pixels with a forward row stride (the
// layout of a C-ordered array and of any crop of one), else a C-ordered copy.
ArrayView wrap(py::array array, int depth, int channels)
{
    const py::ssize_t element = array.itemsize();
    const py::ssize_t rows = array.shape(0), cols = array.shape(1);
    const bool pixelsContiguous = array.strides(1) == element * channels &&
                                  (array.ndim() == 2 || array.strides(2) == element);
    const bool rowsForward = array.strides(0) >= cols * channels * element;
    if (!pixelsContiguous || !rowsForward) {
        array = py::array::ensure(array, py::array::c_style);
        if (!array)
            throw py::error_already_set();
    }
    if (rows > INT_MAX || cols > INT_MAX)
        throw py::value_error("array of shape " + shapeText(array) + " is too large for an image");
    ArrayView view;
    view.mat = cv::Mat(static_cast<int>(rows), static_cast<int>(cols), CV_MAKETYPE(depth, channels),
                       const_cast<void*>(array.data()), static_cast<size_t>(array.strides(0)));
    view.owner = array;
    return view;
}

} // namespace

ArrayView imageArgument(const py::handle& object, const char* what)
{
    const py::array array = requireArray(object, what, "uint8");
    if (depthOf(array.dtype()) != CV_8U)
        throw py::type_error(std::string(what) + ": only 8-bit images are supported (numpy uint8), got dtype " +
                             std::string(py::str(array.dtype())));
    if (array.ndim() != 2 && array.ndim() != 3)
        throw py::value_error(std::string(what) + " must be 2-D (rows, columns) for grey or 3-D (rows, columns, "
                              "channels) for colour, got shape " + shapeText(array));
    if (array.size() == 0)
        throw py::value_error(std::string(what) + " is empty (shape " + shapeText(array) + ")");
    const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
    if (channels > 4)
        throw py::value_error(std::string(what) + " has " + std::to_string(channels) +
                              " channels (1 grey, 3 colour in RGB order or 4 with alpha), shape " + shapeText(array));
    return wrap(array, CV_8U, static_cast<int>(channels));
}

ArrayView matrixArgument(const py::handle& object, const char* what, std::initializer_list<int> depths)
{
    std::string allowed;
    for (int depth : depths)
        allowed += (allowed.empty() ? "" : " or ") + std::string(dtypeName(depth));
    const py::array array = requireArray(object, what, allowed.c_str());
    const int depth = depthOf(array.dtype());
    if (std::find(depths.begin(), depths.end(), depth) == depths.end())
        throw py::type_error(std::string(what) + " must have dtype " + allowed + ", got " +
                             std::string(py::str(array.dtype())));
    if (array.ndim() != 2)
        throw py::value_error(std::string(what) + " must be 2-D (rows, columns), got shape " + shapeText(array));
    if (array.size() == 0)
        throw py::value_error(std::string(what) + " is empty (shape " + shapeText(array) + ")");
    return wrap(array, depth, 1);
}

ArrayView optionalImageArgument(const py::handle& object, const char* what)
{
    if (object.is_none())
        return {};
    return imageArgument(object, what);
}

py::object arrayFromMat(const cv::Mat& mat)
{
    if (mat.empty())
        return py::none();
    const char* format = nullptr;
    switch (mat.depth()) {
    case CV_8U: format = "uint8"; break;
    case CV_8S: format = "int8"; break;
    case CV_16U: format = "uint16"; break;
    case CV_16S: format = "int16"; break;
    case CV_32S: format = "int32"; break;
    case CV_32F: format = "float32"; break;
    default: format = "float64"; break;
    }
    const auto element = static_cast<py::ssize_t>(mat.elemSize1());
    std::vector<py::ssize_t> shape = {mat.rows, mat.cols};
    std::vector<py::ssize_t> strides = {static_cast<py::ssize_t>(mat.step[0]), element * mat.channels()};
    if (mat.channels() > 1) {
        shape.push_back(mat.channels());
        strides.push_back(element);
    }
    // The capsule owns a reference to the matrix's buffer for as long as the array lives.
    auto* owner = new cv::Mat(mat);
    py::capsule keeper(owner, [](void* p) { delete static_cast<cv::Mat*>(p); });
    return py::array(py::dtype(format), shape, strides, owner->data, keeper);
}

namespace {

template <int N>
py::array_t<double> pointsAsArray(const py::handle& object, const char* what)
{
    auto array = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(object);
    if (!array) {
        PyErr_Clear();
        throw py::type_error(std::string(what) + " must be an array-like of shape (n, " + std::to_string(N) +
                             ") of numbers, got " + typeName(object));
    }
    const bool empty = array.size() == 0 && array.ndim() <= 2;
    if (!empty && (array.ndim() != 2 || array.shape(1) != N))
        throw py::value_error(std::string(what) + " must have shape (n, " + std::to_string(N) + "), got " +
                              shapeText(array));
    return array;
}

} // namespace

std::vector<cv::Point2d> pointsArgument(const py::handle& object, const char* what)
{
    const py::array_t<double> array = pointsAsArray<2>(object, what);
    std::vector<cv::Point2d> points(static_cast<size_t>(array.size() / 2));
    std::copy_n(array.data(), array.size(), reinterpret_cast<double*>(points.data()));
    return points;
}

std::vector<cv::Point3d> points3Argument(const py::handle& object, const char* what)
{
    const py::array_t<double> array = pointsAsArray<3>(object, what);
    std::vector<cv::Point3d> points(static_cast<size_t>(array.size() / 3));
    std::copy_n(array.data(), array.size(), reinterpret_cast<double*>(points.data()));
    return points;
}

py::array_t<double> pointsArray(const std::vector<cv::Point2d>& points)
{
    py::array_t<double> array({static_cast<py::ssize_t>(points.size()), py::ssize_t{2}});
    std::copy_n(reinterpret_cast<const double*>(points.data()), 2 * points.size(), array.mutable_data());
    return array;
}

py::tuple rotatedRectTuple(const cv::RotatedRect& box)
{
    return py::make_tuple(py::make_tuple(box.center.x, box.center.y), py::make_tuple(box.size.width, box.size.height),
                          box.angle);
}

double numberArgument(const py::handle& value, const char* what)
{
    if (PyUnicode_Check(value.ptr()) || !PyNumber_Check(value.ptr()))
        throw py::type_error(std::string(what) + " must be a number, got " + typeName(value));
    const double number = PyFloat_AsDouble(value.ptr());
    if (number == -1.0 && PyErr_Occurred())
        throw py::error_already_set();
    return number;
}

json toJson(const py::handle& value, const std::string& where)
{
    PyObject* object = value.ptr();
    if (value.is_none())
        return nullptr;
    if (PyBool_Check(object))
        return object == Py_True;
    if (PyLong_Check(object)) {
        int overflow = 0;
        const long long number = PyLong_AsLongLongAndOverflow(object, &overflow);
        if (!overflow)
            return number;
        // Beyond 64 bits: handed on as a number so the range check names it.
        return PyLong_AsDouble(object);
    }
    if (PyFloat_Check(object))
        return PyFloat_AS_DOUBLE(object);
    if (PyUnicode_Check(object))
        return value.cast<std::string>();
    if (PyDict_Check(object)) {
        json out = json::object();
        for (const auto& item : py::reinterpret_borrow<py::dict>(value)) {
            if (!PyUnicode_Check(item.first.ptr()))
                throw py::type_error(where + ": keys must be strings, got " + typeName(item.first));
            const std::string key = item.first.cast<std::string>();
            out[key] = toJson(item.second, where + "." + key);
        }
        return out;
    }
    if (PyList_Check(object) || PyTuple_Check(object)) {
        json out = json::array();
        for (const py::handle& item : py::reinterpret_borrow<py::sequence>(value))
            out.push_back(toJson(item, where));
        return out;
    }
    // numpy scalars (np.float64 is a float already) and arrays become their Python values.
    if (py::hasattr(value, "dtype") && py::hasattr(value, "tolist"))
        return toJson(value.attr("tolist")(), where);
    if (py::hasattr(value, "to_dict"))
        return toJson(value.attr("to_dict")(), where);
    throw py::type_error(where + ": cannot use a value of type " + typeName(value));
}

py::object toPython(const json& value)
{
    switch (value.type()) {
    case json::value_t::null: return py::none();
    case json::value_t::boolean: return py::bool_(value.get<bool>());
    case json::value_t::number_integer: return py::int_(value.get<long long>());
    case json::value_t::number_unsigned: return py::int_(value.get<unsigned long long>());
    case json::value_t::number_float: return py::float_(value.get<double>());
    case json::value_t::string: return py::str(value.get_ref<const std::string&>());
    case json::value_t::array: {
        py::list out(value.size());
        for (size_t i = 0; i < value.size(); ++i)
            out[i] = toPython(value[i]);
        return std::move(out);
    }
    case json::value_t::object: {
        py::dict out;
        for (auto it = value.begin(); it != value.end(); ++it)
            out[py::str(it.key())] = toPython(it.value());
        return std::move(out);
    }
    default: return py::none();
    }
}

} // namespace pyfunctions

namespace pybind11::detail {

bool loadDoubles(handle source, double* values, size_t count)
{
    if (!source || PyUnicode_Check(source.ptr()) || PyBytes_Check(source.ptr()) || !PySequence_Check(source.ptr()))
        return false;
    const auto items = reinterpret_borrow<pybind11::sequence>(source);
    if (items.size() != count)
        return false;
    for (size_t i = 0; i < count; ++i) {
        object item = items[i];
        if (PyUnicode_Check(item.ptr()) || !PyNumber_Check(item.ptr()))
            return false;
        values[i] = PyFloat_AsDouble(item.ptr());
        if (values[i] == -1.0 && PyErr_Occurred()) {
            PyErr_Clear();
            return false;
        }
    }
    return true;
}

} // namespace pybind11::detail
