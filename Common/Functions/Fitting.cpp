#include "Fitting.h"

#include "FittingSupport_p.h"

#include <Eigen/Dense>
#include <Eigen/Eigenvalues>
#include <opencv2/core/hal/intrin.hpp>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <vector>

using fitting_support::drawSample;
using fitting_support::upperMedian;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kMaxReweightingSteps = 30;

double square(double v) { return v * v; }

bool isFinite(const cv::Vec4d& v)
{
    return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]) && std::isfinite(v[3]);
}

bool allFinite(const std::vector<cv::Point2d>& points)
{
    return std::all_of(points.begin(), points.end(),
                        [](const cv::Point2d& p) { return std::isfinite(p.x) && std::isfinite(p.y); });
}

// Weight accessors for the fitting kernels: a constant 1 compiles down to the unweighted
// sums, so one kernel serves both.
struct UnitWeight {
    double operator()(size_t) const { return 1.0; }
};

struct ArrayWeight {
    const double* weights;
    double operator()(size_t i) const { return weights[i]; }
};

// Adaptive scale of the line and ellipse fits: 2 * median / 0.6745, with 1 in place of
// a vanishing median (points exactly on the model) so the weights stay defined.
double adaptiveScale(const double* residuals, int n, double* scratch)
{
    std::copy(residuals, residuals + n, scratch);
    const double c = 2.0 * (upperMedian(scratch, n) / 0.6745);
    return c > DBL_EPSILON ? c : 1.0;
}

double huberWeight(double r, double c) { return r <= c ? 1.0 : c / r; }

// Tukey's biweight with the reciprocal scale passed in, so callers choose its precision.
double tukeyWeight(double r, double c, double inverseScale)
{
    return r <= c ? square(1.0 - square(r * inverseScale)) : 0.0;
}

// The host's results are defined with 1/c rounded to single precision.
double singlePrecisionInverse(double c) { return static_cast<float>(1.0 / c); }

// ---------------------------------------------------------------------------------
// Lines
// ---------------------------------------------------------------------------------

// Principal axis of the weighted points through their weighted centroid. The second
// moments are raw sums centred afterwards, in the order the host's results assume.
template <typename Weight>
cv::Vec4d principalAxisLine(const std::vector<cv::Point2d>& points, Weight weight)
{
    double sw = 0, sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0;
    for (size_t i = 0; i < points.size(); ++i) {
        const double w = weight(i), x = points[i].x, y = points[i].y;
        sw += w;
        sx += w * x;
        sy += w * y;
        sxx += w * x * x;
        sxy += w * x * y;
        syy += w * y * y;
    }
    const double mx = sx / sw, my = sy / sw;
    const double cxx = sxx / sw - mx * mx;
    const double cxy = sxy / sw - mx * my;
    const double cyy = syy / sw - my * my;
    const double theta = std::atan2(2.0 * cxy, cxx - cyy);
    return cv::Vec4d(std::cos(theta / 2.0), std::sin(theta / 2.0), mx, my);
}

// ---------------------------------------------------------------------------------
// Circles
// ---------------------------------------------------------------------------------

struct Circle {
    cv::Point2d centre;
    double radius = 0.0;
};

// Raw sums of the weighted algebraic fit, named by their monomials (sxyy = sum of w*x*y*y).
struct CircleSums {
    double sw = 0, sx = 0, sy = 0, sxx = 0, sxy = 0, syy = 0, sxxx = 0, sxyy = 0, sxxy = 0, syyy = 0;
};

