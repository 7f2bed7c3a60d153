#pragma once

// How far to trust a tool's result, as the front ends show it: fit quality (residuals,
// uncertainties, 95 % intervals) and per-point diagnostics as JSON, the sentence that
// says why a tool found nothing or too little, and the values written on overlays.
// Numbers are rounded to what they mean: positions and lengths to 1e-4 px, angles to
// 1e-4 degrees.

#include "ToolDefinition.h"

#include <FitQuality.h>

#include <string>
#include <vector>

namespace frontend {

/// v rounded to a multiple of step (e.g. 1e-4); non-finite values become null in JSON.
json rounded(double v, double step = 1e-4);

/// {"value", "sigma", "ci95": [low, high]} of a fitted value, scaled by factor (2 turns
/// a radius into a diameter).
json fittedJson(const FittedValue& v, double factor = 1.0);

/// {"points", "dof", "rmsResidual", "maxResidual"} of a fit's residuals.
json residualsJson(const FitResiduals& r);

/// quality of a line: residuals, angle (degrees), offset at the anchor.
json lineQualityJson(const LineFitQuality& q);
/// quality of a circle: residuals, centre x and y, radius and diameter.
json circleQualityJson(const CircleFitQuality& q);
/// quality of edge pairs: pair count, mean width with its interval, spread, range.
json widthQualityJson(const EdgePairWidthQuality& q);

/// Per-point list [{"point", "residual", "inlier"}] with the inlier and outlier counts:
/// the "diagnostics" of a run (the failure reason is added by the adapter).
json diagnosticsJson(const std::vector<PointDiagnostic>& points);

/// Edge points as diagnostics without a fitted shape: residual null, all inliers.
std::vector<PointDiagnostic> unjudged(const std::vector<cv::Point2d>& points);

/// The strongest edge response of any caliper band of an upright strip (horizontal bands
/// of `width` rows every `step` rows, profiles along x), judged as the segment caliper
/// judges it: the profile smoothed with Gaussian kernel `sigma`, the doubled central
/// difference, signed along the scan and filtered by polarity. 0 for an empty strip.
double strongestCaliperResponse(const cv::Mat& strip, int width, int step, int sigma, ClcDirection scan,
                                EdgeTransition transition);

/// The unwrapped polar strip of a ring or arc ROI as the circle tools scan it (rows are
/// angles, columns radii from the inner radius out), cut from the square around its
/// centre; empty when the ROI is neither.
cv::Mat polarStrip(const cv::Mat& image, const ROI& roi);

/// "no caliper's strongest response reached minStrength 20, the strongest was 12" when
/// that is why calipers found no edge, otherwise "N edge points were found, M are needed".
std::string tooFewPointsReason(size_t found, size_t needed, double strongest, int minStrength);

} // namespace frontend
