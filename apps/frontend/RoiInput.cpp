// ROI shapes in parameter files: parsing with every field checked, the outline for
// drawing, and the check that a ROI lies inside the image.

#include "Messages.h"
#include "ToolDefinition.h"

#include <RoiShapes.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace frontend {

namespace {

constexpr double kPi = 3.141592653589793;

// Reads a required finite number from a JSON object, naming the field on failure.
double requireNumber(const json& object, const std::string& key, const std::string& where)
{
    if (!object.contains(key))
        throw InputError(where + ": missing field '" + key + "'");
    const json& v = object.at(key);
    if (!v.is_number() || !std::isfinite(v.get<double>()))
        throw InputError(where + ": field '" + key + "' must be a finite number, got " + v.dump());
    return v.get<double>();
}

// A number in [minimum, maximum] (an infinite maximum: no upper end).
double requireInRange(const json& object, const std::string& key, const std::string& where, double minimum,
                      double maximum = HUGE_VAL)
{
    const double value = requireNumber(object, key, where);
    if (value < minimum || value > maximum)
        throw InputError(where + ": field '" + key + "' is " + formatNumber(value) +
                         (std::isinf(maximum) ? ", it must be at least " + formatNumber(minimum)
                                              : ", outside its range " + formatNumber(minimum) + " .. " +
                                                    formatNumber(maximum)));
    return value;
}

// The tools straighten a rectangle into whole pixels and refuse one of a side below 1.
double requireSide(const json& object, const std::string& key, const std::string& where)
{
    return requireInRange(object, key, where, 1);
}

// Degrees; a turn either way covers every direction, and more is a typo.
double requireAngle(const json& object, const std::string& key, const std::string& where)
{
    return requireInRange(object, key, where, -360, 360);
}

cv::Point2d requirePoint(const json& object, const std::string& key, const std::string& where)
{
    if (!object.contains(key))
        throw InputError(where + ": missing field '" + key + "'");
    const json& v = object.at(key);
    if (!v.is_array() || v.size() != 2 || !v[0].is_number() || !v[1].is_number() ||
        !std::isfinite(v[0].get<double>()) || !std::isfinite(v[1].get<double>()))
        throw InputError(where + ": field '" + key + "' must be [x, y] with finite numbers, got " + v.dump());
    return {v[0].get<double>(), v[1].get<double>()};
}

void rejectUnknownFields(const json& object, const std::vector<std::string>& known, const std::string& where)
{
    for (auto it = object.begin(); it != object.end(); ++it)
        if (std::find(known.begin(), known.end(), it.key()) == known.end())
            throw InputError(where + ": unknown field '" + it.key() + "' (expected: " + joined(known) + ")");
}

// The two radii of a ring or an arc: either order, not both equal (a band of no width).
std::pair<double, double> requireRadii(const json& roi, const std::string& where)
{
    const double r1 = requireInRange(roi, "radius1", where, 0);
    const double r2 = requireInRange(roi, "radius2", where, 0);
    // The shapes hold radii in single precision: equal there is equal.
    if (static_cast<float>(r1) == static_cast<float>(r2))
        throw InputError(where + ": radius1 and radius2 are both " + formatNumber(r1) +
                         ": the band between them has no width");
    return {r1, r2};
}

} // namespace

