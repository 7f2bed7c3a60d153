// The C++ peers of the Python benchmarks (bench/python): the line tool timed from C++ on the
// same image and settings as a Python call, in the same process and run.

#include "Bindings.h"
#include "Conversions.h"

#include <Functions.h>
#include <ToolDefinition.h>

#include <chrono>

namespace pyfunctions {

namespace {

// Peers, from the least to the most work:
//  - "direct": clcEdgeLineAndFit with a record filled per call, as a host calls it;
//  - "direct+quality": the same plus the fit quality and point diagnostics the tool's
//    record carries (getLineDiagnostics, getLineFitQuality), still without any JSON;
//  - "layer": what a Python call runs below Python: settings validated, the tool run
//    through the front-end layer, its JSON record made and freed.
double timeLineFromCpp(const ImageLike& image, const py::dict& parameters, int repeats, const std::string& peer)
{
    if (peer != "direct" && peer != "direct+quality" && peer != "layer")
        throw py::value_error("peer must be direct, direct+quality or layer");
    const frontend::ToolDefinition& tool = frontend::findTool("line");
    const ArrayView view = imageArgument(image.object, "image");
    const json settings = toJson(parameters, "parameters");
    cv::Mat checked = frontend::checkedImage(view.mat, "image");
    const frontend::ToolInput prepared = frontend::prepareInput(tool, settings, checked, "bench", "image");
    const auto* roi = static_cast<const RotateRectROI*>(prepared.roi.shape.get());
    const int fitMode = prepared.choice("fitMode");
    py::gil_scoped_release release;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < repeats; ++i) {
        if (peer == "layer") {
            frontend::ToolInput input = frontend::prepareInput(tool, settings, checked, "bench", "image");
            frontend::takeRecord(tool, input, "", tool.run(input));
            continue;
        }
        RotateRectROI shape = *roi;
        _EdgeLineDetParam param;
        frontend::fillCaliperSettings(param, prepared);
        param.roi = &shape;
        if (clcEdgeLineAndFit(checked, param, fitMode) && peer == "direct+quality") {
            std::vector<PointDiagnostic> diagnostics;
            getLineDiagnostics(param.edgePoints, param.line, diagnostics);
            LineFitQuality quality;
            getLineFitQuality(param.edgePoints, param.line, FitLineHuber, 0.0, quality);
        }
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / std::max(1, repeats);
}

} // namespace

void bindBench(py::module_& m)
{
    m.def("_time_line_from_cpp", &timeLineFromCpp, py::arg("image"), py::arg("parameters"), py::arg("repeats"),
          py::arg("peer") = "direct",
          "Mean seconds of one line tool call from C++: peer direct, direct+quality or layer (benchmark peers).");
}

} // namespace pyfunctions
