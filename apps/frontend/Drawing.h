#pragma once

// Drawing of ROIs and results onto pictures, shared by the tools' overlays and the demo.
// Positions are image coordinates (x right, y down, pixel centres at integers) drawn with
// sub-pixel precision; ring and arc angles are degrees counter-clockwise with y up, as the
// ROIs give them; colours are BGR.

#include <FunctionsDef.h>

#include <opencv2/core.hpp>

#include <vector>

namespace frontend {

const cv::Scalar kRoiColour(255, 200, 0);
const cv::Scalar kFoundColour(0, 0, 255);
const cv::Scalar kTruthColour(0, 200, 0);

/// Maps image coordinates onto a picture: an enlarged crop, or the image itself.
struct View {
    cv::Point2d origin; // image point at the picture's top-left corner
    double scale = 1;
    cv::Point2d operator()(cv::Point2d p) const { return (p - origin) * scale; }
};

/// The square of the picture around centre, enlarged by factor (nearest neighbour) and
/// clipped to the picture; view receives the mapping, so that drawings made on the
/// enlargement keep their sub-pixel detail.
cv::Mat zoomedAround(const cv::Mat& picture, cv::Point2d centre, int halfSide, int factor, View& view);

/// Points along the circle (centre, radius) from angle `from` counter-clockwise to `to`;
/// a `to` not above `from` goes round through 0 (equal angles: the whole circle).
std::vector<cv::Point2d> circleArc(cv::Point2d centre, double radius, double from, double to);

/// A polyline through the image points, sub-pixel, closed or open.
void drawPolyline(cv::Mat& canvas, const View& view, const std::vector<cv::Point2d>& points, bool closed,
                  const cv::Scalar& colour);

/// A closed polygon through image points, drawn on the image itself.
void drawPolygon(cv::Mat& canvas, const std::vector<cv::Point2d>& corners, const cv::Scalar& colour);

/// A cross of half-size `size` pixels centred on an image point.
void drawCross(cv::Mat& canvas, cv::Point2d p, const cv::Scalar& colour, int size = 6);

/// Both circles of a ring ROI.
void drawRingRoi(cv::Mat& canvas, const View& view, const RingROI& ring, const cv::Scalar& colour);

/// The outline of an arc ROI: its two arcs joined by its boundary rays.
void drawArcRoi(cv::Mat& canvas, const View& view, const ArcROI& arc, const cv::Scalar& colour);

/// Edge points as small crosses.
void drawEdgePoints(cv::Mat& canvas, const View& view, const std::vector<cv::Point2d>& points,
                    const cv::Scalar& colour);

} // namespace frontend
