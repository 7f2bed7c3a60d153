#pragma once

// Internals of the profile core (not installed). The segment averager is header-only so
// that the tests can drive both of its summation ways directly.

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace profile_core {

/// Largest kernel half-width of the Gaussian table.
constexpr int kMaxKernelHalf = 100;

/// How segment sums are formed. Both ways use exact integer sums, so they agree bit for bit.
enum class Summation {
    Direct,        ///< every segment sums its own width lines
    SlidingWindow, ///< the previous segment's sum gains the lines entering, loses those leaving
};

/// Averages segments of consecutive rows ("lines") of an 8-bit single-channel image into
/// float profiles of lines.cols samples: segment s covers rows s*step to s*step+width-1,
/// and its profile is (float)(sum over those rows) * (float)(1.0 / width).
/// Segments must be requested in order s = 0, 1, 2, ...; the sliding window only pays
/// when segments overlap (step < width). Sum is an integer type wide enough for
/// width * 255.
template <typename Sum>
class SegmentAverager {
public:
    SegmentAverager(const cv::Mat& lines, int width, int step, Summation summation)
        : lines_(lines), width_(width), step_(step), length_(lines.cols),
          scale_(static_cast<float>(1.0 / width)),
          sliding_(summation == Summation::SlidingWindow && step < width), sums_(lines.cols, Sum(0))
    {
    }

    /// Writes the average of the next segment into profile.
    void next(float* profile)
    {
        const int64_t first = next_ * static_cast<int64_t>(step_);
        if (sliding_ && next_ > 0) {
            for (int64_t k = first - step_; k < first; ++k)
                slide(lines_.ptr<uchar>(static_cast<int>(k + width_)), lines_.ptr<uchar>(static_cast<int>(k)));
        } else {
            std::fill(sums_.begin(), sums_.end(), Sum(0));
            for (int64_t k = first; k < first + width_; ++k)
                add(lines_.ptr<uchar>(static_cast<int>(k)));
        }
        const Sum* sums = sums_.data();
        for (int j = 0; j < length_; ++j)
            profile[j] = static_cast<float>(sums[j]) * scale_;
        ++next_;
    }

private:
    void add(const uchar* line)
    {
        Sum* sums = sums_.data();
        for (int j = 0; j < length_; ++j)
            sums[j] += line[j];
    }

    void slide(const uchar* entering, const uchar* leaving)
    {
        Sum* sums = sums_.data();
        for (int j = 0; j < length_; ++j)
            sums[j] += static_cast<Sum>(entering[j]) - static_cast<Sum>(leaving[j]);
    }

    const cv::Mat& lines_;
    const int width_;
    const int step_;
    const int length_;
    const float scale_;
    const bool sliding_;
    std::vector<Sum> sums_;
    int64_t next_ = 0;
};

/// Widest segments whose sums of 8-bit values fit a 16-bit and a 32-bit signed integer.
constexpr int kMaxWidthFor16BitSums = INT16_MAX / 255;
constexpr int kMaxWidthFor32BitSums = INT32_MAX / 255;

} // namespace profile_core
