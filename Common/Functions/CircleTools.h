#pragma once

/// \file
/// Circle and arc tools (\ref circle_tools).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup circle_tools Circle and arc tools
 *
 * Circle and arc tools: edge points found along a ring or an annular sector, the circle
 * fitted through them and, for an arc, the angular extent of the part found.
 *
 * The ROI is unwrapped into a polar strip, one row per angle and one column per radius
 * (column j is radius Ri + j, Ri the inner radius truncated to whole pixels), and the
 * segment caliper (clcSegmentPoints) runs along the rows: a segment of segmentWidth rows
 * averages that many neighbouring angles into one radial profile. Scan sense LeftToRight
 * walks from the inner radius outwards, any other value from the outer radius inwards.
 *
 * Conventions: image coordinates in pixels (x right, y down). Ring and arc angles are
 * degrees counter-clockwise with y up, as the host draws them; an image angle a becomes
 * 360 - a in that sense. The ROI centre is truncated to whole pixels for the unwrap,
 * which is exact for the points found: they are mapped back about the same centre.
 *
 * Limits: the radii must be finite and non-negative, the outer radius below 16383
 * (the crop around it is the source of OpenCV's remap, which handles sides below 32767
 * only) and the unwrapped strip must have fewer than 32767 rows (for a full ring an
 * outer radius up to 5215; an arc's crop near the limit takes about 1 GB). The centre
 * must lie within +-1e9 pixels. ROIs beyond these limits are refused before anything is
 * allocated. Images must be 8-bit with 1, 3 or 4 channels; colour is converted with
 * COLOR_RGB2GRAY. Failures are reported by empty point lists and false results, never by
 * exceptions of the library's own.
 * @{
 */

/// Edge points along a RingROI (type 32) or ArcROI (type 64).
///
/// Outer radius Ro and inner radius Ri are the larger and the smaller ROI radius truncated
/// to int. A ring is unwrapped over a full turn starting at startParam degrees (image
/// angles, clockwise on screen); an arc from image angle 360 - angle2 to 360 - angle1,
/// with startParam as the row offset of the first caliper. The strip has
/// ceil(Ro * 2pi * span / 360) rows and Ro - Ri + 1 columns; rows run clockwise from the
/// start when clockwiseFromStart, otherwise backwards from the end angle. roiImage
/// receives the square (cx - Ro, cy - Ro, 2Ro + 1, 2Ro + 1) around the truncated centre,
/// padded with 0 outside the image, and cropRect that square.
///
/// For a ring the strip is extended by the first rows again so that the last caliper
/// reaches across the seam at the start angle. angularSmoothing > 1 box-filters the strip
/// over that many rows (made odd) and three columns before the calipers run; it needs at
/// least two rows and three columns, otherwise no points are produced. segmentWidth and
/// segmentStep below 1 count as 1; a ring whose segmentWidth exceeds its row count gives
/// no points. sigma, percent, minStrength, maxSegments and transition are passed on to
/// clcSegmentPoints (one edge per caliper, the first in scan order).
///
/// With bestEdgePerCaliper every edge of a caliper is found and the one nearest to a
/// Tukey line through all polar points (radius against row) is kept. outlierDistance >= 0
/// then removes, in one pass, the points whose distance to a refitted line is not below
/// outlierDistance + 1e-6 (in pixels of the strip); a negative value disables it. Both
/// judge against a straight line in the strip, where a circle off the ROI's centre by d
/// traces a wave of amplitude d over a full turn: keep outlierDistance well above the
/// centring error, or a small value removes good points.
///
/// Outputs: polarPoints receives (column, angle in radians, image sense) and imagePoints
/// the same points in image coordinates, in row order. Both lists are left untouched when
/// the call stops before the calipers run (empty image, null or unsupported ROI, a CircleROI,
/// which is accepted but measured by no rule here, radii or centre beyond the limits, a
/// zero outer radius); polarPoints is replaced once they run, and imagePoints only when
/// at least two points are found.
FUNCTIONS_EXPORT void clcCircleSegmentPoints(cv::Mat& image, ROI* roi, bool clockwiseFromStart, int startParam,
                                             ClcDirection scanSense, EdgeTransition transition, int segmentWidth,
                                             int segmentStep, int maxSegments, int sigma, int percent,
                                             int minStrength, cv::Mat& roiImage, cv::Rect& cropRect,
                                             std::vector<cv::Point2d>& polarPoints,
                                             std::vector<cv::Point2d>& imagePoints, bool bestEdgePerCaliper,
                                             int angularSmoothing, double outlierDistance);

/// Edge points of param.roi (a RingROI or ArcROI) in image coordinates, one per caliper,
/// rows clockwise from image angle 0 (a ring) or from the arc's start. direction 1 scans
/// from the outer radius inwards, any other value outwards. Clears success and edgePoints
/// first; success is true when at least 3 points were found, and is returned.
FUNCTIONS_EXPORT bool clcCirclePoints(cv::Mat& image, _CirclePointsDetParam& param);

/// Edge points as clcCirclePoints (with the three trailing options of
/// clcCircleSegmentPoints), then a circle through them into centre and radius:
///  - fitMode 0 and other values: robust (Huber) fit to all points;
///  - 1: the smallest circle enclosing all points, lying against the outer crests of a
///    ragged contour (the Huber fit's success decides the result);
///  - 2: the Huber fit repeated on the points nearer to its centre than both their
///    neighbours (cyclically), lying against the inner crests, when more than 2 exist.
/// In mode 0 with bestEdgePerCaliper at least 10 points must lie within 3 px of the
/// circle. Clears success and edgePoints first, not centre and radius: they hold whatever
/// the fit left when it fails, so read success. Returns success.
FUNCTIONS_EXPORT bool clcCirclePointsAndFit(cv::Mat& image, _CircleDetParam& param, int fitMode,
                                            bool bestEdgePerCaliper, int angularSmoothing,
                                            double outlierDistance);

/// Edge points along param.roi (an ArcROI), a circle through them and the arc's extent.
///
/// A first estimate is the algebraic circle through the two points nearest to the ROI's
/// boundary rays that best fits all points; it is stored at once (radius 0 when those two
/// points share a row). fitMode 1 keeps the first and last points and the one furthest
/// outside the estimate (outer crest), fitMode 2 the one furthest inside (inner crest);
/// without such a point the call fails. Other modes keep all points. A Tukey fit of the
/// kept points gives centre and radius; in mode 0 with bestEdgePerCaliper at least 10 of
/// them must lie within 3 px of it. Then findArcAngle fills the arc's angles.
///
/// Clears success and edgePoints first. A null ROI, or one that is not an ArcROI, fails
/// with nothing else touched. On failure after the estimate, centre and radius keep the
/// estimate: read success. Returns success.
FUNCTIONS_EXPORT bool clcArcPointsAndFit(cv::Mat& image, _ArcDetParam& param, int fitMode, bool bestEdgePerCaliper,
                                         int angularSmoothing, double outlierDistance);

/// Fills arcStartAngle and arcEndAngle (degrees counter-clockwise with y up, in [0, 360])
/// with the part of the circle (centre, radius) that lies in param.roi, going
/// counter-clockwise from start to end, so an arc through the 0-degree direction has a
/// start above its end.
///
/// The arc's ends are where the circle crosses the ROI's two boundary rays (between the
/// radii); when fewer than two such crossings exist, crossings with the ROI's inner and
/// outer circles that lie inside the ROI are added. With fewer than two in all, or a
/// null ROI or one that is not an ArcROI, the angles are left unchanged. Of more than two
/// crossings the angularly first and last ones (image angles, atan2 order) are used.
FUNCTIONS_EXPORT void findArcAngle(_ArcDetParam& param);

/// @}
