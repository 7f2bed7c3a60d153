#include "Synthetic.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace synthetic {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kSamples = 16;             // per axis near edges: coverage steps of 1/256
constexpr double kCertainDistance = 0.75; // beyond this a pixel lies wholly on one side

double coverage(const Scene::SignedDistance& shape, double x, double y)
{
    const double d = shape(x, y);
    if (d <= -kCertainDistance)
        return 1.0;
    if (d >= kCertainDistance)
        return 0.0;
    int inside = 0;
    for (int j = 0; j < kSamples; ++j) {
        const double sy = y - 0.5 + (j + 0.5) / kSamples;
        for (int i = 0; i < kSamples; ++i) {
            const double sx = x - 0.5 + (i + 0.5) / kSamples;
            if (shape(sx, sy) <= 0.0)
                ++inside;
        }
    }
    return static_cast<double>(inside) / (kSamples * kSamples);
}

} // namespace

Scene::Scene(cv::Size size, double background) : canvas_(size, CV_64F, cv::Scalar(background)) {}

void Scene::fill(const SignedDistance& shape, double value)
{
    for (int y = 0; y < canvas_.rows; ++y) {
        double* row = canvas_.ptr<double>(y);
        for (int x = 0; x < canvas_.cols; ++x) {
            const double a = coverage(shape, x, y);
            if (a > 0.0)
                row[x] = a * value + (1.0 - a) * row[x];
        }
    }
}

void Scene::fillConvexPolygon(const std::vector<cv::Point2d>& vertices, double value)
{
    const size_t n = vertices.size();
    if (n < 3)
        return;
    // Orient the edge normals outwards whatever the winding.
    double area2 = 0;
    for (size_t i = 0; i < n; ++i) {
        const cv::Point2d& a = vertices[i];
        const cv::Point2d& b = vertices[(i + 1) % n];
        area2 += a.x * b.y - b.x * a.y;
    }
    const double sign = area2 > 0 ? 1.0 : -1.0;
    std::vector<cv::Vec3d> edges; // outward unit normal (nx, ny) and offset c: nx*x + ny*y + c
    for (size_t i = 0; i < n; ++i) {
        const cv::Point2d& a = vertices[i];
        const cv::Point2d& b = vertices[(i + 1) % n];
        const cv::Point2d e = b - a;
        const double len = std::hypot(e.x, e.y);
        const double nx = sign * e.y / len;
        const double ny = -sign * e.x / len;
        edges.emplace_back(nx, ny, -(nx * a.x + ny * a.y));
    }
    fill(
        [edges](double x, double y) {
            double d = -1e300;
            for (const cv::Vec3d& e : edges)
                d = std::max(d, e[0] * x + e[1] * y + e[2]);
            return d;
        },
        value);
}

std::vector<cv::Point2d> rotatedRectCorners(cv::Point2d centre, double width, double height, double angle)
{
    const double t = angle * kPi / 180.0;
    const double c = std::cos(t), s = std::sin(t);
    const double hw = width * 0.5, hh = height * 0.5;
    const double local[4][2] = {{-hw, -hh}, {hw, -hh}, {hw, hh}, {-hw, hh}};
    std::vector<cv::Point2d> corners;
    for (const auto& p : local)
        corners.emplace_back(centre.x + p[0] * c - p[1] * s, centre.y + p[0] * s + p[1] * c);
    return corners;
}

void Scene::fillRotatedRect(cv::Point2d centre, double width, double height, double angle, double value)
{
    fillConvexPolygon(rotatedRectCorners(centre, width, height, angle), value);
}

void Scene::fillDisc(cv::Point2d centre, double radius, double value)
{
    fill([centre, radius](double x, double y) { return std::hypot(x - centre.x, y - centre.y) - radius; }, value);
}

void Scene::fillEllipse(cv::Point2d centre, double a, double b, double angle, double value)
{
    const double t = angle * kPi / 180.0;
    const double c = std::cos(t), s = std::sin(t);
    // On the ellipse scaled by rho about its centre every point lies at least
    // |rho - 1| * min(a, b) from the ellipse itself (the gap between two homothetic convex
    // curves is at least the scale difference times the smaller support distance), so
    // this underestimates the distance on both sides, as fill allows.
    const double smaller = std::min(a, b);
    fill(
        [=](double x, double y) {
            const double u = (x - centre.x) * c + (y - centre.y) * s;
            const double v = -(x - centre.x) * s + (y - centre.y) * c;
            return (std::hypot(u / a, v / b) - 1.0) * smaller;
        },
        value);
}

void Scene::fillHalfPlane(cv::Point2d point, double normalAngle, double value)
{
    const double t = normalAngle * kPi / 180.0;
    const double nx = std::cos(t), ny = std::sin(t);
    fill([=](double x, double y) { return -((x - point.x) * nx + (y - point.y) * ny); }, value);
}

void Scene::drawText(const std::string& text, cv::Point2d centre, double height, double angle, double value)
{
    // Text has no closed-form outline: draw it large, turn it, and area-average it down.
    constexpr int scale = 8;
    const int font = cv::FONT_HERSHEY_SIMPLEX;
    const double fontScale = height * scale / 22.0; // Hershey simplex capitals are ~22 units high
    const int thickness = std::max(1, static_cast<int>(std::lround(height * scale / 8.0)));
    int baseline = 0;
    const cv::Size box = cv::getTextSize(text, font, fontScale, thickness, &baseline);
    const int side = static_cast<int>(std::ceil(std::hypot(box.width, box.height + baseline))) + 4 * scale;
    const int padded = (side + scale - 1) / scale * scale;
    cv::Mat big = cv::Mat::zeros(padded, padded, CV_8U);
    cv::putText(big, text, cv::Point((padded - box.width) / 2, (padded + box.height) / 2), font, fontScale,
                cv::Scalar(255), thickness, cv::LINE_AA);
    const cv::Point2f mid(padded * 0.5f - 0.5f, padded * 0.5f - 0.5f);
    cv::warpAffine(big, big, cv::getRotationMatrix2D(mid, -angle, 1.0), big.size(), cv::INTER_LINEAR);
    cv::Mat small;
    cv::resize(big, small, cv::Size(padded / scale, padded / scale), 0, 0, cv::INTER_AREA);
    const int x0 = static_cast<int>(std::lround(centre.x - small.cols * 0.5));
    const int y0 = static_cast<int>(std::lround(centre.y - small.rows * 0.5));
    for (int y = 0; y < small.rows; ++y) {
        if (y0 + y < 0 || y0 + y >= canvas_.rows)
            continue;
        for (int x = 0; x < small.cols; ++x) {
            if (x0 + x < 0 || x0 + x >= canvas_.cols)
                continue;
            const double a = small.at<uchar>(y, x) / 255.0;
            double& p = canvas_.at<double>(y0 + y, x0 + x);
            p = a * value + (1.0 - a) * p;
        }
    }
}

cv::Mat Scene::toGrey(double blurSigma, double noiseSigma, uint64_t seed) const
{
    cv::Mat work = canvas_.clone();
    if (blurSigma > 0)
        cv::GaussianBlur(work, work, cv::Size(0, 0), blurSigma, blurSigma, cv::BORDER_REPLICATE);
    if (noiseSigma > 0) {
        cv::Mat noise(work.size(), CV_64F);
        cv::RNG rng(seed);
        rng.fill(noise, cv::RNG::NORMAL, 0.0, noiseSigma);
        work += noise;
    }
    cv::Mat grey;
    work.convertTo(grey, CV_8U); // rounds to nearest and saturates
    return grey;
}

} // namespace synthetic
