#include "OverlayPainter.h"

#include "ResultText.h"

#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <algorithm>
#include <cmath>

namespace studio {

namespace {

QPointF pointOf(const json& p)
{
    return {p[0].get<double>(), p[1].get<double>()};
}

QPen pen(const QColor& colour, double width, Qt::PenStyle style = Qt::SolidLine)
{
    QPen p(colour, width, style);
    p.setCosmetic(true);
    return p;
}

// An arc of the circle (centre, radius) from `from` degrees counter-clockwise over `span`.
void addArc(QPainterPath& path, const Viewport& view, QPointF centre, double radius, double from, double span,
            bool moveFirst)
{
    const QPointF c = view.toWidget(centre);
    const double r = radius * view.scale;
    const QRectF box(c.x() - r, c.y() - r, 2 * r, 2 * r);
    if (moveFirst)
        path.arcMoveTo(box, from);
    path.arcTo(box, from, span);
}

double spanOf(double from, double to)
{
    const double span = std::fmod(to - from + 720.0, 360.0);
    return span == 0 ? 360.0 : span;
}

void paintShape(QPainter& painter, const Viewport& view, const RoiShape& shape)
{
    switch (shape.kind) {
    case RoiKind::RotatedRect:
    case RoiKind::Rect:
    case RoiKind::Line: {
        QPolygonF polygon;
        for (const QPointF& p : shape.corners())
            polygon << view.toWidget(p);
        if (shape.kind == RoiKind::Line)
            painter.drawPolyline(polygon);
        else
            painter.drawPolygon(polygon);
        break;
    }
    case RoiKind::Ring:
        for (double r : {shape.radius1, shape.radius2})
            painter.drawEllipse(view.toWidget(shape.centre), r * view.scale, r * view.scale);
        break;
    case RoiKind::Arc: {
        const double span = spanOf(shape.angle1, shape.angle2);
        const double outer = std::max(shape.radius1, shape.radius2), inner = std::min(shape.radius1, shape.radius2);
        QPainterPath path;
        addArc(path, view, shape.centre, outer, shape.angle1, span, true);
        addArc(path, view, shape.centre, inner, shape.angle1 + span, -span, false);
        path.closeSubpath();
        painter.drawPath(path);
        break;
    }
    }
}

void paintArrow(QPainter& painter, const Viewport& view, const QLineF& arrow)
{
    const QPointF tail = view.toWidget(arrow.p1()), head = view.toWidget(arrow.p2());
    const QLineF line(tail, head);
    if (line.length() < 4)
        return;
    painter.setPen(pen(colours::arrow, 1.5, Qt::DashLine));
    painter.drawLine(line);
    // A filled head, 10 px long, at the scan's end.
    const QPointF unit = (head - tail) / line.length();
    const QPointF normal(-unit.y(), unit.x());
    const QPointF back = head - unit * 10;
    painter.setPen(Qt::NoPen);
    painter.setBrush(colours::arrow);
    painter.drawPolygon(QPolygonF({head, back + normal * 4, back - normal * 4}));
    painter.setBrush(Qt::NoBrush);
}

void paintHandles(QPainter& painter, const Viewport& view, const RoiShape& shape)
{
    painter.setPen(pen(Qt::black, 1));
    painter.setBrush(Qt::white);
    for (const Handle& handle : shape.handles(24 / view.scale)) {
        const QPointF at = view.toWidget(handle.position);
        const QRectF box(at.x() - kHandleSize / 2, at.y() - kHandleSize / 2, kHandleSize, kHandleSize);
        if (handle.role == HandleRole::Rotate || handle.role == HandleRole::Move)
            painter.drawEllipse(box);
        else
            painter.drawRect(box);
    }
    painter.setBrush(Qt::NoBrush);
}

void paintCross(QPainter& painter, const Viewport& view, QPointF at, double half)
{
    const QPointF c = view.toWidget(at);
    painter.drawLine(c - QPointF(half, 0), c + QPointF(half, 0));
    painter.drawLine(c - QPointF(0, half), c + QPointF(0, half));
}

void paintPoints(QPainter& painter, const Viewport& view, const json& points)
{
    painter.setPen(pen(colours::inlier, 1.2));
    for (const json& p : points)
        paintCross(painter, view, pointOf(p), 3);
}

// Points judged against the fitted shape: inliers green, outliers red and ringed.
void paintJudgedPoints(QPainter& painter, const Viewport& view, const json& judged)
{
    for (const json& d : judged) {
        const bool inlier = d.at("inlier").get<bool>();
        painter.setPen(pen(inlier ? colours::inlier : colours::outlier, 1.2));
        paintCross(painter, view, pointOf(d.at("point")), 3);
        if (!inlier)
            painter.drawEllipse(view.toWidget(pointOf(d.at("point"))), 5, 5);
    }
}

// The outputs the tools report, drawn by their names.
void paintOutputs(QPainter& painter, const Viewport& view, const RoiEntry& entry, const Measurement& m)
{
    const json& o = m.outputs;
    if (m.diagnostics.contains("points"))
        paintJudgedPoints(painter, view, m.diagnostics.at("points"));
    else
        for (const char* key : {"points", "edgePoints"})
            if (o.contains(key))
                paintPoints(painter, view, o.at(key));
    painter.setPen(pen(colours::fitted, 1.5));
    if (o.contains("point"))
        paintCross(painter, view, pointOf(o.at("point")), 7);
    if (o.contains("centre") && o.contains("radius")) {
        const QPointF centre = pointOf(o.at("centre"));
        const double r = o.at("radius").get<double>();
        if (o.contains("startAngle")) {
            QPainterPath path;
            const double from = o.at("startAngle").get<double>();
            addArc(path, view, centre, r, from, spanOf(from, o.at("endAngle").get<double>()), true);
            painter.drawPath(path);
        } else {
            painter.drawEllipse(view.toWidget(centre), r * view.scale, r * view.scale);
        }
        paintCross(painter, view, centre, 6);
    }
    if (o.contains("start") && o.contains("end"))
        painter.drawLine(view.toWidget(pointOf(o.at("start"))), view.toWidget(pointOf(o.at("end"))));
    if (o.contains("pairs"))
        for (const json& pair : o.at("pairs"))
            painter.drawLine(view.toWidget(pointOf(pair.at("first"))), view.toWidget(pointOf(pair.at("second"))));
    if (o.contains("regions")) {
        int index = 1;
        for (const json& region : o.at("regions")) {
            // Boxes count whole pixels; their outer edges lie half a pixel beyond.
            const json& b = region.at("box");
            const QPointF topLeft(b[0].get<double>() - 0.5, b[1].get<double>() - 0.5);
            const QPointF size(b[2].get<double>(), b[3].get<double>());
            painter.drawRect(QRectF(view.toWidget(topLeft), view.toWidget(topLeft + size)));
            painter.drawText(view.toWidget(topLeft) + QPointF(2, -3), QString::number(index++));
            paintCross(painter, view, pointOf(region.at("centroid")), 4);
        }
    }
    if (o.contains("skew") && entry.shape.kind == RoiKind::Rect) {
        // Through the rectangle's centre at the measured skew (positive descends to the right).
        const QRectF box = entry.shape.bounds();
        const double a = qDegreesToRadians(o.at("skew").get<double>());
        const QPointF half(box.width() / 2 * std::cos(a), box.width() / 2 * std::sin(a));
        painter.drawLine(view.toWidget(box.center() - half), view.toWidget(box.center() + half));
    }
}

// A place for a label of `size` near `at` (its bottom-left corner), inside the view so
// that a ROI at the border still shows its values: there, or the nearest place a label's
// height further up or down that covers no other label and no ROI; failing that, one
// that covers no other label.
QRectF placeLabel(QPointF at, QSizeF size, const QRectF& area, const std::vector<QRectF>& labels,
                  const std::vector<QRectF>& rois)
{
    const auto inside = [&](double x, double y) {
        return QRectF(std::clamp(x, area.left(), std::max(area.left(), area.right() - size.width())),
                      std::clamp(y, area.top(), std::max(area.top(), area.bottom() - size.height())), size.width(),
                      size.height());
    };
    const auto clear = [](const QRectF& r, const std::vector<QRectF>& others) {
        return std::none_of(others.begin(), others.end(), [&](const QRectF& o) { return o.intersects(r); });
    };
    const QRectF first = inside(at.x(), at.y() - size.height());
    for (const bool avoidRois : {true, false})
        for (int step = 0; step < 16; ++step) {
            const double shift = (step % 2 ? 1 : -1) * ((step + 1) / 2) * (size.height() + 2);
            const QRectF candidate = inside(first.left(), first.top() + shift);
            if (clear(candidate, labels) && (!avoidRois || clear(candidate, rois)))
                return candidate;
        }
    return first;
}

void paintLabel(QPainter& painter, const Viewport& view, const RoiEntry& entry, const Measurement* m, bool current,
                std::vector<QRectF>& taken, const std::vector<QRectF>& rois)
{
    QString text = QString::fromStdString(entry.name);
    const bool failed = m && (!m->ran || !m->success);
    if (m)
        text += ": " + QString::fromStdString(resultSummary(*m, true));
    if (!current)
        text += " …";
    // Long reasons wrap at 420 px rather than run off the view.
    const QRect box =
        painter.fontMetrics().boundingRect(QRect(0, 0, 420, 1000), Qt::TextWordWrap, text).adjusted(-3, -2, 3, 2);
    const QRectF placed =
        placeLabel(view.toWidget(entry.shape.anchor()) + QPointF(0, -6), box.size(), painter.viewport(), taken, rois);
    taken.push_back(placed);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 170));
    painter.drawRect(placed);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(failed ? colours::failure : Qt::white);
    painter.drawText(placed.adjusted(3, 2, -3, -2), Qt::TextWordWrap, text);
}

} // namespace

