#pragma once

// The parts of the fit quality that measure a Tukey fit by refitting it; internal to the
// library (not installed). FitQuality.h explains why those fits are measured this way.

#include "FunctionsDef.h"

#include <Eigen/Dense>
#include <opencv2/core.hpp>

#include <vector>

namespace fit_quality {

/// Noise variance from the residuals r and their derivatives J (one row per point): the
/// residuals of the least-squares step linearised at the given parameters, clipped at 3
/// of their own standard deviations until no point changes side. kept receives the
/// points the estimate rests on. False when fewer than J.cols() + 1 points remain.
bool clippedNoiseVariance(const Eigen::MatrixXd& jacobian, const Eigen::VectorXd& residuals, double& variance,
                          int& kept);

/// Standard uncertainties of a line's direction (radians) and of its position across
/// itself at anchor (pixels) when fitLine(type, param) runs on the points moved onto the
/// line (unit direction u through anchor) and off it by Gaussian noise of noiseSigma
/// pixels. False when fewer than half of the refits give a line.
bool refitLineSpread(const std::vector<cv::Point2d>& points, cv::Point2d u, cv::Point2d anchor, FitLineType type,
                     double param, double noiseSigma, double& angleSigma, double& offsetSigma);

/// Standard uncertainties of centre x, centre y and radius (pixels) when fitCircle(type)
/// runs on the points moved onto the circle and off it radially by Gaussian noise of
/// noiseSigma pixels. False when fewer than half of the refits give a circle.
bool refitCircleSpread(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                       FitCircleType type, double noiseSigma, Eigen::Vector3d& sigma);

} // namespace fit_quality
