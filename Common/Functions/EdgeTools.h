#pragma once

// Single-caliper edge tools: one averaged profile across a rotated rectangle.

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

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
