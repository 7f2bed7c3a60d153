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

namespace {

double labelScale(const cv::Mat& picture)
{
    return std::max(0.35, std::min(picture.cols, picture.rows) / 1800.0);
}

int labelThickness(double scale)
{
    return std::max(1, static_cast<int>(std::lround(scale * 1.5)));
}

cv::Rect outlineBounds(const std::vector<cv::Point2d>& outline)
{
    std::vector<cv::Point2f> points(outline.begin(), outline.end());
    return cv::boundingRect(points);
}

} // namespace

cv::Rect labelBox(const cv::Mat& picture, const std::vector<std::string>& lines, cv::Point2d anchor)
{
    const double scale = labelScale(picture);
    const int thickness = labelThickness(scale);
    const int font = cv::FONT_HERSHEY_SIMPLEX;
    int width = 0, baseline = 0;
    const int lineHeight = cv::getTextSize("Ag", font, scale, thickness, &baseline).height + baseline + 4;
    for (const std::string& line : lines)
        width = std::max(width, cv::getTextSize(line, font, scale, thickness, &baseline).width);
    const int height = lineHeight * static_cast<int>(lines.size()) + 4;
    const int x = std::clamp(static_cast<int>(anchor.x), 0, std::max(0, picture.cols - width - 8));
    const int y = std::clamp(static_cast<int>(anchor.y), 0, std::max(0, picture.rows - height));
    return {x, y, width + 8, height};
}

cv::Rect drawLabel(cv::Mat& picture, const std::vector<std::string>& lines, cv::Point2d anchor)
{
    if (lines.empty())
        return {};
    const double scale = labelScale(picture);
    const int thickness = labelThickness(scale);
    const int font = cv::FONT_HERSHEY_SIMPLEX;
    int baseline = 0;
    const int lineHeight = cv::getTextSize("Ag", font, scale, thickness, &baseline).height + baseline + 4;
    const cv::Rect box = labelBox(picture, lines, anchor);
    cv::rectangle(picture, box, cv::Scalar(255, 255, 255), cv::FILLED);
    cv::rectangle(picture, box, kShapeColour, 1);
    for (size_t i = 0; i < lines.size(); ++i)
        cv::putText(picture, lines[i], cv::Point(box.x + 4, box.y + lineHeight * static_cast<int>(i + 1) - baseline),
                    font, scale, cv::Scalar(0, 0, 0), thickness, cv::LINE_AA);
    return box;
}

cv::Point2d labelAnchorBeside(const cv::Mat& picture, const std::vector<std::string>& lines,
                              const std::vector<cv::Point2d>& outline)
{
    if (outline.empty())
        return {0, 0};
    const cv::Rect bounds = outlineBounds(outline);
    const double gap = markSize(picture);
    const double height = labelBox(picture, lines, {0, 0}).height;
    const double below = bounds.y + bounds.height + gap;
    return {static_cast<double>(bounds.x), below + height <= picture.rows ? below : bounds.y - gap - height};
}

void drawScanArrow(cv::Mat& picture, cv::Point2d from, cv::Point2d to)
{
    const double length = cv::norm(to - from);
    if (!(length > 0))
        return;
    cv::arrowedLine(picture, toPixel(from), toPixel(to), kRoiColour, std::max(1, markSize(picture) / 2), cv::LINE_AA,
                    kFractionBits, std::min(0.4, 4.0 * markSize(picture) / length));
}

void addInset(cv::Mat& picture, const std::vector<cv::Point2d>& roiOutline, cv::Point2d focus,
              const std::vector<cv::Rect>& avoid)
{
    if (roiOutline.empty() || picture.empty())
        return;
    const cv::Rect whole(0, 0, picture.cols, picture.rows);
    const int margin = 4 * markSize(picture);
    const cv::Rect bounds =
        (outlineBounds(roiOutline) + cv::Size(2 * margin, 2 * margin) - cv::Point(margin, margin)) & whole;
    if (bounds.area() == 0)
        return;
    const int room = std::min(picture.cols, picture.rows) * 2 / 5;
    int factor = std::min(8, room / std::max(bounds.width, bounds.height));
    cv::Rect crop = bounds;
    if (factor < 2) {
        // Too large a ROI to show whole: the part around the focus, where the result is.
        factor = 4;
        const int side = std::min(room / factor, std::min(picture.cols, picture.rows));
        const cv::Point corner(std::clamp(static_cast<int>(focus.x) - side / 2, 0, picture.cols - side),
                               std::clamp(static_cast<int>(focus.y) - side / 2, 0, picture.rows - side));
        crop = cv::Rect(corner, cv::Size(side, side));
    }
    const cv::Size size = crop.size() * factor;
    if (size.width + 4 > picture.cols || size.height + 4 > picture.rows)
        return;
    // The corners, farthest from the ROI first; the first clear of the ROI and of every
    // box to avoid wins, else the first clear of the ROI.
    std::vector<cv::Rect> corners = {{2, 2, size.width, size.height},
                                     {picture.cols - size.width - 2, 2, size.width, size.height},
                                     {2, picture.rows - size.height - 2, size.width, size.height},
                                     {picture.cols - size.width - 2, picture.rows - size.height - 2, size.width,
                                      size.height}};
    const cv::Point2d roiCentre(bounds.x + bounds.width / 2.0, bounds.y + bounds.height / 2.0);
    const auto distance = [&roiCentre](const cv::Rect& r) {
        return cv::norm(cv::Point2d(r.x + r.width / 2.0, r.y + r.height / 2.0) - roiCentre);
    };
    std::stable_sort(corners.begin(), corners.end(),
                     [&distance](const cv::Rect& a, const cv::Rect& b) { return distance(a) > distance(b); });
    const auto clearOf = [](const cv::Rect& r, const cv::Rect& other) { return (r & other).area() == 0; };
    const cv::Rect* place = nullptr;
    for (const cv::Rect& r : corners)
        if (clearOf(r, bounds) && std::all_of(avoid.begin(), avoid.end(), [&](const cv::Rect& a) { return clearOf(r, a); })) {
            place = &r;
            break;
        }
    for (const cv::Rect& r : corners)
        if (!place && clearOf(r, bounds))
            place = &r;
    if (!place)
        place = &corners.front();
    cv::Mat inset;
    cv::resize(picture(crop).clone(), inset, size, 0, 0, cv::INTER_NEAREST);
    inset.copyTo(picture(*place));
    cv::rectangle(picture, *place, kRoiColour, 2);
    cv::rectangle(picture, crop, kRoiColour, 1);
}

} // namespace frontend
