#pragma once

/// \file
/// Edge tools (\ref edge_tools).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

/** \defgroup edge_tools Edge tools
 *
 * Single-caliper edge tools: averaged profiles across a rectangle, a one-sided difference
 * as edge strength and whole-sample peaks (no smoothing kernel, no sub-pixel fit).
 * @{
 */

/// Finds the first edge met when walking across param.roi along its width, in the
/// direction param.direction (0: from the rectangle's left edge, other values from its
/// right edge), with polarity param.transition (values outside 0..2 act as DarkToLight).
///
/// The rectangle is straightened into param.image (8-bit grey), its columns are
/// averaged, the one-sided difference in scan order gives the strength curve stored in
/// param.gradient (after removing values below minGradient and an optional centred
/// moving average of smoothWidth samples). The first peak above
/// threshold * maxGradient / 100.5 wins; a run of equal peak values gives its centre.
/// The result lies on the rectangle's centre line, in image coordinates (param.x, y).
///
/// Returns false (found false) for a null roi, a side below 1 pixel or of 32767 or more,
/// a non-finite size, centre or angle, an empty image or one that is not 8-bit with 1, 3 or 4 channels: in those
/// cases image and gradient are untouched. When only the peak is missing, image and
/// gradient are filled so the host can show why. The input image is read only.
FUNCTIONS_EXPORT bool clcEdgePoint(cv::Mat& image, _EdgePointDetParam& param);

/// Every edge of one averaged profile across param.roi (a RectROI or a RotateRectROI).
///
/// param.direction picks the profile: LeftToRight (0) and RightToLeft (1) average the
/// columns (a profile along the rectangle's width), TopToBottom (2) and BottomToTop (3)
/// the rows (along its height); 1 and 3 scan backwards. Other values act as 0. An upright
/// rectangle, and a rotated one at an angle of exactly 0, is copied from the truncated
/// integer rectangle (nothing interpolated; a rectangle starting left of or above the image
/// copies nothing and fails); any other angle is straightened as clcEdgePoint does.
///
/// The strength curve (param.gradient, float) is built as in clcEdgePoint; every peak
/// above (float)threshold * maxGradient / 100.5 is reported in scan order as a profile
/// position (a whole sample, or the centre of a run of equal values) in param.positions,
/// with param.polarities holding, per position, 1 where intensity falls along the scan at
/// that sample, -1 where it rises, 0 where it is flat (read at the position truncated).
/// After a peak the curve must rise again before the next one counts.
///
/// found = false and the three output lists are cleared on entry. Returns false for a null
/// or other ROI, a side below 1 pixel or of 32767 or more, non-finite geometry, an empty
/// image or one that is not 8-bit with 1, 3 or 4 channels, an empty copy, and when no peak
/// passes the threshold (image and gradient are then filled for display).
FUNCTIONS_EXPORT bool clcEdges(cv::Mat& image, _EdgesDetParam& param);

/// A pair of edges per segment of param.roi, as for width measurements.
///
/// The rectangle is copied (angle exactly 0) or straightened into param.image (grey) and
/// cut into bands of segmentWidth lines, starting at 0 and advancing by segmentStep while
/// the band fits: segmentAxis 0 stacks horizontal bands down the rows (profiles along x),
/// other values put vertical bands side by side (profiles along y). Each band is averaged
/// across into a profile scanned forwards (direction 0) or backwards (other values); its
/// strength curve and peaks follow clcEdges. The first skipCount peaks in scan order are
/// dropped; of the rest (at least two are needed) pairMode 0 takes the first and the last,
/// other values the two middle ones (indices (m-1)/2 and (m-1)/2 + 1 of m). A pair whose
/// positions differ by strictly more than minPairDistance adds its smaller position to
/// param.firstEdges and the larger to param.secondEdges, as (position, band centre) for
/// horizontal bands or (band centre, position) for vertical ones, in the straightened
/// rectangle's pixel coordinates; bands are visited in order, so pairs come along the
/// segment axis. A negative skipCount counts as 0.
///
/// found = false on entry. Returns false, with the edge lists untouched, for a null ROI or
/// one that is not a RotateRectROI, a side below 1 pixel or of 32767 or more, non-finite
/// geometry, an empty image or one that is not 8-bit with 1, 3 or 4 channels. Otherwise the
/// lists are cleared and the result is true (found true) when at least one pair was kept;
/// a segmentWidth or segmentStep below 1 keeps none.
FUNCTIONS_EXPORT bool clcMulEdgePoints(cv::Mat& image, _MulEdgePointDetParam& param);

