// Poses and results: the coordinate transformer (CoordinateUtility.h), the capture and
// stage point mapping (CaptureMapping.h), the ordering of template-matching results
// (MatchingResults.h) and skew correction (SkewCorrection.h). Angles are degrees; points
// are (x, y) in pixels with y down.

#include "Bindings.h"
#include "Conversions.h"
#include "Enumerations.h"

#include <CaptureMapping.h>
#include <CoordinateUtility.h>
#include <MatchingResults.h>
#include <SkewCorrection.h>

#include <sstream>

namespace pyfunctions {

namespace {

QPointF qpoint(const cv::Point2d& p)
{
    return {p.x, p.y};
}

cv::Point2d point(const QPointF& p)
{
    return {p.x(), p.y()};
}

cv::Point2d transformed(void (*transform)(float&, float&, CoordinateTransformer&), CoordinateTransformer t,
                        const cv::Point2d& p)
{
    float x = static_cast<float>(p.x), y = static_cast<float>(p.y);
    transform(x, y, t);
    return {x, y};
}

void bindTransformer(py::module_& m)
{
    py::class_<CoordinateTransformer>(m, "CoordinateTransformer", R"doc(
An object's pose in the reference image (ref_x, ref_y, ref_angle) and in the current image
(cur_x, cur_y, cur_angle), pixels and degrees, stored in single precision. With
delta = cur_angle - ref_angle a point taught in the reference pose maps to the current one
as p' = cur + Rot(delta) (p - ref), turned clockwise on screen by delta (y down).
)doc")
        .def(py::init([](float refX, float refY, float refAngle, float curX, float curY, float curAngle) {
                 return CoordinateTransformer{refX, refY, refAngle, curX, curY, curAngle};
             }),
             py::arg("ref_x") = 0.f, py::arg("ref_y") = 0.f, py::arg("ref_angle") = 0.f, py::arg("cur_x") = 0.f,
             py::arg("cur_y") = 0.f, py::arg("cur_angle") = 0.f)
        .def_readwrite("ref_x", &CoordinateTransformer::refX)
        .def_readwrite("ref_y", &CoordinateTransformer::refY)
        .def_readwrite("ref_angle", &CoordinateTransformer::refAngle)
        .def_readwrite("cur_x", &CoordinateTransformer::curX)
        .def_readwrite("cur_y", &CoordinateTransformer::curY)
        .def_readwrite("cur_angle", &CoordinateTransformer::curAngle)
        .def(
            "to_reference",
            [](CoordinateTransformer& t, const cv::Point2d& p) { return transformed(&AlgorithmUtility::transformXY, t, p); },
            py::arg("point"), "A point of the current image in the reference image (single precision).")
        .def(
            "to_current",
            [](CoordinateTransformer& t, const cv::Point2d& p) {
                return transformed(&AlgorithmUtility::transformInvertXY, t, p);
            },
            py::arg("point"), "A point of the reference image in the current image (single precision).")
        .def(
            "points_to_current",
            [](const CoordinateTransformer& t, const PointsLike& points) {
                std::vector<cv::Point2d> p = pointsArgument(points.object, "points");
                AlgorithmUtility::transPointsToCurImage(t, p);
                return pointsArray(p);
            },
            py::arg("points"), "Reference -> current for an (n, 2) array of points, each rounded to float first.")
        .def(
            "image_to_reference",
            [](CoordinateTransformer& t, const ImageLike& image) {
                ArrayView v = imageArgument(image.object, "image");
                cv::Mat out;
                {
                    py::gil_scoped_release release;
                    AlgorithmUtility::transformImage(v.mat, out, t);
                }
                return arrayFromMat(out);
            },
            py::arg("image"), "The current image warped into the reference frame (bilinear, uncovered pixels 0).")
        .def("__repr__", [](const CoordinateTransformer& t) {
            std::ostringstream text;
            text << "CoordinateTransformer(ref_x=" << t.refX << ", ref_y=" << t.refY << ", ref_angle=" << t.refAngle
                 << ", cur_x=" << t.curX << ", cur_y=" << t.curY << ", cur_angle=" << t.curAngle << ")";
            return text.str();
        });

    m.def(
        "transform_image",
        [](const ImageLike& image, float dx, float dy, float angle, const py::object& centre) {
            ArrayView v = imageArgument(image.object, "image");
            const bool aboutCentre = centre.is_none();
            const cv::Point2d c = aboutCentre ? cv::Point2d() : centre.cast<cv::Point2d>();
            cv::Mat out;
            {
                py::gil_scoped_release release;
                if (aboutCentre)
                    AlgorithmUtility::transformImage(v.mat, out, dx, dy, angle);
                else
                    AlgorithmUtility::transformImage(v.mat, out, dx, dy, cv::Point2f(c), angle);
            }
            return arrayFromMat(out);
        },
        py::arg("image"), py::arg("dx"), py::arg("dy"), py::arg("angle"), py::arg("centre") = py::none(),
        "The image rotated by angle degrees (counter-clockwise on screen) about centre (default the image centre "
        "(cols/2, rows/2)), then shifted by (dx, dy); same size, bilinear, uncovered pixels 0.");
}

void bindCaptureMapping(py::module_& m)
{
    m.def(
        "grab_before_photo",
        [](const cv::Point2d& p, float angleA, float angleB, bool mirrored, bool rotate, const cv::Point2d& firstRef,
           const cv::Point2d& secondRef, float extraAngle, float angleOffset) {
            return point(grabBeforePhoto(qpoint(p), angleA, angleB, mirrored, rotate, qpoint(firstRef),
                                         qpoint(secondRef), extraAngle, angleOffset));
        },
        py::arg("point"), py::arg("angle_a"), py::arg("angle_b"), py::arg("mirrored"), py::arg("rotate"),
        py::arg("first_ref"), py::arg("second_ref"), py::arg("extra_angle"), py::arg("angle_offset"),
        "Maps a point when the part is picked before it is imaged: point + second_ref - first_ref with the "
        "references turned about point (see the C++ docs); single precision.");
    m.def(
        "photo_before_grab",
        [](const cv::Point2d& p, bool mirrored, bool rotate, const cv::Point2d& firstRef, const cv::Point2d& secondRef,
           float angle, float offsetX, float offsetY) {
            return point(
                photoBeforeGrab(qpoint(p), mirrored, rotate, qpoint(firstRef), qpoint(secondRef), angle, offsetX, offsetY));
        },
        py::arg("point"), py::arg("mirrored"), py::arg("rotate"), py::arg("first_ref"), py::arg("second_ref"),
        py::arg("angle"), py::arg("offset_x"), py::arg("offset_y"),
        "Maps a point when the part is imaged before it is picked: second_ref + Rot(phi) (point + offset - "
        "first_ref), phi 0, -angle, or +angle when mirrored; single precision.");
}

void bindMatchingResults(py::module_& m)
{
    py::class_<_MatchingResult>(m, "MatchingResult", R"doc(
One template-matching result: centre (x, y) in whole pixels, angle in degrees, score, and
an opaque reserved int that travels with the record.
)doc")
        .def(py::init([](int x, int y, float angle, float score, int reserved) {
                 return _MatchingResult{x, y, angle, reserved, score};
             }),
             py::arg("x"), py::arg("y"), py::arg("angle") = 0.f, py::arg("score") = 0.f, py::arg("reserved") = 0)
        .def_readwrite("x", &_MatchingResult::x)
        .def_readwrite("y", &_MatchingResult::y)
        .def_readwrite("angle", &_MatchingResult::angle)
        .def_readwrite("score", &_MatchingResult::score)
        .def_readwrite("reserved", &_MatchingResult::reserved)
        .def("__repr__", [](const _MatchingResult& r) {
            std::ostringstream text;
            text << "MatchingResult(x=" << r.x << ", y=" << r.y << ", angle=" << r.angle << ", score=" << r.score
                 << ", reserved=" << r.reserved << ")";
            return text.str();
        });

    m.def(
        "sort_matching_results",
        [](std::vector<_MatchingResult> results, const EnumLike& type, const py::object& angle, int tolerance) {
            const auto order = static_cast<MatchingResultSortType>(enumArgument(type.object, "MatchingResultSortType", "type"));
            if (angle.is_none())
                sortMatchingResult(results, order);
            else
                sortMatchingResult(results, order, numberArgument(angle, "angle"), tolerance);
            return results;
        },
        py::arg("results"), py::arg("type"), py::arg("angle") = py::none(), py::arg("tolerance") = -1, R"doc(
The results in a new list, ordered by a MatchingResultSortType. The grid orders (rows,
columns, serpentines) take the grid's tilt angle in degrees (counter-clockwise on screen)
and the row tolerance in pixels (negative: half the smallest centre distance); without
angle the grid is level with automatic tolerance.
)doc");
    m.def(
        "rotated_rect_overlap_area",
        [](_MatchingResult a, _MatchingResult b, int width, int height) {
            return getRotatedRectOverlapArea(a, b, width, height);
        },
        py::arg("a"), py::arg("b"), py::arg("width"), py::arg("height"),
        "Area in square pixels shared by the width x height boxes centred on two results, each turned by its "
        "angle (clockwise on screen).");
}

void bindSkew(py::module_& m)
{
    m.def(
        "horizontal_skew",
        [](const ImageLike& image) {
            ArrayView v = imageArgument(image.object, "image");
            py::gil_scoped_release release;
            return clcHorizontalSkew(v.mat);
        },
        py::arg("image"),
        "Angle in degrees, [-90, 90), of the dominant horizontal edges of a grey image, positive when they "
        "descend to the right on screen; -90 without such edges, NaN for a colour image.");
    m.def(
        "skew_correction_rot",
        [](const ImageLike& image, double angle, const py::object& borderValue) {
            ArrayView v = imageArgument(image.object, "image");
            cv::Scalar border;
            if (py::isinstance<py::sequence>(borderValue)) {
                const auto values = py::reinterpret_borrow<py::sequence>(borderValue);
                for (size_t i = 0; i < std::min<size_t>(4, values.size()); ++i)
                    border[static_cast<int>(i)] = numberArgument(values[i], "border_value");
            } else {
                border = cv::Scalar::all(numberArgument(borderValue, "border_value"));
            }
            cv::Mat out;
            {
                py::gil_scoped_release release;
                skewCorrectionRot(v.mat, out, angle, border);
            }
            return arrayFromMat(out);
        },
        py::arg("image"), py::arg("angle"), py::arg("border_value") = 0,
        "The image rotated by angle degrees (counter-clockwise on screen) onto a canvas just large enough for "
        "all of it; uncovered pixels take border_value. None for a non-finite angle.");
    m.def(
        "cut_character_top_bottom",
        [](const ImageLike& image) -> py::object {
            ArrayView v = imageArgument(image.object, "image");
            int top = 0, bottom = 0;
            if (!cutCharacterTopBottom(v.mat, top, bottom))
                return py::none();
            return py::make_tuple(top, bottom);
        },
        py::arg("image"),
        "(top, bottom): the first and last rows holding a non-zero pixel, (0, rows - 1) for a blank image; None "
        "for a colour image or a single row.");
}

} // namespace

void bindPoses(py::module_& m)
{
    bindTransformer(m);
    bindCaptureMapping(m);
    bindMatchingResults(m);
    bindSkew(m);
}

} // namespace pyfunctions
