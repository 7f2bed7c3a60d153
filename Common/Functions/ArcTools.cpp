#include "CircleTools.h"

#include "CircleTools_p.h"
#include "Fitting.h"
#include "Geometry.h"
#include "ProfileCore.h"
#include "ToolSupport_p.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;

// A boundary ray of the ROI, from its point on the first radius to its point on the second.
struct Ray {
    cv::Point2d from, to;
};

// The ROI when it really is an ArcROI; a host may hand in any shape through the record.
ArcROI* arcRoi(ArcROI* roi)
{
    return tool_support::recordShape(roi, ArcROIType);
}

// The rays at the ROI's first and second angle.
std::array<Ray, 2> boundaryRays(const ArcROI& roi)
{
    const cv::Point2d c(roi.centreX, roi.centreY);
    return {{{findCirclePoint(c, roi.radius1, roi.angle1), findCirclePoint(c, roi.radius2, roi.angle1)},
             {findCirclePoint(c, roi.radius1, roi.angle2), findCirclePoint(c, roi.radius2, roi.angle2)}}};
}

// Counter-clockwise degrees with y up, in [0, 360), of an image angle given in degrees.
double yUpDegrees(double imageDegrees) { return imageDegrees <= 0 ? -imageDegrees : 360.0 - imageDegrees; }

// True when p lies in the ROI's angular range (through 0 when angle1 > angle2) and
// between its radii, all bounds included. In single precision, like the ROI itself: a
// crossing with one of the ROI's circles lies on its bound up to double rounding, which
// must not decide whether it counts.
bool insideArcRoi(cv::Point2d p, const ArcROI& roi)
{
    const float a = static_cast<float>(std::atan2(p.y - roi.centreY, p.x - roi.centreX) * kDegreesPerRadian);
    const float up = a <= 0.0f ? -a : 360.0f - a;
    const bool inRange = roi.angle2 >= roi.angle1
                             ? roi.angle1 <= up && up <= roi.angle2
                             : (roi.angle1 <= up && up <= 360.0f) || (0.0f <= up && up <= roi.angle2);
    const float d = static_cast<float>(Length(p, cv::Point2d(roi.centreX, roi.centreY)));
    return inRange && d >= std::min(roi.radius1, roi.radius2) && d <= std::max(roi.radius1, roi.radius2);
}

const cv::Point2d& nearestToRay(const std::vector<cv::Point2d>& points, const Ray& ray)
{
    std::vector<double> distances;
    PointsLineDis(points, ray.from, ray.to, distances);
    return points[findMinMaxPos(distances, true)];
}

// First estimate: of the circles through the points nearest to the two boundary rays,
// the one with the least squared algebraic residual over all points. It pins the arc's
// ends, so the crest modes below can tell outside from inside. Radius 0 when those two
// points share a row (the family's parametrisation divides by their row difference).
void constrainedEstimate(_ArcDetParam& param, const ArcROI& roi)
{
    param.radius = 0;
    const std::array<Ray, 2> rays = boundaryRays(roi);
    const cv::Point2d p1 = nearestToRay(param.edgePoints, rays[0]);
    const cv::Point2d p2 = nearestToRay(param.edgePoints, rays[1]);
    const double q = p2.y - p1.y;
    if (q == 0)
        return;

    // x^2 + y^2 + l*x + E*y + F = 0 through p1 and p2, with E = l*e1 + e0, F = l*g + h.
    const double e1 = (p1.x - p2.x) / q;
    const double e0 = (p1.y * p1.y - p2.y * p2.y + p1.x * p1.x - p2.x * p2.x) / q;
    const double g = (p2.y * p1.x - p2.x * p1.y) / (p1.y - p2.y);
    const double h = (p1.x * p1.x * p2.y - p2.x * p2.x * p1.y + p1.y * p2.y * (p1.y - p2.y)) / (p1.y - p2.y);
    double wu = 0, uu = 0;
    for (const cv::Point2d& p : param.edgePoints) {
        const double u = p.x + e1 * p.y + g;
        const double w = p.x * p.x + p.y * p.y + e0 * p.y + h;
        wu += w * u;
        uu += u * u;
    }
    if (uu == 0)
        return;
    const double l = -wu / uu;
    const double e = l * e1 + e0;
    const double f = l * g + h;
    param.centre = cv::Point2d(-l / 2, -e / 2);
    param.radius = 0.5 * std::sqrt(e * e + l * l - 4 * f);
}

