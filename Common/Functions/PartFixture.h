#pragma once

/// \file
/// Part fixture (\ref part_fixture).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

/** \defgroup part_fixture Part fixture
 *
 * Fixturing a part: its pose (position and angle) from features measured on it, and
 * the placement of ROIs drawn on a reference image onto the part in the current image.
 *
 * A measurement is taught once on a reference image: its ROIs are drawn there, and the
 * part's pose in that image is recorded. In every later image the pose is measured
 * again from the same features, and a CoordinateTransformer holding both poses moves
 * each ROI with the part (see CoordinateUtility.h for the transformer's conventions).
 *
 * Conventions: image coordinates in pixels, x right, y down. A pose angle is the
 * direction of a line or of a point-to-point vector, atan2(dy, dx) in degrees in
 * (-180, 180], so a part turned clockwise on screen by d degrees has its pose angle
 * grown by d. This is the sense in which the transformer turns points (reference ->
 * current: p' = cur + Rot(cur.angle - ref.angle) (p - ref)).
 *
 * Failures return false and leave the output untouched.
 * @{
 */

/// Pose from two lines (vx, vy, x0, y0): the origin is their intersection, the angle is
/// the direction of angleLine. Lines measured by the line tool are directed from their
/// first caliper to their last, so with a ROI taught once the direction keeps its sense
/// from image to image.
///
/// Returns false for a zero or non-finite direction, or for parallel lines (no
/// intersection).
FUNCTIONS_EXPORT bool getPoseFromTwoLines(const cv::Vec4d& angleLine, const cv::Vec4d& secondLine, ObjPos& pose);

/// Pose from a point (typically a circle's centre), the origin, and a line whose
/// direction gives the angle.
///
/// Returns false for a non-finite point or line or a zero direction.
FUNCTIONS_EXPORT bool getPoseFromPointAndLine(cv::Point2d origin, const cv::Vec4d& angleLine, ObjPos& pose);

/// Pose from two points (typically two circles' centres): the origin is the first, the
/// angle is the direction from the first towards the second.
///
/// Returns false for non-finite or coincident points.
FUNCTIONS_EXPORT bool getPoseFromTwoPoints(cv::Point2d origin, cv::Point2d towards, ObjPos& pose);

/// The transformer that maps the reference pose onto the current pose.
FUNCTIONS_EXPORT CoordinateTransformer getPoseTransformer(const ObjPos& reference, const ObjPos& current);

/// Moves a rotated rectangle drawn in the reference image onto the part in the current
/// image: the centre is mapped by AlgorithmUtility::transformInvertXY (in single
/// precision, as the transformer computes) and the angle, clockwise on screen, grows by
/// curAngle - refAngle. Width and height are kept.
FUNCTIONS_EXPORT void transRoiToCurImage(const CoordinateTransformer& t, RotateRectROI& roi);

/// Moves a ring: its centre is mapped, its radii are kept.
FUNCTIONS_EXPORT void transRoiToCurImage(const CoordinateTransformer& t, RingROI& roi);

/// Moves an arc: its centre is mapped and both angles, counter-clockwise with y up,
/// shrink by curAngle - refAngle, so the sector turns with the part.
FUNCTIONS_EXPORT void transRoiToCurImage(const CoordinateTransformer& t, ArcROI& roi);

/// Moves a line ROI: both ends are mapped.
FUNCTIONS_EXPORT void transRoiToCurImage(const CoordinateTransformer& t, LineROI& roi);

/// Moves an upright rectangle: its centre is mapped and its size kept. An upright
/// rectangle cannot turn with the part; use a RotateRectROI where the part turns.
FUNCTIONS_EXPORT void transRoiToCurImage(const CoordinateTransformer& t, RectROI& roi);

/// Moves any of the shapes above, chosen by its dynamic type; CircleROI moves its
/// centre. Returns false, roi untouched, for a null pointer or another shape.
FUNCTIONS_EXPORT bool transRoiToCurImage(const CoordinateTransformer& t, ROI* roi);

/// @}