// Accumulates the sums point by point in index order, which the results are defined by.
// Sums of x and of y share a vector register: every lane adds exactly what its scalar
// sum would, while the additions, whose latency bounds this loop, are halved.
template <typename Weight>
CircleSums circleSums(const cv::Point2d* points, size_t n, Weight weight)
{
    CircleSums s;
#if CV_SIMD128_64F
    using cv::v_float64x2;
    v_float64x2 sumXY = cv::v_setzero_f64(), sumXXYY = sumXY, sumTimesX = sumXY, sumTimesY = sumXY, sumXYW = sumXY;
    for (size_t i = 0; i < n; ++i) {
        const double w = weight(i);
        const v_float64x2 p = cv::v_load(&points[i].x);
        const v_float64x2 x = cv::v_setall_f64(points[i].x), y = cv::v_setall_f64(points[i].y);
        const v_float64x2 wp = cv::v_setall_f64(w) * p; // (w*x, w*y)
        const v_float64x2 wpp = wp * p;                  // (w*x*x, w*y*y)
        sumXY += wp;
        sumXXYY += wpp;
        sumTimesX += wpp * x;
        sumTimesY += wpp * y;
        sumXYW += cv::v_combine_low(wp * y, cv::v_setall_f64(w));
    }
    double lanes[10];
    cv::v_store(lanes, sumXY);
    cv::v_store(lanes + 2, sumXXYY);
    cv::v_store(lanes + 4, sumTimesX);
    cv::v_store(lanes + 6, sumTimesY);
    cv::v_store(lanes + 8, sumXYW);
    s.sx = lanes[0], s.sy = lanes[1], s.sxx = lanes[2], s.syy = lanes[3], s.sxxx = lanes[4], s.sxyy = lanes[5];
    s.sxxy = lanes[6], s.syyy = lanes[7], s.sxy = lanes[8], s.sw = lanes[9];
#else
    for (size_t i = 0; i < n; ++i) {
        const double w = weight(i), x = points[i].x, y = points[i].y;
        const double wx = w * x, wy = w * y, wxx = wx * x, wyy = wy * y;
        s.sw += w;
        s.sx += wx;
        s.sy += wy;
        s.sxx += wxx;
        s.sxy += wx * y;
        s.syy += wyy;
        s.sxxx += wxx * x;
        s.sxyy += wyy * x;
        s.sxxy += wxx * y;
        s.syyy += wyy * y;
    }
#endif
    return s;
}

// Weighted algebraic fit of x^2 + y^2 + D*x + E*y + F = 0 by its normal equations.
template <typename Weight>
bool algebraicCircle(const cv::Point2d* points, size_t n, Weight weight, Circle& circle)
{
    const CircleSums s = circleSums(points, n, weight);
    Eigen::Matrix3d normal;
    normal << s.sxx, s.sxy, s.sx, s.sxy, s.syy, s.sy, s.sx, s.sy, s.sw;
    if (!(normal.determinant() > 1e-12))
        return false;
    const Eigen::Vector3d rhs(-s.sxxx - s.sxyy, -s.sxxy - s.syyy, -s.sxx - s.syy);
    const Eigen::Vector3d def = Eigen::PartialPivLU<Eigen::Matrix3d>(normal).solve(rhs);
    circle.centre = cv::Point2d(-def[0] / 2.0, -def[1] / 2.0);
    circle.radius = std::sqrt(circle.centre.x * circle.centre.x + circle.centre.y * circle.centre.y - def[2]);
    return true;
}

