// Plane geometry (Geometry.h). Points are (x, y) in pixels, x right and y down; a line is
// (vx, vy, x0, y0), a direction and a point; angles are degrees unless a name says radian.
// These calls take nanoseconds, so they keep the GIL.

#include "Bindings.h"
#include "Conversions.h"
#include "Enumerations.h"

#include <Geometry.h>

#include <cmath>
#include <limits>

namespace pyfunctions {

namespace {

using P = cv::Point2d;

py::object pointOrNone(bool found, const P& p)
{
    return found ? py::cast(p) : py::none();
}

py::object rectOrNone(bool found, const cv::RotatedRect& box)
{
    return found ? py::object(rotatedRectTuple(box)) : py::none();
}

} // namespace

void bindGeometry(py::module_& m)
{
    m.def("length", &Length, py::arg("p1"), py::arg("p2"), "Euclidean distance between p1 and p2 (pixels).");

    m.def("vectors_cross", py::overload_cast<P, P, P, P>(&calculateVectorsCross), py::arg("a1"), py::arg("a2"),
          py::arg("b1"), py::arg("b2"), "Cross product (z component, y down) of the vectors a1->a2 and b1->b2.");
    m.def("vectors_cross", py::overload_cast<cv::Vec4d, cv::Vec4d>(&calculateVectorsCross), py::arg("u"),
          py::arg("v"), "Cross product of the directions of two lines (vx, vy, x0, y0).");
    m.def("vectors_inner", py::overload_cast<P, P, P, P>(&calculateVectorsInner), py::arg("a1"), py::arg("a2"),
          py::arg("b1"), py::arg("b2"), "Dot product of the vectors a1->a2 and b1->b2.");
    m.def("vectors_inner", py::overload_cast<cv::Vec4d, cv::Vec4d>(&calculateVectorsInner), py::arg("u"),
          py::arg("v"), "Dot product of the directions of two lines (vx, vy, x0, y0).");

    m.def(
        "line_abc",
        [](P p1, P p2) {
            double a = 0, b = 0, c = 0;
            getLineABC(p1, p2, a, b, c);
            return py::make_tuple(a, b, c);
        },
        py::arg("p1"), py::arg("p2"),
        "Coefficients (A, B, C) of A*x + B*y + C = 0 through p1 and p2: A = p2.y - p1.y, B = p1.x - p2.x, "
        "C = p2.x*p1.y - p1.x*p2.y (not normalised; coincident points give zeros).");

    m.def("radian", py::overload_cast<double>(&getRadian), py::arg("degrees"), "Degrees to radians.");
    m.def("radian", py::overload_cast<P, P>(&getRadian), py::arg("p1"), py::arg("p2"),
          "Direction of p1->p2 in radians, (-pi, pi].");
    m.def("angle_180", py::overload_cast<P, P>(&getAngle_180), py::arg("p1"), py::arg("p2"),
          "Direction of p1->p2 in degrees, (-180, 180]; positive turns clockwise on screen (y down).");
    m.def("angle_360", py::overload_cast<P, P>(&getAngle_360), py::arg("p1"), py::arg("p2"),
          "Direction of p1->p2 in degrees counter-clockwise on screen, [0, 360): up is 90, down 270.");
    m.def("angle_360", py::overload_cast<double>(&getAngle_360), py::arg("angle"),
          "A signed angle of angle_180's range as counter-clockwise degrees on screen: -a for a < 0, 360 - a for "
          "a > 0, 0 stays 0.");
    m.def(
        "angle_calculation_180",
        [](double a, double b, const EnumLike& sign) {
            return getAngleCalculation_180(a, b, static_cast<ArithmeticSign>(enumArgument(sign.object, "ArithmeticSign", "sign")));
        },
        py::arg("a"), py::arg("b"), py::arg("sign") = 0,
        "a + b (Addition) or a - b (Subtraction), folded once into [-180, 180] (degrees).");
    m.def(
        "angle_calculation_360",
        [](double a, double b, const EnumLike& sign) {
            return getAngleCalculation_360(a, b, static_cast<ArithmeticSign>(enumArgument(sign.object, "ArithmeticSign", "sign")));
        },
        py::arg("a"), py::arg("b"), py::arg("sign") = 0,
        "a + b (Addition) or a - b (Subtraction), folded once into [0, 360] (degrees).");

    m.def("point_to_line_distance", py::overload_cast<P, cv::Vec4d, bool>(&pointToLineDistance), py::arg("p"),
          py::arg("line"), py::arg("signed") = false,
          "Distance in pixels from p to the line (vx, vy, x0, y0); signed: positive on the side where "
          "(l2 - l1) x (p - l1) < 0, with l1 = (x0 - vx, y0 - vy), l2 = (x0 + vx, y0 + vy).");
    m.def("point_to_line_distance", py::overload_cast<P, P, P, bool>(&pointToLineDistance), py::arg("p"),
          py::arg("l1"), py::arg("l2"), py::arg("signed") = false,
          "Distance in pixels from p to the line through l1 and l2 (0 when they coincide).");
    m.def("point_to_line_distance", py::overload_cast<P, double, double, double, bool>(&pointToLineDistance),
          py::arg("p"), py::arg("A"), py::arg("B"), py::arg("C"), py::arg("signed") = false,
          "Distance in pixels from p to the line A*x + B*y + C = 0.");

    m.def(
        "foot_of_perpendicular",
        [](P p, cv::Vec4d line) {
            P foot;
            getFooDrop(p, line, foot);
            return foot;
        },
        py::arg("p"), py::arg("line"), "Foot of the perpendicular from p on the line (vx, vy, x0, y0); (0, 0) for a zero direction.");
    m.def(
        "foot_of_perpendicular",
        [](P p, P l1, P l2) {
            P foot;
            getFooDrop(p, l1, l2, foot);
            return foot;
        },
        py::arg("p"), py::arg("l1"), py::arg("l2"),
        "Foot of the perpendicular from p on the line through l1 and l2; (0, 0) when they coincide.");

    m.def("point_side_of_line", &pointOnLineLeftOrRight, py::arg("p"), py::arg("a"), py::arg("b"),
          "Side of p relative to the line a-b by the sign of (a - p) x (b - p) (y down): 1 positive, 2 negative, "
          "0 on the line (or a == b), -1 NaN.");
    m.def(
        "split_points_by_line",
        [](const PointsLike& points, P a, P b) {
            std::vector<P> side1, side2;
            LineLeftOrRight(pointsArgument(points.object, "points"), a, b, side1, side2);
            return py::make_tuple(pointsArray(side1), pointsArray(side2));
        },
        py::arg("points"), py::arg("a"), py::arg("b"),
        "(side 1, side 2) of point_side_of_line, in order, as (n, 2) arrays; points on the line are dropped.");
    m.def(
        "points_line_distances",
        [](const PointsLike& points, P l1, P l2) {
            std::vector<double> distances;
            PointsLineDis(pointsArgument(points.object, "points"), l1, l2, distances);
            return py::array_t<double>(static_cast<py::ssize_t>(distances.size()), distances.data());
        },
        py::arg("points"), py::arg("l1"), py::arg("l2"),
        "Unsigned distance in pixels of every point to the line l1-l2, as an array.");
    m.def("on_segment", &onSegement, py::arg("p"), py::arg("a"), py::arg("b"),
          "True when p lies on the closed segment a-b (off the line by at most 1e-6 on one side; see the C++ docs).");

    m.def(
        "line_line_intersection",
        [](cv::Vec4d l1, cv::Vec4d l2) {
            P p;
            const bool found = clcLineLineIntersection(l1, l2, p);
            return pointOrNone(found, p);
        },
        py::arg("l1"), py::arg("l2"),
        "Meeting point of the lines (vx, vy, x0, y0); None for exactly parallel directions.");
    m.def(
        "lines_intersection",
        [](P a1, P a2, P b1, P b2) {
            P p;
            const bool found = clcLinesIntersection(a1, a2, b1, b2, p);
            return pointOrNone(found, p);
        },
        py::arg("a1"), py::arg("a2"), py::arg("b1"), py::arg("b2"),
        "Meeting point of the line through a1, a2 with the line through b1, b2; None when (nearly) parallel.");
    m.def(
        "circle_circle_intersection",
        [](P c1, double r1, P c2, double r2) -> py::object {
            std::vector<P> points;
            if (getCircleCircleIntersection(c1, r1, c2, r2, points) < 0)
                return py::none();
            return pointsArray(points);
        },
        py::arg("c1"), py::arg("r1"), py::arg("c2"), py::arg("r2"),
        "Meeting points of two circles as an (n, 2) array, n = 0, 1 or 2; None for the same circle.");
    m.def(
        "line_circle_intersection",
        [](P c, double r, P p1, P p2) {
            std::vector<P> points;
            getLineCircleIntersection(c, r, p1, p2, points);
            return pointsArray(points);
        },
        py::arg("c"), py::arg("r"), py::arg("p1"), py::arg("p2"),
        "Meeting points of the circle (c, r) and the line through p1, p2 as an (n, 2) array: the larger x first, "
        "for a vertical line the smaller y first.");
    m.def("circle_point", &findCirclePoint, py::arg("c"), py::arg("r"), py::arg("angle"),
          "Point of the circle at angle degrees counter-clockwise on screen: 0 right, 90 above the centre.");
    m.def(
        "angular_bisector",
        [](cv::Vec4d l1, cv::Vec4d l2, bool flip) -> py::object {
            cv::Vec4d bisector;
            if (!getAngularBisector(l1, l2, bisector, flip))
                return py::none();
            return py::cast(bisector);
        },
        py::arg("l1"), py::arg("l2"), py::arg("flip") = false,
        "Bisector (wx, wy, x0, y0) of two lines, unit direction along l1's; flip gives the other one. For "
        "parallel lines the middle line. None for a zero or non-finite direction.");

    m.def(
        "rotated_rect_by_angle_and_four_points",
        [](double angle, P p1, P p2, P p3, P p4) {
            cv::RotatedRect box;
            const bool found = getRotatedRectByAngleAndFourPoints(angle, p1, p2, p3, p4, box);
            return rectOrNone(found, box);
        },
        py::arg("angle"), py::arg("p1"), py::arg("p2"), py::arg("p3"), py::arg("p4"),
        "Rectangle ((cx, cy), (w, h), angle) at angle degrees whose sides run through p1 (along its width "
        "direction), p2 (across), p3 (along) and p4 (across); None when a corner cannot be found.");
    m.def(
        "rotated_rect_by_angle_three_points_height",
        [](double angle, P p1, P p2, P p3, double height) {
            cv::RotatedRect box;
            const bool found = getRotatedRectByAngleThreePointsHeight(angle, p1, p2, p3, height, box);
            return rectOrNone(found, box);
        },
        py::arg("angle"), py::arg("p1"), py::arg("p2"), py::arg("p3"), py::arg("height"),
        "The four-point form with the fourth point constructed from the height (see the C++ docs for its "
        "established, collapsed width); None when a corner cannot be found.");
    m.def(
        "rotated_rect_by_angle_width_height_four_points",
        [](double angle, P p1, P p2, P p3, P p4, double width, double height) -> py::object {
            cv::RotatedRect box;
            std::vector<double> distances;
            if (!getRotatedRectByAngleWidthHeightFourPoints(angle, p1, p2, p3, p4, width, height, box, distances))
                return py::none();
            return py::make_tuple(rotatedRectTuple(box), py::cast(distances));
        },
        py::arg("angle"), py::arg("p1"), py::arg("p2"), py::arg("p3"), py::arg("p4"), py::arg("width"),
        py::arg("height"),
        "Rectangle of the given size at angle degrees placed from four side points: (((cx, cy), (w, h), angle), "
        "[distance of p1 .. p4 to its side]); None when a corner cannot be found.");
    m.def(
        "intersection_of_2_lines_3d",
        [](cv::Point3d d1, cv::Point3d p1, cv::Point3d d2, cv::Point3d p2) -> py::object {
            const double nan = std::numeric_limits<double>::quiet_NaN();
            cv::Point3d p(nan, nan, nan);
            const auto direction = [](const cv::Point3d& d) {
                return cv::Vec3f(static_cast<float>(d.x), static_cast<float>(d.y), static_cast<float>(d.z));
            };
            calcIntersectionof2Line3d(direction(d1), p1, direction(d2), p2, p);
            if (std::isnan(p.x))
                return py::none();
            return py::cast(p);
        },
        py::arg("d1"), py::arg("p1"), py::arg("d2"), py::arg("p2"),
        "Meeting point in space of two lines (direction, point): the midpoint of their common perpendicular; for "
        "nearly parallel directions the midpoint of p1 and p2. Directions travel in single precision. None when "
        "undefined.");
}

} // namespace pyfunctions
