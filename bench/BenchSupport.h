#pragma once

// What the benchmarks share: timing a call against its peer on a shared, noisy machine,
// and the perspective warp that straightens a rotated rectangle (the floor of the tools
// that sample one).
//
// A ratio is taken from short rounds of each call, alternated, keeping the fastest round
// of each: load from other processes then hits both alike, and the fastest round is the
// one least disturbed.

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

namespace bench {

/// Seconds per call over `callsPerRound` calls of each callable in turn, repeated for
/// `rounds` rounds; returns the fastest round of each, in the order given.
template <typename... Calls>
std::array<double, sizeof...(Calls)> fastestInterleaved(int rounds, int callsPerRound, Calls&&... calls)
{
    std::array<double, sizeof...(Calls)> fastest;
    fastest.fill(1e300);
    const auto timeOne = [callsPerRound](auto& call) {
        const auto start = std::chrono::steady_clock::now();
        for (int k = 0; k < callsPerRound; ++k)
            call();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        return elapsed.count() / callsPerRound;
    };
    for (int round = 0; round < rounds; ++round) {
        size_t index = 0;
        ((fastest[index] = std::min(fastest[index], timeOne(calls)), ++index), ...);
    }
    return fastest;
}

/// The warp a tool makes of its rotated rectangle into an upright width x height image,
/// with the transform computed once.
struct RoiWarp {
    cv::Mat transform;
    cv::Size size;
    explicit RoiWarp(RotateRectROI roi) : size(static_cast<int>(roi.width), static_cast<int>(roi.height))
    {
        std::vector<cv::Point2f> corners;
        getCornerPoints(&roi, corners);
        const cv::Point2f targets[4] = {{0, 0}, {roi.width, 0}, {roi.width, roi.height}, {0, roi.height}};
        transform = cv::getPerspectiveTransform(corners.data(), targets);
    }
    void operator()(const cv::Mat& image, cv::Mat& out) const
    {
        cv::warpPerspective(image, out, transform, size, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
    }
};

} // namespace bench