// Taubin's fit: the smallest root of its characteristic cubic by Newton's method from 0.
bool taubinCircle(const std::vector<cv::Point2d>& points, Circle& circle)
{
    const double n = static_cast<double>(points.size());
    double meanX = 0, meanY = 0;
    for (const cv::Point2d& p : points) {
        meanX += p.x;
        meanY += p.y;
    }
    meanX /= n;
    meanY /= n;

    double Mxx = 0, Myy = 0, Mxy = 0, Mxz = 0, Myz = 0, Mzz = 0;
    for (const cv::Point2d& p : points) {
        const double X = p.x - meanX, Y = p.y - meanY, Z = X * X + Y * Y;
        Mxx += X * X;
        Myy += Y * Y;
        Mxy += X * Y;
        Mxz += X * Z;
        Myz += Y * Z;
        Mzz += Z * Z;
    }
    Mxx /= n;
    Myy /= n;
    Mxy /= n;
    Mxz /= n;
    Myz /= n;
    Mzz /= n;

    const double Mz = Mxx + Myy;
    const double covXY = Mxx * Myy - Mxy * Mxy;
    const double varZ = Mzz - Mz * Mz;
    const double A3 = 4.0 * Mz;
    const double A2 = -3.0 * Mz * Mz - Mzz;
    const double A1 = varZ * Mz + 4.0 * covXY * Mz - Mxz * Mxz - Myz * Myz;
    const double A0 = Mxz * (Mxz * Myy - Myz * Mxy) + Myz * (Myz * Mxx - Mxz * Mxy) - varZ * covXY;

    double x = 0.0, y = A0;
    for (int step = 0; step < 99; ++step) {
        const double xNew = x - y / (A1 + x * (2.0 * A2 + 3.0 * A3 * x));
        if (std::abs(xNew - x) < DBL_EPSILON || !std::isfinite(xNew))
            break;
        const double yNew = A0 + xNew * (A1 + xNew * (A2 + xNew * A3));
        if (std::abs(yNew) >= std::abs(y))
            break;
        x = xNew;
        y = yNew;
    }

    const double det = x * x - x * Mz + covXY;
    if (det == 0.0)
        return false;
    const double Xc = (Mxz * (Myy - x) - Myz * Mxy) / det / 2.0;
    const double Yc = (Myz * (Mxx - x) - Mxz * Mxy) / det / 2.0;
    circle.centre = cv::Point2d(Xc + meanX, Yc + meanY);
    circle.radius = std::sqrt(Xc * Xc + Yc * Yc + Mz);
    return true;
}

// |distance to the centre - radius| of every point, into residuals and into copy (which
// the median's selection may reorder). Two points at a time; each lane computes exactly
// what cv::norm of the difference would.
void circleResiduals(const cv::Point2d* points, int n, const Circle& circle, double* residuals, double* copy)
{
    int i = 0;
#if CV_SIMD128_64F
    const cv::v_float64x2 cx = cv::v_setall_f64(circle.centre.x), cy = cv::v_setall_f64(circle.centre.y);
    const cv::v_float64x2 r = cv::v_setall_f64(circle.radius);
    for (; i + 2 <= n; i += 2) {
        cv::v_float64x2 x, y;
        cv::v_load_deinterleave(&points[i].x, x, y);
        const cv::v_float64x2 dx = x - cx, dy = y - cy;
        const cv::v_float64x2 e = cv::v_abs(cv::v_sqrt(dx * dx + dy * dy) - r);
        cv::v_store(residuals + i, e);
        cv::v_store(copy + i, e);
    }
#endif
    for (; i < n; ++i)
        residuals[i] = copy[i] = std::abs(cv::norm(points[i] - circle.centre) - circle.radius);
}

// Sets weights[i] = rule(residuals[i], weights[i]) and returns their sum; error receives
// the sum of the residuals. Both sums run in index order, in one pass so that their
// chains of additions overlap.
template <typename Rule>
double weighResiduals(const double* residuals, int n, double* weights, double& error, Rule rule)
{
    double sum = 0.0;
    error = 0.0;
    for (int i = 0; i < n; ++i) {
        error += residuals[i];
        weights[i] = rule(residuals[i], weights[i]);
        sum += weights[i];
    }
    return sum;
}

// Robust weights from the residuals, not yet normalised, with their sum: Huber or Tukey
// with the adaptive scale (scratch holds a copy of the residuals for its median), 1 for
// the types beyond Taubin. Tukey keeps the previous weights when the scale is 0.
double circleWeights(FitCircleType type, const double* residuals, double* scratch, int n, double* weights,
                     double& error)
{
    if (type != FitCircleHuber && type != FitCircleTukey)
        return weighResiduals(residuals, n, weights, error, [](double, double) { return 1.0; });
    const double c = 2.0 * (upperMedian(scratch, n) / 0.6745);
    if (type == FitCircleHuber)
        return weighResiduals(residuals, n, weights, error, [c](double e, double) { return huberWeight(e, c); });
    if (c == 0.0)
        return weighResiduals(residuals, n, weights, error, [](double, double kept) { return kept; });
    const double k = singlePrecisionInverse(c);
    return weighResiduals(residuals, n, weights, error, [c, k](double e, double) { return tukeyWeight(e, c, k); });
}