RoiInput parseRoi(const json& roi, const std::vector<std::string>& accepted, const std::string& source)
{
    const std::string where = source + ": roi";
    if (!roi.is_object())
        throw InputError(where + " must be an object with a \"type\" field");
    if (!roi.contains("type") || !roi.at("type").is_string())
        throw InputError(where + ": missing string field 'type' (one of: " + joined(accepted) + ")");
    RoiInput parsed;
    parsed.kind = roi.at("type").get<std::string>();
    if (std::find(accepted.begin(), accepted.end(), parsed.kind) == accepted.end())
        throw InputError(where + ": type '" + parsed.kind + "' is not accepted by this tool (use one of: " +
                         joined(accepted) + ")");

    if (parsed.kind == "rotated_rect") {
        rejectUnknownFields(roi, {"type", "centre", "angle", "width", "height"}, where);
        const cv::Point2d c = requirePoint(roi, "centre", where);
        const double angle = requireAngle(roi, "angle", where);
        const double w = requireSide(roi, "width", where);
        const double h = requireSide(roi, "height", where);
        parsed.shape = std::make_unique<RotateRectROI>(c.x, c.y, static_cast<float>(angle), static_cast<float>(w),
                                                       static_cast<float>(h));
        parsed.echo = {{"type", parsed.kind}, {"centre", {c.x, c.y}}, {"angle", angle}, {"width", w}, {"height", h}};
    } else if (parsed.kind == "rect") {
        rejectUnknownFields(roi, {"type", "x", "y", "width", "height"}, where);
        const double x = requireNumber(roi, "x", where), y = requireNumber(roi, "y", where);
        const double w = requireSide(roi, "width", where);
        const double h = requireSide(roi, "height", where);
        parsed.shape = std::make_unique<RectROI>(QRectF(x, y, w, h));
        parsed.echo = {{"type", parsed.kind}, {"x", x}, {"y", y}, {"width", w}, {"height", h}};
    } else if (parsed.kind == "line") {
        rejectUnknownFields(roi, {"type", "start", "end"}, where);
        const cv::Point2d a = requirePoint(roi, "start", where), b = requirePoint(roi, "end", where);
        if (a == b)
            throw InputError(where + ": start and end are the same point: the line has no length");
        parsed.shape = std::make_unique<LineROI>(a.x, a.y, b.x, b.y);
        parsed.echo = {{"type", parsed.kind}, {"start", {a.x, a.y}}, {"end", {b.x, b.y}}};
    } else if (parsed.kind == "ring") {
        rejectUnknownFields(roi, {"type", "centre", "radius1", "radius2"}, where);
        const cv::Point2d c = requirePoint(roi, "centre", where);
        const auto [r1, r2] = requireRadii(roi, where);
        parsed.shape = std::make_unique<RingROI>(c.x, c.y, static_cast<float>(r1), static_cast<float>(r2));
        parsed.echo = {{"type", parsed.kind}, {"centre", {c.x, c.y}}, {"radius1", r1}, {"radius2", r2}};
    } else if (parsed.kind == "arc") {
        rejectUnknownFields(roi, {"type", "centre", "radius1", "radius2", "angle1", "angle2"}, where);
        const cv::Point2d c = requirePoint(roi, "centre", where);
        const auto [r1, r2] = requireRadii(roi, where);
        const double a1 = requireAngle(roi, "angle1", where), a2 = requireAngle(roi, "angle2", where);
        parsed.shape = std::make_unique<ArcROI>(c.x, c.y, static_cast<float>(r1), static_cast<float>(r2),
                                                static_cast<float>(a1), static_cast<float>(a2));
        parsed.echo = {{"type", parsed.kind}, {"centre", {c.x, c.y}}, {"radius1", r1}, {"radius2", r2},
                       {"angle1", a1},      {"angle2", a2}};
    } else {
        throw InputError(where + ": unknown type '" + parsed.kind + "'");
    }
    return parsed;
}

