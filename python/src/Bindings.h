#pragma once

// The parts of the extension module, one per area of the library.

#include <pybind11/pybind11.h>

namespace pyfunctions {

namespace py = pybind11;

void bindTools(py::module_& m);       // measurement tools through the front-end layer, images
void bindGeometry(py::module_& m);    // plane geometry
void bindFitting(py::module_& m);     // line, circle, ellipse and plane fits
void bindRegions(py::module_& m);     // thresholds, regions, selection, sorting
void bindPoses(py::module_& m);       // coordinate transformer, capture mapping, matching results, skew
void bindRecipes(py::module_& m);     // inspection recipes: load, inspect, teach, records, overlays
void bindBench(py::module_& m);       // the C++ peers of the Python benchmarks

} // namespace pyfunctions
