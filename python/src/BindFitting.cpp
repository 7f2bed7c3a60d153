// Fits of lines, circles, ellipses and planes (Fitting.h, PlaneFitting.h). Point sets are
// array-likes of shape (n, 2) or (n, 3) in pixels; the fits run without the GIL.

#include "Bindings.h"
#include "Conversions.h"
#include "Enumerations.h"

#include <Fitting.h>
#include <PlaneFitting.h>

namespace pyfunctions {

namespace {

py::object circleOrNone(bool found, const cv::Point2d& centre, double radius)
{
    return found ? py::object(py::make_tuple(py::cast(centre), radius)) : py::none();
}

} // namespace

void bindFitting(py::module_& m)
{
    m.def(
        "fit_line",
        [](const PointsLike& points, const EnumLike& type, double param) {
            std::vector<cv::Point2d> p = pointsArgument(points.object, "points");
            const auto method = static_cast<FitLineType>(enumArgument(type.object, "FitLineType", "type"));
            cv::Vec4d line;
            {
                py::gil_scoped_release release;
                fitLine(p, line, method, param);
            }
            return line;
        },
        py::arg("points"), py::arg("type") = 0, py::arg("param") = 0.0, R"doc(
Fits a line (vx, vy, x0, y0) to points: a unit direction with vx >= 0 and the weighted
centroid. type is a FitLineType (LeastSquares, or the robust Huber and Tukey, which
reweight by perpendicular distance for at most 30 steps); param > 0 fixes the robust scale
in pixels, 0 re-estimates it each step. (0, 0, 0, 0) for no points or a non-finite one.
)doc");
    m.def(
        "fit_circle",
        [](const PointsLike& points, const EnumLike& type) {
            std::vector<cv::Point2d> p = pointsArgument(points.object, "points");
            const auto method = static_cast<FitCircleType>(enumArgument(type.object, "FitCircleType", "type"));
            cv::Point2d centre;
            double radius = 0;
            bool found = false;
            {
                py::gil_scoped_release release;
                found = fitCircle(p, centre, radius, method);
            }
            return circleOrNone(found, centre, radius);
        },
        py::arg("points"), py::arg("type") = 0, R"doc(
Fits a circle: ((cx, cy), radius) in pixels, or None for fewer than 3 points, a
non-finite coordinate or collinear points. type is a FitCircleType: LeastSquares
(algebraic), Huber or Tukey (robust, from up to 20 deterministic samples), Taubin.
)doc");
    m.def(
        "three_point_fit_circle",
        [](const PointsLike& points) {
            cv::Point2d centre;
            double radius = 0;
            const bool found = threePointFitCircle(pointsArgument(points.object, "points"), centre, radius);
            return circleOrNone(found, centre, radius);
        },
        py::arg("points"),
        "Circle ((cx, cy), radius) through the first three points; None when nearly collinear.");
    m.def(
        "fit_ellipse",
        [](const PointsLike& points, const EnumLike& type, double param) -> py::object {
            std::vector<cv::Point2d> p = pointsArgument(points.object, "points");
            const auto method = static_cast<FitEllipseType>(enumArgument(type.object, "FitEllipseType", "type"));
            cv::RotatedRect box;
            bool found = false;
            {
                py::gil_scoped_release release;
                found = fitEllipse(p, box, method, param);
            }
            return found ? py::object(rotatedRectTuple(box)) : py::none();
        },
        py::arg("points"), py::arg("type") = 0, py::arg("param") = 0.0, R"doc(
Fits an ellipse: ((cx, cy), (major, minor), angle) with the full axes truncated to whole
pixels and the angle in degrees of the major axis. None for fewer than 6 points,
degenerate points or a conic that is not an ellipse. type is a FitEllipseType; param as
for fit_line.
)doc");
    m.def(
        "fit_plane",
        [](const PointsLike& points) -> py::object {
            cv::Vec6d plane;
            if (!fitPlane(points3Argument(points.object, "points"), plane))
                return py::none();
            return py::cast(plane);
        },
        py::arg("points"),
        "Least-squares plane z = a*x + b*y + c: (nx, ny, nz, px, py, pz), a unit normal towards +z and the point "
        "above the origin. None for fewer than 3 points or a vertical point set.");
    m.def(
        "fit_plane_3d_huber",
        [](const PointsLike& points, double param) -> py::object {
            std::vector<cv::Point3d> p = points3Argument(points.object, "points");
            cv::Vec6d plane;
            bool found = false;
            {
                py::gil_scoped_release release;
                found = fitPlane3D_Huber(p, plane, param);
            }
            return found ? py::cast(plane) : py::none();
        },
        py::arg("points"), py::arg("param") = 0.0,
        "Robust plane (Huber weights on perpendicular distances, k = param or 1.345 for param <= 0): "
        "(nx, ny, nz, px, py, pz), the point being the weighted centroid. None when no plane is determined.");
    m.def(
        "mean_depth_huber",
        [](const ImageLike& depth, const ImageLike& mask) {
            ArrayView d = matrixArgument(depth.object, "depth", {CV_32F, CV_16U});
            ArrayView k = matrixArgument(mask.object, "mask", {CV_8U});
            py::gil_scoped_release release;
            return meanDepth_Huber(d.mat, k.mat);
        },
        py::arg("depth"), py::arg("mask"),
        "Robust (Huber) mean of the float32 or uint16 depth values whose uint8 mask is non-zero; 0 for an empty "
        "selection or a mask of another size.");
}

} // namespace pyfunctions
