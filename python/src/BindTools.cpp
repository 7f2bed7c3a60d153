// The measurement tools, through the front-end layer the command-line tool uses: the same
// settings with the same names, defaults and ranges, the same validation and the same
// JSON record; and image files read as the command-line tool reads them.

#include "Bindings.h"
#include "Conversions.h"

#include <Readable.h>
#include <ToolDefinition.h>

namespace pyfunctions {

namespace {

using frontend::InputError;
using frontend::ParamDefinition;
using frontend::ParamType;
using frontend::ToolDefinition;

/// The record of one run, converted to Python piece by piece when asked for.
struct Result {
    json record;

    Result() = default;
    explicit Result(json r) : record(std::move(r)) {}
    Result(Result&&) = default;
    Result& operator=(Result&&) = default;
    Result(const Result&) = default;
    // Freeing a record with point lists takes as long as a tenth of the measurement; other
    // threads measure meanwhile.
    ~Result()
    {
        if (record.is_null() || !PyGILState_Check())
            return;
        py::gil_scoped_release release;
        json().swap(record);
    }

    const json& outputs() const { return record.at("outputs"); }
};

const char* typeName(ParamType type)
{
    switch (type) {
    case ParamType::Integer: return "int";
    case ParamType::Number: return "float";
    case ParamType::Boolean: return "bool";
    case ParamType::Choice: return "choice";
    }
    return "?";
}

py::dict paramDescription(const ParamDefinition& definition)
{
    py::dict out;
    out["name"] = definition.name;
    out["type"] = typeName(definition.type);
    out["default"] = toPython(definition.defaultValue);
    out["help"] = definition.help;
    out["allowed"] = definition.allowedText();
    out["choices"] = definition.choices;
    out["minimum"] = definition.minimum;
    out["maximum"] = definition.maximum;
    return out;
}

py::list toolDescriptions()
{
    py::list out;
    for (const ToolDefinition& tool : frontend::tools()) {
        py::dict description;
        description["name"] = tool.name;
        description["summary"] = tool.summary;
        description["roi"] = tool.roiKinds;
        py::list params;
        for (const ParamDefinition& definition : tool.params)
            params.append(paramDescription(definition));
        description["params"] = params;
        out.append(description);
    }
    return out;
}

Result runTool(const std::string& name, const ImageLike& image, const py::dict& parameters)
{
    const ToolDefinition& tool = frontend::findTool(name);
    const std::string source = "functions." + name;
    const json settings = toJson(parameters, source);
    const ArrayView view = imageArgument(image.object, "image");
    Result result;
    {
        py::gil_scoped_release release;
        const cv::Mat checked = frontend::checkedImage(view.mat, "image");
        frontend::ToolInput input = frontend::prepareInput(tool, settings, checked, source, "image");
        result.record = frontend::takeRecord(tool, input, "", tool.run(input));
    }
    return result;
}

py::object loadImage(const std::string& path)
{
    cv::Mat image;
    {
        py::gil_scoped_release release;
        image = frontend::loadImage(path);
    }
    return arrayFromMat(image);
}

py::dict resultDict(const Result& result, const py::object& imagePath)
{
    // Rounded as the command-line tool writes its numbers; the attributes keep every digit.
    py::dict out = toPython(frontend::readableRecord(result.record, false));
    py::dict image = out["image"];
    image["path"] = imagePath;
    return out;
}

std::string resultRepr(const Result& result)
{
    std::string text = "<functions.Result " + result.record.at("tool").get<std::string>() +
                       (result.record.at("success").get<bool>() ? " success" : " failed");
    for (auto it = result.outputs().begin(); it != result.outputs().end(); ++it) {
        // Long point lists are summarised; scalars and short values are shown.
        std::string value = it.value().dump();
        if (value.size() > 60)
            value = it.value().is_array() ? "[" + std::to_string(it.value().size()) + " items]" : "{...}";
        text += " " + it.key() + "=" + value;
    }
    return text + ">";
}

} // namespace

void bindTools(py::module_& m)
{
    py::register_exception_translator([](std::exception_ptr error) {
        try {
            if (error)
                std::rethrow_exception(error);
        } catch (const InputError& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        } catch (const cv::Exception& e) {
            // The library lets OpenCV's refusals of its arguments through (an even kernel
            // size, images of different sizes): bad arguments, for Python.
            PyErr_SetString(PyExc_ValueError, e.what());
        }
    });

    py::class_<Result>(m, "Result", R"doc(
The result of one tool run, in the record the command-line tool prints.

Attributes: ``tool`` (name), ``success`` (bool), ``outputs`` (dict), ``params`` (every
setting, defaults included), ``roi`` (the ROI as used), ``quality`` (fits: residuals,
uncertainties, 95 % intervals; None otherwise), ``diagnostics`` (per-point residuals and
inliers, the failure reason), ``timing_us`` (microseconds in the library call), all with
the library's exact values. Each output is also an attribute under its own name, e.g.
``result.line``, ``result.edgePoints``. Points are ``[x, y]`` lists in pixels (x right, y down, origin at
the top-left pixel's centre); angles are degrees. ``to_dict()`` gives the whole record.
)doc")
        .def_property_readonly("tool", [](const Result& r) { return r.record.at("tool").get<std::string>(); })
        .def_property_readonly("success", [](const Result& r) { return r.record.at("success").get<bool>(); })
        .def_property_readonly("outputs", [](const Result& r) { return toPython(r.outputs()); })
        .def_property_readonly("params", [](const Result& r) { return toPython(r.record.at("params")); })
        .def_property_readonly("roi", [](const Result& r) { return toPython(r.record.value("roi", json())); })
        .def_property_readonly(
            "quality", [](const Result& r) { return toPython(r.record.value("quality", json())); },
            "How far to trust a fit: residuals, uncertainties and 95 % intervals of its values; None when the tool "
            "fits nothing or the fit could not be judged.")
        .def_property_readonly(
            "diagnostics", [](const Result& r) { return toPython(r.record.value("diagnostics", json::object())); },
            "Per-point residuals and inlier marks with their counts, and on failure the reason ('failure').")
        .def_property_readonly("timing_us", [](const Result& r) { return r.record.at("timing_us").get<double>(); })
        .def("to_dict", &resultDict, py::arg("image_path") = py::none(),
             "The record as the command-line tool prints it, numbers rounded as it writes them: tool, image (path, "
             "width, height, channels), roi, params, success, outputs, quality, diagnostics, timing_us. image_path "
             "fills image.path (None by default).")
        .def("__getattr__",
             [](const Result& r, const std::string& name) -> py::object {
                 const auto it = r.outputs().find(name);
                 if (it == r.outputs().end())
                     throw py::attribute_error("the " + r.record.at("tool").get<std::string>() +
                                               " result has no output '" + name + "'");
                 return toPython(*it);
             })
        .def("__dir__",
             [](const Result& r) {
                 std::vector<std::string> names = {"tool",    "success",     "outputs",   "params",
                                                   "roi",     "quality",     "diagnostics", "timing_us",
                                                   "to_dict"};
                 for (auto it = r.outputs().begin(); it != r.outputs().end(); ++it)
                     names.push_back(it.key());
                 return names;
             })
        .def("__repr__", &resultRepr)
        // Results travel between processes (a process pool, a cluster) as their JSON text.
        .def(py::pickle([](const Result& r) { return r.record.dump(); },
                        [](const std::string& text) { return Result{json::parse(text)}; }));

    m.def("_tool_table", &toolDescriptions,
          "Every tool: name, summary, accepted ROI kinds and its settings (name, type, default, help, allowed, "
          "choices, minimum, maximum), in the command-line tool's order.");
    m.def("run", &runTool, py::arg("tool"), py::arg("image"), py::arg("parameters"), R"doc(
Runs a tool by name with a parameters dict as the command-line tool reads from a file:
``{"roi": {...}, "setting": value, ...}``. Raises ValueError for an unknown tool, setting
or ROI field, a value outside its range, or a ROI reaching outside the image.
)doc");
    m.def("load_image", &loadImage, py::arg("path"), R"doc(
Reads an image file as the command-line tool does: 8-bit grey as a (rows, columns) array,
colour as (rows, columns, 3) in RGB order (the order the library's grey conversion
expects), alpha dropped. Raises ValueError when the file cannot be read.
)doc");
}

} // namespace pyfunctions
