// The line, circle, ellipse and plane fits on random point sets: sometimes scattered,
// sometimes near a shape so that the fits succeed, with wild coordinates mixed in.

#include "FuzzSupport.h"

#include <Fitting.h>
#include <PlaneFitting.h>

using namespace fuzz_support;

namespace {

constexpr int kMaxPoints = 40;

std::vector<cv::Point2d> points2d(FuzzedDataProvider& in)
{
    const int n = in.ConsumeIntegralInRange<int>(0, kMaxPoints);
    const int shape = in.ConsumeIntegralInRange<int>(0, 3);
    const double cx = wildDouble(in, 1000.0), cy = wildDouble(in, 1000.0);
    const double a = wildDouble(in, 500.0), b = in.ConsumeFloatingPointInRange(-500.0, 500.0);
    const double turn = in.ConsumeFloatingPointInRange(0.0, 6.3);
    const double noise = in.ConsumeBool() ? 0.0 : in.ConsumeFloatingPointInRange(0.0, 5.0);
    std::vector<cv::Point2d> points(n);
    for (cv::Point2d& p : points) {
        const double t = in.ConsumeFloatingPointInRange(0.0, 6.3);
        const double ex = noise * in.ConsumeFloatingPointInRange(-1.0, 1.0);
        const double ey = noise * in.ConsumeFloatingPointInRange(-1.0, 1.0);
        switch (shape) {
        case 0: // scattered, wild
            p = {wildDouble(in, 1000.0), wildDouble(in, 1000.0)};
            break;
        case 1: // near a line
            p = {cx + a * (t - 3) * std::cos(turn) + ex, cy + a * (t - 3) * std::sin(turn) + ey};
            break;
        default: { // near an ellipse (a circle when shape is 2)
            const double u = a * std::cos(t), v = (shape == 2 ? a : b) * std::sin(t);
            p = {cx + u * std::cos(turn) - v * std::sin(turn) + ex, cy + u * std::sin(turn) + v * std::cos(turn) + ey};
        }
        }
    }
    return points;
}

bool allFinite(const std::vector<cv::Point2d>& points)
{
    return std::all_of(points.begin(), points.end(), [](const cv::Point2d& p) { return isFinite(p); });
}

void checkLine(FuzzedDataProvider& in, std::vector<cv::Point2d>& points)
{
    const std::vector<cv::Point2d> before = points;
    const auto type = static_cast<FitLineType>(wildInt(in, 0, 3));
    cv::Vec4d line(7, 7, 7, 7);
    fitLine(points, line, type, wildDouble(in, 10.0));
    FUZZ_CHECK(sameBits(points, before));
    if (points.empty() || !allFinite(points))
        FUZZ_CHECK(line == cv::Vec4d(0, 0, 0, 0));
    if (line == cv::Vec4d(0, 0, 0, 0))
        return;
    const bool finite =
        std::isfinite(line[0]) && std::isfinite(line[1]) && std::isfinite(line[2]) && std::isfinite(line[3]);
    // A robust step whose weights all vanish (or underflow) gives NaN, as documented.
    if (type != FitLineLeastSquares && !finite)
        return;
    FUZZ_CHECK(finite);
    FUZZ_CHECK(std::abs(std::hypot(line[0], line[1]) - 1) < 1e-9 && line[0] >= 0);
}

void checkCircle(FuzzedDataProvider& in, std::vector<cv::Point2d>& points)
{
    const std::vector<cv::Point2d> before = points;
    const auto type = static_cast<FitCircleType>(wildInt(in, 0, 5));
    cv::Point2d centre(-7, -7);
    double radius = -7;
    const bool fitted = fitCircle(points, centre, radius, type);
    FUZZ_CHECK(sameBits(points, before));
    if (points.size() < 3 || !allFinite(points))
        FUZZ_CHECK(!fitted && centre == cv::Point2d(-7, -7) && radius == -7);
    // The radius is not checked (a NaN radius, or for the robust types a true without any
    // stored circle, as documented); a finite radius comes with a finite centre.
    if (fitted && std::isfinite(radius) && radius != -7)
        FUZZ_CHECK(isFinite(centre) && radius >= 0);

    cv::Point2d centre3;
    double radius3 = 0;
    if (threePointFitCircle(points, centre3, radius3)) {
        FUZZ_CHECK(isFinite(centre3) && std::isfinite(radius3) && radius3 >= 0);
    } else {
        FUZZ_CHECK(centre3 == cv::Point2d(0, 0) && radius3 == -1);
    }
}

void checkEllipse(FuzzedDataProvider& in, std::vector<cv::Point2d>& points)
{
    const std::vector<cv::Point2d> before = points;
    const auto type = static_cast<FitEllipseType>(wildInt(in, 0, 3));
    cv::RotatedRect box(cv::Point2f(-7, -7), cv::Size2f(-7, -7), -7);
    const bool fitted = fitEllipse(points, box, type, wildDouble(in, 10.0));
    FUZZ_CHECK(sameBits(points, before));
    if (points.size() < 6 || !allFinite(points))
        FUZZ_CHECK(!fitted);
    if (fitted) {
        // Width is the major axis; both are truncated to whole pixels.
        FUZZ_CHECK(std::isfinite(box.center.x) && std::isfinite(box.center.y) && std::isfinite(box.angle));
        FUZZ_CHECK(box.size.width >= box.size.height && box.size.height >= 0);
        FUZZ_CHECK(box.size.width == std::trunc(box.size.width) && box.size.height == std::trunc(box.size.height));
    }
}

bool unitNormalUp(const cv::Vec6d& plane)
{
    for (int i = 0; i < 6; ++i)
        if (!std::isfinite(plane[i]))
            return false;
    const double length = std::sqrt(plane[0] * plane[0] + plane[1] * plane[1] + plane[2] * plane[2]);
    return std::abs(length - 1) < 1e-6 && plane[2] >= 0;
}

void checkPlanes(FuzzedDataProvider& in, const std::vector<cv::Point2d>& base)
{
    // Heights on a tilted plane with a few wild ones.
    const double a = in.ConsumeFloatingPointInRange(-3.0, 3.0), b = in.ConsumeFloatingPointInRange(-3.0, 3.0);
    std::vector<cv::Point3d> points;
    for (const cv::Point2d& p : base)
        points.emplace_back(p.x, p.y, in.ConsumeIntegralInRange<int>(0, 9) == 0 ? wildDouble(in, 100.0) : a * p.x + b * p.y);
    const bool finite = std::all_of(points.begin(), points.end(), [](const cv::Point3d& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    });

    cv::Vec6d plane(7, 7, 7, 7, 7, 7);
    if (fitPlane(points, plane))
        FUZZ_CHECK(unitNormalUp(plane));
    else
        FUZZ_CHECK(plane == cv::Vec6d(7, 7, 7, 7, 7, 7));
    if (points.size() < 3 || !finite)
        FUZZ_CHECK(plane == cv::Vec6d(7, 7, 7, 7, 7, 7));

    const std::vector<cv::Point3d> before = points;
    cv::Vec6d robust(7, 7, 7, 7, 7, 7);
    const bool fitted = fitPlane3D_Huber(points, robust, wildDouble(in, 5.0));
    FUZZ_CHECK(sameBits(points, before));
    if (points.size() < 3 || !finite)
        FUZZ_CHECK(!fitted);
    if (fitted)
        FUZZ_CHECK(unitNormalUp(robust));

    // The robust mean depth lies within the selected finite values.
    const int rows = in.ConsumeIntegralInRange<int>(0, 8), cols = in.ConsumeIntegralInRange<int>(0, 8);
    cv::Mat depth(rows, cols, in.ConsumeBool() ? CV_32FC1 : CV_16UC1), mask(rows, cols, CV_8UC1);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            if (depth.depth() == CV_32F)
                depth.at<float>(y, x) = wildFloat(in, 1000.0f);
            else
                depth.at<uint16_t>(y, x) = in.ConsumeIntegral<uint16_t>();
            mask.at<uchar>(y, x) = in.ConsumeBool() ? 255 : 0;
        }
    double lo = INFINITY, hi = -INFINITY;
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            const double v = depth.depth() == CV_32F ? depth.at<float>(y, x) : depth.at<uint16_t>(y, x);
            if (mask.at<uchar>(y, x) && std::isfinite(v)) {
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
        }
    const float mean = meanDepth_Huber(depth, mask);
    if (lo > hi)
        FUZZ_CHECK(mean == 0);
    else
        FUZZ_CHECK(mean >= static_cast<float>(lo) && mean <= static_cast<float>(hi));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    std::vector<cv::Point2d> points = points2d(in);
    checkLine(in, points);
    checkCircle(in, points);
    checkEllipse(in, points);
    checkPlanes(in, points);
    return 0;
}
