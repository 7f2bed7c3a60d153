#pragma once

// Paints the ROIs and what was measured in them over the image: outlines, the scan
// direction, the selected ROI's handles, edge points, fitted shapes and a label with the
// values or the reason for a failure. Everything comes from the ROIs and the outputs of
// their measurements (the JSON the command-line tool prints), so any tool that reports
// points, circles, lines, pairs or regions is drawn without code of its own here.

#include "StudioDocument.h"
#include "Viewport.h"

#include <QColor>
#include <QPolygonF>

#include <optional>

class QPainter;

namespace studio {

namespace colours {
const QColor roi(0, 200, 255);
const QColor selectedRoi(255, 220, 0);
const QColor arrow(255, 150, 0);
const QColor inlier(0, 230, 0);
const QColor outlier(255, 60, 60);
const QColor fitted(255, 0, 255);
const QColor failure(255, 80, 80);
} // namespace colours

/// Side of a handle's square, in screen pixels.
constexpr double kHandleSize = 8;

/// Paints every ROI of the document and its measurement; `preview` is a shape being drawn.
void paintOverlay(QPainter& painter, const Viewport& view, const StudioDocument& document,
                  const std::optional<RoiShape>& preview);

/// The caliper the profile view shows: its band dotted, its edges as short bars across it.
void paintProbe(QPainter& painter, const Viewport& view, const QPolygonF& caliper, const std::vector<QPointF>& edges);

} // namespace studio