// Weight accessor that normalises each weight by the sum as the fit reads it, and keeps
// the normalised weight: one pass less over the points. A weight of exactly 1 (a Huber
// inlier, most points) takes the one quotient 1/sum computed beforehand, which is the
// same division; only the others pay for one of their own.
struct NormalisingWeight {
    double* weights;
    double sum;
    double unitShare;
    NormalisingWeight(double* w, double s) : weights(w), sum(s), unitShare(1.0 / s) {}
    double operator()(size_t i) const { return weights[i] = weights[i] == 1.0 ? unitShare : weights[i] / sum; }
};

// Random-sample restarts refined by reweighted algebraic fits. Writes the best circle
// found into centre and radius as it goes, so a later failure leaves it there.
bool robustCircle(const std::vector<cv::Point2d>& points, FitCircleType type, cv::Point2d& centre, double& radius)
{
    constexpr int kMaxTrials = 20;
    constexpr int kSampleSize = 20;
    const int n = static_cast<int>(points.size());
    const int sampleSize = std::min(n, kSampleSize);
    cv::AutoBuffer<double, 68> weights(n);
    cv::AutoBuffer<double> residuals(2 * static_cast<size_t>(n));
    double* scratch = residuals.data() + n;
    int drawn[kSampleSize];
    cv::Point2d sample[kSampleSize];

    cv::RNG rng;
    const float good = static_cast<float>(n) * FLT_EPSILON;
    double best = DBL_MAX;
    double error = 0.0;
    Circle current, previous;
    // The convergence test compares with the previous step even across trials, so only
    // the very first step of the call lacks something to compare with.
    bool havePrevious = false;

    for (int trial = 0; trial < kMaxTrials; ++trial) {
        // Points left out of the sample weigh exactly 0 and add exactly nothing to the
        // sums, so the sample's fit runs over its own points, in index order.
        drawSample(rng, weights.data(), n, sampleSize, drawn);
        std::sort(drawn, drawn + sampleSize);
        for (int k = 0; k < sampleSize; ++k)
            sample[k] = points[drawn[k]];
        if (!algebraicCircle(sample, sampleSize, UnitWeight(), current))
            return false;

        for (int step = 0; step < kMaxReweightingSteps; ++step) {
            if (havePrevious && std::abs(current.radius - previous.radius) < 0.01
                && cv::norm(current.centre - previous.centre) < 0.01)
                break;
            havePrevious = true;

            circleResiduals(points.data(), n, current, residuals.data(), scratch);
            const double sum = circleWeights(type, residuals.data(), scratch, n, weights.data(), error);

            // Weights summing to (nearly) nothing would divide into noise: all count alike.
            previous = current;
            bool fitted;
            if (std::abs(sum) > FLT_EPSILON) {
                fitted = algebraicCircle(points.data(), points.size(), NormalisingWeight{weights.data(), sum}, current);
            } else {
                std::fill(weights.data(), weights.data() + n, 1.0);
                fitted = algebraicCircle(points.data(), points.size(), UnitWeight(), current);
            }
            if (!fitted)
                return false;
        }

        // error belongs to the circle before the last refit; the refit circle is kept.
        if (best > error) {
            centre = current.centre;
            radius = current.radius;
            best = error;
            if (error < good)
                break;
        }
    }
    return true;
}

// ---------------------------------------------------------------------------------
// Ellipses
// ---------------------------------------------------------------------------------

using Matrix6d = Eigen::Matrix<double, 6, 6>;
using Vector6d = Eigen::Matrix<double, 6, 1>;

// Points are fitted in coordinates centred on their mean and scaled by their half range,
// which keeps the 6x6 scatter matrix well scaled whatever the image position.
struct Normalisation {
    double mx = 0, my = 0, sx = 0, sy = 0;
};

