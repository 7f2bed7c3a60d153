#include "LineTools.h"

#include "Fitting.h"
#include "Geometry.h"
#include "ProfileCore.h"
#include "RoiShapes.h"
#include "ToolSupport_p.h"

#include <algorithm>
#include <cfloat>

using namespace tool_support;

namespace {

// The two points one direction step either side of the line's point: the two-point form
// the geometry helpers take.
cv::Point2d backPoint(const cv::Vec4d& line)
{
    return {line[2] - line[0], line[3] - line[1]};
}

cv::Point2d frontPoint(const cv::Vec4d& line)
{
    return {line[2] + line[0], line[3] + line[1]};
}

void directFromFirstToLast(const std::vector<cv::Point2d>& points, cv::Vec4d& line)
{
    setLineDir(points.front(), points.back(), backPoint(line), frontPoint(line), line);
}

void clipToRoi(RotateRectROI& roi, const cv::Vec4d& line, std::vector<cv::Point2d>& startEnd)
{
    std::vector<cv::Point2f> corners;
    getCornerPoints(&roi, corners);
    getLineStartEndPointByROI(corners, cv::Point2d(roi.centreX, roi.centreY), line, startEnd);
}

// The first, the last and every point strictly farther from the line than both of its
// neighbours: the tips of a ragged edge on one side of the line.
std::vector<cv::Point2d> crests(const std::vector<cv::Point2d>& side, const cv::Vec4d& line)
{
    std::vector<double> distance;
    PointsLineDis(side, backPoint(line), frontPoint(line), distance);
    std::vector<cv::Point2d> tips{side.front()};
    for (size_t i = 1; i + 1 < side.size(); ++i)
        if (distance[i] > distance[i - 1] && distance[i] > distance[i + 1])
            tips.push_back(side[i]);
    tips.push_back(side.back());
    return tips;
}

} // namespace

bool clcLineEdgePoints(cv::Mat& image, _EdgeLineDetParam& param)
{
    // An empty image leaves the record as it was, on purpose: clcEdgeLineAndFit then fits
    // the points a previous call left behind.
    if (image.empty())
        return false;
    param.success = false;
    param.edgePoints.clear();
    param.startEndPoints.clear();
    RotateRectROI* roi = param.roi;
    if (!roi || !isUsableRotateRect(*roi) || !isReadableImage(image))
        return false;

    straightenRotateRect(image, *roi, param.roiImage);
    convertToGreyInPlace(param.roiImage);

    const EdgeTransition transition = param.transition == LightToDark || param.transition == DarkToLight
                                          ? static_cast<EdgeTransition>(param.transition)
                                          : BothTransitions;
    const ClcDirection scan = param.direction == RightToLeft ? RightToLeft : LeftToRight;
    // Horizontal bands stacked along the ROI's height; up to 1024 of them, one edge each.
    std::vector<cv::Point2d> local;
    clcSegmentPoints(param.roiImage, TopToBottom, scan, transition, param.segmentWidth, param.segmentStep, 0, 1024,
                     param.sigma, static_cast<float>(param.percent), static_cast<float>(param.minStrength), local, 1);
    if (local.empty())
        return false;
    param.edgePoints.resize(local.size());
    transformPoints(local, param.edgePoints, roi);
    return true;
}

bool clcEdgeLineAndFit(cv::Mat& image, _EdgeLineDetParam& param, int fitMode)
{
    clcLineEdgePoints(image, param);
    std::vector<cv::Point2d>& points = param.edgePoints;
    RotateRectROI* roi = param.roi;
    if (points.size() < 2 || !roi || !isUsableRotateRect(*roi)) {
        param.success = false;
        return false;
    }

    fitLine(points, param.line, FitLineHuber, 0.0);
    directFromFirstToLast(points, param.line);
    if (fitMode >= 1) {
        if (fitMode <= 2) {
            std::vector<cv::Point2d> side1, side2;
            LineLeftOrRight(points, backPoint(param.line), frontPoint(param.line), side1, side2);
            const std::vector<cv::Point2d>& side = fitMode == 1 ? side1 : side2;
            if (side.size() >= 2) {
                std::vector<cv::Point2d> tips = crests(side, param.line);
                fitLine(tips, param.line, FitLineHuber, 0.0);
            }
        }
        // A refit comes back in the fit's own orientation; every mode above 0 directs
        // again (with the first and last of all points, not of the side).
        directFromFirstToLast(points, param.line);
    }
    clipToRoi(*roi, param.line, param.startEndPoints);
    param.success = true;
    return true;
}

