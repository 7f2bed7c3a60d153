#pragma once

/// \file
/// Skew and character cropping (\ref skew).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

/** \defgroup skew Skew and character cropping
 *
 * Skew of text-like images and cropping of a line of characters.
 * @{
 */

/// Angle in degrees, in [-90, 90), of the dominant straight horizontal edges of an 8-bit
/// one-channel image, by a quarter-degree line vote over the pixels whose vertical Sobel
/// response reaches 129 (the one-pixel frame never votes). Positive when the edges
/// descend to the right on screen (clockwise, y down), so skewCorrectionRot(src, dst,
/// clcHorizontalSkew(src), ...) levels them. Ties go to the smallest angle.
///
/// An image without such edges, or smaller than 3 x 3, gives -90. An image that is not
/// 8-bit one-channel gives NaN; an empty one throws cv::Exception (from cv::Sobel).
FUNCTIONS_EXPORT double clcHorizontalSkew(cv::Mat& image);

/// Rotates src by angle degrees (counter-clockwise on screen for positive angles) about
/// its centre onto a canvas just large enough to hold all of it: (int)(rows |sin| + cols
/// |cos|) wide and (int)(rows |cos| + cols |sin|) high, src's centre on the canvas
/// centre. Bilinear; uncovered pixels take borderValue. Any type OpenCV warps is
/// accepted. A non-finite angle releases dst; an empty src throws cv::Exception.
FUNCTIONS_EXPORT void skewCorrectionRot(cv::Mat& src, cv::Mat& dst, double angle, cv::Scalar borderValue);

/// First (top) and last (bottom) rows of an 8-bit one-channel image that hold a non-zero
/// pixel; returns top < bottom. When no row holds one, top stays 0 and bottom rows - 1,
/// so a blank image of two or more rows returns true (and an empty one false). An image
/// that is not 8-bit one-channel returns false and leaves top and bottom unchanged.
FUNCTIONS_EXPORT bool cutCharacterTopBottom(cv::Mat& image, int& top, int& bottom);

/// @}