bool findNormalisation(const std::vector<cv::Point2d>& points, Normalisation& norm)
{
    double sumX = 0, sumY = 0;
    double minX = points[0].x, maxX = minX, minY = points[0].y, maxY = minY;
    for (const cv::Point2d& p : points) {
        sumX += p.x;
        sumY += p.y;
        minX = std::min(minX, p.x);
        maxX = std::max(maxX, p.x);
        minY = std::min(minY, p.y);
        maxY = std::max(maxY, p.y);
    }
    const double n = static_cast<double>(points.size());
    norm = {sumX / n, sumY / n, (maxX - minX) / 2.0, (maxY - minY) / 2.0};
    // A NaN or infinite coordinate makes the mean non-finite.
    return std::isfinite(norm.mx) && std::isfinite(norm.my) && norm.sx > 0.0 && norm.sy > 0.0
           && std::isfinite(norm.sx) && std::isfinite(norm.sy);
}

Vector6d designRow(const cv::Point2d& p, const Normalisation& norm)
{
    const double x = (p.x - norm.mx) / norm.sx, y = (p.y - norm.my) / norm.sy;
    Vector6d row;
    row << x * x, x * y, y * y, x, y, 1.0;
    return row;
}

// Conic a*x^2 + b*x*y + c*y^2 + d*x + e*y + f = 0 in image coordinates.
struct Conic {
    double a = 0, b = 0, c = 0, d = 0, e = 0, f = 0;
    double at(const cv::Point2d& p) const { return a * p.x * p.x + b * p.x * p.y + c * p.y * p.y + d * p.x + e * p.y + f; }
};

// Substitutes x -> (x - mx)/sx, y -> (y - my)/sy into the normalised conic.
Conic toImageCoordinates(const Vector6d& v, const Normalisation& norm)
{
    const double A = v[0], B = v[1], C = v[2], D = v[3], E = v[4], F = v[5];
    const double mx = norm.mx, my = norm.my, sxx = norm.sx * norm.sx, syy = norm.sy * norm.sy;
    const double sxy = norm.sx * norm.sy;
    Conic conic;
    conic.a = A / sxx;
    conic.b = B / sxy;
    conic.c = C / syy;
    conic.d = D / norm.sx - 2.0 * A * mx / sxx - B * my / sxy;
    conic.e = E / norm.sy - 2.0 * C * my / syy - B * mx / sxy;
    conic.f = F + A * mx * mx / sxx + B * mx * my / sxy + C * my * my / syy - D * mx / norm.sx - E * my / norm.sy;
    return conic;
}

// Direct least-squares ellipse fit: minimise v' S v subject to v' C v = -1, C encoding
// b^2 - 4ac. The generalised eigenvectors come from the general eigen decomposition of
// S^-1 C. Each eigenvalue is formed as the quotient sum(w * (d.v)^2) / (v' C v): its
// numerator is a sum of squares, never negative, so the sign of an exact fit's
// eigenvalue (zero up to rounding, which S^-1 C gives either sign) still marks the
// ellipse. The first eigenvalue below zero (or zero, for an exact fit) and finite wins.
template <typename Weight>
bool directEllipse(const std::vector<cv::Point2d>& points, const Normalisation& norm, Weight weight, Conic& conic)
{
    Matrix6d scatter = Matrix6d::Zero();
    for (size_t i = 0; i < points.size(); ++i) {
        const Vector6d row = designRow(points[i], norm);
        scatter.selfadjointView<Eigen::Upper>().rankUpdate(row, weight(i));
    }
    const Matrix6d full = scatter.selfadjointView<Eigen::Upper>();
    if (!full.allFinite())
        return false;

    Matrix6d constraint = Matrix6d::Zero();
    constraint(0, 2) = constraint(2, 0) = -2.0;
    constraint(1, 1) = 1.0;
    const Matrix6d reduced = full.partialPivLu().solve(constraint);
    if (!reduced.allFinite())
        return false;

    const Eigen::EigenSolver<Matrix6d> solver(reduced);
    if (solver.info() != Eigen::Success)
        return false;
    for (int k = 0; k < 6; ++k) {
        const Vector6d v = solver.eigenvectors().col(k).real();
        const double denominator = v.dot(constraint * v);
        if (!(denominator < 0.0))
            continue;
        double numerator = 0.0;
        for (size_t i = 0; i < points.size(); ++i)
            numerator += weight(i) * square(designRow(points[i], norm).dot(v));
        if (!std::isfinite(numerator / denominator))
            continue;
        conic = toImageCoordinates(v, norm);
        return true;
    }
    return false;
}

