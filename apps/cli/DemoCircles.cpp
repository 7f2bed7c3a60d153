// Demo steps: the circle tool on the plate's bored hole and the arc tool on part of the
// round boss's rim.

#include "Drawing.h"
#include "Demo.h"

#include <Functions.h>

#include <cmath>

namespace demo {
namespace {

constexpr double kPi = 3.141592653589793;

// Where the ray from origin at angle (degrees counter-clockwise, y up) leaves the disc,
// as an angle about the disc's own centre in the same sense, in [0, 360): the true end of
// the rim seen through an arc ROI's boundary ray.
double rayExitAngle(cv::Point2d origin, double angle, const Disc& disc)
{
    const cv::Point2d u(std::cos(angle * kPi / 180.0), -std::sin(angle * kPi / 180.0));
    const cv::Point2d w = origin - disc.centre;
    const double b = u.dot(w);
    const double t = -b + std::sqrt(b * b - (w.dot(w) - disc.radius * disc.radius));
    const cv::Point2d exit = origin + t * u;
    const double a = std::atan2(disc.centre.y - exit.y, exit.x - disc.centre.x) * 180.0 / kPi;
    return a < 0 ? a + 360.0 : a;
}

// Settings a user would pick for these rims: calipers three angles wide every two, light
// smoothing, edges from dark to bright in the given scan sense.
template <typename Record, typename Roi>
Record darkToLightRecord(ClcDirection direction, Roi* roi)
{
    Record param;
    param.direction = direction;
    param.transition = DarkToLight;
    param.percent = 30;
    param.sigma = 2;
    param.minStrength = 10;
    param.segmentWidth = 3;
    param.segmentStep = 2;
    param.roi = roi;
    return param;
}

// The true circle in green; the edge points, the measured outline and centre in red.
void drawMeasurement(cv::Mat& canvas, const View& view, const Disc& truth, const std::vector<cv::Point2d>& outline,
                     bool closed, cv::Point2d centre, const std::vector<cv::Point2d>& points)
{
    drawPolyline(canvas, view, circleArc(truth.centre, truth.radius, 0, 360), true, kTruthColour);
    drawCross(canvas, view(truth.centre), kTruthColour, 10);
    drawEdgePoints(canvas, view, points, kFoundColour);
    drawPolyline(canvas, view, outline, closed, kFoundColour);
    drawCross(canvas, view(centre), kFoundColour);
}

void runCircle(Context& context)
{
    const Disc& hole = context.truth().hole;
    // Drawn by eye a few pixels off the hole's centre, from well inside its rim to well
    // into the plate; the calipers walk outwards, from the dark hole onto the bright plate.
    RingROI roi(hole.centre.x + 3.4, hole.centre.y - 2.2, 100.0f, 55.0f);
    auto param = darkToLightRecord<_CircleDetParam>(LeftToRight, &roi);
    cv::Mat image = context.image();
    const bool found = clcCirclePointsAndFit(image, param, 0, true, 0, -1.0);

    // A robust fit through hundreds of sub-pixel points on a blurred, noisy rim.
    const char* tool = "clcCirclePointsAndFit";
    context.report(tool, "centre x (px)", hole.centre.x, param.centre.x, 0.05, found);
    context.report(tool, "centre y (px)", hole.centre.y, param.centre.y, 0.05, found);
    context.report(tool, "radius (px)", hole.radius, param.radius, 0.05, found);

    const std::vector<cv::Point2d> outline = circleArc(param.centre, param.radius, 0, 360);
    drawRingRoi(context.overview(), View(), roi, kRoiColour);
    if (found)
        drawPolyline(context.overview(), View(), outline, true, kFoundColour);
    View view;
    cv::Mat picture = zoomedAround(context.annotationCanvas(), hole.centre, 110, 3, view);
    drawRingRoi(picture, view, roi, kRoiColour);
    if (found)
        drawMeasurement(picture, view, hole, outline, true, param.centre, param.edgePoints);
    context.savePicture("circle", picture);
}

void runArc(Context& context)
{
    const Disc& boss = context.truth().boss;
    // The boss's right-hand rim, from 300 to 50 degrees through 0, drawn by eye about a
    // point a few pixels off the boss's centre; the calipers walk inwards, from the dark
    // background onto the bright boss.
    const cv::Point2d roiCentre(boss.centre.x - 4.3, boss.centre.y + 3.1);
    ArcROI roi(roiCentre.x, roiCentre.y, 105.0f, 155.0f, 300.0f, 50.0f);
    auto param = darkToLightRecord<_ArcDetParam>(RightToLeft, &roi);
    cv::Mat image = context.image();
    const bool found = clcArcPointsAndFit(image, param, 0, true, 0, -1.0);

    // The arc seen through the ROI ends where its boundary rays leave the boss.
    const double start = rayExitAngle(roiCentre, roi.angle1, boss);
    const double end = rayExitAngle(roiCentre, roi.angle2, boss);
    // A 110-degree arc pins its centre less tightly than a full circle does.
    const char* tool = "clcArcPointsAndFit";
    context.report(tool, "centre x (px)", boss.centre.x, param.centre.x, 0.1, found);
    context.report(tool, "centre y (px)", boss.centre.y, param.centre.y, 0.1, found);
    context.report(tool, "radius (px)", boss.radius, param.radius, 0.1, found);
    context.report(tool, "start angle (deg)", start, param.arcStartAngle, 0.1, found);
    context.report(tool, "end angle (deg)", end, param.arcEndAngle, 0.1, found);

    const std::vector<cv::Point2d> outline =
        circleArc(param.centre, param.radius, param.arcStartAngle, param.arcEndAngle);
    drawArcRoi(context.overview(), View(), roi, kRoiColour);
    if (found)
        drawPolyline(context.overview(), View(), outline, false, kFoundColour);
    View view;
    cv::Mat picture = zoomedAround(context.annotationCanvas(), boss.centre + cv::Point2d(70, 10), 130, 3, view);
    drawArcRoi(picture, view, roi, kRoiColour);
    if (found)
        drawMeasurement(picture, view, boss, outline, false, param.centre, param.edgePoints);
    context.savePicture("arc", picture);
}

const StepRegistration circleRegistration(40, "circle", &runCircle);
const StepRegistration arcRegistration(40, "circle arc", &runArc);

} // namespace
} // namespace demo
