#include "PartFixture.h"

#include "CoordinateUtility.h"
#include "Geometry.h"

#include <cmath>

namespace {

constexpr double kPi = 3.141592653589793;

bool isFinite(cv::Point2d p)
{
    return std::isfinite(p.x) && std::isfinite(p.y);
}

bool isUsableLine(const cv::Vec4d& line)
{
    for (int k = 0; k < 4; ++k)
        if (!std::isfinite(line[k]))
            return false;
    return line[0] != 0 || line[1] != 0;
}

double directionDegrees(double dx, double dy)
{
    return std::atan2(dy, dx) * 180.0 / kPi;
}

ObjPos makePose(cv::Point2d origin, double angle)
{
    ObjPos pose;
    pose.x = static_cast<float>(origin.x);
    pose.y = static_cast<float>(origin.y);
    pose.angle = static_cast<float>(angle);
    return pose;
}

cv::Point2d mapped(const CoordinateTransformer& t, double x, double y)
{
    CoordinateTransformer copy = t; // the transformer's operations take it by reference
    float fx = static_cast<float>(x), fy = static_cast<float>(y);
    AlgorithmUtility::transformInvertXY(fx, fy, copy);
    return {fx, fy};
}

float turn(const CoordinateTransformer& t)
{
    return t.curAngle - t.refAngle;
}

} // namespace

bool getPoseFromTwoLines(const cv::Vec4d& angleLine, const cv::Vec4d& secondLine, ObjPos& pose)
{
    if (!isUsableLine(angleLine) || !isUsableLine(secondLine))
        return false;
    cv::Point2d origin;
    if (!clcLineLineIntersection(angleLine, secondLine, origin) || !isFinite(origin))
        return false;
    pose = makePose(origin, directionDegrees(angleLine[0], angleLine[1]));
    return true;
}

bool getPoseFromPointAndLine(cv::Point2d origin, const cv::Vec4d& angleLine, ObjPos& pose)
{
    if (!isFinite(origin) || !isUsableLine(angleLine))
        return false;
    pose = makePose(origin, directionDegrees(angleLine[0], angleLine[1]));
    return true;
}

bool getPoseFromTwoPoints(cv::Point2d origin, cv::Point2d towards, ObjPos& pose)
{
    if (!isFinite(origin) || !isFinite(towards) || origin == towards)
        return false;
    pose = makePose(origin, directionDegrees(towards.x - origin.x, towards.y - origin.y));
    return true;
}

CoordinateTransformer getPoseTransformer(const ObjPos& reference, const ObjPos& current)
{
    CoordinateTransformer t;
    t.refX = reference.x;
    t.refY = reference.y;
    t.refAngle = reference.angle;
    t.curX = current.x;
    t.curY = current.y;
    t.curAngle = current.angle;
    return t;
}

void transRoiToCurImage(const CoordinateTransformer& t, RotateRectROI& roi)
{
    const cv::Point2d c = mapped(t, roi.centreX, roi.centreY);
    roi.centreX = c.x;
    roi.centreY = c.y;
    roi.angle += turn(t);
}

void transRoiToCurImage(const CoordinateTransformer& t, RingROI& roi)
{
    const cv::Point2d c = mapped(t, roi.centreX, roi.centreY);
    roi.centreX = c.x;
    roi.centreY = c.y;
}

void transRoiToCurImage(const CoordinateTransformer& t, ArcROI& roi)
{
    const cv::Point2d c = mapped(t, roi.centreX, roi.centreY);
    roi.centreX = c.x;
    roi.centreY = c.y;
    // Arc angles run counter-clockwise on screen, the transformer turns clockwise.
    roi.angle1 -= turn(t);
    roi.angle2 -= turn(t);
}

void transRoiToCurImage(const CoordinateTransformer& t, LineROI& roi)
{
    const cv::Point2d a = mapped(t, roi.x1, roi.y1), b = mapped(t, roi.x2, roi.y2);
    roi = LineROI(a.x, a.y, b.x, b.y);
}

void transRoiToCurImage(const CoordinateTransformer& t, RectROI& roi)
{
    const QPointF centre = roi.rect.center();
    const cv::Point2d c = mapped(t, centre.x(), centre.y());
    roi.rect.moveCenter(QPointF(c.x, c.y));
}

bool transRoiToCurImage(const CoordinateTransformer& t, ROI* roi)
{
    if (auto* rr = dynamic_cast<RotateRectROI*>(roi))
        transRoiToCurImage(t, *rr);
    else if (auto* ring = dynamic_cast<RingROI*>(roi))
        transRoiToCurImage(t, *ring);
    else if (auto* arc = dynamic_cast<ArcROI*>(roi))
        transRoiToCurImage(t, *arc);
    else if (auto* line = dynamic_cast<LineROI*>(roi))
        transRoiToCurImage(t, *line);
    else if (auto* rect = dynamic_cast<RectROI*>(roi))
        transRoiToCurImage(t, *rect);
    else if (auto* circle = dynamic_cast<CircleROI*>(roi)) {
        const QPointF centre = circle->rect.center();
        const cv::Point2d c = mapped(t, centre.x(), centre.y());
        circle->rect.moveCenter(QPointF(c.x, c.y));
    } else
        return false;
    return true;
}