// Centre, axes and orientation of an elliptic conic as a whole-pixel box.
bool conicToBox(const Conic& q, cv::RotatedRect& box)
{
    const double disc = q.b * q.b - 4.0 * q.a * q.c;
    if (!(disc < 0.0))
        return false;
    const double x0 = (2.0 * q.c * q.d - q.b * q.e) / disc;
    const double y0 = (2.0 * q.a * q.e - q.b * q.d) / disc;
    // Value at the centre over the eigenvalues of the quadratic part gives the squared
    // semi-axes; the first lies across the direction phi, the second along it.
    const double atCentre = q.f + (q.d * x0 + q.e * y0) / 2.0;
    const double root = std::sqrt(square(q.a - q.c) + q.b * q.b);
    const double first = std::sqrt(-atCentre / ((q.a + q.c - root) / 2.0));
    const double second = std::sqrt(-atCentre / ((q.a + q.c + root) / 2.0));
    double phi = std::atan2(q.b, q.a - q.c) / 2.0;
    if (first > second)
        phi += kPi / 2.0;
    // An imaginary ellipse gives NaN axes; axes beyond int range cannot be whole pixels.
    if (!(first > 0.0) || !(second > 0.0) || !std::isfinite(x0) || !std::isfinite(y0))
        return false;
    const double major = std::max(first, second), minor = std::min(first, second);
    if (!(2.0 * major < static_cast<double>(INT_MAX)))
        return false;
    box = cv::RotatedRect(cv::Point2f(static_cast<float>(x0), static_cast<float>(y0)),
                          cv::Size2f(static_cast<float>(static_cast<int>(2.0 * major)),
                                     static_cast<float>(static_cast<int>(2.0 * minor))),
                          static_cast<float>(phi * 180.0 / kPi));
    return true;
}

template <typename Weight>
bool fitEllipseBox(const std::vector<cv::Point2d>& points, const Normalisation& norm, Weight weight, Conic& conic,
                   cv::RotatedRect& box)
{
    return directEllipse(points, norm, weight, conic) && conicToBox(conic, box);
}

bool boxesConverged(const cv::RotatedRect& before, const cv::RotatedRect& after)
{
    return cv::norm(after.center - before.center) < 1e-6 && std::abs(after.size.width - before.size.width) < 1e-6
           && std::abs(after.size.height - before.size.height) < 1e-6 && std::abs(after.angle - before.angle) < 1e-6;
}

} // namespace

void fitLine(std::vector<cv::Point2d>& points, cv::Vec4d& line, FitLineType type, double param)
{
    line = cv::Vec4d(0, 0, 0, 0);
    if (points.empty())
        return;
    cv::Vec4d current = principalAxisLine(points, UnitWeight());
    // Finite moments imply finite coordinates, and with them finite residuals below.
    if (!isFinite(current))
        return;
    line = current;
    if (type == FitLineLeastSquares)
        return;

    const int n = static_cast<int>(points.size());
    std::vector<double> weights(n), residuals(n), scratch(n);
    for (int step = 0; step < kMaxReweightingSteps; ++step) {
        const double vx = current[0], vy = current[1], x0 = current[2], y0 = current[3];
        for (int i = 0; i < n; ++i)
            residuals[i] = std::abs((points[i].x - x0) * vy - (points[i].y - y0) * vx);

        const double c = param > 0.0 ? param : adaptiveScale(residuals.data(), n, scratch.data());
        if (type == FitLineHuber) {
            for (int i = 0; i < n; ++i)
                weights[i] = huberWeight(residuals[i], c);
        } else {
            const double k = singlePrecisionInverse(c);
            for (int i = 0; i < n; ++i)
                weights[i] = tukeyWeight(residuals[i], c, k);
        }

        const cv::Vec4d next = principalAxisLine(points, ArrayWeight{weights.data()});
        // No clamping: a dot product that rounds above 1 gives NaN, counted as moving.
        const double turn = std::acos(next[0] * vx + next[1] * vy);
        const bool converged =
            std::abs(turn) < 1e-6 && std::max(std::abs(x0 - next[2]), std::abs(y0 - next[3])) < 1e-6;
        line = current = next;
        // A NaN line (a Tukey step that rejected every point) stays NaN in every later
        // step, so stopping changes nothing but the time spent.
        if (converged || !isFinite(next))
            break;
    }
}

