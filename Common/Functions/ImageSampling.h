#pragma once

/// \file
/// Image sampling helpers (\ref image_sampling).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup image_sampling Image sampling helpers
 *
 * Image sampling helpers of the measurement tools: rectangle copies padded where they
 * leave the image, polar unwrapping of an annular sector, column and row averages, and
 * saddle-point detection. They keep no state and report no errors: bad input makes them
 * do nothing; OpenCV exceptions pass through.
 * @{
 */

/// Copies rect of src into dst (created with rect's size and src's type); the parts of
/// rect outside src are set to fill.
///
/// Returns true only when rect crossed the image border and dst was padded: a rectangle
/// fully inside src returns false after a plain copy, and so does one with no overlap
/// (dst is then all fill). A non-positive width or height returns false with dst
/// untouched. dst never shares memory with src afterwards.
FUNCTIONS_EXPORT bool copyStaticROIImage(cv::Mat& src, cv::Rect& rect, cv::Mat& dst, cv::Scalar fill);

namespace UtilityFunctions {

/// Like copyStaticROIImage, for rectangles with a non-negative origin: it does nothing at
/// all when rect.x or rect.y is negative or a side is not positive, and it copies only
/// when the overlap with src is at least two pixels wide and two high (an overlap one
/// pixel wide or high leaves dst all fill, even for a rectangle inside src).
FUNCTIONS_EXPORT void CopyImage(cv::Mat& src, cv::Rect& rect, cv::Mat& dst, cv::Scalar fill);

} // namespace UtilityFunctions

/// Unwraps the annular sector around centre into dst: one row per angle (dsize.height
/// rows), one column per radius (dsize.width columns), bilinear, 0 outside src; dst has
/// src's type.
///
/// Angles are degrees, taken modulo 360; equal angles mean a full turn, and an end angle
/// below the start runs through 0 (start 350, end 10 covers 20 degrees). Row i lies at
/// start + i*span/height when clockwiseFromStart (clockwise on screen, y down), else at
/// end - i*span/height. Column j lies at radius j*R/W + minRadius (R = maxRadius -
/// minRadius + 1, W = dsize.width), or at exp(j*ln(R)/W + minRadius) - 1 when logPolar.
///
/// Leaves dst untouched for an empty src and for a dsize side below 1 or of 32767 or more.
FUNCTIONS_EXPORT void warpPolarImg(cv::Mat& src, double startAngle, double endAngle, cv::Point2d centre,
                                   int minRadius, int maxRadius, cv::Size dsize, bool clockwiseFromStart,
                                   bool logPolar, cv::Mat& dst);

/// out[c] = mean of column c (out holds src.cols floats). A 3-channel image is first
/// converted to grey with COLOR_RGB2GRAY; any other channel count is read as raw bytes,
/// the first cols bytes of each row. Empty or non-8-bit images, or a null out, leave out
/// untouched.
FUNCTIONS_EXPORT void getImageColAverage(cv::Mat& src, float* out);

/// out[r] = mean of row r (out holds src.rows floats), with the same conventions as
/// getImageColAverage.
FUNCTIONS_EXPORT void getImageRowAverage(cv::Mat& src, float* out);

/// Appends the saddle points of the grey-value surface (intensity rising one way and
/// falling across, as at chessboard corners) to points, with sub-pixel position, in raster
/// order of the pixels they were found at.
///
/// Each interior pixel's 3x3 neighbourhood is fitted with a quadratic by least squares
/// (after a Gaussian blur of the given sigma in pixels when sigma > 0); the pixel is kept
/// when the Hessian's eigenvalues have opposite signs and both exceed threshold in
/// magnitude, and the stationary point along the gradient lies less than one pixel away.
///
/// A 3-channel image is converted with COLOR_BGR2GRAY. Images that are not 8-bit with 1
/// or 3 channels, smaller than 3x3, or a sigma that is not finite or exceeds the image's
/// larger side, add no points.
FUNCTIONS_EXPORT void criticalPointsDetection(cv::Mat& image, double threshold, double sigma,
                                              std::vector<cv::Point2f>& points);

/// @}
