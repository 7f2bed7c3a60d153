#include "CircleTools.h"

#include "CircleTools_p.h"
#include "Fitting.h"
#include "Geometry.h"
#include "ImageSampling.h"
#include "ProfileCore.h"
#include "ToolSupport_p.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace {

constexpr double kPi = 3.141592653589793;

// OpenCV's remap handles source and destination sides below 32767 only; the crop around
// the ROI is its source, so the outer radius is kept to 2 * Ro + 1 < 32767.
constexpr int kMaxPolarSide = 32767;
constexpr float kMaxOuterRadius = static_cast<float>((kMaxPolarSide - 1) / 2);
// Far enough for any image, near enough that the crop's corners stay inside int.
constexpr double kMaxCentreCoordinate = 1e9;

// Where and how a ring or an arc is unwrapped.
struct PolarLayout {
    int cx = 0, cy = 0;      // centre truncated to whole pixels
    int outer = 0, inner = 0; // radii truncated to whole pixels
    double start = 0, end = 0; // image angles in degrees, clockwise on screen
    int rows = 0;              // angles in the strip
    int rowOffset = 0;         // first caliper's row
    bool ring = false;
};

bool usableRadii(float r1, float r2)
{
    // Written so that NaN fails every comparison.
    return r1 >= 0.0f && r2 >= 0.0f && r1 < kMaxOuterRadius && r2 < kMaxOuterRadius;
}

bool usableCentre(double x, double y)
{
    return std::abs(x) <= kMaxCentreCoordinate && std::abs(y) <= kMaxCentreCoordinate;
}

// Reads the ROI into a layout; false for anything that cannot or should not be unwrapped.
bool polarLayout(ROI* roi, int startParam, PolarLayout& layout)
{
    double cx = 0, cy = 0;
    float r1 = 0, r2 = 0;
    double span = 360.0;
    const int type = roi->type();
    if (type == RingROIType) {
        const auto* ring = dynamic_cast<const RingROI*>(roi);
        if (!ring)
            return false;
        cx = ring->centreX;
        cy = ring->centreY;
        r1 = ring->radius1;
        r2 = ring->radius2;
        layout.ring = true;
        layout.start = layout.end = startParam;
        layout.rowOffset = 0;
    } else if (type == ArcROIType) {
        const auto* arc = dynamic_cast<const ArcROI*>(roi);
        if (!arc || !std::isfinite(arc->angle1) || !std::isfinite(arc->angle2))
            return false;
        cx = arc->centreX;
        cy = arc->centreY;
        r1 = arc->radius1;
        r2 = arc->radius2;
        // The ROI's angles are counter-clockwise with y up; the strip runs in image angles.
        layout.start = 360.0 - arc->angle2;
        layout.end = 360.0 - arc->angle1;
        span = layout.end > layout.start ? layout.end - layout.start : 360.0 - (layout.start - layout.end);
        layout.rowOffset = startParam;
    } else {
        // A CircleROI is accepted by hosts but has no measuring rule here.
        return false;
    }
    if (!usableRadii(r1, r2) || !usableCentre(cx, cy))
        return false;
    layout.cx = static_cast<int>(cx);
    layout.cy = static_cast<int>(cy);
    layout.outer = static_cast<int>(std::max(r1, r2));
    layout.inner = static_cast<int>(std::min(r1, r2));
    if (layout.outer == 0)
        return false;
    // Checked before anything is allocated: a strip remap refuses would be cut for nothing.
    const double rows = std::ceil(layout.outer * 2.0 * kPi * span / 360.0);
    if (!(rows >= 1.0 && rows < kMaxPolarSide))
        return false;
    layout.rows = static_cast<int>(rows);
    return true;
}

double normalisedDegrees(double degrees)
{
    double d = std::fmod(degrees, 360.0);
    return d < 0 ? d + 360.0 : d;
}

// Rows that a ring's strip needs after its last row, repeating its first rows, so that
// the last caliper, which would otherwise be cut short or dropped, runs across the seam.
int seamRows(int rows, int rowOffset, int width, int step)
{
    const int length = rows - rowOffset;
    const int whole = length / step;
    const int lastStart = step * (length % step == 0 ? whole - 1 : whole);
    return std::max(lastStart - length + width, 0);
}