// The arc's two end points and, between them, the point furthest outside (outer) or
// inside the circle, beyond the first point's distance too; just the ends when there is
// none.
std::vector<cv::Point2d> endsAndCrest(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                                      bool outer)
{
    const double d0 = Length(points.front(), centre);
    size_t crest = 0;
    double crestDistance = 0;
    for (size_t k = 1; k + 1 < points.size(); ++k) {
        const double d = Length(points[k], centre);
        const bool beyond = outer ? d > radius && d > d0 : d < radius && d < d0;
        if (beyond && (crest == 0 || (outer ? d > crestDistance : d < crestDistance))) {
            crest = k;
            crestDistance = d;
        }
    }
    std::vector<cv::Point2d> chosen{points.front()};
    if (crest != 0)
        chosen.push_back(points[crest]);
    chosen.push_back(points.back());
    return chosen;
}

} // namespace

bool clcArcPointsAndFit(cv::Mat& image, _ArcDetParam& param, int fitMode, bool bestEdgePerCaliper,
                        int angularSmoothing, double outlierDistance)
{
    ArcROI* roi = arcRoi(param.roi);
    circle_tools::findRecordEdgePoints(image, param, roi, bestEdgePerCaliper, angularSmoothing, outlierDistance);
    if (param.edgePoints.size() < 3)
        return false;

    constrainedEstimate(param, *roi);
    std::vector<cv::Point2d> fitted =
        fitMode == 1 || fitMode == 2 ? endsAndCrest(param.edgePoints, param.centre, param.radius, fitMode == 1)
                                     : param.edgePoints;
    if (fitted.size() < 3)
        return false;

    // The fit starts from the estimate and leaves it in place should it fail at once.
    cv::Point2d centre = param.centre;
    double radius = param.radius;
    fitCircle(fitted, centre, radius, FitCircleTukey);
    if (bestEdgePerCaliper && fitMode == 0 &&
        circle_tools::countNearCircle(fitted, centre, radius, circle_tools::kInlierTolerance) <
            circle_tools::kMinInliers)
        return false;

    param.centre = centre;
    param.radius = radius;
    findArcAngle(param);
    param.success = true;
    return true;
}

void findArcAngle(_ArcDetParam& param)
{
    const ArcROI* roi = arcRoi(param.roi);
    if (!roi)
        return;

    std::vector<cv::Point2d> ends;
    for (const Ray& ray : boundaryRays(*roi)) {
        std::vector<cv::Point2d> crossings;
        getLineCircleIntersection(param.centre, param.radius, ray.from, ray.to, crossings);
        for (const cv::Point2d& p : crossings)
            if (onSegement(p, ray.from, ray.to))
                ends.push_back(p);
    }
    // A circle that leaves through the ROI's inner or outer circle instead of a ray.
    if (ends.size() < 2) {
        const cv::Point2d roiCentre(roi->centreX, roi->centreY);
        std::vector<cv::Point2d> crossings;
        getCircleCircleIntersection(param.centre, param.radius, roiCentre, roi->radius1, crossings);
        getCircleCircleIntersection(param.centre, param.radius, roiCentre, roi->radius2, crossings);
        for (const cv::Point2d& p : crossings)
            if (insideArcRoi(p, *roi))
                ends.push_back(p);
    }
    if (ends.size() < 2)
        return;

    std::vector<float> theta;
    for (const cv::Point2d& p : ends)
        theta.push_back(static_cast<float>(std::atan2(p.y - param.centre.y, p.x - param.centre.x)));
    std::sort(theta.begin(), theta.end());

    // Image angles run clockwise on screen; whether the found arc goes from the first end
    // to the last that way, or round the other way, is told by a point just past the first.
    const double probeAngle = theta.front() + 0.01f;
    const cv::Point2d probe(param.centre.x + param.radius * std::cos(probeAngle),
                            param.centre.y + param.radius * std::sin(probeAngle));
    const double first = yUpDegrees(theta.front() * kDegreesPerRadian);
    const double last = yUpDegrees(theta.back() * kDegreesPerRadian);
    const bool arcFollowsImageAngles = insideArcRoi(probe, *roi);
    param.arcStartAngle = arcFollowsImageAngles ? last : first;
    param.arcEndAngle = arcFollowsImageAngles ? first : last;
}
