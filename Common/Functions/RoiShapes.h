#pragma once

/// \file
/// ROI shape geometry (\ref roi_shapes).

#include "FunctionsDef.h"

#include <QPolygonF>
#include <opencv2/core.hpp>

#include <vector>

/** \defgroup roi_shapes ROI shape geometry
 *
 * Geometry of the ROI shapes: corners of a rotated rectangle, mapping of points from a
 * shape's local frame into the image, and rotation of a point about a centre.
 * @{
 */

/// Corners of a rotated rectangle in the order top-left, top-right, bottom-right,
/// bottom-left of the unrotated rectangle (the order of the straightening targets
/// (0,0), (w,0), (w,h), (0,h)). Rotation terms are computed in single precision;
/// corners is resized to exactly 4. A null roi is outside the contract and leaves
/// corners unchanged.
FUNCTIONS_EXPORT void getCornerPoints(RotateRectROI* roi, std::vector<cv::Point_<float>>& corners);

/// The same four corners as a polygon, without the final narrowing to float.
/// A null roi gives an empty polygon.
FUNCTIONS_EXPORT QPolygonF getCornerPoints(RotateRectROI* roi);

/// Maps points of a shape's local frame to image coordinates. Processes out.size()
/// points (the caller sizes out, normally to in.size()); in must hold at least that
/// many, otherwise nothing is written. RectROI adds its (float-narrowed) top-left;
/// CircleROI and RingROI read (radius, angle in radians) polar points; RotateRectROI
/// subtracts the local centre, rotates by its angle and adds its centre. Other shapes
/// and a null roi leave out unchanged.
FUNCTIONS_EXPORT void transformPoints(std::vector<cv::Point_<double>>& in,
                                      std::vector<cv::Point_<double>>& out, ROI* roi);

/// Rotates p about centre by angle degrees (positive turns +x towards +y), in double.
FUNCTIONS_EXPORT void pointRotation(cv::Point_<double> p, cv::Point_<double> centre, double angle,
                                    cv::Point_<double>& result);

/// @}
