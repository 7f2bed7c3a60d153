#include "FitQuality.h"

#include "FittingSupport_p.h"

#include <Eigen/Dense>
#include <Eigen/Eigenvalues>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <utility>

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kDegreesPerRadian = 180.0 / kPi;
// Parameters whose normal matrix is closer to singular than this (in the reciprocal
// condition number, each parameter in pixels at the shape's size) are not determined by
// the points.
constexpr double kMinReciprocalCondition = 1e-12;
// Above this many degrees of freedom the closed form would sum too many terms; the
// expansion about the normal quantile is then accurate to far below 1e-9.
constexpr int kExpansionDegreesOfFreedom = 1000;

bool finitePoints(const std::vector<cv::Point2d>& points)
{
    return std::all_of(points.begin(), points.end(),
                       [](const cv::Point2d& p) { return std::isfinite(p.x) && std::isfinite(p.y); });
}

// ---------------------------------------------------------------------------------
// Student's t quantile
// ---------------------------------------------------------------------------------

// P(|T| <= t) for whole degrees of freedom nu, t >= 0, in the closed form of a finite
// trigonometric sum (theta = atan(t / sqrt(nu))); every term is positive, so the sum
// loses nothing to cancellation.
double twoSidedProbability(double t, int nu)
{
    const double theta = std::atan(t / std::sqrt(static_cast<double>(nu)));
    const double s = std::sin(theta), c2 = std::cos(theta) * std::cos(theta);
    double term = 1.0, sum = 1.0;
    if (nu % 2 == 0) {
        for (int k = 1; k <= (nu - 2) / 2; ++k) {
            term *= c2 * (2.0 * k - 1.0) / (2.0 * k);
            sum += term;
        }
        return s * sum;
    }
    if (nu == 1)
        return 2.0 * theta / kPi;
    for (int k = 1; k <= (nu - 3) / 2; ++k) {
        term *= c2 * (2.0 * k) / (2.0 * k + 1.0);
        sum += term;
    }
    return 2.0 / kPi * (theta + s * std::cos(theta) * sum);
}

// Smallest t >= 0 with P(|T| <= t) >= target, by bisection down to adjacent doubles.
double invertTwoSided(double target, int nu)
{
    double lo = 0.0, hi = 1.0;
    while (twoSidedProbability(hi, nu) < target && hi < 1e300)
        hi *= 2.0;
    for (int step = 0; step < 2100; ++step) {
        const double mid = 0.5 * (lo + hi);
        if (mid <= lo || mid >= hi)
            break;
        (twoSidedProbability(mid, nu) < target ? lo : hi) = mid;
    }
    return hi;
}

