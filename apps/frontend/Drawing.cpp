#include "Drawing.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace frontend {

namespace {
constexpr double kPi = 3.141592653589793;
// Fixed-point with 4 fractional bits so sub-pixel positions show in the drawings.
constexpr int kFractionBits = 4;

cv::Point toPixel(cv::Point2d p)
{
    return cv::Point(static_cast<int>(std::lround(p.x * (1 << kFractionBits))),
                     static_cast<int>(std::lround(p.y * (1 << kFractionBits))));
}
} // namespace

cv::Mat zoomedAround(const cv::Mat& picture, cv::Point2d centre, int halfSide, int factor, View& view)
{
    const cv::Rect crop = cv::Rect(static_cast<int>(centre.x) - halfSide, static_cast<int>(centre.y) - halfSide,
                                   2 * halfSide, 2 * halfSide) &
                          cv::Rect(0, 0, picture.cols, picture.rows);
    cv::Mat zoomed;
    cv::resize(picture(crop), zoomed, crop.size() * factor, 0, 0, cv::INTER_NEAREST);
    // Pixel centres sit at integer coordinates: an enlarged pixel's centre is at
    // factor * (x - crop.x) + (factor - 1) / 2.
    view.scale = factor;
    view.origin = cv::Point2d(crop.x, crop.y) - cv::Point2d(0.5, 0.5) * ((factor - 1.0) / factor);
    return zoomed;
}

std::vector<cv::Point2d> circleArc(cv::Point2d centre, double radius, double from, double to)
{
    if (to <= from)
        to += 360.0;
    // About one point every two pixels along the circle.
    const int steps = std::max(8, static_cast<int>(std::ceil(radius * (to - from) * kPi / 360.0)));
    std::vector<cv::Point2d> points;
    for (int i = 0; i <= steps; ++i) {
        const double a = (from + (to - from) * i / steps) * kPi / 180.0;
        points.emplace_back(centre.x + radius * std::cos(a), centre.y - radius * std::sin(a));
    }
    return points;
}

void drawPolyline(cv::Mat& canvas, const View& view, const std::vector<cv::Point2d>& points, bool closed,
                  const cv::Scalar& colour)
{
    std::vector<cv::Point> fixed;
    for (const cv::Point2d& p : points)
        fixed.push_back(toPixel(view(p)));
    cv::polylines(canvas, fixed, closed, colour, 1, cv::LINE_AA, kFractionBits);
}

void drawPolygon(cv::Mat& canvas, const std::vector<cv::Point2d>& corners, const cv::Scalar& colour)
{
    drawPolyline(canvas, View(), corners, true, colour);
}

void drawCross(cv::Mat& canvas, cv::Point2d p, const cv::Scalar& colour, int size)
{
    const cv::Point c = toPixel(p);
    const int s = size << kFractionBits;
    cv::line(canvas, c - cv::Point(s, 0), c + cv::Point(s, 0), colour, 1, cv::LINE_AA, kFractionBits);
    cv::line(canvas, c - cv::Point(0, s), c + cv::Point(0, s), colour, 1, cv::LINE_AA, kFractionBits);
}

void drawRingRoi(cv::Mat& canvas, const View& view, const RingROI& ring, const cv::Scalar& colour)
{
    const cv::Point2d centre(ring.centreX, ring.centreY);
    drawPolyline(canvas, view, circleArc(centre, ring.radius1, 0, 360), true, colour);
    drawPolyline(canvas, view, circleArc(centre, ring.radius2, 0, 360), true, colour);
}

void drawArcRoi(cv::Mat& canvas, const View& view, const ArcROI& arc, const cv::Scalar& colour)
{
    const cv::Point2d centre(arc.centreX, arc.centreY);
    std::vector<cv::Point2d> outline = circleArc(centre, arc.radius1, arc.angle1, arc.angle2);
    const std::vector<cv::Point2d> other = circleArc(centre, arc.radius2, arc.angle1, arc.angle2);
    outline.insert(outline.end(), other.rbegin(), other.rend());
    drawPolyline(canvas, view, outline, true, colour);
}

void drawEdgePoints(cv::Mat& canvas, const View& view, const std::vector<cv::Point2d>& points,
                    const cv::Scalar& colour)
{
    for (const cv::Point2d& p : points)
        drawCross(canvas, view(p), colour, 2);
}

} // namespace frontend
