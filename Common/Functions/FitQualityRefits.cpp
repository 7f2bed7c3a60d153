#include "FitQuality_p.h"

#include "Fitting.h"

#include <cmath>
#include <cstring>

namespace fit_quality {

namespace {

// Enough refits that the spread is known to about 5 % (1 / sqrt(2 * 200)).
constexpr int kRefits = 200;
constexpr double kClip = 3.0;

// The simulation's seed, from the points' own bits (FNV-1a): the same points always give
// the same uncertainty, and different point sets draw independent noise, so that the
// refits' own sampling error does not repeat alike from one measurement to the next.
uint64_t seedOf(const std::vector<cv::Point2d>& points)
{
    uint64_t hash = 0xcbf29ce484222325ull;
    for (const cv::Point2d& p : points)
        for (double v : {p.x, p.y}) {
            uint64_t bits = 0;
            std::memcpy(&bits, &v, sizeof bits);
            for (int byte = 0; byte < 8; ++byte) {
                hash ^= (bits >> (8 * byte)) & 0xffu;
                hash *= 0x100000001b3ull;
            }
        }
    return hash == 0 ? 1 : hash;
}

// Runs refit on kRefits simulated sets (drawn from a seed of the points), each foot moved along its unit normal by Gaussian
// noise of noiseSigma, and sets spread to the root mean square of the deviations from the
// given parameters that refit reports (false from refit: the set gave no shape). That
// spread is about the given parameters, not the refits' mean, so that a bias the noise
// gives the fit itself (the algebraic circle fit on a short arc shrinks the radius) is
// part of it. False when fewer than half of the refits give a shape.
template <typename Refit>
bool refitSpread(const std::vector<cv::Point2d>& points, const std::vector<cv::Point2d>& feet,
                 const std::vector<cv::Point2d>& normals, double noiseSigma, Eigen::Index parameters, Refit refit,
                 Eigen::VectorXd& spread)
{
    cv::RNG rng(seedOf(points));
    Eigen::MatrixXd deviations(kRefits, parameters);
    Eigen::VectorXd deviation(parameters);
    std::vector<cv::Point2d> simulated(feet.size());
    int rows = 0;
    for (int k = 0; k < kRefits; ++k) {
        for (size_t i = 0; i < feet.size(); ++i)
            simulated[i] = feet[i] + normals[i] * rng.gaussian(noiseSigma);
        if (refit(simulated, deviation))
            deviations.row(rows++) = deviation.transpose();
    }
    if (rows < kRefits / 2)
        return false;
    spread = (deviations.topRows(rows).colwise().squaredNorm() / static_cast<double>(rows)).cwiseSqrt().transpose();
    return spread.allFinite();
}

} // namespace

bool clippedNoiseVariance(const Eigen::MatrixXd& jacobian, const Eigen::VectorXd& residuals, double& variance,
                          int& kept)
{
    const Eigen::Index n = residuals.size(), p = jacobian.cols();
    std::vector<bool> inside(static_cast<size_t>(n), true);
    Eigen::Index count = n;
    double estimate = 0;
    // Each pass either keeps the same points (done) or moves one at least, and the points
    // cannot cycle for long; the bound only guards against rounding ties.
    for (int pass = 0; pass < 50; ++pass) {
        Eigen::MatrixXd keptJacobian(count, p);
        Eigen::VectorXd keptResiduals(count);
        for (Eigen::Index i = 0, row = 0; i < n; ++i)
            if (inside[static_cast<size_t>(i)]) {
                keptJacobian.row(row) = jacobian.row(i);
                keptResiduals(row++) = residuals(i);
            }
        // The part of the residuals no change of the parameters absorbs: what a
        // least-squares fit of the kept points would leave, linearised here.
        const Eigen::VectorXd step = keptJacobian.colPivHouseholderQr().solve(keptResiduals);
        const Eigen::VectorXd left = residuals - jacobian * step;
        double squares = 0;
        for (Eigen::Index i = 0; i < n; ++i)
            if (inside[static_cast<size_t>(i)])
                squares += left(i) * left(i);
        estimate = squares / static_cast<double>(count - p);
        Eigen::Index next = 0;
        bool changed = false;
        std::vector<bool> within(static_cast<size_t>(n));
        for (Eigen::Index i = 0; i < n; ++i) {
            within[static_cast<size_t>(i)] = left(i) * left(i) <= kClip * kClip * estimate;
            changed = changed || within[static_cast<size_t>(i)] != inside[static_cast<size_t>(i)];
            next += within[static_cast<size_t>(i)];
        }
        if (!changed || next <= p)
            break;
        inside = within;
        count = next;
    }
    if (count <= p || !std::isfinite(estimate))
        return false;
    variance = estimate;
    kept = static_cast<int>(count);
    return true;
}

bool refitLineSpread(const std::vector<cv::Point2d>& points, cv::Point2d u, cv::Point2d anchor, FitLineType type,
                     double param, double noiseSigma, double& angleSigma, double& offsetSigma)
{
    const cv::Point2d n(-u.y, u.x);
    std::vector<cv::Point2d> feet;
    for (const cv::Point2d& p : points)
        feet.push_back(anchor + u * (p - anchor).dot(u));
    // The refit's turn from u, and where it crosses the normal through the anchor.
    const auto refit = [&](std::vector<cv::Point2d>& simulated, Eigen::VectorXd& deviation) {
        cv::Vec4d line;
        fitLine(simulated, line, type, param);
        const double length = std::hypot(line[0], line[1]);
        const cv::Point2d v(line[0] / length, line[1] / length), through(line[2], line[3]);
        const double along = v.dot(u), across = u.x * v.y - u.y * v.x;
        if (!(std::abs(along) > 1e-12) || !std::isfinite(through.x) || !std::isfinite(through.y))
            return false;
        const double turn = std::atan2(along < 0 ? -across : across, std::abs(along));
        deviation << turn, (through - anchor).dot(n) - (through - anchor).dot(u) * std::tan(turn);
        return true;
    };
    Eigen::VectorXd spread;
    if (!refitSpread(points, feet, std::vector<cv::Point2d>(points.size(), n), noiseSigma, 2, refit, spread))
        return false;
    angleSigma = spread(0);
    offsetSigma = spread(1);
    return true;
}

bool refitCircleSpread(const std::vector<cv::Point2d>& points, cv::Point2d centre, double radius,
                       FitCircleType type, double noiseSigma, Eigen::Vector3d& sigma)
{
    std::vector<cv::Point2d> feet, normals;
    for (const cv::Point2d& p : points) {
        const cv::Point2d d = p - centre;
        normals.push_back(d / cv::norm(d));
        feet.push_back(centre + normals.back() * radius);
    }
    const auto refit = [&](std::vector<cv::Point2d>& simulated, Eigen::VectorXd& deviation) {
        cv::Point2d c = centre;
        double r = radius;
        if (!fitCircle(simulated, c, r, type) || !std::isfinite(c.x) || !std::isfinite(c.y) || !std::isfinite(r))
            return false;
        deviation << c.x - centre.x, c.y - centre.y, r - radius;
        return true;
    };
    Eigen::VectorXd spread;
    if (!refitSpread(points, feet, normals, noiseSigma, 3, refit, spread))
        return false;
    sigma = spread;
    return true;
}

} // namespace fit_quality
