#pragma once

// The studies of the accuracy report, one function each. Image studies render a dark
// background (80) and a bright shape (180): a contrast of 100 grey levels. Their series
// is the Gaussian blur sigma in pixels, their noise additive Gaussian grey noise.

#include "Study.h"

#include "Synthetic.h"

#include <FitQuality.h>

#include <opencv2/core.hpp>

#include <vector>

namespace accuracy {

constexpr double kDark = 80.0;
constexpr double kBright = 180.0;

const std::vector<double>& blurLevels();      ///< 0.5, 1, 2 px
const std::vector<double>& greyNoiseLevels(); ///< 0, 1, 2, 5, 10 grey levels

/// Every blur and noise level, or those the options choose.
std::vector<Setting> imageSettings(const StudyOptions& options);

/// Edge position across straight step edges: the edge point tool, the segment caliper
/// on upright strips, and the edge points tool.
StudyResult studyEdgePosition(const StudyOptions& options);

/// Width between the edge pairs of bars (clcMulEdgePoints).
StudyResult studyEdgePairs(const StudyOptions& options);

/// The line tool across straight edges: angle and offset of the fitted line.
StudyResult studyLineTool(const StudyOptions& options);

/// The circle tool on full rings and 120-degree arcs and the arc tool's ends, on discs,
/// against cv::HoughCircles.
StudyResult studyCircleTools(const StudyOptions& options);

/// Saddle points at rendered chessboard corners, against cv::cornerSubPix.
StudyResult studySaddlePoints(const StudyOptions& options);

/// Line, circle and ellipse fits on point sets with known truth, with and without 10 %
/// gross outliers (series: outlier percentage; noise: pixels), against OpenCV's fits.
StudyResult studyLineFits(const StudyOptions& options);
StudyResult studyCircleFits(const StudyOptions& options);
StudyResult studyEllipseFits(const StudyOptions& options);

/// The segment caliper settings of every study: segments of 10 lines every 10 lines,
/// Gaussian kernel 1, edges above 50 % of the strongest and above 5.
template <class Param>
void useSegmentCalipers(Param& param)
{
    param.percent = 50;
    param.sigma = 1;
    param.minStrength = 5;
    param.segmentWidth = 10;
    param.segmentStep = 10;
}

/// The single-caliper settings of every study: peaks above 50 % of the strongest, a
/// moving average of 3 samples, strengths below 5 dropped.
template <class Param>
void useSingleCaliper(Param& param)
{
    param.threshold = 50;
    param.smoothWidth = 3;
    param.minGradient = 5;
}

/// Records the 95 % interval a tool reported for value, whose error against the truth is
/// error: covered when |error| is within the interval's half-width.
void recordInterval(Recorder& recorder, size_t setting, size_t metric, const FittedValue& value, double error);

/// Unit vector at angle degrees (positive turns +x towards +y).
cv::Point2d unitAt(double degrees);

/// A straight step edge at a random angle through a random point within 1 px of the
/// centre of a square image, bright on the side its normal points to.
struct StraightEdge {
    double normalAngle; ///< degrees
    cv::Point2d normal, along, point;
    synthetic::Scene scene;

    StraightEdge(cv::RNG& rng, int side);
};

/// Errors of a line with direction d through p against the true line through c with
/// direction angle truthAngle (degrees) and unit normal n: the angle error in degrees,
/// folded into [-90, 90), and the signed offset between the lines along n through c.
/// False when the line runs along n (no crossing).
bool lineError(cv::Point2d d, cv::Point2d p, cv::Point2d c, cv::Point2d n, double truthAngle, double& angle,
               double& offset);

} // namespace accuracy