// Line through the polar points as a, b, c of a*x + b*y + c = 0 with a unit normal.
cv::Vec3d polarReferenceLine(std::vector<cv::Point2d>& points)
{
    cv::Vec4d line;
    fitLine(points, line, FitLineTukey, 0.0);
    return {line[1], -line[0], line[3] * line[0] - line[2] * line[1]};
}

double distanceTo(const cv::Vec3d& line, cv::Point2d p) { return pointToLineDistance(p, line[0], line[1], line[2], false); }

// Of each run of points in the same row (one caliper's edges), keeps the one nearest to
// the reference line, the first on ties. When no caliper found more than one edge there
// is nothing to choose, and the robust line fit, the costly part, is skipped.
void keepBestEdgePerRow(std::vector<cv::Point2d>& points)
{
    const auto sameRow = [](const cv::Point2d& a, const cv::Point2d& b) { return a.y == b.y; };
    if (std::adjacent_find(points.begin(), points.end(), sameRow) == points.end())
        return;
    const cv::Vec3d line = polarReferenceLine(points);
    std::vector<cv::Point2d> kept;
    size_t runStart = 0;
    while (runStart < points.size()) {
        size_t best = runStart;
        double bestDistance = distanceTo(line, points[runStart]);
        size_t k = runStart + 1;
        for (; k < points.size() && points[k].y == points[runStart].y; ++k) {
            const double d = distanceTo(line, points[k]);
            if (d < bestDistance) {
                bestDistance = d;
                best = k;
            }
        }
        kept.push_back(points[best]);
        runStart = k;
    }
    points.swap(kept);
}

void removeFarFromLine(std::vector<cv::Point2d>& points, double outlierDistance)
{
    const cv::Vec3d line = polarReferenceLine(points);
    const float limit = static_cast<float>(outlierDistance + 1e-6);
    points.erase(std::remove_if(points.begin(), points.end(),
                                [&](const cv::Point2d& p) { return !(distanceTo(line, p) < limit); }),
                 points.end());
}

// Points nearer to the centre than both cyclic neighbours: the inner crests of a contour.
std::vector<cv::Point2d> innerCrests(const std::vector<cv::Point2d>& points, cv::Point2d centre)
{
    const size_t n = points.size();
    std::vector<double> distance(n);
    for (size_t i = 0; i < n; ++i)
        distance[i] = Length(points[i], centre);
    std::vector<cv::Point2d> crests;
    for (size_t i = 0; i < n; ++i)
        if (distance[i] < distance[(i + n - 1) % n] && distance[i] < distance[(i + 1) % n])
            crests.push_back(points[i]);
    return crests;
}

} // namespace

namespace circle_tools {

int countNearCircle(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius, double tolerance)
{
    return static_cast<int>(std::count_if(points.begin(), points.end(), [&](const cv::Point2d& p) {
        return std::abs(Length(p, centre) - radius) <= tolerance;
    }));
}

} // namespace circle_tools

