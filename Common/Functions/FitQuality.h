#pragma once

/// @file FitQuality.h
/// Fit quality (\ref fit_quality).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <vector>

/** \defgroup fit_quality Fit quality
 *
 * How far to trust a fitted shape: residuals, standard uncertainties and 95 % intervals
 * of the fitted parameters, and per-point residuals with the inlier rule of the tool
 * that made the fit.
 *
 * The functions take the points and the shape a fit produced, so they serve every tool
 * and any fit of the host's own. Residuals are orthogonal (geometric) distances in
 * pixels. The uncertainty of the parameters is the covariance of the geometric
 * least-squares fit at the given shape: the residual variance s^2 = sum(r^2) / (n - p)
 * times the inverse of the normal matrix J^T J, J being the derivatives of the
 * orthogonal residuals with respect to the p parameters. It assumes independent errors
 * of equal spread on every point and no systematic error: blur, whole-pixel rules or a
 * fit that is not the geometric one (the algebraic circle fit on a short arc) add
 * errors that these figures do not contain. The 95 % interval half-width is t * sigma,
 * t the two-sided 95 % quantile of Student's t on n - p degrees of freedom.
 *
 * A robust fit (Huber or Tukey weights) down-weights far points, which changes both
 * what the residuals say about the noise and how much the fit scatters.
 *
 * Huber fits take the covariance of an M-estimator (Huber's sandwich form):
 * K^2 * [sum(psi(r)^2) / (n - p)] / [mean(psi'(r))]^2 times the inverse normal matrix,
 * psi(r) = w(r) * r with the fit's weight function w at the scale c of the final
 * residuals (the fits' own rule: a fixed scale, or 2 * median(|r|) / 0.6745) and
 * K = 1 + (p / n) * var(psi') / mean(psi')^2.
 *
 * Tukey fits are measured by refitting instead. Tukey's weight falls to 0 at a scale of
 * about twice the noise, so on a few dozen points the fit may settle on a handful of
 * them (their residuals then vanish and say nothing about the noise), the circle fit
 * stops once a step moves it by less than 0.01 px, and the scale itself varies from set
 * to set; no closed form describes that estimator, and the sandwich form above misses
 * by up to a factor of five on the arc tool's ten-odd points. So the noise is estimated
 * from the part of the residuals that no change of the parameters can absorb (the
 * residuals of the least-squares fit linearised at the given shape, clipped at 3 of
 * their own standard deviations until no point changes side, s^2 on the kept points
 * minus p degrees of freedom), and the same fit (fitLine or fitCircle with the same type
 * and scale) is run on 200 simulated sets: each point moved onto the given shape and
 * off it along the normal by Gaussian noise of that s, drawn from a seed made of the
 * points' own bits so that the same points always give the same result. The standard
 * uncertainty of each parameter is the root mean square of the refitted values about
 * the given ones, so that a bias the noise itself gives the fit (the algebraic circle
 * fit on a short arc shrinks the radius) is part of it. The ellipse fit reports
 * whole-pixel axes, which such refits cannot resolve, so its Tukey fits keep the
 * sandwich form.
 *
 * Edge points from calipers that overlap (a step below the caliper width) share image
 * rows, so their noise is correlated and n points carry less than n independent points'
 * information: widenForOverlappingCalipers accounts for it.
 *
 * Conventions: image coordinates in pixels, x right, y down; angles in degrees, a
 * positive angle turning +x towards +y (clockwise on screen). Failures return false
 * and leave the output record as it was: no NaN or infinity is ever written into it.
 * @{
 */

/// One fitted parameter with its uncertainty.
struct FittedValue {
    double value = 0;       ///< the fitted value (unit of the parameter)
    double sigma = 0;       ///< standard uncertainty: one standard deviation (same unit)
    double halfWidth95 = 0; ///< half-width of the 95 % interval, t * sigma (same unit)
};