bool fitCircle(std::vector<cv::Point2d>& points, cv::Point2d& center, double& radius, FitCircleType type)
{
    if (points.size() < 3 || !allFinite(points))
        return false;
    if (type != FitCircleLeastSquares && type != FitCircleTaubin)
        return robustCircle(points, type, center, radius);

    Circle circle;
    const bool ok = type == FitCircleTaubin ? taubinCircle(points, circle)
                                            : algebraicCircle(points.data(), points.size(), UnitWeight(), circle);
    if (!ok)
        return false;
    center = circle.centre;
    radius = circle.radius;
    return true;
}

bool threePointFitCircle(std::vector<cv::Point2d> points, cv::Point2d& center, double& radius)
{
    center = cv::Point2d(0.0, 0.0);
    radius = -1.0;
    if (points.size() < 3)
        return false;
    const double x1 = points[0].x, y1 = points[0].y, x2 = points[1].x, y2 = points[1].y;
    const double x3 = points[2].x, y3 = points[2].y;
    const double a = (x1 * x1 - x2 * x2 + y1 * y1 - y2 * y2) / 2.0;
    const double b = (x1 * x1 - x3 * x3 + y1 * y1 - y3 * y3) / 2.0;
    const double d = (x1 - x3) * (y1 - y2) - (y1 - y3) * (x1 - x2);
    if (!(std::abs(d) >= 1e-5))
        return false;
    const double cx = -(a * (y1 - y3) - b * (y1 - y2)) / d;
    const double cy = -(b * (x1 - x2) - a * (x1 - x3)) / d;
    const double r = std::hypot(x1 - cx, y1 - cy);
    if (!std::isfinite(cx) || !std::isfinite(cy) || !std::isfinite(r))
        return false;
    center = cv::Point2d(cx, cy);
    radius = r;
    return true;
}

bool fitEllipse(std::vector<cv::Point2d>& points, cv::RotatedRect& box, FitEllipseType type, double param)
{
    Normalisation norm;
    if (points.size() < 6 || !findNormalisation(points, norm))
        return false;
    Conic conic;
    cv::RotatedRect current;
    if (!fitEllipseBox(points, norm, UnitWeight(), conic, current))
        return false;
    box = current;
    if (type == FitEllipseLeastSquares)
        return true;

    const int n = static_cast<int>(points.size());
    std::vector<double> weights(n), residuals(n), scratch(n);
    for (int step = 0; step < kMaxReweightingSteps; ++step) {
        for (int i = 0; i < n; ++i)
            residuals[i] = std::abs(conic.at(points[i]));
        const double c = param > 0.0 ? param : adaptiveScale(residuals.data(), n, scratch.data());
        for (int i = 0; i < n; ++i)
            weights[i] = type == FitEllipseHuber ? huberWeight(residuals[i], c) : tukeyWeight(residuals[i], c, 1.0 / c);

        cv::RotatedRect next;
        if (!fitEllipseBox(points, norm, ArrayWeight{weights.data()}, conic, next))
            return false;
        box = next;
        const bool converged = boxesConverged(current, next);
        current = next;
        if (converged)
            break;
    }
    return true;
}
