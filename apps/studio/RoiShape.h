#pragma once

// A ROI as the studio edits it: one of the shapes the tools take, in the same fields and
// units as a parameters file (pixels, pixel centres at integers, y down; a rotated
// rectangle's angle turns clockwise on screen, ring and arc angles counter-clockwise with
// y up), with the handles a user drags and the arrow of the scan direction.
//
// Every edit snaps positions and sizes to 0.1 px and angles to 0.1 degree, so what the
// studio measures is exactly what a saved recipe or parameters file holds: the decimal
// numbers written there read back as the same doubles.

#include <Messages.h>
#include <ToolDefinition.h>

#include <QLineF>
#include <QPointF>
#include <QPolygonF>

#include <optional>
#include <string>
#include <vector>

namespace studio {

using json = frontend::json;

enum class RoiKind { RotatedRect, Rect, Line, Ring, Arc };

/// What dragging a handle changes.
enum class HandleRole {
    Move, // the whole shape (its centre or body)
    TopLeft,
    TopRight,
    BottomRight,
    BottomLeft, // rectangle corners: the opposite corner stays
    Left,
    Right,
    Top,
    Bottom, // rectangle sides: the opposite side stays
    Rotate, // rotated rectangle: the angle
    Start,
    End, // line ends
    Radius1,
    Radius2, // ring and arc radii
    Angle1,
    Angle2, // arc angles
};

struct Handle {
    HandleRole role;
    QPointF position; // image coordinates
};

struct RoiShape {
    RoiKind kind = RoiKind::RotatedRect;
    QPointF centre;                  // rotated_rect, ring, arc
    double angle = 0;                // rotated_rect, degrees
    double width = 0, height = 0;    // rotated_rect, rect
    QPointF topLeft;                 // rect: x, y
    QPointF start, end;              // line
    double radius1 = 0, radius2 = 0; // ring, arc (either order)
    double angle1 = 0, angle2 = 0;   // arc, degrees

    /// Reads a ROI in the parameters-file format; throws frontend::InputError naming `source`.
    static RoiShape fromJson(const json& roi, const std::string& source);
    json toJson() const;

    /// The shape a press at `from` dragged to `to` draws: a rectangle between the two
    /// corners; a rotated rectangle whose width runs along the drag (the scan direction);
    /// a line between the two; a ring or a 90-degree arc centred on `from` whose band
    /// straddles the circle through `to` (drag from a hole's centre to its rim).
    static RoiShape fromDrag(RoiKind kind, QPointF from, QPointF to);
    /// Whether the shape can be measured in: sizes above zero, a band of some width.
    bool isValid() const;

    /// The handles; `offset` is how far (image pixels) the rotate handle stands off the
    /// rectangle, so that it stays clear of it at any zoom.
    std::vector<Handle> handles(double offset) const;
    /// Drags a handle to an image point.
    void moveHandle(HandleRole role, QPointF to);
    void translate(QPointF by);
    /// Whether an image point lies on the shape (within `tolerance` pixels of a line).
    bool contains(QPointF point, double tolerance) const;

    /// Corners of a rectangle (top-left, top-right, bottom-right, bottom-left of the
    /// unrotated shape), the two ends of a line.
    QPolygonF corners() const;
    /// The image points the shape reaches, for fitting it into view.
    QRectF bounds() const;
    /// The centre of the band's middle line (arc: at its middle angle), for labels.
    QPointF anchor() const;
};

std::string kindName(RoiKind kind);
/// Throws frontend::InputError for an unknown name.
RoiKind kindFromName(const std::string& name);
/// Every kind, in the order the studio offers them.
const std::vector<RoiKind>& allKinds();

/// The scan direction the tool's settings give in this shape, as an arrow from its tail to
/// its head across the shape's middle; none for tools that do not scan (regions, skew).
std::optional<QLineF> scanArrow(const RoiShape& shape, const json& settings);

/// A point at `angle` degrees (counter-clockwise, y up) on the circle (centre, radius).
QPointF polarPoint(QPointF centre, double radius, double angle);

} // namespace studio
