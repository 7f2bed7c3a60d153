#include "CoordinateUtility.h"

#include <QPainter>
#include <QPointF>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

constexpr double kPi = 3.141592653589793;

/// Rotation about centre by -delta (clockwise on screen by delta), then a shift.
cv::Mat rigidMatrix(cv::Point2f centre, float delta, float shiftX, float shiftY)
{
    cv::Mat m = cv::getRotationMatrix2D(centre, -delta, 1.0);
    m.at<double>(0, 2) += shiftX;
    m.at<double>(1, 2) += shiftY;
    return m;
}

cv::Mat currentToReference(const CoordinateTransformer& t)
{
    return rigidMatrix({t.curX, t.curY}, t.refAngle - t.curAngle, t.refX - t.curX, t.refY - t.curY);
}

cv::Mat referenceToCurrent(const CoordinateTransformer& t)
{
    return rigidMatrix({t.refX, t.refY}, t.curAngle - t.refAngle, t.curX - t.refX, t.curY - t.refY);
}

void mapPoint(float& x, float& y, const cv::Mat& m)
{
    std::vector<cv::Point2f> point{{x, y}};
    cv::transform(point, point, m);
    x = point[0].x;
    y = point[0].y;
}

} // namespace

namespace AlgorithmUtility {

void transformXY(float& x, float& y, CoordinateTransformer& t)
{
    mapPoint(x, y, currentToReference(t));
}

void transformInvertXY(float& x, float& y, CoordinateTransformer& t)
{
    mapPoint(x, y, referenceToCurrent(t));
}

void transPointsToCurImage(CoordinateTransformer t, std::vector<cv::Point2d>& points)
{
    for (cv::Point2d& p : points) {
        float x = static_cast<float>(p.x);
        float y = static_cast<float>(p.y);
        transformInvertXY(x, y, t);
        p = cv::Point2d(x, y);
    }
}

void transformImage(cv::Mat& src, cv::Mat& dst, CoordinateTransformer& t)
{
    cv::warpAffine(src, dst, currentToReference(t), src.size(), cv::INTER_LINEAR, cv::BORDER_CONSTANT,
                   cv::Scalar(0));
}

void transformImage(cv::Mat& src, cv::Mat& dst, float dx, float dy, float angle)
{
    const cv::Point2f centre(static_cast<float>(src.cols * 0.5), static_cast<float>(src.rows * 0.5));
    transformImage(src, dst, dx, dy, centre, angle);
}

void transformImage(cv::Mat& src, cv::Mat& dst, float dx, float dy, cv::Point2f center, float angle)
{
    // The angle goes in as given: unlike the transformer, positive turns counter-clockwise.
    cv::warpAffine(src, dst, rigidMatrix(center, -angle, dx, dy), src.size(), cv::INTER_LINEAR,
                   cv::BORDER_CONSTANT, cv::Scalar(0));
}

void transformPainter(QPainter* painter, ObjPos& from, ObjPos& to)
{
    if (!painter)
        return;
    const float delta = to.angle - from.angle;
    const float dx = to.x - from.x;
    const float dy = to.y - from.y;
    const double theta = -delta * kPi / 180.0;
    const float c = static_cast<float>(std::cos(theta));
    const float s = static_cast<float>(std::sin(theta));
    // Turn about from, then move by the shift expressed in the turned frame, so the net
    // map is P -> to + Rot(delta) (P - from).
    painter->translate(QPointF(from.x, from.y));
    painter->rotate(delta);
    painter->translate(QPointF(c * dx - s * dy - from.x, c * dy + s * dx - from.y));
}

} // namespace AlgorithmUtility

void transPointsToCurImage(CoordinateTransformer t, std::vector<cv::Point2d>& points)
{
    AlgorithmUtility::transPointsToCurImage(t, points);
}