/// Residual statistics of a fit, over the points it was given.
struct FitResiduals {
    int pointCount = 0;       ///< number of points
    /// Degrees of freedom of the noise estimate behind the intervals: pointCount minus the
    /// number of fitted parameters, or the points kept by the 3-sigma clipping minus that
    /// number for Tukey fits, reduced further for overlapping calipers.
    int degreesOfFreedom = 0;
    double rms = 0;           ///< root mean square of the orthogonal residuals, pixels
    double maxAbs = 0;        ///< largest orthogonal residual in magnitude, pixels
    double t95 = 0;           ///< two-sided 95 % Student t quantile on degreesOfFreedom
};

/// Quality of a line (vx, vy, x0, y0) fitted to points.
///
/// The line is parametrised by its direction angle and its perpendicular position at the
/// anchor, the foot of the points' centroid on the line; there the two are uncorrelated,
/// so a point of the line at distance t from the anchor along it is uncertain by
/// sqrt(offset.sigma^2 + (t * angle.sigma * pi / 180)^2) across the line.
struct LineFitQuality {
    FitResiduals residuals; ///< p = 2
    FittedValue angle;      ///< direction of (vx, vy): atan2(vy, vx) in degrees, in (-180, 180]
    /// Signed distance of the line from the image origin along its normal (-vy, vx), in
    /// pixels; its sigma and halfWidth95 are those of the line's position across itself
    /// at the anchor.
    FittedValue offset;
    cv::Point2d anchor; ///< foot of the points' centroid on the line, pixels
};

/// Quality of a circle fitted to points.
struct CircleFitQuality {
    FitResiduals residuals; ///< p = 3
    FittedValue centreX;    ///< pixels
    FittedValue centreY;    ///< pixels
    FittedValue radius;     ///< pixels; the diameter's figures are twice these
};

/// Quality of an ellipse fitted to points, given as a rotated rectangle (centre, full
/// axes width and height, angle of the width's axis).
struct EllipseFitQuality {
    FitResiduals residuals; ///< p = 5
    FittedValue centreX;    ///< pixels
    FittedValue centreY;    ///< pixels
    FittedValue width;      ///< full axis along angle, pixels
    FittedValue height;     ///< full axis across angle, pixels
    FittedValue angle;      ///< degrees, as the rectangle's angle
};

/// Spread of the widths of edge pairs (clcMulEdgePoints) and the uncertainty of their mean.
///
/// The tool reads edge positions in whole samples (the centre of a run of equal values is
/// a half sample), so a width is the difference of two readings rounded to one sample.
/// Each rounding has the standard uncertainty 1/sqrt(12) of a reading quantised to one
/// sample, and their difference 1/sqrt(6) = 0.408 px. Neighbouring pairs cross the same
/// walls at nearly the same sub-sample phase, so their rounding errors are nearly equal:
/// averaging the pairs shrinks this term little, and it is kept whole. The uncertainty of the mean width
/// combines it with the scatter of the pairs, spread / sqrt(pairCount), widened as
/// widenForOverlappingCalipers explains when the bands overlap (segmentStep below
/// segmentWidth): sigma = sqrt(scatter^2 + 1/6). The 95 % factor t95 is Student's t on
/// the effective degrees of freedom of that sum (Welch-Satterthwaite: the rounding term
/// counts as exactly known), which tends to the normal 1.96 as the scatter vanishes. Equal widths thus give sigma 0.408 px, never 0.
struct EdgePairWidthQuality {
    int pairCount = 0;        ///< number of pairs
    int degreesOfFreedom = 0; ///< of the spread: pairCount - 1
    double t95 = 0;           ///< two-sided 95 % factor of width (see above)
    /// Mean width in pixels, its combined standard uncertainty (sigma) and t95 * sigma.
    FittedValue width;
    double spread = 0;     ///< sample standard deviation of the single widths, pixels
    double minWidth = 0;   ///< narrowest pair, pixels
    double maxWidth = 0;   ///< widest pair, pixels
    double rounding = 0;   ///< standard uncertainty of a width from whole-sample readings, 1/sqrt(6) px
};

