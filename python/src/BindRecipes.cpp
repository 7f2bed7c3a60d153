// Inspection recipes through the front-end layer the command-line tool's `inspect` uses:
// the same parsing and validation, the same runs, the same JSON record and overlay.

#include "Bindings.h"
#include "Conversions.h"

#include <Recipe.h>

#include <opencv2/imgproc.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <tuple>

namespace pyfunctions {

namespace {

using frontend::RecipeRunner;

/// A validated recipe. The runner is shared with the inspections it made (they need its
/// recipe to name their dimensions and to draw) and is only read, from any thread.
struct PyRecipe {
    std::shared_ptr<const RecipeRunner> runner;
    std::string source; ///< names the recipe in messages (its file, or "recipe")
    std::string folder; ///< where a calibration file named by the recipe is looked for

    const frontend::Recipe& recipe() const { return runner->recipe(); }
};

struct PyInspection {
    std::shared_ptr<const RecipeRunner> runner;
    frontend::InspectionResult result;
};

/// One dimension of one inspection.
struct PyDimension {
    double value;       // recipe unit or degrees; NaN when not computed
    double uncertainty; // NaN when unknown
    bool passed;
    std::string unit;
    std::string error;
};

PyRecipe makeRecipe(frontend::Recipe recipe, const std::string& source, std::string folder)
{
    py::gil_scoped_release release;
    return {std::make_shared<const RecipeRunner>(std::move(recipe), source), source, std::move(folder)};
}

PyRecipe loadRecipe(const std::string& path)
{
    frontend::Recipe recipe;
    {
        py::gil_scoped_release release;
        recipe = frontend::loadRecipe(path);
    }
    return makeRecipe(std::move(recipe), path, std::filesystem::path(path).parent_path().string());
}

PyRecipe recipeFromDict(const py::dict& document, const std::string& folder)
{
    const std::string source = "recipe";
    return makeRecipe(frontend::parseRecipe(toJson(document, source), source, folder), source, folder);
}

std::vector<std::string> measurementNames(const PyRecipe& r)
{
    std::vector<std::string> names;
    for (const frontend::RecipeMeasurement& m : r.recipe().measurements)
        names.push_back(m.name);
    return names;
}

std::vector<std::string> dimensionNames(const PyRecipe& r)
{
    std::vector<std::string> names;
    for (const frontend::RecipeDimension& d : r.recipe().dimensions)
        names.push_back(d.name);
    return names;
}

PyInspection inspect(const PyRecipe& r, const ImageLike& image)
{
    const ArrayView view = imageArgument(image.object, "image");
    PyInspection out{r.runner, {}};
    py::gil_scoped_release release;
    out.result = r.runner->inspect(view.mat);
    return out;
}

/// A pose as (x, y, angle): pixels, degrees.
using PoseTuple = std::tuple<float, float, float>;

PoseTuple teach(const PyRecipe& r, const ImageLike& image)
{
    const ArrayView view = imageArgument(image.object, "image");
    ObjPos pose;
    {
        py::gil_scoped_release release;
        pose = r.runner->teach(view.mat);
    }
    return {pose.x, pose.y, pose.angle};
}

py::dict inspectionDimensions(const PyInspection& inspection)
{
    // The unit as the record writes it, so both views of a dimension agree.
    const json record = inspection.runner->resultJson(inspection.result, "");
    py::dict out;
    const auto& dimensions = inspection.runner->recipe().dimensions;
    for (size_t k = 0; k < dimensions.size(); ++k) {
        const frontend::DimensionOutcome& o = inspection.result.dimensions[k];
        out[py::str(dimensions[k].name)] =
            PyDimension{o.value, o.uncertainty, o.pass,
                        record["dimensions"][dimensions[k].name]["unit"].get<std::string>(), o.error};
    }
    return out;
}

py::dict inspectionDict(const PyInspection& inspection, const py::object& imagePath)
{
    py::dict out = toPython(inspection.runner->resultJson(inspection.result, ""));
    out["image"] = imagePath;
    return out;
}

py::object overlay(const PyInspection& inspection, const ImageLike& image)
{
    const ArrayView view = imageArgument(image.object, "image");
    cv::Mat picture;
    {
        py::gil_scoped_release release;
        const cv::Mat checked = frontend::checkedImage(view.mat, "image");
        cv::cvtColor(checked, picture, checked.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_RGB2BGR);
        inspection.runner->drawOverlay(picture, inspection.result);
    }
    return arrayFromMat(picture);
}

std::optional<PoseTuple> pose(const PyInspection& inspection)
{
    if (!inspection.result.fixtureFound)
        return std::nullopt;
    const ObjPos& p = inspection.result.pose;
    return PoseTuple{p.x, p.y, p.angle};
}

} // namespace

void bindRecipes(py::module_& m)
{
    py::class_<PyDimension>(m, "Dimension", R"doc(
One dimension of one inspection: its value, uncertainty and verdict.

``value`` is in the recipe's length unit (``unit``: "px" or "mm") or in degrees for angles, NaN when it could not be computed (``error`` says why);
``uncertainty``, its standard uncertainty from the fits' residual spread, NaN when
unknown; ``passed``, whether the value lies within [nominal + lower tolerance, nominal +
upper tolerance].
)doc")
        .def_readonly("value", &PyDimension::value, "The measured value (recipe unit or degrees; NaN if not computed).")
        .def_readonly("uncertainty", &PyDimension::uncertainty, "Standard uncertainty, same unit (NaN if unknown).")
        .def_readonly("passed", &PyDimension::passed, "Whether the value is within tolerance.")
        .def_readonly("unit", &PyDimension::unit, "'px', 'mm' or 'deg'.")
        .def_readonly("error", &PyDimension::error, "Why the value is missing; empty when computed.")
        .def("__repr__", [](const PyDimension& d) {
            return "<functions.Dimension " + std::to_string(d.value) + " " + d.unit + " +- " +
                   std::to_string(d.uncertainty) + (d.passed ? " pass>" : " fail>");
        });

    py::class_<PyInspection>(m, "Inspection", R"doc(
The result of running a recipe on one image.

``passed`` is True when every dimension is in
tolerance; ``dimensions`` maps each dimension's name to a ``Dimension`` (value,
uncertainty, passed), in the recipe's order; ``pose`` is the part's pose found by the
fixture as (x, y, angle) in pixels and degrees (y down), None without one.
``to_dict()`` gives the record ``functions-cli inspect`` writes to results.jsonl and
``overlay(image)`` the picture it writes beside it.
)doc")
        .def_property_readonly("passed", [](const PyInspection& i) { return i.result.pass; },
                               "Whether every dimension is in tolerance.")
        .def_property_readonly("dimensions", &inspectionDimensions, "Dimension name -> Dimension, in the recipe's order.")
        .def_property_readonly("pose", &pose, "The part's pose (x, y, angle): pixels, degrees; None without a fixture "
                                              "or when it was not found.")
        .def("to_dict", &inspectionDict, py::arg("image_path") = py::none(), R"doc(
The inspection record as ``functions-cli inspect`` writes it (every digit kept): image,
pass, fixture (found, pose or error), measurements (success, error, roi as placed,
measured features in the recipe's units, the tool's outputs in pixels, timing_us) and
dimensions (value, unit, uncertainty, nominal, lower, upper, pass, error). image_path fills
"image" (None by default).
)doc")
        .def("overlay", &overlay, py::arg("image"), R"doc(
The inspected image (the array given to inspect) as a BGR uint8 picture of shape
(rows, columns, 3) with the ROIs as placed, the features found and every dimension with its
label drawn on it, green in tolerance and red out; BGR so that cv2.imwrite writes it as is.
)doc")
        .def("__repr__", [](const PyInspection& i) {
            size_t failed = 0;
            for (const frontend::DimensionOutcome& d : i.result.dimensions)
                failed += d.pass ? 0 : 1;
            return "<functions.Inspection " + std::string(i.result.pass ? "pass" : "fail") + ", " +
                   std::to_string(i.result.dimensions.size()) + " dimensions, " + std::to_string(failed) +
                   " out of tolerance>";
        });

