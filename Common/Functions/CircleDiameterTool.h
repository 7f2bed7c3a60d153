#pragma once

/// \file
/// Circle diameter tool (\ref circle_diameter).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

/** \defgroup circle_diameter Circle diameter tool
 *
 * Circle diameter tool: two-point diameters of a bore, a shaft or a boss at many angles,
 * the smallest and the largest of them with their directions, the mean diameter and the
 * out-of-roundness. Where the circle tool answers "which circle fits best", this tool
 * answers "is the part within tolerance in every direction".
 *
 * Conventions: image coordinates in pixels (x right, y down). Angles are degrees
 * counter-clockwise with y up, 0 along +x, as the host draws rings and arcs; a direction
 * (of a diameter) is an axis and is reported in [0, 180).
 * @{
 */

/// Measures the two-point diameters of the round edge inside param.roi.
///
/// The ROI gives a centre and a band of radii from `inner` to `outer`:
///  - RingROI (type 32): its centre and its two radii, in either order;
///  - CircleROI (type 4): the centre of its rectangle and r = (width + height) / 4, searched
///    in the band r +- max(r / 5, 4 px), the inner radius not below 0.
/// Any other type, and a null ROI, fail.
///
/// The band is unwrapped once (bilinear, pixels outside the image read 0) into
/// param.polarImage: caliperCount calipers of segmentWidth radial lines each, one row per
/// line, one column per pixel of radius. Caliper k stands at k * 360 / caliperCount
/// degrees and its lines at the centres of segmentWidth equal parts of caliperAngle around
/// it; the lines of caliper k + caliperCount / 2 are exactly those of caliper k, turned half
/// a turn. Column j is the radius inner + j for the first half of the calipers and
/// inner + j + 0.5 for the second: a sub-pixel edge is biased by where it falls between two
/// samples, and samples half a pixel apart on the two sides cancel the bulk of that bias in
/// every diameter. Each caliper averages its lines into one radial profile and takes the
/// first edge in scan order, with the kernels, thresholds and sub-pixel rule of
/// clcSegmentPoints (the caliper settings mean what they mean for the circle tool). Colour
/// images are unwrapped in colour and converted with COLOR_RGB2GRAY.
///
/// A circle is fitted (Taubin) to every edge point. The two edge points of a pair of
/// opposite calipers lie on one line through the unwrap centre; when that centre lies
/// away from the part's, such a line misses the part's centre and its two-point diameter
/// comes out short, by up to offset^2 / radius. So when the fitted centre lies so far from
/// the ROI's centre that this exceeds 0.005 px, the band is unwrapped and measured once
/// more about the fitted centre (the same radii), and that second measurement is the
/// result: the readings do not depend on where, within a few pixels, the ROI was dropped.
///
/// Results: a pair whose calipers both found an edge gives one diameter, the distance
/// between its edge points; a caliper whose partner found nothing keeps its edge point
/// (for the fit and the roundness) but gives no diameter. minDiameter and maxDiameter
/// are the extreme readings, as a micrometer shows them: they include the measuring
/// noise of the single readings (a few hundredths of a pixel on a sharp, clean edge).
/// Their directions are refined, since on a smooth oval the readings near an extreme differ
/// by less than that noise: an oval, c0 + c1 cos 2t + c2 sin 2t in the angle t, is fitted by
/// least squares to the readings within 45 degrees either side of the extreme one (at
/// least its neighbours, at most half the readings round the turn), and its own extreme
/// gives the direction, or the extreme reading's own direction when fewer than three
/// readings are there or the oval's extreme lies beyond them. On a round part these
/// directions mean nothing. roundness is the largest minus the smallest distance of the
/// edge points from the fitted centre.
///
/// Inputs out of range behave as in the other segment tools: segmentWidth below 1 counts
/// as 1, caliperCount is raised to at least 6 and to an even number, caliperAngle is
/// clamped to [0, 360 / caliperCount] (NaN to 0), segmentStep is not read, and sigma
/// outside 0..100 finds no edge.
///
/// Limits, checked before anything is allocated: radii finite, inner >= 0, a band at least
/// 3 px wide (outer - inner >= 3) and outer below 16380 px (the crop is the source of
/// OpenCV's remap, which takes sides below 32767); a centre within +-1e9 px; fewer than
/// 32767 rows (caliperCount * segmentWidth) and at most 2^25 pixels in the unwrapped
/// image, which has floor(outer - inner - 0.5) + 1 columns. Images must be 8-bit with 1, 3
/// or 4 channels.
///
/// Every output is cleared first and success set false. The call fails (returns false)
/// for an empty or unreadable image, a null or unsupported ROI, degenerate radii or a
/// ROI beyond the limits, fewer than three pairs measured, or a fit that gives no usable
/// circle; every result field is then 0 or empty, while cropRect and polarImage show
/// what was unwrapped when the call got that far. Returns success.
FUNCTIONS_EXPORT bool clcCircleMulPoints(cv::Mat& image, _CircleDiameterDetParam& param);

/// @}