// Standard normal quantile by bisection on the complementary error function.
double normalQuantile(double probability)
{
    double lo = -40.0, hi = 40.0;
    for (int step = 0; step < 200; ++step) {
        const double mid = 0.5 * (lo + hi);
        if (mid <= lo || mid >= hi)
            break;
        (0.5 * std::erfc(-mid / std::sqrt(2.0)) < probability ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

// Cornish-Fisher expansion of the t quantile in powers of 1/nu about the normal one.
double expandedQuantile(double probability, int nu)
{
    const double z = normalQuantile(probability), z2 = z * z, v = nu;
    const double g1 = (z2 + 1.0) * z / 4.0;
    const double g2 = ((5.0 * z2 + 16.0) * z2 + 3.0) * z / 96.0;
    const double g3 = (((3.0 * z2 + 19.0) * z2 + 17.0) * z2 - 15.0) * z / 384.0;
    return z + g1 / v + g2 / (v * v) + g3 / (v * v * v);
}

double t95(int nu)
{
    double t = 0;
    getStudentTQuantile(0.975, nu, t);
    return t;
}

// ---------------------------------------------------------------------------------
// Covariance of a geometric least-squares fit
// ---------------------------------------------------------------------------------

// The weight function a fit used and its scale (> 0 fixed, otherwise adaptive).
struct Weighting {
    enum Kind { Unweighted, Huber, Tukey } kind;
    double scale;
};

// The line and ellipse fit types share their values: 0 unweighted, 1 Huber, others Tukey.
Weighting weightingOf(int type, double param)
{
    return {type == FitLineLeastSquares ? Weighting::Unweighted
            : type == FitLineHuber      ? Weighting::Huber
                                        : Weighting::Tukey,
            param};
}

// The adaptive scale of the fits' robust weights, 2 * median / 0.6745 of the residual
// magnitudes (1 when that vanishes). A magnitude that is not a number ranks last, as the
// farthest point would. Requires at least one value.
double adaptiveScale(std::vector<double> magnitudes)
{
    for (double& m : magnitudes)
        if (std::isnan(m))
            m = std::numeric_limits<double>::infinity();
    const double c = 2.0 * (fitting_support::upperMedian(magnitudes.data(), static_cast<int>(magnitudes.size())) /
                            0.6745);
    return c > DBL_EPSILON ? c : 1.0;
}

double robustScale(const Eigen::VectorXd& residuals, double fixed)
{
    if (fixed > 0)
        return fixed;
    const Eigen::VectorXd magnitudes = residuals.cwiseAbs();
    return adaptiveScale(std::vector<double>(magnitudes.data(), magnitudes.data() + magnitudes.size()));
}

// Variance factor of the M-estimator with the given weighting: K^2 * sum(psi^2) / (n - p)
// / mean(psi')^2, which is sum(r^2) / (n - p) for unweighted fits. NaN when the weights
// leave no information (mean(psi') not above 0).
double varianceFactor(const Eigen::VectorXd& residuals, Eigen::Index parameters, const Weighting& weighting)
{
    const Eigen::Index n = residuals.size();
    if (weighting.kind == Weighting::Unweighted)
        return residuals.squaredNorm() / static_cast<double>(n - parameters);
    const double c = robustScale(residuals, weighting.scale);
    double psiSquares = 0, slopeSum = 0, slopeSquares = 0;
    for (Eigen::Index i = 0; i < n; ++i) {
        const double r = residuals(i), u = r / c;
        double psi = 0, slope = 0;
        if (weighting.kind == Weighting::Huber) {
            const bool inside = std::abs(r) <= c;
            psi = inside ? r : std::copysign(c, r);
            slope = inside ? 1.0 : 0.0;
        } else if (std::abs(r) <= c) {
            const double v = 1.0 - u * u;
            psi = r * v * v;
            slope = v * (1.0 - 5.0 * u * u);
        }
        psiSquares += psi * psi;
        slopeSum += slope;
        slopeSquares += slope * slope;
    }
    const double meanSlope = slopeSum / n;
    if (!(meanSlope > 0))
        return std::numeric_limits<double>::quiet_NaN();
    const double slopeVariance = std::max(0.0, slopeSquares / n - meanSlope * meanSlope);
    const double k = 1.0 + static_cast<double>(parameters) / n * slopeVariance / (meanSlope * meanSlope);
    return k * k * psiSquares / static_cast<double>(n - parameters) / (meanSlope * meanSlope);
}

// Residual statistics and standard uncertainties of the parameters, from the residuals
// and their derivatives J (one row per point), for a fit with the given weighting. False when J^T J is too ill-conditioned
// to invert: then the points do not determine every parameter. The parameters mix units
// (pixels, radians), so the condition is judged with each column of J multiplied by
// scale: radians by a length of the shape, which turns every parameter into a
// displacement in pixels. A normalisation per column alone would hide a parameter that
// no point can feel (an ellipse's angle at equal axes) behind rounding noise.
bool parameterUncertainty(const Eigen::MatrixXd& jacobian, const Eigen::VectorXd& residuals,
                          const Eigen::VectorXd& scale, const Weighting& weighting, FitResiduals& stats,
                          Eigen::VectorXd& sigma)
{
    const Eigen::Index n = jacobian.rows(), p = jacobian.cols();
    const Eigen::MatrixXd scaled = scale.asDiagonal() * (jacobian.transpose() * jacobian) * scale.asDiagonal();
    if (!scaled.allFinite())
        return false;
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(scaled);
    if (eigen.info() != Eigen::Success)
        return false;
    const Eigen::VectorXd lambda = eigen.eigenvalues(); // ascending
    if (!(lambda(0) > kMinReciprocalCondition * lambda(p - 1)))
        return false;
    const Eigen::MatrixXd inverseScaled =
        eigen.eigenvectors() * lambda.cwiseInverse().asDiagonal() * eigen.eigenvectors().transpose();

    const double sumSquares = residuals.squaredNorm();
    const int dof = static_cast<int>(n - p);
    const double variance = varianceFactor(residuals, p, weighting);
    if (!std::isfinite(variance))
        return false;
    sigma.resize(p);
    for (Eigen::Index k = 0; k < p; ++k)
        sigma(k) = std::sqrt(variance * inverseScaled(k, k)) * scale(k);

    stats.pointCount = static_cast<int>(n);
    stats.degreesOfFreedom = dof;
    stats.rms = std::sqrt(sumSquares / n);
    stats.maxAbs = residuals.cwiseAbs().maxCoeff();
    stats.t95 = t95(dof);
    return sigma.allFinite() && std::isfinite(stats.rms);
}

FittedValue fitted(double value, double sigma, double t)
{
    return {value, sigma, t * sigma};
}

// ---------------------------------------------------------------------------------
// Lines, circles, ellipses: signed residuals and their derivatives
// ---------------------------------------------------------------------------------

bool usableLine(const cv::Vec4d& line)
{
    return std::isfinite(line[0]) && std::isfinite(line[1]) && std::isfinite(line[2]) && std::isfinite(line[3]) &&
           std::hypot(line[0], line[1]) > 0.0;
}

bool usableBox(const cv::RotatedRect& box)
{
    return std::isfinite(box.center.x) && std::isfinite(box.center.y) && std::isfinite(box.angle) &&
           std::isfinite(box.size.width) && std::isfinite(box.size.height) && box.size.width > 0 &&
           box.size.height > 0;
}

// Nearest point of the ellipse with semi-axes e0 >= e1 > 0 (along x and y) to (y0, y1) in
// the first quadrant, by bisection on the root of the distance equation, which stays
// robust where Newton's method fails (points near the centre or the axes).
cv::Point2d nearestOnQuadrant(double e0, double e1, double y0, double y1)
{
    if (y1 > 0) {
        if (y0 > 0) {
            const double z0 = y0 / e0, z1 = y1 / e1, g = z0 * z0 + z1 * z1 - 1.0;
            if (g == 0)
                return {y0, y1};
            const double r0 = (e0 / e1) * (e0 / e1), n0 = r0 * z0;
            double s0 = z1 - 1.0, s1 = g < 0 ? 0.0 : std::hypot(n0, z1) - 1.0, s = 0;
            for (int step = 0; step < 1100; ++step) {
                s = 0.5 * (s0 + s1);
                if (s == s0 || s == s1)
                    break;
                const double ratio0 = n0 / (s + r0), ratio1 = z1 / (s + 1.0);
                const double gs = ratio0 * ratio0 + ratio1 * ratio1 - 1.0;
                if (gs > 0)
                    s0 = s;
                else if (gs < 0)
                    s1 = s;
                else
                    break;
            }
            return {r0 * y0 / (s + r0), y1 / (s + 1.0)};
        }
        return {0.0, e1};
    }
    const double numer = e0 * y0, denom = e0 * e0 - e1 * e1;
    if (numer < denom) {
        const double ratio = numer / denom;
        return {e0 * ratio, e1 * std::sqrt(1.0 - ratio * ratio)};
    }
    return {e0, 0.0};
}

// An ellipse box in its own frame: centre, unit axes u (along the angle) and v, and
// semi-axes a along u and b along v.
struct EllipseFrame {
    cv::Point2d centre, u, v;
    double a, b;

    explicit EllipseFrame(const cv::RotatedRect& box)
        : centre(box.center.x, box.center.y), a(0.5 * box.size.width), b(0.5 * box.size.height)
    {
        const double phi = static_cast<double>(box.angle) / kDegreesPerRadian;
        u = {std::cos(phi), std::sin(phi)};
        v = {-u.y, u.x};
    }

    // Foot of p on the ellipse, in the frame's coordinates (along u, along v).
    cv::Point2d foot(cv::Point2d p) const
    {
        const cv::Point2d d = p - centre;
        const double q0 = d.dot(u), q1 = d.dot(v);
        // The quadrant solver wants the longer semi-axis first.
        const bool swapped = a < b;
        cv::Point2d f = swapped ? nearestOnQuadrant(b, a, std::abs(q1), std::abs(q0))
                                : nearestOnQuadrant(a, b, std::abs(q0), std::abs(q1));
        if (swapped)
            std::swap(f.x, f.y);
        return {std::copysign(f.x, q0), std::copysign(f.y, q1)};
    }

    cv::Point2d toImage(cv::Point2d local) const { return centre + u * local.x + v * local.y; }

    // Outward unit normal at a foot given in the frame's coordinates, in image axes.
    cv::Point2d normalAt(cv::Point2d local) const
    {
        const cv::Point2d gradient(local.x / (a * a), local.y / (b * b));
        const cv::Point2d n = u * gradient.x + v * gradient.y;
        return n / cv::norm(n);
    }

    double signedDistance(cv::Point2d p, cv::Point2d local) const
    {
        const double distance = cv::norm(p - toImage(local));
        return isOutside(p) ? distance : -distance;
    }

    bool isOutside(cv::Point2d p) const
    {
        const cv::Point2d d = p - centre;
        const double x = d.dot(u) / a, y = d.dot(v) / b;
        return x * x + y * y > 1.0;
    }
};

// Whether the points lie on one straight line: the smaller eigenvalue of their scatter
// vanishes against the larger one.
bool collinear(const std::vector<cv::Point2d>& points)
{
    cv::Point2d mean(0, 0);
    for (const cv::Point2d& p : points)
        mean += p;
    mean *= 1.0 / points.size();
    double sxx = 0, sxy = 0, syy = 0;
    for (const cv::Point2d& p : points) {
        const cv::Point2d d = p - mean;
        sxx += d.x * d.x;
        sxy += d.x * d.y;
        syy += d.y * d.y;
    }
    const double half = 0.5 * (sxx + syy), root = std::hypot(0.5 * (sxx - syy), sxy);
    return !(half - root > kMinReciprocalCondition * (half + root));
}

} // namespace

bool getStudentTQuantile(double probability, int degreesOfFreedom, double& quantile)
{
    if (degreesOfFreedom < 1 || !(probability > 0.0 && probability < 1.0))
        return false;
    if (probability == 0.5) {
        quantile = 0.0;
        return true;
    }
    // The distribution is symmetric: solve for the upper tail.
    const double upper = probability > 0.5 ? probability : 1.0 - probability;
    const double t = degreesOfFreedom > kExpansionDegreesOfFreedom
                         ? expandedQuantile(upper, degreesOfFreedom)
                         : invertTwoSided(2.0 * upper - 1.0, degreesOfFreedom);
    quantile = probability > 0.5 ? t : -t;
    return true;
}

bool getLineFitQuality(const std::vector<cv::Point2d>& points, const cv::Vec4d& line, FitLineType type,
                       double param, LineFitQuality& quality)
{
    if (points.size() < 3 || !finitePoints(points) || !usableLine(line))
        return false;
    const double length = std::hypot(line[0], line[1]);
    const cv::Point2d u(line[0] / length, line[1] / length), n(-u.y, u.x), origin(line[2], line[3]);
    cv::Point2d centroid(0, 0);
    for (const cv::Point2d& p : points)
        centroid += p;
    centroid *= 1.0 / points.size();
    const cv::Point2d anchor = origin + u * (centroid - origin).dot(u);

    // Parameters: the angle of u (radians) and the position across the line at the
    // anchor. r = (p - anchor) . n - d, so dr/dd = -1 and, n turning by -u, dr/dtheta is
    // minus the position along the line.
    const Eigen::Index count = static_cast<Eigen::Index>(points.size());
    Eigen::MatrixXd jacobian(count, 2);
    Eigen::VectorXd residuals(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        const cv::Point2d d = points[i] - anchor;
        residuals(i) = d.dot(n);
        jacobian(i, 0) = -d.dot(u);
        jacobian(i, 1) = -1.0;
    }
    // The angle is felt as a displacement over the points' extent along the line.
    const double extent = std::sqrt(jacobian.col(0).squaredNorm() / count);
    if (!(extent > 0))
        return false;
    FitResiduals stats;
    Eigen::VectorXd sigma;
    if (!parameterUncertainty(jacobian, residuals, Eigen::Vector2d(1.0 / extent, 1.0), weightingOf(type, param), stats,
                              sigma))
        return false;
    quality.residuals = stats;
    quality.angle = fitted(std::atan2(u.y, u.x) * kDegreesPerRadian, sigma(0) * kDegreesPerRadian, stats.t95);
    quality.offset = fitted(origin.dot(n), sigma(1), stats.t95);
    quality.anchor = anchor;
    return true;
}

bool getCircleFitQuality(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                         FitCircleType type, CircleFitQuality& quality)
{
    if (points.size() < 4 || !finitePoints(points) || !std::isfinite(centre.x) || !std::isfinite(centre.y) ||
        !std::isfinite(radius) || !(radius > 0) || collinear(points))
        return false;
    const Weighting circleWeighting{type == FitCircleHuber   ? Weighting::Huber
                                    : type == FitCircleTukey ? Weighting::Tukey
                                                             : Weighting::Unweighted,
                                    0.0};
    const Eigen::Index count = static_cast<Eigen::Index>(points.size());
    Eigen::MatrixXd jacobian(count, 3);
    Eigen::VectorXd residuals(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        const cv::Point2d d = points[i] - centre;
        const double distance = cv::norm(d);
        if (!(distance > 0))
            return false;
        residuals(i) = distance - radius;
        jacobian(i, 0) = -d.x / distance;
        jacobian(i, 1) = -d.y / distance;
        jacobian(i, 2) = -1.0;
    }
    FitResiduals stats;
    Eigen::VectorXd sigma;
    if (!parameterUncertainty(jacobian, residuals, Eigen::Vector3d::Ones(), circleWeighting, stats, sigma))
        return false;
    quality.residuals = stats;
    quality.centreX = fitted(centre.x, sigma(0), stats.t95);
    quality.centreY = fitted(centre.y, sigma(1), stats.t95);
    quality.radius = fitted(radius, sigma(2), stats.t95);
    return true;
}

bool getEllipseFitQuality(const std::vector<cv::Point2d>& points, const cv::RotatedRect& box, FitEllipseType type,
                          double param, EllipseFitQuality& quality)
{
    if (points.size() < 6 || !finitePoints(points) || !usableBox(box) || collinear(points))
        return false;
    const EllipseFrame frame(box);
    const Eigen::Index count = static_cast<Eigen::Index>(points.size());
    Eigen::MatrixXd jacobian(count, 5);
    Eigen::VectorXd residuals(count);
    for (Eigen::Index i = 0; i < count; ++i) {
        // The foot is where the distance is stationary along the ellipse, so each
        // parameter moves the residual by the normal component of the foot's own motion.
        const cv::Point2d local = frame.foot(points[i]), n = frame.normalAt(local);
        residuals(i) = frame.signedDistance(points[i], local);
        jacobian(i, 0) = -n.x;
        jacobian(i, 1) = -n.y;
        jacobian(i, 2) = -0.5 * (local.x / frame.a) * n.dot(frame.u);
        jacobian(i, 3) = -0.5 * (local.y / frame.b) * n.dot(frame.v);
        jacobian(i, 4) = -n.dot(frame.v * local.x - frame.u * local.y);
    }
    Eigen::VectorXd scale = Eigen::VectorXd::Ones(5);
    scale(4) = 1.0 / std::max(frame.a, frame.b); // the angle as a displacement at the rim
    FitResiduals stats;
    Eigen::VectorXd sigma;
    if (!parameterUncertainty(jacobian, residuals, scale, weightingOf(type, param), stats, sigma))
        return false;
    quality.residuals = stats;
    quality.centreX = fitted(box.center.x, sigma(0), stats.t95);
    quality.centreY = fitted(box.center.y, sigma(1), stats.t95);
    quality.width = fitted(box.size.width, sigma(2), stats.t95);
    quality.height = fitted(box.size.height, sigma(3), stats.t95);
    quality.angle = fitted(box.angle, sigma(4) * kDegreesPerRadian, stats.t95);
    return true;
}

bool getEdgePairWidthQuality(const _MulEdgePointDetParam& param, EdgePairWidthQuality& quality)
{
    const size_t pairs = std::min(param.firstEdges.size(), param.secondEdges.size());
    if (pairs < 2)
        return false;
    std::vector<double> widths(pairs);
    for (size_t k = 0; k < pairs; ++k) {
        const cv::Point2d d = param.secondEdges[k] - param.firstEdges[k];
        widths[k] = param.segmentAxis == 0 ? d.x : d.y;
        if (!std::isfinite(widths[k]))
            return false;
    }
    double mean = 0;
    for (double w : widths)
        mean += w;
    mean /= pairs;
    // Deviations from the mean, not raw squares, so that equal widths give exactly 0.
    double squares = 0;
    for (double w : widths)
        squares += (w - mean) * (w - mean);
    const int dof = static_cast<int>(pairs) - 1;
    const double spread = std::sqrt(squares / dof);
    quality.pairCount = static_cast<int>(pairs);
    quality.degreesOfFreedom = dof;
    quality.t95 = t95(dof);
    quality.width = fitted(mean, spread / std::sqrt(static_cast<double>(pairs)), quality.t95);
    quality.spread = spread;
    quality.minWidth = *std::min_element(widths.begin(), widths.end());
    quality.maxWidth = *std::max_element(widths.begin(), widths.end());
    return true;
}

bool getLineDiagnostics(const std::vector<cv::Point2d>& points, const cv::Vec4d& line,
                        std::vector<PointDiagnostic>& diagnostics)
{
    if (!usableLine(line))
        return false;
    const double length = std::hypot(line[0], line[1]);
    const cv::Point2d n(-line[1] / length, line[0] / length), origin(line[2], line[3]);
    diagnostics.clear();
    for (const cv::Point2d& p : points)
        diagnostics.push_back({p, (p - origin).dot(n), true});
    return true;
}

bool getCircleDiagnostics(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                          std::vector<PointDiagnostic>& diagnostics)
{
    if (!std::isfinite(centre.x) || !std::isfinite(centre.y) || !std::isfinite(radius) || radius < 0)
        return false;
    diagnostics.clear();
    for (const cv::Point2d& p : points)
        diagnostics.push_back({p, cv::norm(p - centre) - radius, true});
    return true;
}

bool getEllipseDiagnostics(const std::vector<cv::Point2d>& points, const cv::RotatedRect& box,
                           std::vector<PointDiagnostic>& diagnostics)
{
    if (!usableBox(box))
        return false;
    const EllipseFrame frame(box);
    diagnostics.clear();
    for (const cv::Point2d& p : points)
        diagnostics.push_back({p, frame.signedDistance(p, frame.foot(p)), true});
    return true;
}

int markInliersWithin(std::vector<PointDiagnostic>& diagnostics, double maxDistance)
{
    int inliers = 0;
    for (PointDiagnostic& d : diagnostics) {
        d.inlier = std::abs(d.residual) <= maxDistance;
        inliers += d.inlier;
    }
    return inliers;
}

int markTukeyInliers(std::vector<PointDiagnostic>& diagnostics, double scale)
{
    if (diagnostics.empty())
        return 0;
    if (scale > 0)
        return markInliersWithin(diagnostics, scale);
    std::vector<double> magnitudes;
    for (const PointDiagnostic& d : diagnostics)
        magnitudes.push_back(std::abs(d.residual));
    return markInliersWithin(diagnostics, adaptiveScale(std::move(magnitudes)));
}