void checkInsideImage(const RoiInput& roi, const cv::Mat& image, const std::string& source,
                      const std::string& imageName)
{
    double x0 = HUGE_VAL, y0 = HUGE_VAL, x1 = -HUGE_VAL, y1 = -HUGE_VAL;
    for (const cv::Point2d& p : roiOutline(*roi.shape)) {
        // A size beyond single precision becomes infinite in the shape, its outline NaN,
        // which no comparison below would catch.
        if (!std::isfinite(p.x) || !std::isfinite(p.y))
            throw InputError(source + ": roi is far larger than the image " + imageName + " (" +
                             std::to_string(image.cols) + " x " + std::to_string(image.rows) + ")");
        x0 = std::min(x0, p.x), y0 = std::min(y0, p.y);
        x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
    }
    // A rect's right and bottom are one past its last pixel; everything else is measured
    // between pixel centres, and the outer pixels reach half a pixel beyond theirs.
    const double margin = roi.kind == "rect" ? 0.0 : 0.5;
    const double left = -margin, top = -margin;
    const double right = image.cols - margin, bottom = image.rows - margin;
    // Rounding of the outline's sines and cosines is not a crossing.
    const double slack = 1e-9 * std::max({1.0, std::abs(x1), std::abs(y1)});
    std::vector<std::string> crossings;
    const auto cross = [&crossings](const char* border, double by) {
        std::ostringstream text;
        text.precision(2);
        text << std::fixed << border << " border by " << by << " px";
        crossings.push_back(text.str());
    };
    if (x0 < left - slack)
        cross("left", left - x0);
    if (y0 < top - slack)
        cross("top", top - y0);
    if (x1 > right + slack)
        cross("right", x1 - right);
    if (y1 > bottom + slack)
        cross("bottom", y1 - bottom);
    if (crossings.empty())
        return;
    std::ostringstream message;
    message.precision(2);
    message << std::fixed << source << ": roi reaches outside the image " << imageName << " (" << image.cols
            << " x " << image.rows << "): it crosses the " << joined(crossings, ", the ") << " (it spans x " << x0
            << " .. " << x1 << ", y " << y0 << " .. " << y1 << ")";
    throw InputError(message.str());
}

std::vector<cv::Point2d> roiOutline(const ROI& roi)
{
    std::vector<cv::Point2d> outline;
    // A point per degree: whole-degree arcs pass through their extreme points exactly,
    // so the inside check sees their true extent.
    auto arcPoints = [&outline](double cx, double cy, double r, double from, double to) {
        const int steps = std::max(8, static_cast<int>(std::ceil(std::abs(to - from))));
        for (int i = 0; i <= steps; ++i) {
            const double a = (from + (to - from) * i / steps) * kPi / 180.0;
            outline.emplace_back(cx + r * std::cos(a), cy - r * std::sin(a)); // counter-clockwise, y up
        }
    };
    if (const auto* rr = dynamic_cast<const RotateRectROI*>(&roi)) {
        RotateRectROI copy = *rr;
        for (const QPointF& q : getCornerPoints(&copy))
            outline.emplace_back(q.x(), q.y());
    } else if (const auto* rect = dynamic_cast<const RectROI*>(&roi)) {
        const QRectF& r = rect->rect;
        outline = {{r.left(), r.top()}, {r.right(), r.top()}, {r.right(), r.bottom()}, {r.left(), r.bottom()}};
    } else if (const auto* line = dynamic_cast<const LineROI*>(&roi)) {
        outline = {{line->x1, line->y1}, {line->x2, line->y2}};
    } else if (const auto* ring = dynamic_cast<const RingROI*>(&roi)) {
        arcPoints(ring->centreX, ring->centreY, std::max(ring->radius1, ring->radius2), 0, 360);
    } else if (const auto* arc = dynamic_cast<const ArcROI*>(&roi)) {
        const double to = arc->angle2 >= arc->angle1 ? arc->angle2 : arc->angle2 + 360.0;
        arcPoints(arc->centreX, arc->centreY, std::max(arc->radius1, arc->radius2), arc->angle1, to);
        arcPoints(arc->centreX, arc->centreY, std::min(arc->radius1, arc->radius2), to, arc->angle1);
    }
    return outline;
}

cv::Rect roiPixels(const ToolInput& input)
{
    const auto* rect = static_cast<const RectROI*>(input.roi.shape.get());
    const cv::Rect box(static_cast<int>(std::floor(rect->rect.left())), static_cast<int>(std::floor(rect->rect.top())),
                       static_cast<int>(std::ceil(rect->rect.width())), static_cast<int>(std::ceil(rect->rect.height())));
    return box & cv::Rect(0, 0, input.image.cols, input.image.rows);
}

} // namespace frontend