/// One edge point judged against a fitted shape.
struct PointDiagnostic {
    cv::Point2d point; ///< the point, image pixels
    /// Signed orthogonal distance to the shape in pixels: positive outside a circle or an
    /// ellipse, and on the side of a line that its normal (-vy, vx) points to, i.e. to
    /// the right of the line's direction as seen on screen.
    double residual = 0;
    bool inlier = true; ///< whether the tool's rule keeps the point (see the mark functions)
};

/// Quantile t of Student's t distribution with degreesOfFreedom degrees of freedom:
/// P(T <= t) = probability. The distribution function is evaluated in its closed form
/// for whole degrees of freedom and inverted by bisection to full double precision;
/// above 100000 degrees of freedom an expansion about the normal quantile is used
/// (its error there is below 1e-9). For a two-sided 95 % interval pass 0.975.
///
/// Returns false, quantile untouched, for degreesOfFreedom < 1 or a probability not
/// strictly between 0 and 1.
FUNCTIONS_EXPORT bool getStudentTQuantile(double probability, int degreesOfFreedom, double& quantile);

/// Quality of line (vx, vy, x0, y0) as a fit to points by fitLine with type and param
/// (the robust scale: > 0 fixed in pixels, otherwise adaptive). The direction need not
/// have unit length.
///
/// Returns false, quality untouched, for fewer than 3 points (no degree of freedom),
/// a non-finite coordinate or line, a zero direction, points that all project to one
/// spot on the line (the angle is then undetermined), robust weights that leave no
/// information (every point beyond a Huber scale), a Tukey noise estimate that keeps
/// no more points than parameters, or Tukey refits of which fewer than half succeed.
FUNCTIONS_EXPORT bool getLineFitQuality(const std::vector<cv::Point2d>& points, const cv::Vec4d& line,
                                        FitLineType type, double param, LineFitQuality& quality);

/// Quality of the circle (centre, radius) as a fit to points by fitCircle with type:
/// FitCircleHuber and FitCircleTukey weight with the adaptive scale, every other type
/// counts as unweighted (the Taubin fit approximates the geometric one).
///
/// Returns false, quality untouched, for fewer than 4 points, a non-finite coordinate,
/// centre or radius, a radius not above 0, collinear points, a point at the centre, a
/// normal matrix too ill-conditioned to invert (reciprocal condition number below
/// 1e-12), robust weights that leave no information, a Tukey noise estimate that keeps
/// no more points than parameters, or Tukey refits of which fewer than half succeed.
FUNCTIONS_EXPORT bool getCircleFitQuality(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                                          FitCircleType type, CircleFitQuality& quality);

/// Quality of the ellipse box (as fitEllipse gives it) as a fit to points by fitEllipse
/// with type and param. The residual of a point is its distance to the nearest point of
/// the ellipse; the robust weights are taken on these geometric residuals, whereas the
/// fit itself weights by algebraic ones, so for robust types the figures approximate.
/// fitEllipse truncates the axes to whole pixels: that rounding is part of the residuals
/// and widens every interval.
///
/// Returns false, quality untouched, for fewer than 6 points, a non-finite coordinate or
/// box, an axis not above 0, an ill-conditioned normal matrix (collinear points; equal
/// axes, whose orientation no point can tell), or robust weights that leave no
/// information.
FUNCTIONS_EXPORT bool getEllipseFitQuality(const std::vector<cv::Point2d>& points, const cv::RotatedRect& box,
                                           FitEllipseType type, double param, EllipseFitQuality& quality);

/// Width statistics of the edge pairs of param (after clcMulEdgePoints): the width of
/// pair k is the distance from firstEdges[k] to secondEdges[k] along the scan, that is
/// in x for segmentAxis 0 (horizontal bands) and in y otherwise, in the straightened
/// rectangle's pixels. Pairs are taken up to the shorter of the two lists.
///
/// Returns false, quality untouched, for fewer than 2 pairs or a non-finite position.
FUNCTIONS_EXPORT bool getEdgePairWidthQuality(const _MulEdgePointDetParam& param, EdgePairWidthQuality& quality);

