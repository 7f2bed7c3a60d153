#pragma once

// Drawing of rings, arcs and measured circles, shared by the circle and arc demo steps
// and their functions-cli adapters. Angles are degrees counter-clockwise with y up, as the
// ROIs give them; colours are BGR.

#include <FunctionsDef.h>

#include <opencv2/core.hpp>

#include <vector>

namespace demo {

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

/// Both circles of a ring ROI.
void drawRingRoi(cv::Mat& canvas, const View& view, const RingROI& ring, const cv::Scalar& colour);

/// The outline of an arc ROI: its two arcs joined by its boundary rays.
void drawArcRoi(cv::Mat& canvas, const View& view, const ArcROI& arc, const cv::Scalar& colour);

/// Edge points as small crosses.
void drawEdgePoints(cv::Mat& canvas, const View& view, const std::vector<cv::Point2d>& points,
                    const cv::Scalar& colour);

} // namespace demo
