#pragma once

/// \file
/// One-dimensional profile analysis (\ref profile_core).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup profile_core One-dimensional profile analysis
 *
 * One-dimensional profile analysis: the shared Gaussian kernel table, smoothing of a
 * grey-value profile, its derivative, sub-pixel edge extraction, small parabola and
 * extreme-value helpers, and the segment caliper that runs them across an image strip.
 *
 * Profiles are plain arrays of single-precision floats owned by the caller; positions are
 * array indices as doubles (0 = first sample). Scan directions follow ClcDirection: the
 * one-dimensional functions know only forward (LeftToRight, 0) and reverse (any other
 * value). None of these functions reports errors: unsuitable input yields no output.
 * @{
 */

// ---------------------------------------------------------------------------------
// Gaussian kernels and smoothing
// ---------------------------------------------------------------------------------

/// Kernel of half-width k (2k+1 taps, centred on tap k, symmetric, summing to 1) from a
/// process-wide table of kernels 0..100 with sigma = 0.3*(k-1) + 0.8; kernel 0 is {1}.
/// The table is built on the first call (safe when that call happens on several threads
/// at once) and lives until the library is unloaded: never free the pointer.
/// Returns nullptr for k > 100 and for a negative k.
FUNCTIONS_EXPORT const float* getOneDimGaussianKernel(int k);

/// Writes the central 2*dstHalf+1 taps of the kernel src (half-width srcHalf) into dst,
/// renormalised to sum 1. dst is left untouched when dstHalf >= srcHalf (the caller then
/// copies the whole kernel itself), when the central taps sum to exactly 0, when dstHalf
/// is negative or when a pointer is null.
FUNCTIONS_EXPORT void cutOneDimGaussianKernel(const float* src, int srcHalf, float* dst, int dstHalf);

/// Smooths the n samples of data in place with the kernel of half-width half (2*half+1
/// taps). The ends are padded by wrapping round when circular is true, by repeating the
/// end samples otherwise. Leaves data untouched when n < 1, n < half + 1 (the profile must
/// be longer than the half-width), half < 0 or a pointer is null.
FUNCTIONS_EXPORT void oneDimArrayGaussianFilter(float* data, int n, const float* kernel, int half, bool circular);

// ---------------------------------------------------------------------------------
// Derivative, edge strength and extraction
// ---------------------------------------------------------------------------------

/// First difference of src into dst: dst[i] = src[i+1] - src[i-1] inside (deliberately
/// not halved: absolute thresholds are on this doubled scale). At the ends the one-sided
/// difference when circular is false, the wrapped central difference when it is true.
/// n == 1 gives dst[0] = 0; n <= 0 does nothing.
FUNCTIONS_EXPORT void clcOneDimDeriv(float* src, float* dst, int n, bool circular);

/// Turns the derivative d into a non-negative edge strength in place: negated first when
/// dir is RightToLeft (1), so that positive always means brighter further along the scan;
/// then LightToDark keeps the magnitude of negative values, DarkToLight keeps positive
/// values, and any other transition keeps every magnitude. n < 1 does nothing.
FUNCTIONS_EXPORT void clcOneDimDerivDir(float* d, int n, ClcDirection dir, EdgeTransition t);

/// Appends up to maxCount edge positions of the strength curve (length n) to positions,
/// in scan order (increasing index for dir LeftToRight, decreasing for any other value).
/// An edge is a local maximum reached while rising, at or above
/// max(percent / 100 * top, minStrength) where top is the curve's largest value (at least
/// 0). Peaks get a parabola vertex, flat tops their centre, and the first and last samples
/// of the scan count as edges while rising, without a parabola. Nothing is appended when
/// n < 2, maxCount < 1 or minStrength exceeds top; NaN samples never pass the threshold.
FUNCTIONS_EXPORT void oneDimEdgeExtraction(float* strength, int n, ClcDirection dir, float percent,
                                           float minStrength, int maxCount, std::vector<double>& positions);

// ---------------------------------------------------------------------------------
// Parabolas and extreme searches
// ---------------------------------------------------------------------------------

/// Sub-pixel position of the maximum at sample i: the vertex of the parabola through
/// samples i-1, i, i+1, narrowed to float, deliberately not clamped to [i-1, i+1].
/// Returns i for the end samples, for a NaN vertex, and for an i outside 1..n-2.
FUNCTIONS_EXPORT float oneDimEdgeParabolaExtremum(const float* strength, int n, int i);

/// Coefficients of y = a*x^2 + b*x + c through three points. Degenerate points (equal
/// abscissas) leave a, b and c untouched.
FUNCTIONS_EXPORT void threePointParabola(cv::Point_<double> p0, cv::Point_<double> p1, cv::Point_<double> p2,
                                         double& a, double& b, double& c);

/// Abscissa of the vertex of the parabola through three points; 0 for degenerate points
/// and for a straight line (a == 0).
FUNCTIONS_EXPORT double threePointParabolaExtremum(cv::Point_<double> p0, cv::Point_<double> p1,
                                                   cv::Point_<double> p2);

/// Vertex abscissa -b / (2a) of y = a*x^2 + b*x + c; 0 when a == 0.
FUNCTIONS_EXPORT double parabolaExtremum(double a, double b);

/// Index of the smallest (findMin) or largest value; -1 for an empty vector. Element 0 is
/// the starting candidate and is never compared, the running maximum starts at the
/// smallest positive normal double, and ties keep the first index: a vector whose values
/// from index 1 on are all <= 0 gives 0 as its maximum's index.
FUNCTIONS_EXPORT int findMinMaxPos(std::vector<double>& values, bool findMin);

/// Position of the largest value of a single-channel float matrix over rows
/// rowStart <= r < rowEnd and columns colStart <= c < colEnd, scanned row by row; ties
/// keep the first. maxRow and maxCol are written only when a value beats the most
/// negative float, so an empty range (or a matrix that is not CV_32FC1) leaves them as the
/// caller set them. The range is clipped to the matrix.
FUNCTIONS_EXPORT void findMaxValuePos(cv::Mat& response, int rowStart, int rowEnd, int colStart, int colEnd,
                                      int& maxRow, int& maxCol);

// ---------------------------------------------------------------------------------
// Segment caliper
// ---------------------------------------------------------------------------------

/// Cuts an upright 8-bit strip (1, 3 or 4 channels; colour is converted with
/// COLOR_RGB2GRAY) into parallel segments and appends the edges of each to points.
///
/// segmentAxis LeftToRight (0): segments are vertical bands side by side along x, each
/// averaged into a vertical profile (length = rows); any other value: horizontal bands
/// stacked along y giving horizontal profiles (length = cols). Segment s covers the lines
/// start + s*step to start + s*step + width - 1. The number of segments is
/// min((extent - width) / step + 1, max(maxSegments, strip.rows)), where extent is the
/// strip's size across the bands minus start: maxSegments only limits above the row count.
///
/// Each profile is smoothed with kernel sigma (cut to half-width L-1 for a profile of
/// L <= sigma samples, end samples repeated), differentiated and searched as
/// oneDimEdgeExtraction does, keeping at most maxEdges edges per segment. Scan direction
/// with vertical profiles: TopToBottom (2) is forward, any other value reverse; with
/// horizontal profiles scanDirection is passed on unchanged.
///
/// Each edge p of a segment whose centre line is m = (2*(start + s*step) + width) / 2
/// becomes the point (m, p) for vertical profiles or (p, m) for horizontal ones, in the
/// strip's pixel coordinates, both coordinates rounded to float. Points are appended
/// segment by segment, in scan order within a segment.
///
/// Adds nothing for an empty strip, a strip that is not 8-bit with 1, 3 or 4 channels,
/// width < 1, step < 1, start < 0, maxSegments < 1, sigma outside 0..100, maxEdges < 1,
/// or a strip narrower than width after start.
FUNCTIONS_EXPORT void clcSegmentPoints(cv::Mat& strip, ClcDirection segmentAxis, ClcDirection scanDirection,
                                       EdgeTransition transition, int width, int step, int start, int maxSegments,
                                       int sigma, float percent, float minStrength,
                                       std::vector<cv::Point_<double>>& points, int maxEdges);

/// @}
