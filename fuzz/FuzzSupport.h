#pragma once

// Shared by the fuzz targets: turns the fuzzer's bytes into images, point sets and awkward
// numbers, and stops the run when an invariant fails. Sizes are kept small on purpose so
// that every execution is fast and nothing allocates without bound.

#include <FunctionsDef.h>

#include <fuzzer/FuzzedDataProvider.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <limits>
#include <vector>

// Reports the broken invariant and aborts, which libFuzzer records as a crash with its input.
#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            fuzz_support::fail(#condition, __FILE__, __LINE__);                                                        \
    } while (false)

namespace fuzz_support {

[[noreturn]] inline void fail(const char* condition, const char* file, int line)
{
    std::fprintf(stderr, "invariant violated at %s:%d: %s\n", file, line, condition);
    std::abort();
}

/// Mostly a value in [-range, range]; one time in eight a value that breaks careless
/// arithmetic (NaN, infinities, extremes, denormals, the warp limit).
inline double wildDouble(FuzzedDataProvider& in, double range)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    static const double special[] = {std::nan(""), inf, -inf, 0.0, -0.0, DBL_MAX, -DBL_MAX, DBL_TRUE_MIN,
                                     1e-300, FLT_MAX, -FLT_MAX, 32767.0, 1e9, -1e9, 0.5, 1e154};
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0)
        return in.PickValueInArray(special);
    return in.ConsumeFloatingPointInRange<double>(-range, range);
}

inline float wildFloat(FuzzedDataProvider& in, float range)
{
    return static_cast<float>(wildDouble(in, range));
}

/// Mostly a value in [low, high]; one time in eight an extreme or boundary value.
inline int wildInt(FuzzedDataProvider& in, int low, int high)
{
    static const int special[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, 2, 32767, 65536, INT_MAX - 1, INT_MAX};
    if (in.ConsumeIntegralInRange<int>(0, 7) == 0)
        return in.PickValueInArray(special);
    return in.ConsumeIntegralInRange<int>(low, high);
}

/// Pixels for an image of the given size and type, taken from the front of the data;
/// whatever the data does not cover stays 0.
inline cv::Mat pixels(FuzzedDataProvider& in, int rows, int cols, int type)
{
    cv::Mat image(rows, cols, type, cv::Scalar::all(0));
    const size_t size = image.total() * image.elemSize();
    const std::vector<uint8_t> bytes = in.ConsumeBytes<uint8_t>(size);
    std::copy(bytes.begin(), bytes.end(), image.data);
    if (image.depth() == CV_32F || image.depth() == CV_64F)
        cv::patchNaNs(image, 0); // raw bytes make NaNs all the time; callers add them deliberately
    return image;
}

/// An image of at most maxSide x maxSide (possibly empty along one side). Usually 8-bit
/// grey; with anyType also colour, 4-channel, 16-bit, float and empty images.
inline cv::Mat image(FuzzedDataProvider& in, int maxSide, bool anyType)
{
    static const int types[] = {CV_8UC1, CV_8UC1, CV_8UC1, CV_8UC1, CV_8UC3, CV_8UC4, CV_8UC2, CV_16UC1, CV_32FC1};
    const int type = anyType ? in.PickValueInArray(types) : CV_8UC1;
    const int rows = in.ConsumeIntegralInRange<int>(anyType ? 0 : 1, maxSide);
    const int cols = in.ConsumeIntegralInRange<int>(anyType ? 0 : 1, maxSide);
    if (rows == 0 || cols == 0)
        return cv::Mat();
    return pixels(in, rows, cols, type);
}

/// Sometimes the same pixels as a view into a larger image (rows not contiguous), which
/// catches code that assumes continuous storage.
inline cv::Mat maybeView(FuzzedDataProvider& in, const cv::Mat& image)
{
    if (image.empty() || !in.ConsumeBool())
        return image;
    const int border = in.ConsumeIntegralInRange<int>(1, 3);
    cv::Mat larger(image.rows + 2 * border, image.cols + 2 * border, image.type(), cv::Scalar::all(99));
    cv::Mat view = larger(cv::Rect(border, border, image.cols, image.rows));
    image.copyTo(view);
    return view;
}

/// A 0/255 image of at most maxSide x maxSide built from blocks of 1 to 4 pixels, one bit
/// each, so that blobs, holes and islands are common.
inline cv::Mat binaryImage(FuzzedDataProvider& in, int maxSide)
{
    const int rows = in.ConsumeIntegralInRange<int>(1, maxSide);
    const int cols = in.ConsumeIntegralInRange<int>(1, maxSide);
    const int block = in.ConsumeIntegralInRange<int>(1, 4);
    const int blockRows = (rows + block - 1) / block;
    const int blockCols = (cols + block - 1) / block;
    const std::vector<uint8_t> bits = in.ConsumeBytes<uint8_t>((static_cast<size_t>(blockRows) * blockCols + 7) / 8);
    cv::Mat image(rows, cols, CV_8UC1, cv::Scalar(0));
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < cols; ++x) {
            const size_t bit = static_cast<size_t>(y / block) * blockCols + x / block;
            if (bit / 8 < bits.size() && (bits[bit / 8] >> (bit % 8)) & 1)
                image.at<uchar>(y, x) = 255;
        }
    return image;
}

