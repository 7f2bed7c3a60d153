#pragma once

/// \file
/// Line, circle and ellipse fitting (\ref fitting).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup fitting Line, circle and ellipse fitting
 *
 * Fitting of lines, circles and ellipses to sub-pixel edge points (image coordinates,
 * pixels), by least squares or by iteratively reweighted fits that suppress outliers.
 *
 * Robust weighting shared by the fits: the scale c is a fixed value in pixels or, when
 * adaptive, 2 * median / 0.6745 of the current residuals, the median being the element at
 * index n/2 of the sorted residuals (the upper one for even n). Huber weights are 1 up
 * to c and c/r beyond; Tukey weights are (1 - (r/c)^2)^2 up to c and 0 beyond. At most
 * 30 reweighting steps are made, so every call ends in bounded time.
 *
 * The input vectors are not modified (they are taken by reference for the host's
 * binary interface).
 * @{
 */

/// Fits a line (vx, vy, x0, y0) to points: (vx, vy) is a unit direction with vx >= 0 and
/// (x0, y0) the weighted centroid. The direction is the principal axis of the weighted
/// second moments, from theta = atan2(2*sxy, sxx - syy) as (cos(theta/2), sin(theta/2));
/// so points on a vertical line give (about 0, +1 or -1), the sign following the rounding
/// of sxy.
///
/// type: FitLineLeastSquares (one unweighted fit), FitLineHuber, or FitLineTukey (any
/// other value). The robust types start from the least-squares line and reweight by the
/// perpendicular distances until the direction turns by less than 1e-6 rad and the point
/// moves by less than 1e-6 in x and y, or for 30 steps. param > 0 fixes the scale c in
/// pixels; 0 or below re-estimates it every step (falling back to 1 when the median is
/// 0, as for points exactly on a line). Tukey's 1/c is rounded to single precision, as
/// the host's results are defined.
///
/// line is first set to (0, 0, 0, 0) and stays so for an empty input or one with a
/// non-finite (or squared-overflowing) coordinate. A single point, or coincident points,
/// give direction (1, 0) at that point. A robust step whose weights all vanish (Tukey
/// rejecting every point, or Huber weights underflowing for a fixed scale far below the
/// residuals) yields a NaN line, which is returned as it is.
FUNCTIONS_EXPORT void fitLine(std::vector<cv::Point2d>& points, cv::Vec4d& line, FitLineType type, double param);

/// Fits a circle to points. Returns false, with center and radius untouched unless a
/// robust trial had already stored a circle, for fewer than 3 points, any non-finite
/// coordinate, or a singular system (collinear or coincident points). The radius is not
/// checked: a negative radicand, which rounding can produce for nearly singular systems
/// (coincident points far from the origin), gives a NaN radius, and a robust fit whose
/// trials all end with a NaN error returns true without storing a circle.
///
/// - FitCircleLeastSquares: the algebraic fit x^2 + y^2 + D*x + E*y + F = 0 minimising
///   the sum of squared algebraic residuals; fails when the determinant of its normal
///   matrix is not above 1e-12.
/// - FitCircleHuber, FitCircleTukey, and any value above 3: up to 20 trials, each starting
///   from an algebraic fit to min(n, 20) distinct points drawn by cv::RNG in its default
///   state (so the draw is the same in every call), refined by up to 30 steps that
///   reweight all points by their radial residuals (adaptive scale without a lower
///   bound; values above 3 keep every weight 1). A step stops early when the radius and
///   the centre move by less than 0.01; that test is skipped only in the very first step
///   of the call, so a later trial compares its start with the previous trial's end. The
///   circle of the trial with the smallest sum of residuals is kept; trials stop once
///   that sum falls below n * FLT_EPSILON. A singular fit in any trial returns false.
/// - FitCircleTaubin: Taubin's algebraic fit, its characteristic polynomial solved by at
///   most 99 Newton steps; fails when the final determinant is exactly 0.
FUNCTIONS_EXPORT bool fitCircle(std::vector<cv::Point2d>& points, cv::Point2d& center, double& radius,
                                FitCircleType type);

/// Circle through the first three points. center = (0, 0) and radius = -1 are set first
/// and stay so, with false, for fewer than 3 points, nearly collinear points (the
/// determinant below 1e-5 in magnitude) or a non-finite result.
FUNCTIONS_EXPORT bool threePointFitCircle(std::vector<cv::Point2d> points, cv::Point2d& center, double& radius);

/// Fits an ellipse by the direct least-squares conic fit constrained to ellipses, on
/// points normalised by their mean and half range. box gets the centre, the angle in
/// degrees of the major axis (the width), and the full axes truncated to whole pixels:
/// semi-axes 40.7 and 20.2 give 81 x 40.
///
/// type: FitEllipseLeastSquares (one fit), FitEllipseHuber, or FitEllipseTukey (any
/// other value). The robust types reweight by the absolute algebraic residual of each
/// point to the last conic (scale as for fitLine, param <= 0 adaptive) and refit, for at
/// most 30 steps or until the centre moves by less than 1e-6 and the width, height and
/// angle change by less than 1e-6. box is written after every successful fit.
///
/// Returns false for fewer than 6 points, a non-finite coordinate, no spread in x or in
/// y, collinear points, and any conic that is not a real ellipse; a robust refit that
/// fails returns false with box holding the last ellipse found.
FUNCTIONS_EXPORT bool fitEllipse(std::vector<cv::Point2d>& points, cv::RotatedRect& box, FitEllipseType type,
                                 double param);

/// @}
