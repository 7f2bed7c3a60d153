#pragma once

/// \file
/// Plane calibration (\ref plane_calibration).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup plane_calibration Plane calibration
 *
 * Measuring in millimetres on a plane seen by a calibrated camera.
 *
 * A calibration holds the camera's intrinsics and lens distortion, estimated from
 * several views of a chessboard, and the pose of the measuring plane, taken from one
 * view of the board lying on it. Points found in the raw image (edge points) are
 * undistorted and mapped onto the plane before anything is fitted to them, so the image
 * itself is never resampled and lines and circles are fitted where they are straight
 * and round.
 *
 * Conventions: image coordinates in pixels, x right, y down, pixel centres at whole
 * numbers. Plane coordinates are in the board's unit (millimetres when the square size
 * is given in millimetres), origin at the board's first inner corner as OpenCV's
 * chessboard search orders them, x along a board row, y along a column. The lens model
 * is OpenCV's: radial k1, k2, k3 and tangential p1, p2.
 *
 * Failures return false and leave the outputs untouched.
 * @{
 */

/// A camera calibrated onto a measuring plane.
struct PlaneCalibration {
    /// Intrinsics [[fx, 0, cx], [0, fy, cy], [0, 0, 1]], pixels.
    cv::Matx33d cameraMatrix = cv::Matx33d::eye();
    /// Lens distortion (k1, k2, p1, p2, k3); all zero for an ideal lens.
    cv::Vec<double, 5> distortion = cv::Vec<double, 5>::all(0);
    /// Maps undistorted normalised camera coordinates (x/z, y/z, 1) onto the plane
    /// (X, Y, 1), homogeneous, plane units.
    cv::Matx33d planeHomography = cv::Matx33d::eye();
    int imageWidth = 0;  ///< pixels of the calibrated images
    int imageHeight = 0; ///< pixels of the calibrated images
    /// Root mean square distance between the board corners found in every view and the
    /// corners projected through the calibration, pixels.
    double reprojectionError = 0;
    /// The same over the plane view's corners alone, pixels.
    double planeReprojectionError = 0;
    /// Plane units per pixel at the image centre (mean of both axes), for readers who
    /// want a feel of the scale.
    double scaleAtCentre = 0;
};

/// Finds the inner corners of a chessboard with innerCorners.width x
/// innerCorners.height inner corners, refined to sub-pixel precision. image is 8-bit
/// grey or 3-channel colour. Returns false when the board is not found whole.
FUNCTIONS_EXPORT bool findCalibrationBoard(const cv::Mat& image, cv::Size innerCorners,
                                           std::vector<cv::Point2f>& corners);

/// Calibrates a camera from views of a chessboard and takes the measuring plane from
/// one of them.
///
/// views holds the inner corners found in each view (findCalibrationBoard), each of
/// innerCorners.area() points; squareSize is the board's square side in plane units;
/// planeView is the index of the view whose board lies on the measuring plane;
/// imageSize is the size of the views in pixels.
///
/// Returns false for fewer than 3 views, a view with the wrong number of corners or a
/// non-finite one, a square size not above 0, a plane view out of range, an empty image
/// size, or a calibration OpenCV cannot solve.
FUNCTIONS_EXPORT bool calibratePlane(const std::vector<std::vector<cv::Point2f>>& views, cv::Size innerCorners,
                                     double squareSize, size_t planeView, cv::Size imageSize,
                                     PlaneCalibration& calibration);

/// Maps raw image points onto the plane: undistorted with the lens model (cv::undistortPoints,
/// iterated to convergence) and carried by the plane homography. plane is replaced, one
/// point per input point in order.
///
/// Returns false for a non-finite input point, or a point whose ray misses the plane
/// (behind the camera or parallel to the plane).
FUNCTIONS_EXPORT bool mapImagePointsToPlane(const PlaneCalibration& calibration,
                                            const std::vector<cv::Point2d>& image, std::vector<cv::Point2d>& plane);

/// Maps plane points into the raw image (through the plane homography's inverse and the
/// lens model), e.g. to draw results found on the plane. image is replaced.
///
/// Returns false for a non-finite point, a singular homography, or a point behind the
/// camera.
FUNCTIONS_EXPORT bool mapPlanePointsToImage(const PlaneCalibration& calibration,
                                            const std::vector<cv::Point2d>& plane, std::vector<cv::Point2d>& image);

/// @}