    py::class_<PyRecipe>(m, "Recipe", R"doc(
An inspection recipe, validated and ready to run on many images.

It holds how a part's pose is found (fixture), the tool runs that measure it (measurements) and the dimensions derived from them with nominal and tolerance, in the
JSON format of docs/recipes.md that ``functions-cli inspect`` runs. A recipe is validated
when made (faults raise ValueError naming the source and the JSON path, e.g.
"plate.json: $.dimensions[2].from: ...") and is then read-only: ``inspect`` releases the
GIL and may be called from many threads at once. Recipes pickle (as their JSON, a
calibration file being read again where they are unpickled).
)doc")
        .def_static("load", &loadRecipe, py::arg("path"),
                    "Reads a recipe file; a calibration file it names is read relative to the file's folder.")
        .def_static("from_dict", &recipeFromDict, py::arg("document"), py::arg("folder") = ".",
            "A recipe from a dict in the file's layout; a calibration file it names is read relative to folder.")
        .def("to_dict", [](const PyRecipe& r) { return toPython(frontend::recipeJson(r.recipe())); },
             "The recipe as a dict in the file's layout (from_dict reads it back unchanged).")
        .def_property_readonly("name", [](const PyRecipe& r) { return r.recipe().name; })
        .def_property_readonly("measurements", &measurementNames, "The measurements' names, in the recipe's order.")
        .def_property_readonly("dimensions", &dimensionNames, "The dimensions' names, in the recipe's order.")
        .def("inspect", &inspect, py::arg("image"), R"doc(
Runs every measurement and dimension on an image (uint8, grey or RGB order, as the tools
take it) and returns an Inspection. A measurement that finds nothing is no error: its
dimensions are not computed and fail. ValueError for a bad image.
)doc")
        .def("teach", &teach, py::arg("image"), R"doc(
Measures the fixture's pose on a reference image: (x, y, angle) in pixels and degrees (y
down), the pose to store as the fixture's "reference". ValueError when the recipe has no
fixture or a fixture measurement fails.
)doc")
        .def("__repr__", [](const PyRecipe& r) {
            return "<functions.Recipe '" + r.recipe().name + "', " + std::to_string(r.recipe().measurements.size()) +
                   " measurements, " + std::to_string(r.recipe().dimensions.size()) + " dimensions>";
        })
        .def(py::pickle(
            [](const PyRecipe& r) {
                return py::make_tuple(frontend::recipeJson(r.recipe()).dump(), r.source, r.folder);
            },
            [](const py::tuple& state) {
                const auto source = state[1].cast<std::string>();
                const auto folder = state[2].cast<std::string>();
                return makeRecipe(frontend::parseRecipe(json::parse(state[0].cast<std::string>()), source, folder),
                                  source, folder);
            }));
}

} // namespace pyfunctions
