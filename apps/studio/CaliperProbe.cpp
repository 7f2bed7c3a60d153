#include "CaliperProbe.h"

#include <RoiShapes.h>

#include <QtMath>

#include <algorithm>
#include <cmath>

namespace studio {

namespace {

// The bands of `width` every `step` across an extent, as the segment scan lays them out
// (the first at 0), and the one whose middle is nearest to `t`.
bool nearestBand(double extent, int width, int step, double t, int& index, int& count)
{
    if (extent < width)
        return false;
    count = static_cast<int>((extent - width) / step) + 1;
    index = std::clamp(static_cast<int>(std::lround((t - width / 2.0) / step)), 0, count - 1);
    return true;
}

bool fail(std::string* why, const std::string& text)
{
    if (why)
        *why = text;
    return false;
}

// A rectangle's band: the rectangle's frame, the axis the profile runs along and the
// band across it; `shift` is how far its points lie from where the tool reports them.
bool rectangleBand(const RoiEntry& entry, const frontend::ToolInput& input, QPointF at, CaliperProbe& probe,
                   QPointF& shift, std::string* why)
{
    const RoiShape& s = entry.shape;
    const bool upright = s.kind == RoiKind::Rect;
    const QPointF centre = upright ? s.topLeft + QPointF(s.width / 2, s.height / 2) : s.centre;
    const double angle = upright ? 0.0 : s.angle;
    const double a = qDegreesToRadians(angle);
    const QPointF ux(std::cos(a), std::sin(a)), uy(-std::sin(a), std::cos(a));
    const bool alongHeight = input.settings.contains("scanAxis") && input.choice("scanAxis") == 1;
    const QPointF across = alongHeight ? ux : uy; // the bands are stacked this way
    const double length = alongHeight ? s.height : s.width, extent = alongHeight ? s.width : s.height;
    const QPointF d = at - centre;
    const double t = d.x() * across.x() + d.y() * across.y() + extent / 2;
    const int width = input.integer("segmentWidth"), step = input.integer("segmentStep");
    if (!nearestBand(extent, width, step, t, probe.index, probe.count))
        return fail(why, "the ROI is narrower than one caliper (segmentWidth " + std::to_string(width) + ")");
    QPointF middle = centre + across * (probe.index * step + width / 2.0 - extent / 2);
    // Turned a quarter, the band's rows run against the ROI's columns from its far side:
    // row i lands on column end - i instead of start + i. Moved back a pixel it averages
    // the tool's columns; its points, on its centre line, move forward again below.
    if (alongHeight) {
        middle -= across;
        shift = across;
    }
    probe.caliper = RotateRectROI(middle.x(), middle.y(), static_cast<float>(alongHeight ? angle + 90 : angle),
                                  static_cast<float>(length), static_cast<float>(width));
    // The edge points tool copies an unturned rectangle pixel for pixel.
    probe.settings.copyUpright = entry.tool == "edge_points" && angle == 0 && !alongHeight;
    return true;
}

// A ring's or an arc's caliper at the point's angle, straightened along the radius.
void radialBand(const RoiEntry& entry, const frontend::ToolInput& input, QPointF at, CaliperProbe& probe)
{
    const RoiShape& s = entry.shape;
    const double inner = std::min(s.radius1, s.radius2), outer = std::max(s.radius1, s.radius2);
    const double theta = qRadiansToDegrees(std::atan2(s.centre.y() - at.y(), at.x() - s.centre.x()));
    const QPointF middle = polarPoint(s.centre, (inner + outer) / 2, theta);
    const int width = input.integer("segmentWidth"), step = input.integer("segmentStep");
    // One caliper angle per pixel along the outer circle.
    const double span = s.kind == RoiKind::Ring ? 360.0 : std::fmod(s.angle2 - s.angle1 + 720.0, 360.0);
    const double rows = std::ceil(qDegreesToRadians(span == 0 ? 360.0 : span) * outer);
    const double fromStart =
        s.kind == RoiKind::Ring ? std::fmod(theta + 360.0, 360.0) : std::fmod(theta - s.angle1 + 720.0, 360.0);
    if (!nearestBand(rows, width, step, fromStart / 360.0 * 2 * M_PI * outer, probe.index, probe.count))
        probe.index = probe.count = 0;
    // Screen angle of the outward ray (y down): the negated counter-clockwise one.
    probe.caliper = RotateRectROI(middle.x(), middle.y(), static_cast<float>(-theta), static_cast<float>(outer - inner),
                                  static_cast<float>(width));
    probe.note = "straight caliper along the radius; the circle tools unwrap the band in polar steps, so their "
                 "positions can differ by a fraction of a pixel";
}

} // namespace

bool hasSegmentCalipers(const std::string& tool)
{
    return tool == "edge_points" || tool == "line" || tool == "circle" || tool == "arc";
}

QPolygonF CaliperProbe::outline() const
{
    RotateRectROI copy = caliper;
    return getCornerPoints(&copy);
}

std::optional<CaliperProbe> probeCaliper(const RoiEntry& entry, const cv::Mat& image, QPointF at, std::string* why)
{
    if (!hasSegmentCalipers(entry.tool)) {
        fail(why,
             "the " + entry.tool + " tool has no segment calipers to probe (edge_points, line, circle and arc do)");
        return std::nullopt;
    }
    if (!entry.shape.contains(at, 0))
        return std::nullopt;
    CaliperProbe probe;
    try {
        const frontend::ToolDefinition& tool = frontend::findTool(entry.tool);
        const frontend::ToolInput input = frontend::prepareInput(tool, entry.parameters(), image, entry.name, "image");
        probe.settings = frontend::profileSettings(input);
        QPointF shift;
        if (entry.shape.kind == RoiKind::Ring || entry.shape.kind == RoiKind::Arc)
            radialBand(entry, input, at, probe);
        else if (!rectangleBand(entry, input, at, probe, shift, why))
            return std::nullopt;
        probe.profile = frontend::measureProfile(image, probe.caliper, probe.settings);
        const cv::Point2d by(shift.x(), shift.y());
        for (cv::Point2d& p : probe.profile.samplePoints)
            p += by;
        for (frontend::ProfileEdge& edge : probe.profile.edges)
            edge.point += by;
    } catch (const frontend::InputError& e) {
        fail(why, e.what());
        return std::nullopt;
    }
    return probe;
}

} // namespace studio