/// A value for a ROI side: mostly up to maxSide, sometimes negative, NaN, infinite or huge.
inline float wildSide(FuzzedDataProvider& in, float maxSide)
{
    return static_cast<float>(in.ConsumeBool() ? in.ConsumeFloatingPointInRange<float>(-2.0f, maxSide)
                                               : wildDouble(in, 2.0 * maxSide));
}

/// Keeps the area of a ROI of sides a and b bounded (the tools straighten it into an image
/// of that size) while still letting one side reach the limits.
inline void boundArea(float& a, float& b)
{
    constexpr float kMaxArea = 4e5f;
    if (a > 0 && b > 0 && static_cast<double>(a) * b > kMaxArea)
        b = std::min(b, 4.0f);
}

/// A rotated rectangle near an image of the given size, with wild centre, angle and sides.
inline RotateRectROI rotateRect(FuzzedDataProvider& in, int imageSide)
{
    const double cx = wildDouble(in, 1.5 * imageSide);
    const double cy = wildDouble(in, 1.5 * imageSide);
    const float angle = wildFloat(in, 400.0f);
    float width = wildSide(in, 1.5f * imageSide);
    float height = wildSide(in, 1.5f * imageSide);
    boundArea(width, height);
    return RotateRectROI(cx, cy, angle, width, height);
}

/// A RectROI near an image of the given size, its area bounded as for rotated rectangles.
inline RectROI uprightRect(FuzzedDataProvider& in, int imageSide)
{
    const double x = wildDouble(in, 1.5 * imageSide), y = wildDouble(in, 1.5 * imageSide);
    float width = wildSide(in, 1.5f * imageSide), height = wildSide(in, 1.5f * imageSide);
    boundArea(width, height);
    return RectROI(QRectF(x, y, width, height));
}

/// Where a point lies in a rotated rectangle's own frame: along its width from the centre,
/// and across it (along its height).
inline cv::Point2d rectangleFrame(const RotateRectROI& roi, cv::Point2d p)
{
    const double theta = roi.angle * 3.141592653589793 / 180.0;
    const double dx = p.x - roi.centreX, dy = p.y - roi.centreY;
    return {dx * std::cos(theta) + dy * std::sin(theta), -dx * std::sin(theta) + dy * std::cos(theta)};
}

/// True when p lies in the rotated rectangle grown by margin pixels on every side, give or
/// take single-precision rounding of coordinates far out.
inline bool insideRectangle(const RotateRectROI& roi, cv::Point2d p, double margin)
{
    const cv::Point2d local = rectangleFrame(roi, p);
    const double slack = margin + 1e-5 * (std::abs(roi.centreX) + std::abs(roi.centreY) + roi.width + roi.height);
    return std::abs(local.x) <= roi.width / 2 + slack && std::abs(local.y) <= roi.height / 2 + slack;
}

/// Settings shared by the single-caliper records (edge point, edges, edge pairs).
template <typename Record>
void singleCaliperSettings(FuzzedDataProvider& in, Record& param)
{
    param.direction = static_cast<decltype(param.direction)>(wildInt(in, 0, 4));
    param.transition = static_cast<EdgeTransition>(wildInt(in, 0, 3));
    param.threshold = wildInt(in, -10, 110);
    param.smoothWidth = wildInt(in, -1, 10);
    param.minGradient = wildInt(in, -10, 100);
}

/// The seven caliper settings the line, circle and arc records begin with.
template <typename Record>
void segmentCaliperSettings(FuzzedDataProvider& in, Record& param)
{
    param.direction = wildInt(in, 0, 1);
    param.transition = wildInt(in, 0, 3);
    param.percent = wildInt(in, -10, 110);
    param.sigma = wildInt(in, -1, 12);
    param.minStrength = wildInt(in, -10, 100);
    param.segmentWidth = wildInt(in, -1, 12);
    param.segmentStep = wildInt(in, -1, 12);
}

/// Runs the check that the input picks, on an image that the check must leave as it was.
inline void runOneOf(FuzzedDataProvider& in, const cv::Mat& image, std::initializer_list<std::function<void()>> checks)
{
    const cv::Mat before = image.clone();
    const size_t pick = in.ConsumeIntegralInRange<size_t>(0, checks.size() - 1);
    checks.begin()[pick]();
    FUZZ_CHECK(image.empty() || cv::norm(image, before, cv::NORM_INF) == 0);
}

/// An image of a type no function makes, to tell whether an output was written.
inline cv::Mat sentinelImage()
{
    return cv::Mat(2, 3, CV_64FC2, cv::Scalar::all(-7));
}

inline bool isSentinel(const cv::Mat& image)
{
    return image.type() == CV_64FC2 && image.size() == cv::Size(3, 2) && cv::countNonZero(image.reshape(1) != -7) == 0;
}

/// True when every pixel is 0 or 255.
inline bool isBinary(const cv::Mat& image)
{
    return cv::countNonZero(image == 0) + cv::countNonZero(image == 255) == static_cast<int>(image.total());
}

/// True when every non-zero pixel of inner is non-zero in outer (both 8-bit single-channel).
inline bool isSubset(const cv::Mat& inner, const cv::Mat& outer)
{
    cv::Mat outside;
    cv::bitwise_and(inner != 0, outer == 0, outside);
    return cv::countNonZero(outside) == 0;
}

inline bool isFinite(const cv::Point2d& p)
{
    return std::isfinite(p.x) && std::isfinite(p.y);
}

/// Equal, or both NaN.
inline bool sameValue(double a, double b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

/// Bitwise equality, so that NaN coordinates compare equal to themselves.
template <typename T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

} // namespace fuzz_support
