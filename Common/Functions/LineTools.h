#pragma once

/// \file
/// Line tools (\ref line_tools).

#include "FunctionsDef.h"

#include <QVector>
#include <opencv2/core.hpp>

#include <vector>

/** \defgroup line_tools Line tools
 *
 * Line tools: a straight edge measured inside a rotated rectangle (a row of calipers,
 * a fitted line, its direction and its stretch across the ROI), and the central line of
 * two such measurements.
 *
 * Coordinates are image pixels (x right, y down). Lines are cv::Vec4d (vx, vy, x0, y0).
 * The ROI's own frame has x along its width and y along its height; the calipers are
 * horizontal bands of that frame stacked along its y axis, each scanning along x, so the
 * edge found runs roughly along the ROI's height and the line points from the first
 * caliper (the ROI's top in its own frame) towards the last.
 *
 * Every result travels in the caller's _EdgeLineDetParam:
 *  - inputs: direction (1 scans from the ROI's right side towards its left, any other
 *    value from left to right), transition (EdgeTransition; values outside 0..2 act as
 *    BothTransitions), percent (relative threshold in percent of each caliper's strongest
 *    response), sigma (smoothing kernel index 0..100), minStrength (absolute threshold on
 *    the doubled central difference), segmentWidth and segmentStep (caliper band width
 *    and spacing in pixels, both at least 1), roi;
 *  - outputs: line, roiImage (the straightened 8-bit grey ROI), edgePoints (one per
 *    caliper that found an edge, in caliper order), startEndPoints (two points on the
 *    ROI border, ordered along the line), success.
 * @{
 */

/// Straightens param.roi into param.roiImage and collects one edge per caliper (the
/// first in scan order) into param.edgePoints, in image coordinates.
///
/// An empty image returns false at once and leaves the whole record as it was. Otherwise
/// success is set false and edgePoints and startEndPoints are cleared first; then false is
/// returned, roiImage untouched, for a null roi, a ROI side below 1 pixel or of 32767 or
/// more, a non-finite ROI, or an image that is not 8-bit with 1, 3 or 4 channels (colour
/// is converted with COLOR_RGB2GRAY). Parts of the ROI outside the image read as 0.
/// Returns true when at least one edge point was found; unusable caliper settings
/// (widths or steps below 1, sigma outside 0..100) find none.
FUNCTIONS_EXPORT bool clcLineEdgePoints(cv::Mat& image, _EdgeLineDetParam& param);

/// Measures a line: clcLineEdgePoints, then a Huber fit of param.line to every edge point,
/// directed from the first point towards the last and clipped to the ROI into
/// startEndPoints. Returns success, which is true once a line was fitted.
///
/// fitMode 1 and 2 refit against the crests of a ragged edge: the points on one side of
/// the first fit (1: the side where (vx, vy) x (p - (x0, y0)) > 0, i.e. to the right of
/// the line's direction as seen on screen; 2: the other side) are thinned to the first,
/// the last and those farther from the line than both neighbours, and the line is
/// refitted to them, so it lies against the outermost tips of that side. With fewer than
/// two points on the side the first fit stays. Every other fitMode keeps the first fit.
///
/// False, with success false, for fewer than two edge points or a null or non-finite
/// roi. An empty image leaves clcLineEdgePoints' outputs as they were, so the points
/// already in the record are fitted.
FUNCTIONS_EXPORT bool clcEdgeLineAndFit(cv::Mat& image, _EdgeLineDetParam& param, int fitMode);

/// Drops the edge points farther than maxDistance (+1e-6) from a Tukey fit to all of them,
/// in one pass against that single fit, refits the kept points (Tukey), directs the line
/// from the first kept point towards the last and clips it to the ROI. edgePoints, line
/// and startEndPoints are replaced; success is not touched.
///
/// Returns false and changes nothing when fewer than two points are there or remain (a
/// NaN maxDistance keeps none), or roi is null or unusable (as for clcLineEdgePoints).
FUNCTIONS_EXPORT bool removeEdgeLineNoise(_EdgeLineDetParam& param, double maxDistance);

/// Negates the direction (vx, vy) of line when the feet of first and last on the line
/// through a and b follow each other against the direction a -> b; the point (x0, y0)
/// stays. With a = point - direction and b = point + direction the line then runs from
/// first towards last. Nothing changes when the feet coincide.
FUNCTIONS_EXPORT void setLineDir(cv::Point2d first, cv::Point2d last, cv::Point2d a, cv::Point2d b,
                                 cv::Vec4d& line);

/// Clips a line to the quadrilateral of four corners (in order round it). startEnd is
/// cleared and receives two points ordered along the line's direction: of the meeting
/// points of the line with the four side lines (in corner order, sides through
/// corners i and i+1), the start is the nearest to centre (the first on ties) and the end
/// the nearest whose distance differs from the start's (the first on ties). When all
/// distances are equal the end is the first meeting point, so a line through the exact
/// centre of a symmetric ROI gives two equal points. Side lines are taken unbounded, so
/// for a line through the centre the end may lie on a side's extension: this rule is the
/// host's established result. Empty when the line meets no side line (zero direction).
FUNCTIONS_EXPORT void getLineStartEndPointByROI(std::vector<cv::Point2f> corners, cv::Point2d centre,
                                                cv::Vec4d line, std::vector<cv::Point2d>& startEnd);

/// Central line of two measured lines: the angular bisector of first.line and
/// second.line (getAngularBisector with bisectorFlag; for parallel lines the middle
/// line), pointing the way of first.line, into central.line. The two segments (their
/// startEndPoints when both hold exactly two points, otherwise each line's point and
/// point + direction) are projected onto it; the leftmost-topmost and rightmost-bottommost
/// projections are appended to central.startEndPoints, ordered like first's segment.
/// central.startEndPoints is appended to, not cleared: pass it empty.
///
/// Returns true and sets central.success; false, central untouched, when there is no
/// bisector (a zero or non-finite direction).
FUNCTIONS_EXPORT bool findLineLineCentralLine(_EdgeLineDetParam first, _EdgeLineDetParam second,
                                              _EdgeLineDetParam& central, bool bisectorFlag);

/// leftTop: the point with the smallest x, the smaller y among equal x; rightBottom: the
/// point with the largest x, the larger y among equal x; the first one on full ties. The
/// largest-x search starts from the smallest positive double, so when no x is above it
/// rightBottom is points[0]. Empty points leave both outputs untouched.
FUNCTIONS_EXPORT void findLtPointAndRbPoint(QVector<cv::Point2d> points, cv::Point2d& leftTop,
                                            cv::Point2d& rightBottom);

/// @}