void paintOverlay(QPainter& painter, const Viewport& view, const StudioDocument& document,
                  const std::optional<RoiShape>& preview)
{
    painter.setRenderHint(QPainter::Antialiasing);
    for (const RoiEntry& entry : document.rois()) {
        const bool selected = entry.id == document.selectedId();
        painter.setPen(pen(selected ? colours::selectedRoi : colours::roi, selected ? 2 : 1.5));
        paintShape(painter, view, entry.shape);
        if (const std::optional<QLineF> arrow = scanArrow(entry.shape, entry.settings))
            paintArrow(painter, view, *arrow);
        const Measurement* m = document.measurement(entry.id);
        if (m && m->ran)
            paintOutputs(painter, view, entry, *m);
    }
    // Labels and handles last, above every shape.
    std::vector<QRectF> taken, rois;
    for (const RoiEntry& entry : document.rois()) {
        const QRectF bounds = entry.shape.bounds();
        rois.emplace_back(view.toWidget(bounds.topLeft()), view.toWidget(bounds.bottomRight()));
    }
    for (const RoiEntry& entry : document.rois())
        paintLabel(painter, view, entry, document.measurement(entry.id), document.isCurrent(entry.id), taken, rois);
    if (const RoiEntry* selected = document.roi(document.selectedId()))
        paintHandles(painter, view, selected->shape);
    if (preview) {
        painter.setPen(pen(colours::selectedRoi, 1.5, Qt::DashLine));
        paintShape(painter, view, *preview);
    }
}

void paintProbe(QPainter& painter, const Viewport& view, const QPolygonF& caliper, const std::vector<QPointF>& edges)
{
    QPolygonF outline;
    for (const QPointF& p : caliper)
        outline << view.toWidget(p);
    painter.setPen(pen(Qt::white, 1.5, Qt::DotLine));
    painter.drawPolygon(outline);
    painter.setPen(pen(colours::fitted, 2));
    for (const QPointF& edge : edges)
        paintCross(painter, view, edge, 6);
}

} // namespace studio
