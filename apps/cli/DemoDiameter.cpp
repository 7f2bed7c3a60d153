// Demo step: the circle diameter tool gauges the boss that is slightly out of round: its
// smallest and largest two-point diameters and their directions, the mean diameter and
// the out-of-roundness.

#include "Demo.h"

#include <Functions.h>

#include <cmath>

namespace demo {
namespace {

constexpr double kPi = 3.141592653589793;

// Direction y-up degrees as a unit vector in the image (y down).
cv::Point2d imageDirection(double degrees)
{
    return {std::cos(degrees * kPi / 180.0), -std::sin(degrees * kPi / 180.0)};
}

// Two-point diameter of the ellipse through its centre at direction (y-up degrees).
double ellipseDiameter(const Ellipse& e, double direction)
{
    const double t = (direction + e.angle) * kPi / 180.0; // from the major axis
    return 2 * e.semiMajor * e.semiMinor / std::hypot(e.semiMinor * std::cos(t), e.semiMajor * std::sin(t));
}

// Points along the ellipse's outline, in the image.
std::vector<cv::Point2d> ellipseOutline(const Ellipse& e)
{
    const double a = e.angle * kPi / 180.0;
    const cv::Point2d major(std::cos(a), std::sin(a)), minor(-std::sin(a), std::cos(a));
    std::vector<cv::Point2d> points;
    for (int k = 0; k < 360; ++k) {
        const double t = k * kPi / 180.0;
        points.push_back(e.centre + e.semiMajor * std::cos(t) * major + e.semiMinor * std::sin(t) * minor);
    }
    return points;
}

// A diameter of the given length at the given direction (y-up degrees) through centre.
void drawDiameter(cv::Mat& canvas, const View& view, cv::Point2d centre, double diameter, double direction,
                  const cv::Scalar& colour)
{
    const cv::Point2d half = imageDirection(direction) * (diameter / 2);
    drawPolyline(canvas, view, {centre - half, centre + half}, false, colour);
}

double axisOf(double imageAngle)
{
    const double d = std::fmod(-imageAngle, 180.0);
    return d < 0 ? d + 180.0 : d;
}

void runDiameter(Context& context)
{
    const Ellipse& boss = context.truth().ovalBoss;
    // Drawn by eye a couple of pixels off the boss's centre; 360 calipers of three lines
    // over 1 degree walk outwards, from the bright boss onto the dark background.
    RingROI roi(boss.centre.x - 2.3, boss.centre.y + 1.7, 38.0f, 63.0f);
    _CircleDiameterDetParam param;
    param.direction = LeftToRight;
    param.transition = LightToDark;
    param.percent = 30;
    param.sigma = 2;
    param.minStrength = 10;
    param.segmentWidth = 3;
    param.caliperCount = 360;
    param.caliperAngle = 1.0;
    param.roi = &roi;
    cv::Mat image = context.image();
    const bool found = clcCircleMulPoints(image, param);

    const double majorAxis = axisOf(boss.angle), minorAxis = std::fmod(majorAxis + 90.0, 180.0);
    double meanTruth = 0;
    for (int k = 0; k < 180; ++k)
        meanTruth += ellipseDiameter(boss, k) / 180;
    // The mean of 180 readings is steady to a few thousandths; blur moves the rim's
    // steepest point inwards by about a hundredth of a pixel. The extremes are single
    // readings: they carry the noise of one caliper, a few hundredths. Their directions
    // come from an oval fitted to the readings around them.
    const char* tool = "clcCircleMulPoints";
    context.report(tool, "mean diameter (px)", meanTruth, param.meanDiameter, 0.05, found);
    context.report(tool, "smallest diameter (px)", 2 * boss.semiMinor, param.minDiameter, 0.12, found);
    context.report(tool, "smallest at (deg)", minorAxis, param.minDiameterAngle, 1.5, found);
    context.report(tool, "largest diameter (px)", 2 * boss.semiMajor, param.maxDiameter, 0.12, found);
    context.report(tool, "largest at (deg)", majorAxis, param.maxDiameterAngle, 1.5, found);
    context.report(tool, "roundness (px)", boss.semiMajor - boss.semiMinor, param.roundness, 0.15, found);

    drawRingRoi(context.overview(), View(), roi, kRoiColour);
    if (found) {
        drawDiameter(context.overview(), View(), param.centre, param.minDiameter, param.minDiameterAngle,
                     kFoundColour);
        drawDiameter(context.overview(), View(), param.centre, param.maxDiameter, param.maxDiameterAngle,
                     kFoundColour);
    }
    View view;
    cv::Mat picture = zoomedAround(context.annotationCanvas(), boss.centre, 70, 4, view);
    drawRingRoi(picture, view, roi, kRoiColour);
    // The true outline and axes in green; the edge points, the smallest and largest
    // diameters found and the fitted centre in red.
    drawPolyline(picture, view, ellipseOutline(boss), true, kTruthColour);
    drawDiameter(picture, view, boss.centre, 2 * boss.semiMinor, minorAxis, kTruthColour);
    drawDiameter(picture, view, boss.centre, 2 * boss.semiMajor, majorAxis, kTruthColour);
    if (found) {
        drawEdgePoints(picture, view, param.edgePoints, kFoundColour);
        drawDiameter(picture, view, param.centre, param.minDiameter, param.minDiameterAngle, kFoundColour);
        drawDiameter(picture, view, param.centre, param.maxDiameter, param.maxDiameterAngle, kFoundColour);
        drawCross(picture, view(param.centre), kFoundColour);
    }
    context.savePicture("diameter", picture);
}

const StepRegistration registration(45, "circle diameters", &runDiameter);

} // namespace
} // namespace demo