// ---------------------------------------------------------------------------------
// Segment-based edge tools: the rectangle is cut into parallel segments, each scanned by
// the segment caliper of ProfileCore.h (Gaussian smoothing, central difference, sub-pixel
// peaks), so points carry sub-pixel, single-precision positions.
// ---------------------------------------------------------------------------------

/// Edge points of param.roi, one per segment (multiEdge false) or every edge of every
/// segment filtered down to one consistent contour (multiEdge true).
///
/// The ROI is a RotateRectROI, straightened into param.image (an angle of exactly 0
/// copies the integer rectangle at the truncated top-left instead of interpolating, and
/// copies nothing, so fails, when that corner lies left of or above the image), or a
/// RectROI, copied, which must lie strictly inside the image: truncated to integers,
/// x >= 0, y >= 0, x + width < cols and y + height < rows (a rectangle reaching the last
/// column or row is refused). Colour is converted with COLOR_RGB2GRAY; in multi-edge mode
/// the picture is then median-filtered (aperture 5) against speckle edges.
///
/// scanAxis 0 scans along the rectangle's width (horizontal profiles, segments stacked
/// down its height), other values along its height (vertical profiles, segments side by
/// side); direction 1 scans backwards, other values forwards. Segments are segmentWidth
/// lines wide and start every segmentStep lines from 0; sigma (0..100) picks the Gaussian
/// kernel, percent the relative and minStrength the absolute threshold, and transition the
/// polarity, as clcSegmentPoints takes them. param.points receives the edges in the
/// straightened rectangle's pixel coordinates, along the segment axis.
///
/// Multi-edge filtering: distances between the lone edges of neighbouring segments fix a
/// limit between max(10, 3*segmentStep) and max(20, 6*segmentStep); chains of lone edges
/// closer than the limit form runs (smoothed 1/4, 1/2, 1/4 as they grow); runs longer than
/// 20 points are kept, else the longest when it has at least 4 points (else the tool
/// fails). From the kept runs the tool walks outwards segment by segment, keeping in each
/// segment the edge nearest the last kept point when it lies closer than the limit.
/// Fewer than 3 edges in all are kept as they are.
///
/// param.angle, halfWidth, halfHeight, centreX and centreY receive the frame that maps
/// the straightened rectangle back into the image (through single precision), once the
/// ROI has been accepted.
///
/// found = false and points cleared on entry. Returns false for a null ROI or any other
/// type, a side below 1 pixel or of 32767 or more, non-finite geometry, a RectROI not
/// strictly inside, an empty image or one that is not 8-bit with 1, 3 or 4 channels,
/// segment settings clcSegmentPoints refuses (width or step below 1, sigma outside
/// 0..100), no edge, or no acceptable run in multi-edge mode.
FUNCTIONS_EXPORT bool clcEdgePoints(cv::Mat& image, _EdgePointsDetParam& param, bool multiEdge);

/// clcEdgePoints(image, param, false), then every point mapped into the image through
/// the recorded frame (rotation about the rectangle's centre), computed in single
/// precision. Returns what clcEdgePoints returns.
FUNCTIONS_EXPORT bool clcEdgePointsAndTransform(cv::Mat& image, _EdgePointsDetParam& param);

/// The first edge along the line segment param.roi (LineROI) from its start, or from its
/// end when param.direction is 1, in image coordinates (param.x, param.y).
///
/// The image is sampled at whole steps of one pixel from the start, ceil(length) samples,
/// with bicubic interpolation (0 outside the image) into the one-row param.image (grey),
/// which the segment caliper scans with sigma, percent, minStrength and transition; the
/// sub-pixel position along the line is mapped back onto it.
///
/// Returns false with found untouched for an empty image; otherwise found = false first,
/// and false for a null or non-line ROI, a zero, non-finite or too long length (above
/// 32766, which would take 32767 samples or more), a start 1e7 px or more from the origin along either axis, an image that is not
/// 8-bit with 1, 3 or 4 channels, a sigma outside 0..100, or no edge.
FUNCTIONS_EXPORT bool clcEdgePoint_Line(cv::Mat& image, _EdgePointDetParam_Line& param);

/// @}
