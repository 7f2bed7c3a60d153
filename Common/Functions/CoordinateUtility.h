#pragma once

/// \file
/// Coordinate transformer (\ref coordinates).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup coordinates Coordinate transformer
 *
 * Coordinate transformer: maps points, images and a painter's coordinate system between
 * an object's pose in a reference image and its pose in the current image.
 *
 * Every rotation is rigid (scale 1) about a pose's position and is built with
 * cv::getRotationMatrix2D, whose positive angle turns counter-clockwise on screen. The
 * transformer operations rotate by the negated angle difference, so with
 * delta = curAngle - refAngle a point taught in the reference pose is turned clockwise on
 * screen by delta (x right, y down, angles in degrees):
 *
 *     reference -> current:  p' = cur + Rot(delta) * (p - ref)
 *     Rot(delta) = [[cos delta, -sin delta], [sin delta, cos delta]]
 *
 * Point coordinates travel in single precision (float in, float out), as cv::transform
 * computes them; the list form rounds each double coordinate to float first. Poses are
 * not checked: a non-finite pose gives non-finite points.
 * @{
 */

class QPainter;

namespace AlgorithmUtility {

/// Current -> reference for one point, in place:
/// x' = refX + cos d (x - curX) - sin d (y - curY), y' = refY + sin d (x - curX) + cos d (y - curY)
/// with d = refAngle - curAngle.
FUNCTIONS_EXPORT void transformXY(float& x, float& y, CoordinateTransformer& t);

/// Reference -> current for one point, in place (the inverse of transformXY up to float
/// rounding): x' = curX + cos d (x - refX) - sin d (y - refY), and so on, d = curAngle - refAngle.
FUNCTIONS_EXPORT void transformInvertXY(float& x, float& y, CoordinateTransformer& t);

/// Reference -> current for every point, in place: each point is rounded to float, mapped
/// as transformInvertXY does and stored back. An empty list is left as it is.
FUNCTIONS_EXPORT void transPointsToCurImage(CoordinateTransformer t, std::vector<cv::Point2d>& points);

/// Warps the current image into the reference frame with the matrix of transformXY:
/// bilinear, same size as src, uncovered pixels 0. An empty src throws cv::Exception.
FUNCTIONS_EXPORT void transformImage(cv::Mat& src, cv::Mat& dst, CoordinateTransformer& t);

/// Rotates src by angle degrees about its centre (cols/2, rows/2), counter-clockwise on
/// screen for positive angles (unlike the transformer operations), then shifts it by
/// (dx, dy). Bilinear, same size as src, uncovered pixels 0; an empty src throws.
FUNCTIONS_EXPORT void transformImage(cv::Mat& src, cv::Mat& dst, float dx, float dy, float angle);

/// As above, rotating about center instead of the image centre.
FUNCTIONS_EXPORT void transformImage(cv::Mat& src, cv::Mat& dst, float dx, float dy, cv::Point2f center,
                                     float angle);

/// Changes painter's transform so that what is drawn in from's coordinates appears turned
/// by to.angle - from.angle (clockwise on screen) about from and moved onto to:
/// P -> to + Rot(to.angle - from.angle) (P - from). The painter's existing transform is
/// composed with this, as QPainter::translate and rotate do. A null painter is ignored.
FUNCTIONS_EXPORT void transformPainter(QPainter* painter, ObjPos& from, ObjPos& to);

} // namespace AlgorithmUtility

/// Same as AlgorithmUtility::transPointsToCurImage, for hosts that call it unqualified.
FUNCTIONS_EXPORT void transPointsToCurImage(CoordinateTransformer t, std::vector<cv::Point2d>& points);

/// @}
