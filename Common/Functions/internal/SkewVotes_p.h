#pragma once

// Line voting of the horizontal skew estimate; internal to the library (not installed).
// Inline so that the tests and the benchmark can hold the voting against the direct
// rule it replaces.

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <vector>

namespace skew_votes {

/// Quarter-degree angle bins over half a turn; bin k stands for the normal angle k * step.
constexpr int kAngleBins = 720;
constexpr double kAngleStep = 0.004363323129985824; // pi / 720

/// Pixels on strong horizontal edges: the vertical Sobel derivative's magnitude, saturated
/// to 8 bits, above 128 becomes 255, anything else 0.
inline void horizontalEdges(const cv::Mat& image, cv::Mat& edges)
{
    cv::Mat derivative;
    cv::Sobel(image, derivative, CV_32F, 0, 1, 3, 1, 0, cv::BORDER_DEFAULT);
    cv::convertScaleAbs(derivative, edges);
    cv::threshold(edges, edges, 128, 255, cv::THRESH_BINARY);
}

/// Half the image diagonal rounded up: the largest |rho| a voting pixel can reach.
inline int distanceOffset(int rows, int cols)
{
    // Squares in 64 bits: the same values as 32-bit products wherever those do not overflow.
    const int64_t rows2 = static_cast<int64_t>(rows) * rows;
    const int64_t cols2 = static_cast<int64_t>(cols) * cols;
    return static_cast<int>(
        std::ceil(std::sqrt(static_cast<double>(rows2) * 0.25 + static_cast<double>(cols2) * 0.25)));
}

/// Zeroed accumulator: one row per angle bin, 2 * offset distance bins.
inline cv::Mat emptyAccumulator(int offset)
{
    return cv::Mat::zeros(kAngleBins, 2 * offset, CV_32S);
}

/// Rounds half away from zero, as std::round does, without the library call: the
/// difference between a double and its truncation is exact. Values within the int range.
inline int roundHalfAwayFromZero(double value)
{
    const int truncated = static_cast<int>(value);
    const double fraction = value - truncated;
    return truncated + (fraction >= 0.5) - (fraction <= -0.5);
}

/// Pixels that vote: value above 254, off the one-pixel frame, centred on (cols/2, rows/2)
/// with integer halves.
inline void votingPixels(const cv::Mat& edges, std::vector<double>& u, std::vector<double>& v)
{
    u.clear();
    v.clear();
    for (int y = 1; y <= edges.rows - 2; ++y) {
        const uchar* row = edges.ptr<uchar>(y);
        for (int x = 1; x <= edges.cols - 2; ++x) {
            if (row[x] > 254) {
                u.push_back(x - edges.cols / 2);
                v.push_back(y - edges.rows / 2);
            }
        }
    }
}

/// Votes every edge pixel (8-bit, one channel) into the accumulator: for each angle bin k
/// the distance bin round(cos(k step) u + sin(k step) v + offset), never outside
/// [0, 2 offset) since |u| < cols/2 and |v| < rows/2. The cosine and sine are evaluated
/// once per angle bin, the same values the direct rule computes per vote, and the loops
/// run angle by angle so each pass stays in one accumulator row; increments commute, so
/// the counts are the same.
inline void vote(const cv::Mat& edges, cv::Mat& accumulator)
{
    const int offset = distanceOffset(edges.rows, edges.cols);
    accumulator = emptyAccumulator(offset);
    std::vector<double> u, v;
    votingPixels(edges, u, v);
    const double r = offset;
    const size_t count = u.size();
    for (int k = 0; k < kAngleBins; ++k) {
        const double theta = k * kAngleStep;
        const double c = std::cos(theta);
        const double s = std::sin(theta);
        int* bins = accumulator.ptr<int>(k);
        for (size_t i = 0; i < count; ++i)
            ++bins[roundHalfAwayFromZero(c * u[i] + s * v[i] + r)];
    }
}

/// The direct rule: cos and sin evaluated anew for every vote, rounded with std::round.
/// Kept as the reference vote must match exactly.
inline void voteDirect(const cv::Mat& edges, cv::Mat& accumulator)
{
    const int offset = distanceOffset(edges.rows, edges.cols);
    accumulator = emptyAccumulator(offset);
    for (int y = 1; y <= edges.rows - 2; ++y) {
        for (int x = 1; x <= edges.cols - 2; ++x) {
            if (edges.at<uchar>(y, x) <= 254)
                continue;
            const int u = x - edges.cols / 2;
            const int v = y - edges.rows / 2;
            for (int k = 0; k < kAngleBins; ++k) {
                const double theta = k * kAngleStep;
                const int rho = static_cast<int>(std::round(std::cos(theta) * u + std::sin(theta) * v + offset));
                accumulator.at<int>(k, rho) += 1;
            }
        }
    }
}

/// Degrees of the accumulator's first maximum (row-major): bin k is the edges' normal at
/// k quarter degrees, and a level edge's normal points down (90), hence the offset.
inline double peakAngle(const cv::Mat& accumulator)
{
    cv::Point peak;
    cv::minMaxLoc(accumulator, nullptr, nullptr, nullptr, &peak);
    return peak.y * kAngleStep * 180.0 / 3.141592653589793 - 90.0;
}

} // namespace skew_votes
