#pragma once

/// \file
/// Plane fitting and robust depth (\ref plane_fitting).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup plane_fitting Plane fitting and robust depth
 *
 * Planes fitted to 3-D points (height and flatness on depth data) and a robust mean of
 * a depth image under a mask.
 *
 * A plane is cv::Vec6d (nx, ny, nz, px, py, pz): a unit normal followed by a point on the
 * plane. Normals point towards +z (for a vertical plane towards +y, then +x).
 * @{
 */

/// Least-squares plane z = a*x + b*y + c (vertical residuals), solved from its normal
/// equations with the SVD inverse. plane = (normalised (-a, -b, 1), 0, 0, c): the point is
/// the one above the origin of the x-y plane. Returns false, plane untouched, for fewer
/// than 3 points, any non-finite coordinate, or a normal matrix whose determinant is
/// exactly 0 (for instance all points on one vertical plane).
FUNCTIONS_EXPORT bool fitPlane(std::vector<cv::Point3d> points, cv::Vec6d& plane);

/// Robust plane with Huber weights on the perpendicular distances.
///
/// Up to 20 trials, each starting from a plane fitted to min(n, 10) distinct points drawn
/// by cv::RNG in its default state (the draw depends on n alone), refined by up to 30
/// reweighted fits on all points. Each fit is a weighted total-least-squares plane: the
/// normal is the eigenvector of the smallest eigenvalue of the weighted scatter matrix
/// about the weighted centroid, and the centroid is the plane's point. Weights are 1 for
/// distances below k and k/r beyond, k = param (in single precision) or 1.345 when
/// param <= 0, then normalised to sum 1. A trial stops when the normal turns by less than
/// 0.001 rad and the single-precision cross product of the changes of normal and point
/// is below 0.001 in every component. The plane of the trial with the smallest sum of
/// distances is kept; trials stop once that sum falls below n * FLT_EPSILON.
///
/// Returns false for fewer than 3 points, any non-finite coordinate, or a fit that does
/// not determine a plane (the weighted points on one line or at one point), in which case
/// plane keeps what an earlier trial stored.
FUNCTIONS_EXPORT bool fitPlane3D_Huber(std::vector<cv::Point3d>& points, cv::Vec6d& plane, double param);

/// Robust mean of the depth values whose mask byte is non-zero: a Huber M-estimate of
/// location. It starts at the median, takes the scale s = 1.4826 * the median absolute
/// deviation from it (fixed for the whole estimate), weights each value 1 when
/// |v - mean| / s is below 1.345 and 1.345 * s / |v - mean| beyond, and repeats the
/// weighted mean until it moves by less than 1e-7 * s, for at most 50 steps. When more
/// than half the values are equal (s = 0) the result is that median value.
///
/// depth must be single-channel 32-bit float or 16-bit unsigned, mask 8-bit
/// single-channel of the same size; anything else, an empty selection, or a selection of
/// only non-finite values (which are skipped) gives 0.
FUNCTIONS_EXPORT float meanDepth_Huber(cv::Mat& depth, cv::Mat& mask);

/// @}