/// Widens a quality for edge points from calipers that overlap. Calipers segmentWidth
/// lines wide every segmentStep lines that are k steps apart share the fraction
/// rho_k = 1 - k * segmentStep / segmentWidth of their lines (where positive), so their
/// noise correlates by rho_k and n points carry less than n independent points'
/// information. For parameters that every point informs alike (a line's position, a
/// circle's radius and centre) every sigma grows by sqrt(1 + 2 * sum(rho_k)), which is
/// sqrt(segmentWidth / segmentStep) when the step divides the width, and the degrees of
/// freedom shrink by the factor 1 + 2 * sum(rho_k^2) by which a variance estimated from
/// such residuals varies more (at least 1 is left); t95 and the half-widths follow. A
/// smoothing across calipers before the edge search widens segmentWidth by its length
/// minus 1. Nothing changes when segmentStep >= segmentWidth or segmentStep < 1.
FUNCTIONS_EXPORT void widenForOverlappingCalipers(int segmentWidth, int segmentStep, LineFitQuality& quality);

/// The same widening for a circle's centre and radius (and its diameter alike).
FUNCTIONS_EXPORT void widenForOverlappingCalipers(int segmentWidth, int segmentStep, CircleFitQuality& quality);

/// Signed residuals of points to line (vx, vy, x0, y0), every point an inlier.
/// diagnostics is replaced, one entry per point in order. Returns false, diagnostics
/// untouched, for a zero or non-finite line.
FUNCTIONS_EXPORT bool getLineDiagnostics(const std::vector<cv::Point2d>& points, const cv::Vec4d& line,
                                         std::vector<PointDiagnostic>& diagnostics);

/// Signed residuals of points to the circle (centre, radius), |p - centre| - radius,
/// every point an inlier. diagnostics is replaced. Returns false, diagnostics untouched,
/// for a non-finite centre or radius or a negative radius.
FUNCTIONS_EXPORT bool getCircleDiagnostics(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                                           std::vector<PointDiagnostic>& diagnostics);

/// Signed orthogonal residuals of points to the ellipse box, every point an inlier.
/// diagnostics is replaced. Returns false, diagnostics untouched, for a non-finite box or
/// an axis not above 0.
FUNCTIONS_EXPORT bool getEllipseDiagnostics(const std::vector<cv::Point2d>& points, const cv::RotatedRect& box,
                                            std::vector<PointDiagnostic>& diagnostics);

/// Marks as inliers the points whose residual magnitude is at most maxDistance (pixels),
/// the others as outliers: the rule of the circle and arc tools' 3 px check. Returns the
/// number of inliers. A NaN maxDistance marks every point an outlier.
FUNCTIONS_EXPORT int markInliersWithin(std::vector<PointDiagnostic>& diagnostics, double maxDistance);

/// The scale c beyond which Tukey's biweight gives a point weight 0, as the robust fits
/// (FitLineTukey, FitCircleTukey, FitEllipseTukey) take it at the fitted shape: scale
/// when it is above 0 (pixels), otherwise c = 2 * median(|residual|) / 0.6745, the median
/// being the element at index n/2 of the sorted magnitudes, and 1 when that is not above
/// DBL_EPSILON (points on the shape). 0 for no points.
FUNCTIONS_EXPORT double getTukeyScale(const std::vector<PointDiagnostic>& diagnostics, double scale);

/// Marks as outliers the points that Tukey's biweight at the fitted shape gives weight 0,
/// that is |residual| > getTukeyScale(diagnostics, scale), the others as inliers.
/// Returns the number of inliers.
FUNCTIONS_EXPORT int markTukeyInliers(std::vector<PointDiagnostic>& diagnostics, double scale);

/// @}
