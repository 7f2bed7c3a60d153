#include "RoiShape.h"

#include <QRectF>
#include <QtMath>

#include <algorithm>
#include <cmath>

namespace studio {

namespace {

constexpr double kSmallestSide = 1.0; // px: a side or band dragged thinner stops here

// To the 0.1 grid, as the nearest double to the decimal: a tenth count divided by ten is
// rounded once, so 706.4 is written "706.4", not "706.4000000000001".
double snapped(double value)
{
    return std::round(value * 10) / 10;
}

QPointF snapped(QPointF p)
{
    return {snapped(p.x()), snapped(p.y())};
}

// Degrees in [0, 360).
double wrapped(double degrees)
{
    const double a = std::fmod(degrees, 360.0);
    return a < 0 ? a + 360.0 : a;
}

double length(QPointF v)
{
    return std::hypot(v.x(), v.y());
}

double dot(QPointF a, QPointF b)
{
    return a.x() * b.x() + a.y() * b.y();
}

// The angle (degrees, counter-clockwise with y up) of an image point seen from a centre.
double polarAngle(QPointF centre, QPointF p)
{
    return wrapped(qRadiansToDegrees(std::atan2(centre.y() - p.y(), p.x() - centre.x())));
}

// An arc's span from angle1 counter-clockwise to angle2; equal angles are the whole turn.
double arcSpan(double angle1, double angle2)
{
    const double span = wrapped(angle2 - angle1);
    return span == 0 ? 360.0 : span;
}

// A rectangle, upright or turned, as centre, unit axes and size: the frame its handles
// are dragged in.
struct Frame {
    QPointF centre, ux, uy;
    double width, height;
};

Frame frameOf(const RoiShape& s)
{
    if (s.kind == RoiKind::Rect)
        return {s.topLeft + QPointF(s.width / 2, s.height / 2), {1, 0}, {0, 1}, s.width, s.height};
    const double a = qDegreesToRadians(s.angle);
    return {s.centre, {std::cos(a), std::sin(a)}, {-std::sin(a), std::cos(a)}, s.width, s.height};
}

void storeFrame(RoiShape& s, const Frame& f)
{
    s.width = std::max(kSmallestSide, snapped(f.width));
    s.height = std::max(kSmallestSide, snapped(f.height));
    if (s.kind == RoiKind::Rect)
        s.topLeft = snapped(f.centre - QPointF(f.width / 2, f.height / 2));
    else
        s.centre = snapped(f.centre);
}

// Moves one side of an extent [low, high] along an axis; the other side stays.
void moveSide(double& low, double& high, bool moveHigh, double to)
{
    if (moveHigh)
        high = std::max(to, low + kSmallestSide);
    else
        low = std::min(to, high - kSmallestSide);
}

void dragRectangleHandle(RoiShape& s, HandleRole role, QPointF to)
{
    Frame f = frameOf(s);
    const QPointF local(dot(to - f.centre, f.ux), dot(to - f.centre, f.uy));
    double left = -f.width / 2, right = f.width / 2, top = -f.height / 2, bottom = f.height / 2;
    const bool movesLeft = role == HandleRole::Left || role == HandleRole::TopLeft || role == HandleRole::BottomLeft;
    const bool movesRight =
        role == HandleRole::Right || role == HandleRole::TopRight || role == HandleRole::BottomRight;
    const bool movesTop = role == HandleRole::Top || role == HandleRole::TopLeft || role == HandleRole::TopRight;
    const bool movesBottom =
        role == HandleRole::Bottom || role == HandleRole::BottomLeft || role == HandleRole::BottomRight;
    if (movesLeft || movesRight)
        moveSide(left, right, movesRight, local.x());
    if (movesTop || movesBottom)
        moveSide(top, bottom, movesBottom, local.y());
    f.centre += f.ux * ((left + right) / 2) + f.uy * ((top + bottom) / 2);
    f.width = right - left;
    f.height = bottom - top;
    storeFrame(s, f);
}

// A radius dragged onto another one would leave a band of no width.
double distinctRadius(double dragged, double other)
{
    const double r = std::max(0.0, snapped(dragged));
    return r == other ? r + 0.1 : r;
}

} // namespace

std::string kindName(RoiKind kind)
{
    switch (kind) {
    case RoiKind::RotatedRect: return "rotated_rect";
    case RoiKind::Rect: return "rect";
    case RoiKind::Line: return "line";
    case RoiKind::Ring: return "ring";
    case RoiKind::Arc: return "arc";
    }
    return "";
}

const std::vector<RoiKind>& allKinds()
{
    static const std::vector<RoiKind> kinds = {RoiKind::RotatedRect, RoiKind::Rect, RoiKind::Ring, RoiKind::Arc,
                                               RoiKind::Line};
    return kinds;
}

RoiKind kindFromName(const std::string& name)
{
    std::vector<std::string> names;
    for (RoiKind kind : allKinds()) {
        if (kindName(kind) == name)
            return kind;
        names.push_back(kindName(kind));
    }
    throw frontend::InputError("unknown ROI type '" + name + "' (one of: " + frontend::joined(names) + ")");
}

QPointF polarPoint(QPointF centre, double radius, double angle)
{
    const double a = qDegreesToRadians(angle);
    return centre + QPointF(radius * std::cos(a), -radius * std::sin(a));
}

RoiShape RoiShape::fromJson(const json& roi, const std::string& source)
{
    std::vector<std::string> names;
    for (RoiKind kind : allKinds())
        names.push_back(kindName(kind));
    // The shared parser checks every field; its normalised echo is what is read here.
    const json echo = frontend::parseRoi(roi, names, source).echo;
    const auto point = [&echo](const char* key) {
        return QPointF(echo.at(key)[0].get<double>(), echo.at(key)[1].get<double>());
    };
    RoiShape s;
    s.kind = kindFromName(echo.at("type").get<std::string>());
    switch (s.kind) {
    case RoiKind::RotatedRect:
        s.centre = point("centre");
        s.angle = echo.at("angle").get<double>();
        s.width = echo.at("width").get<double>();
        s.height = echo.at("height").get<double>();
        break;
    case RoiKind::Rect:
        s.topLeft = QPointF(echo.at("x").get<double>(), echo.at("y").get<double>());
        s.width = echo.at("width").get<double>();
        s.height = echo.at("height").get<double>();
        break;
    case RoiKind::Line:
        s.start = point("start");
        s.end = point("end");
        break;
    case RoiKind::Arc:
        s.angle1 = echo.at("angle1").get<double>();
        s.angle2 = echo.at("angle2").get<double>();
        [[fallthrough]];
    case RoiKind::Ring:
        s.centre = point("centre");
        s.radius1 = echo.at("radius1").get<double>();
        s.radius2 = echo.at("radius2").get<double>();
        break;
    }
    return s;
}

json RoiShape::toJson() const
{
    const auto point = [](QPointF p) { return json::array({p.x(), p.y()}); };
    json roi = {{"type", kindName(kind)}};
    switch (kind) {
    case RoiKind::RotatedRect:
        roi["centre"] = point(centre);
        roi["angle"] = angle;
        roi["width"] = width;
        roi["height"] = height;
        break;
    case RoiKind::Rect:
        roi["x"] = topLeft.x();
        roi["y"] = topLeft.y();
        roi["width"] = width;
        roi["height"] = height;
        break;
    case RoiKind::Line:
        roi["start"] = point(start);
        roi["end"] = point(end);
        break;
    case RoiKind::Ring:
    case RoiKind::Arc:
        roi["centre"] = point(centre);
        roi["radius1"] = radius1;
        roi["radius2"] = radius2;
        if (kind == RoiKind::Arc) {
            roi["angle1"] = angle1;
            roi["angle2"] = angle2;
        }
        break;
    }
    return roi;
}

RoiShape RoiShape::fromDrag(RoiKind kind, QPointF from, QPointF to)
{
    RoiShape s;
    s.kind = kind;
    const QPointF d = to - from;
    const double dragged = length(d);
    switch (kind) {
    case RoiKind::RotatedRect:
        s.centre = snapped((from + to) / 2);
        s.angle = snapped(qRadiansToDegrees(std::atan2(d.y(), d.x())));
        s.width = snapped(dragged);
        // A caliper a quarter as high as it is long averages enough rows to quieten
        // noise and stays short enough to cross a curved edge at one place.
        s.height = std::max(10.0, std::round(dragged / 4));
        break;
    case RoiKind::Rect:
        s.topLeft = snapped(QPointF(std::min(from.x(), to.x()), std::min(from.y(), to.y())));
        s.width = snapped(std::abs(d.x()));
        s.height = snapped(std::abs(d.y()));
        break;
    case RoiKind::Line:
        s.start = snapped(from);
        s.end = snapped(to);
        break;
    case RoiKind::Arc: {
        const double towards = polarAngle(from, to);
        s.angle1 = snapped(wrapped(towards - 45));
        s.angle2 = snapped(wrapped(towards + 45));
        [[fallthrough]];
    }
    case RoiKind::Ring:
        // A band from 70 % to 130 % of the dragged radius holds a rim the drag missed by
        // a fair margin either way.
        s.centre = snapped(from);
        s.radius1 = snapped(dragged * 0.7);
        s.radius2 = snapped(dragged * 1.3);
        break;
    }
    return s;
}

bool RoiShape::isValid() const
{
    switch (kind) {
    case RoiKind::RotatedRect:
    case RoiKind::Rect: return width > 0 && height > 0;
    case RoiKind::Line: return start != end;
    case RoiKind::Ring:
    case RoiKind::Arc: return radius1 != radius2;
    }
    return false;
}

std::vector<Handle> RoiShape::handles(double offset) const
{
    switch (kind) {
    case RoiKind::RotatedRect:
    case RoiKind::Rect: {
        const Frame f = frameOf(*this);
        const QPointF x = f.ux * (f.width / 2), y = f.uy * (f.height / 2);
        std::vector<Handle> list = {
            {HandleRole::Move, f.centre},
            {HandleRole::TopLeft, f.centre - x - y},
            {HandleRole::TopRight, f.centre + x - y},
            {HandleRole::BottomRight, f.centre + x + y},
            {HandleRole::BottomLeft, f.centre - x + y},
            {HandleRole::Left, f.centre - x},
            {HandleRole::Right, f.centre + x},
            {HandleRole::Top, f.centre - y},
            {HandleRole::Bottom, f.centre + y},
        };
        if (kind == RoiKind::RotatedRect)
            list.push_back({HandleRole::Rotate, f.centre + f.ux * (f.width / 2 + offset)});
        return list;
    }
    case RoiKind::Line:
        return {{HandleRole::Move, (start + end) / 2}, {HandleRole::Start, start}, {HandleRole::End, end}};
    case RoiKind::Ring:
        return {{HandleRole::Move, centre},
                {HandleRole::Radius1, polarPoint(centre, radius1, 0)},
                {HandleRole::Radius2, polarPoint(centre, radius2, 0)}};
    case RoiKind::Arc: {
        const double middle = angle1 + arcSpan(angle1, angle2) / 2;
        const double band = (radius1 + radius2) / 2;
        return {{HandleRole::Move, centre},
                {HandleRole::Radius1, polarPoint(centre, radius1, middle)},
                {HandleRole::Radius2, polarPoint(centre, radius2, middle)},
                {HandleRole::Angle1, polarPoint(centre, band, angle1)},
                {HandleRole::Angle2, polarPoint(centre, band, angle2)}};
    }
    }
    return {};
}

void RoiShape::moveHandle(HandleRole role, QPointF to)
{
    switch (role) {
    case HandleRole::Move: {
        const std::vector<Handle> list = handles(0);
        translate(to - list.front().position);
        return;
    }
    case HandleRole::Rotate: {
        const QPointF d = to - centre;
        angle = snapped(qRadiansToDegrees(std::atan2(d.y(), d.x())));
        return;
    }
    case HandleRole::Start: start = snapped(to); return;
    case HandleRole::End: end = snapped(to); return;
    case HandleRole::Radius1: radius1 = distinctRadius(length(to - centre), radius2); return;
    case HandleRole::Radius2: radius2 = distinctRadius(length(to - centre), radius1); return;
    case HandleRole::Angle1: angle1 = snapped(polarAngle(centre, to)); return;
    case HandleRole::Angle2: angle2 = snapped(polarAngle(centre, to)); return;
    default: dragRectangleHandle(*this, role, to); return;
    }
}

void RoiShape::translate(QPointF by)
{
    centre = snapped(centre + by);
    topLeft = snapped(topLeft + by);
    start = snapped(start + by);
    end = snapped(end + by);
}

bool RoiShape::contains(QPointF p, double tolerance) const
{
    switch (kind) {
    case RoiKind::RotatedRect:
    case RoiKind::Rect: {
        const Frame f = frameOf(*this);
        const QPointF d = p - f.centre;
        return std::abs(dot(d, f.ux)) <= f.width / 2 + tolerance && std::abs(dot(d, f.uy)) <= f.height / 2 + tolerance;
    }
    case RoiKind::Line: {
        const QPointF along = end - start;
        const double t = std::clamp(dot(p - start, along) / dot(along, along), 0.0, 1.0);
        return length(p - (start + along * t)) <= tolerance;
    }
    case RoiKind::Ring:
    case RoiKind::Arc: {
        const double r = length(p - centre);
        const bool inBand = r >= std::min(radius1, radius2) - tolerance && r <= std::max(radius1, radius2) + tolerance;
        if (!inBand || kind == RoiKind::Ring)
            return inBand;
        // The tolerance as an angle at this radius widens the span at both ends.
        const double slack = r > 0 ? qRadiansToDegrees(tolerance / r) : 180.0;
        return wrapped(polarAngle(centre, p) - angle1 + slack) <= arcSpan(angle1, angle2) + 2 * slack;
    }
    }
    return false;
}

QPolygonF RoiShape::corners() const
{
    if (kind == RoiKind::Line)
        return QPolygonF(QVector<QPointF>{start, end});
    const Frame f = frameOf(*this);
    const QPointF x = f.ux * (f.width / 2), y = f.uy * (f.height / 2);
    return QPolygonF(QVector<QPointF>{f.centre - x - y, f.centre + x - y, f.centre + x + y, f.centre - x + y});
}

QRectF RoiShape::bounds() const
{
    if (kind == RoiKind::Ring || kind == RoiKind::Arc) {
        // The whole circle: an arc's label and handles may stand anywhere on it.
        const double r = std::max(radius1, radius2);
        return QRectF(centre - QPointF(r, r), centre + QPointF(r, r));
    }
    return corners().boundingRect();
}

QPointF RoiShape::anchor() const
{
    switch (kind) {
    case RoiKind::Ring: return polarPoint(centre, std::max(radius1, radius2), 90);
    case RoiKind::Arc: return polarPoint(centre, std::max(radius1, radius2), angle1 + arcSpan(angle1, angle2) / 2);
    default: return bounds().topLeft();
    }
}

std::optional<QLineF> scanArrow(const RoiShape& shape, const json& settings)
{
    if (!settings.contains("direction") || !settings.at("direction").is_string())
        return std::nullopt;
    const std::string direction = settings.at("direction").get<std::string>();
    const auto setting = [&settings](const char* name) {
        return settings.contains(name) && settings.at(name).is_string() ? settings.at(name).get<std::string>() : "";
    };
    const bool reversed = direction == "RightToLeft" || direction == "BottomToTop" || direction == "Backward";
    QLineF arrow;
    switch (shape.kind) {
    case RoiKind::RotatedRect:
    case RoiKind::Rect: {
        const bool alongHeight = direction == "TopToBottom" || direction == "BottomToTop" ||
                                 setting("scanAxis") == "AlongHeight" || setting("segmentAxis") == "VerticalBands";
        const Frame f = frameOf(shape);
        const QPointF half = alongHeight ? f.uy * (f.height / 2) : f.ux * (f.width / 2);
        arrow = QLineF(f.centre - half, f.centre + half);
        break;
    }
    case RoiKind::Line: arrow = QLineF(shape.start, shape.end); break;
    case RoiKind::Ring:
    case RoiKind::Arc: {
        // The circle tools walk outwards from the inner radius, or inwards.
        const double at = shape.kind == RoiKind::Ring ? 90 : shape.angle1 + arcSpan(shape.angle1, shape.angle2) / 2;
        arrow = QLineF(polarPoint(shape.centre, std::min(shape.radius1, shape.radius2), at),
                       polarPoint(shape.centre, std::max(shape.radius1, shape.radius2), at));
        break;
    }
    }
    if (reversed)
        arrow = QLineF(arrow.p2(), arrow.p1());
    return arrow;
}

} // namespace studio