void clcCircleSegmentPoints(cv::Mat& image, ROI* roi, bool clockwiseFromStart, int startParam,
                            ClcDirection scanSense, EdgeTransition transition, int segmentWidth, int segmentStep,
                            int maxSegments, int sigma, int percent, int minStrength, cv::Mat& roiImage,
                            cv::Rect& cropRect, std::vector<cv::Point2d>& polarPoints,
                            std::vector<cv::Point2d>& imagePoints, bool bestEdgePerCaliper, int angularSmoothing,
                            double outlierDistance)
{
    PolarLayout layout;
    if (!roi || !tool_support::isReadableImage(image) || !polarLayout(roi, startParam, layout))
        return;
    const int width = std::max(segmentWidth, 1);
    const int step = std::max(segmentStep, 1);
    if (layout.ring && width > layout.rows)
        return;

    cropRect = cv::Rect(layout.cx - layout.outer, layout.cy - layout.outer, 2 * layout.outer + 1,
                        2 * layout.outer + 1);
    copyStaticROIImage(image, cropRect, roiImage, cv::Scalar(0));
    tool_support::convertToGreyInPlace(roiImage);

    // The strip is unwrapped straight into a buffer with room for the seam rows.
    const int seam = layout.ring ? seamRows(layout.rows, layout.rowOffset, width, step) : 0;
    cv::Mat polar(layout.rows + seam, layout.outer - layout.inner + 1, roiImage.type());
    cv::Mat unwrapped = polar.rowRange(0, layout.rows);
    warpPolarImg(roiImage, layout.start, layout.end, cv::Point2d(layout.outer, layout.outer), layout.inner,
                 layout.outer, unwrapped.size(), clockwiseFromStart, false, unwrapped);
    if (unwrapped.data != polar.data)
        return;
    if (seam > 0)
        polar.rowRange(0, seam).copyTo(polar.rowRange(layout.rows, layout.rows + seam));

    const double start = normalisedDegrees(layout.start);
    const double end = normalisedDegrees(layout.end);
    const double span = std::abs(start - end) < DBL_EPSILON ? 360.0 : (start > end ? end + 360.0 : end) - start;
    const double angleStep = span / layout.rows;

    if (angularSmoothing > 1) {
        if (polar.rows < 2 || polar.cols < 3)
            return;
        int rows = std::min(angularSmoothing, polar.rows);
        if (rows % 2 == 0)
            rows += angularSmoothing < polar.rows ? 1 : -1;
        cv::Mat smoothed;
        cv::blur(polar, smoothed, cv::Size(3, rows));
        polar = smoothed;
    }

    const int maxEdges = bestEdgePerCaliper && polar.cols > 1 ? polar.cols : 1;
    polarPoints.clear();
    clcSegmentPoints(polar, TopToBottom, scanSense, transition, width, step, layout.rowOffset, maxSegments, sigma,
                     static_cast<float>(percent), static_cast<float>(minStrength), polarPoints, maxEdges);
    if (polarPoints.size() < 2)
        return;

    if (bestEdgePerCaliper && maxEdges >= 2 && polarPoints.size() >= 3)
        keepBestEdgePerRow(polarPoints);
    if (outlierDistance >= 0 && polarPoints.size() >= 3)
        removeFarFromLine(polarPoints, outlierDistance);

    const double from = (clockwiseFromStart ? start : end) * kPi / 180.0;
    double rowAngle = angleStep * kPi / 180.0;
    if (!clockwiseFromStart)
        rowAngle = -rowAngle;
    imagePoints.resize(polarPoints.size());
    for (size_t i = 0; i < polarPoints.size(); ++i) {
        const double theta = from + rowAngle * polarPoints[i].y;
        const double r = layout.inner + polarPoints[i].x;
        polarPoints[i].y = theta;
        imagePoints[i] = cv::Point2d(r * std::cos(theta) + layout.cx, r * std::sin(theta) + layout.cy);
    }
}

bool clcCirclePoints(cv::Mat& image, _CirclePointsDetParam& param)
{
    circle_tools::findRecordEdgePoints(image, param, param.roi, false, 0, -1.0);
    param.success = param.edgePoints.size() >= 3;
    return param.success;
}

bool clcCirclePointsAndFit(cv::Mat& image, _CircleDetParam& param, int fitMode, bool bestEdgePerCaliper,
                           int angularSmoothing, double outlierDistance)
{
    circle_tools::findRecordEdgePoints(image, param, param.roi, bestEdgePerCaliper, angularSmoothing,
                                       outlierDistance);
    std::vector<cv::Point2d>& points = param.edgePoints;
    if (points.size() < 3)
        return false;

    bool ok = fitCircle(points, param.centre, param.radius, FitCircleHuber);
    if (fitMode == 1) {
        std::vector<cv::Point2f> narrowed(points.begin(), points.end());
        // OpenCV grows its circle point by point and starts again from every point left
        // outside; points in angular order, as the calipers give them, leave nearly every
        // one outside, which made dense arcs run for minutes. In a shuffled order the work
        // is linear on average; the fixed seed gives the same circle on every call.
        cv::RNG order(0x2545F491);
        cv::randShuffle(narrowed, 1.0, &order);
        cv::Point2f centre;
        float radius = 0;
        cv::minEnclosingCircle(narrowed, centre, radius);
        param.centre = centre;
        param.radius = radius;
    } else if (fitMode == 2) {
        std::vector<cv::Point2d> crests = innerCrests(points, param.centre);
        if (crests.size() > 2)
            ok = fitCircle(crests, param.centre, param.radius, FitCircleHuber);
    }

    if (ok && bestEdgePerCaliper && fitMode == 0)
        ok = circle_tools::countNearCircle(points, param.centre, param.radius, circle_tools::kInlierTolerance) >=
             circle_tools::kMinInliers;
    param.success = ok;
    return ok;
}
