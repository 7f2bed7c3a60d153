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

namespace frontend {

int markSize(const cv::Mat& picture)
{
    return std::max(2, std::min(picture.cols, picture.rows) / 200);
}

void drawJudgedPoints(cv::Mat& picture, const nlohmann::ordered_json& diagnostics)
{
    if (!diagnostics.contains("points"))
        return;
    const int size = markSize(picture);
    for (const auto& d : diagnostics.at("points")) {
        const cv::Point2d p(d.at("point")[0].get<double>(), d.at("point")[1].get<double>());
        if (d.at("inlier").get<bool>()) {
            drawCross(picture, p, kInlierColour, size);
        } else {
            drawCross(picture, p, kOutlierColour, size);
            cv::circle(picture, toPixel(p), (2 * size) << kFractionBits, kOutlierColour, 1, cv::LINE_AA,
                       kFractionBits);
        }
    }
}

void drawLabelBeside(cv::Mat& picture, const std::vector<std::string>& lines, const std::vector<cv::Point2d>& outline)
{
    if (outline.empty() || lines.empty())
        return;
    std::vector<cv::Point2f> points(outline.begin(), outline.end());
    const cv::Rect bounds = cv::boundingRect(points);
    // Below the ROI, or above it when the picture ends first.
    const double gap = markSize(picture);
    const double lineHeight = 30.0 * std::max(0.35, std::min(picture.cols, picture.rows) / 1800.0) + 4;
    const double height = lineHeight * lines.size() + 4;
    const double below = bounds.y + bounds.height + gap;
    drawLabel(picture, lines,
              {static_cast<double>(bounds.x), below + height <= picture.rows ? below : bounds.y - gap - height});
}

void drawLabel(cv::Mat& picture, const std::vector<std::string>& lines, cv::Point2d anchor)
{
    const double scale = std::max(0.35, std::min(picture.cols, picture.rows) / 1800.0);
    const int thickness = std::max(1, static_cast<int>(std::lround(scale * 1.5)));
    const int font = cv::FONT_HERSHEY_SIMPLEX;
    int width = 0, baseline = 0;
    const int lineHeight = cv::getTextSize("Ag", font, scale, thickness, &baseline).height + baseline + 4;
    for (const std::string& line : lines)
        width = std::max(width, cv::getTextSize(line, font, scale, thickness, &baseline).width);
    const int height = lineHeight * static_cast<int>(lines.size()) + 4;
    const int x = std::clamp(static_cast<int>(anchor.x), 0, std::max(0, picture.cols - width - 8));
    const int y = std::clamp(static_cast<int>(anchor.y), 0, std::max(0, picture.rows - height));
    cv::rectangle(picture, cv::Rect(x, y, width + 8, height), cv::Scalar(255, 255, 255), cv::FILLED);
    cv::rectangle(picture, cv::Rect(x, y, width + 8, height), kShapeColour, 1);
    for (size_t i = 0; i < lines.size(); ++i)
        cv::putText(picture, lines[i], cv::Point(x + 4, y + lineHeight * static_cast<int>(i + 1) - baseline),
                    font, scale, cv::Scalar(0, 0, 0), thickness, cv::LINE_AA);
}

void drawScanArrow(cv::Mat& picture, cv::Point2d from, cv::Point2d to)
{
    const double length = cv::norm(to - from);
    if (!(length > 0))
        return;
    cv::arrowedLine(picture, toPixel(from), toPixel(to), kRoiColour, std::max(1, markSize(picture) / 2), cv::LINE_AA,
                    kFractionBits, std::min(0.4, 4.0 * markSize(picture) / length));
}

void addInset(cv::Mat& picture, const std::vector<cv::Point2d>& roiOutline)
{
    if (roiOutline.empty() || picture.empty())
        return;
    std::vector<cv::Point2f> outline(roiOutline.begin(), roiOutline.end());
    const int margin = 4 * markSize(picture);
    const cv::Rect bounds = (cv::boundingRect(outline) + cv::Size(2 * margin, 2 * margin) -
                             cv::Point(margin, margin)) &
                            cv::Rect(0, 0, picture.cols, picture.rows);
    if (bounds.area() == 0)
        return;
    // The inset takes up to 40 % of the picture's smaller side, enlarged by a whole factor.
    const int room = std::min(picture.cols, picture.rows) * 2 / 5;
    const int factor = std::max(2, room / std::max(bounds.width, bounds.height));
    // A ROI too large for that shows its middle.
    const cv::Size side(std::min(bounds.width, room / factor), std::min(bounds.height, room / factor));
    const cv::Rect crop(bounds.x + (bounds.width - side.width) / 2, bounds.y + (bounds.height - side.height) / 2,
                        side.width, side.height);
    cv::Mat inset;
    cv::resize(picture(crop).clone(), inset, crop.size() * factor, 0, 0, cv::INTER_NEAREST);
    const cv::Point2d roiCentre(bounds.x + bounds.width / 2.0, bounds.y + bounds.height / 2.0);
    const int x = roiCentre.x < picture.cols / 2.0 ? picture.cols - inset.cols - 2 : 2;
    const int y = roiCentre.y < picture.rows / 2.0 ? picture.rows - inset.rows - 2 : 2;
    const cv::Rect place(x, y, inset.cols, inset.rows);
    if ((place & cv::Rect(0, 0, picture.cols, picture.rows)) != place)
        return;
    inset.copyTo(picture(place));
    cv::rectangle(picture, place, kRoiColour, 2);
    cv::rectangle(picture, crop, kRoiColour, 1);
}

} // namespace frontend