bool removeEdgeLineNoise(_EdgeLineDetParam& param, double maxDistance)
{
    if (param.edgePoints.size() < 2 || !param.roi || !isUsableRotateRect(*param.roi))
        return false;
    std::vector<cv::Point2d> kept = param.edgePoints;
    cv::Vec4d line;
    fitLine(kept, line, FitLineTukey, 0.0);
    const double a = line[1], b = -line[0], c = line[3] * line[0] - line[2] * line[1];
    // One pass against this one fit; points that only a refit would show as far off stay.
    kept.erase(std::remove_if(kept.begin(), kept.end(),
                              [&](const cv::Point2d& p) {
                                  return !(pointToLineDistance(p, a, b, c, false) <= maxDistance + 1e-6);
                              }),
               kept.end());
    if (kept.size() < 2)
        return false;

    fitLine(kept, param.line, FitLineTukey, 0.0);
    param.edgePoints = std::move(kept);
    param.startEndPoints.clear();
    directFromFirstToLast(param.edgePoints, param.line);
    clipToRoi(*param.roi, param.line, param.startEndPoints);
    return true;
}

void setLineDir(cv::Point2d first, cv::Point2d last, cv::Point2d a, cv::Point2d b, cv::Vec4d& line)
{
    cv::Point2d footFirst, footLast;
    getFooDrop(first, a, b, footFirst);
    getFooDrop(last, a, b, footLast);
    if (calculateVectorsInner(footFirst, footLast, a, b) < 0) {
        line[0] = -line[0];
        line[1] = -line[1];
    }
}

void getLineStartEndPointByROI(std::vector<cv::Point2f> corners, cv::Point2d centre, cv::Vec4d line,
                               std::vector<cv::Point2d>& startEnd)
{
    startEnd.clear();
    if (corners.size() < 4)
        return;
    const cv::Point2d front = frontPoint(line), back = backPoint(line);
    std::vector<cv::Point2d> meets;
    std::vector<double> distances;
    for (size_t i = 0; i < 4; ++i) {
        cv::Point2d p;
        if (clcLinesIntersection(cv::Point2d(corners[i]), cv::Point2d(corners[(i + 1) % 4]), back, front, p)) {
            meets.push_back(p);
            distances.push_back(Length(p, centre));
        }
    }
    if (meets.empty())
        return;

    // Not a sort: the end is the nearest meeting point at a distance other than the
    // start's, so two meeting points tied at the smallest distance never pair up.
    size_t start = 0;
    for (size_t i = 1; i < meets.size(); ++i)
        if (distances[i] < distances[start])
            start = i;
    size_t end = 0;
    bool endFound = false;
    for (size_t i = 0; i < meets.size(); ++i) {
        if (distances[i] == distances[start])
            continue;
        if (!endFound || distances[i] < distances[end]) {
            end = i;
            endFound = true;
        }
    }
    if (calculateVectorsInner(back, front, meets[start], meets[end]) >= 0)
        startEnd = {meets[start], meets[end]};
    else
        startEnd = {meets[end], meets[start]};
}

bool findLineLineCentralLine(_EdgeLineDetParam first, _EdgeLineDetParam second, _EdgeLineDetParam& central,
                             bool bisectorFlag)
{
    cv::Vec4d bisector;
    if (!getAngularBisector(first.line, second.line, bisector, bisectorFlag))
        return false;
    central.line = bisector;

    std::vector<cv::Point2d> ends;
    if (first.startEndPoints.size() == 2 && second.startEndPoints.size() == 2) {
        ends = {first.startEndPoints[0], first.startEndPoints[1], second.startEndPoints[0],
                second.startEndPoints[1]};
    } else {
        const cv::Vec4d& l1 = first.line;
        const cv::Vec4d& l2 = second.line;
        ends = {{l1[2], l1[3]}, frontPoint(l1), {l2[2], l2[3]}, frontPoint(l2)};
    }
    QVector<cv::Point2d> feet(4);
    for (int i = 0; i < 4; ++i)
        getFooDrop(ends[i], bisector, feet[i]);

    cv::Point2d leftTop, rightBottom;
    findLtPointAndRbPoint(feet, leftTop, rightBottom);
    if (calculateVectorsInner(feet[0], feet[1], leftTop, rightBottom) > 0) {
        central.startEndPoints.push_back(leftTop);
        central.startEndPoints.push_back(rightBottom);
    } else {
        central.startEndPoints.push_back(rightBottom);
        central.startEndPoints.push_back(leftTop);
    }
    central.success = true;
    return true;
}

void findLtPointAndRbPoint(QVector<cv::Point2d> points, cv::Point2d& leftTop, cv::Point2d& rightBottom)
{
    if (points.isEmpty())
        return;
    // The largest-x search starts at the smallest positive double, not the most negative
    // one: with every x at or below it the first point is taken, as hosts expect.
    cv::Point2d lowest(DBL_MAX, DBL_MAX), highest(DBL_MIN, DBL_MIN);
    int left = 0, right = 0;
    for (int i = 0; i < points.size(); ++i) {
        const cv::Point2d& p = points[i];
        if (p.x < lowest.x || (p.x == lowest.x && p.y < lowest.y)) {
            lowest = p;
            left = i;
        }
        if (p.x > highest.x || (p.x == highest.x && p.y > highest.y)) {
            highest = p;
            right = i;
        }
    }
    leftTop = points[left];
    rightBottom = points[right];
}
