#pragma once

// Helpers shared by the circle and arc tools; internal to the library (not installed).

#include "CircleTools.h"

#include <opencv2/core.hpp>

#include <vector>

namespace circle_tools {

/// A fit in the default mode with one edge per caliper chosen is only trusted when this
/// many points lie within kInlierTolerance pixels of the circle.
constexpr int kMinInliers = 10;
constexpr double kInlierTolerance = 3.0;

/// Number of points whose distance to the circle (|distance to centre - radius|) is at
/// most tolerance.
int countNearCircle(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius, double tolerance);

/// The common first part of the circle-family tools: clears success and edgePoints, then
/// finds the edge points of roi with the record's caliper settings (rows clockwise from
/// the start, no row offset, up to 1024 calipers).
template <typename Record>
void findRecordEdgePoints(cv::Mat& image, Record& param, ROI* roi, bool bestEdgePerCaliper, int angularSmoothing,
                          double outlierDistance)
{
    param.success = false;
    param.edgePoints.clear();
    std::vector<cv::Point2d> polarPoints;
    clcCircleSegmentPoints(image, roi, true, 0, param.direction == 1 ? RightToLeft : LeftToRight,
                           static_cast<EdgeTransition>(param.transition), param.segmentWidth, param.segmentStep,
                           1024, param.sigma, param.percent, param.minStrength, param.roiImage, param.cropRect,
                           polarPoints, param.edgePoints, bestEdgePerCaliper, angularSmoothing, outlierDistance);
}

} // namespace circle_tools
