#include "PlaneFitting.h"

#include "FittingSupport_p.h"

#include <Eigen/Dense>
#include <Eigen/Eigenvalues>

#include <algorithm>
#include <cfloat>
#include <cmath>

using fitting_support::drawSample;
using fitting_support::normaliseWeights;
using fitting_support::upperMedian;

namespace {

struct Plane {
    cv::Vec3d normal;
    cv::Vec3d point;
};

bool allFinite(const std::vector<cv::Point3d>& points)
{
    return std::all_of(points.begin(), points.end(), [](const cv::Point3d& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    });
}

// One orientation for every normal, so that successive fits of the same plane compare
// as the same direction rather than as opposite ones.
cv::Vec3d orientNormal(cv::Vec3d n)
{
    const bool flip = n[2] < 0.0 || (n[2] == 0.0 && (n[1] < 0.0 || (n[1] == 0.0 && n[0] < 0.0)));
    return flip ? -n : n;
}

// Weighted total-least-squares plane through the weighted centroid. Fails when the
// weighted points do not span a plane: the two largest scatter eigenvalues must both be
// clearly above zero.
bool weightedPlane(const std::vector<cv::Point3d>& points, const double* weights, Plane& plane)
{
    double sw = 0.0;
    cv::Vec3d sum(0, 0, 0);
    for (size_t i = 0; i < points.size(); ++i) {
        sw += weights[i];
        sum += weights[i] * cv::Vec3d(points[i]);
    }
    if (!(sw > 0.0))
        return false;
    const cv::Vec3d centroid = sum / sw;

    Eigen::Matrix3d scatter = Eigen::Matrix3d::Zero();
    for (size_t i = 0; i < points.size(); ++i) {
        const cv::Vec3d d = cv::Vec3d(points[i]) - centroid;
        const Eigen::Vector3d e(d[0], d[1], d[2]);
        scatter.noalias() += weights[i] * (e * e.transpose());
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(scatter);
    if (solver.info() != Eigen::Success)
        return false;
    const Eigen::Vector3d values = solver.eigenvalues(); // ascending
    if (!(values[1] > 1e-12 * values[2]) || !(values[2] > 0.0))
        return false;
    const Eigen::Vector3d n = solver.eigenvectors().col(0);
    plane = {orientNormal(cv::Vec3d(n[0], n[1], n[2])), centroid};
    return true;
}

bool planesConverged(const Plane& current, const Plane& previous)
{
    const double turn = std::acos(std::clamp(current.normal.dot(previous.normal), -1.0, 1.0));
    const cv::Vec3f normalChange(current.normal - previous.normal);
    const cv::Vec3f pointChange(current.point - previous.point);
    const cv::Vec3f cross = normalChange.cross(pointChange);
    const float largest = std::max({std::abs(cross[0]), std::abs(cross[1]), std::abs(cross[2])});
    return turn < static_cast<double>(0.001f) && largest < 0.001f;
}

} // namespace

bool fitPlane(std::vector<cv::Point3d> points, cv::Vec6d& plane)
{
    if (points.size() < 3 || !allFinite(points))
        return false;
    double sxx = 0, sxy = 0, sx = 0, syy = 0, sy = 0, sxz = 0, syz = 0, sz = 0;
    for (const cv::Point3d& p : points) {
        sxx += p.x * p.x;
        sxy += p.x * p.y;
        sx += p.x;
        syy += p.y * p.y;
        sy += p.y;
        sxz += p.x * p.z;
        syz += p.y * p.z;
        sz += p.z;
    }
    const double n = static_cast<double>(points.size());
    const cv::Mat normal = (cv::Mat_<double>(3, 3) << sxx, sxy, sx, sxy, syy, sy, sx, sy, n);
    const cv::Mat rhs = (cv::Mat_<double>(3, 1) << sxz, syz, sz);
    if (cv::determinant(normal) == 0.0)
        return false;
    const cv::Mat abc = normal.inv(cv::DECOMP_SVD) * rhs;
    const double a = abc.at<double>(0), b = abc.at<double>(1), c = abc.at<double>(2);
    cv::Vec3d direction(-a, -b, 1.0);
    const double length = cv::norm(direction);
    if (!(length >= 1e-7) || !std::isfinite(length) || !std::isfinite(c))
        return false;
    direction /= length;
    plane = cv::Vec6d(direction[0], direction[1], direction[2], 0.0, 0.0, c);
    return true;
}

bool fitPlane3D_Huber(std::vector<cv::Point3d>& points, cv::Vec6d& plane, double param)
{
    constexpr int kMaxTrials = 20;
    constexpr int kSampleSize = 10;
    constexpr int kMaxReweightingSteps = 30;
    const int n = static_cast<int>(points.size());
    if (n < 3 || !allFinite(points))
        return false;

    const float k = param > 0.0 ? static_cast<float>(param) : 1.345f;
    const float good = static_cast<float>(n) * FLT_EPSILON;
    double best = DBL_MAX;
    double error = 0.0;
    std::vector<double> weights(n);
    cv::RNG rng;
    Plane current, previous;

    for (int trial = 0; trial < kMaxTrials; ++trial) {
        drawSample(rng, weights.data(), n, std::min(n, kSampleSize));
        if (!weightedPlane(points, weights.data(), current))
            return false;

        for (int step = 0; step < kMaxReweightingSteps; ++step) {
            if (step > 0 && planesConverged(current, previous))
                break;
            error = 0.0;
            for (int i = 0; i < n; ++i) {
                const double r = std::abs((cv::Vec3d(points[i]) - current.point).dot(current.normal));
                error += r;
                weights[i] = r < k ? 1.0 : k / r;
            }
            normaliseWeights(weights.data(), n);
            previous = current;
            if (!weightedPlane(points, weights.data(), current))
                return false;
        }

        if (best > error) {
            plane = cv::Vec6d(current.normal[0], current.normal[1], current.normal[2], current.point[0],
                              current.point[1], current.point[2]);
            best = error;
            if (error < good)
                break;
        }
    }
    return true;
}

float meanDepth_Huber(cv::Mat& depth, cv::Mat& mask)
{
    const bool depthOk = !depth.empty() && (depth.type() == CV_32FC1 || depth.type() == CV_16UC1);
    if (!depthOk || mask.type() != CV_8UC1 || mask.size() != depth.size())
        return 0.0f;

    std::vector<double> values;
    for (int row = 0; row < depth.rows; ++row) {
        const uchar* m = mask.ptr<uchar>(row);
        for (int col = 0; col < depth.cols; ++col) {
            if (m[col] == 0)
                continue;
            const double v = depth.type() == CV_32FC1 ? depth.at<float>(row, col) : depth.at<ushort>(row, col);
            if (std::isfinite(v))
                values.push_back(v);
        }
    }
    if (values.empty())
        return 0.0f;

    const int n = static_cast<int>(values.size());
    std::vector<double> scratch(values);
    double mean = upperMedian(scratch.data(), n);
    for (int i = 0; i < n; ++i)
        scratch[i] = std::abs(values[i] - mean);
    // 1.4826 * MAD estimates the standard deviation of normally distributed depths.
    const double scale = 1.4826 * upperMedian(scratch.data(), n);
    if (!(scale > 0.0))
        return static_cast<float>(mean);

    constexpr double k = 1.345;
    for (int step = 0; step < 50; ++step) {
        double sw = 0.0, swv = 0.0;
        for (double v : values) {
            const double r = std::abs(v - mean) / scale;
            const double w = r < k ? 1.0 : k / r;
            sw += w;
            swv += w * v;
        }
        const double next = swv / sw;
        const bool converged = std::abs(next - mean) < 1e-7 * scale;
        mean = next;
        if (converged)
            break;
    }
    return static_cast<float>(mean);
}
