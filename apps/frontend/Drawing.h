#pragma once

// Drawing of ROIs and results onto pictures, shared by the tools' overlays and the demo.
// Positions are image coordinates (x right, y down, pixel centres at integers) drawn with
// sub-pixel precision; ring and arc angles are degrees counter-clockwise with y up, as the
// ROIs give them; colours are BGR.

#include <FunctionsDef.h>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <string>
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

namespace frontend {

// Overlays that say how far to trust a result: inliers and outliers in two colours, the
// fitted shape in a third, values written on the picture, the scan direction, and an
// enlarged inset of the ROI. Marks and text scale with the picture.

const cv::Scalar kInlierColour(0, 200, 0);
const cv::Scalar kOutlierColour(0, 0, 255);
const cv::Scalar kShapeColour(255, 0, 255);

/// Half-size of point marks and the thickness unit for a picture: about 1/200 of its
/// smaller side, at least 2 px.
int markSize(const cv::Mat& picture);

/// The points of a run's diagnostics ({"points": [{"point", "inlier"}]}): inliers as
/// crosses in kInlierColour, outliers as crosses in a ring in kOutlierColour.
void drawJudgedPoints(cv::Mat& picture, const nlohmann::ordered_json& diagnostics);

/// Lines of text in a filled box with its top-left corner near anchor, kept inside the picture.
void drawLabel(cv::Mat& picture, const std::vector<std::string>& lines, cv::Point2d anchor);

/// The label just below the ROI outline (above it at the picture's bottom), so that it
/// covers neither the ROI nor what was found in it.
void drawLabelBeside(cv::Mat& picture, const std::vector<std::string>& lines, const std::vector<cv::Point2d>& outline);

/// An arrow from `from` to `to` (image points): the direction the calipers scan.
void drawScanArrow(cv::Mat& picture, cv::Point2d from, cv::Point2d to);

/// Pastes an enlarged copy of the picture around the ROI outline into the picture corner
/// farthest from it, framed, so that sub-pixel detail near the ROI can be read.
void addInset(cv::Mat& picture, const std::vector<cv::Point2d>& roiOutline);

} // namespace frontend
