#pragma once

// Internals of the profile core (not installed). The segment averaging is header-only so
// that the tests can drive both of its summation ways directly.

#include "Contract_p.h"

#include <opencv2/core.hpp>
#include <opencv2/core/hal/intrin.hpp>

#include <algorithm>
#include <cstdint>

namespace profile_core {

/// Largest kernel half-width of the Gaussian table.
constexpr int kMaxKernelHalf = 100;

/// How segment sums are formed. Both ways use exact integer sums, so they agree bit for bit.
enum class Summation {
    Direct,        ///< every segment sums its own width lines
    SlidingWindow, ///< the previous segment's sum gains the lines entering, loses those leaving
};

/// Widest segments whose sums of 8-bit values fit a 16-bit and a 32-bit signed integer.
constexpr int kMaxWidthFor16BitSums = INT16_MAX / 255;
constexpr int kMaxWidthFor32BitSums = INT32_MAX / 255;

namespace detail {

// Running sums of Columns columns in plain loops, of an integer type wide enough for the
// segments' sums.
template <int Columns, typename Sum>
struct PlainSums {
    static constexpr int kColumns = Columns;
    Sum sums[Columns] = {};

    void clear() { std::fill(sums, sums + Columns, Sum{0}); }
    void add(const uchar* line)
    {
        for (int c = 0; c < Columns; ++c)
            sums[c] += line[c];
    }
    void slide(const uchar* entering, const uchar* leaving)
    {
        for (int c = 0; c < Columns; ++c)
            sums[c] += static_cast<Sum>(entering[c]) - static_cast<Sum>(leaving[c]);
    }
    void store(float* out, float scale) const
    {
        for (int c = 0; c < Columns; ++c)
            out[c] = static_cast<float>(sums[c]) * scale;
    }
};

#if CV_SIMD128
// Running sums of sixteen columns in 16-bit lanes, for widths up to kMaxWidthFor16BitSums.
// Wrapping arithmetic keeps every step exact: each sum ends in range whatever the order
// of its additions.
struct SixteenColumnSums {
    static constexpr int kColumns = 16;
    cv::v_int16x8 low = cv::v_setzero_s16(), high = cv::v_setzero_s16();

    void clear() { low = high = cv::v_setzero_s16(); }
    void add(const uchar* line)
    {
        cv::v_uint16x8 a, b;
        cv::v_expand(cv::v_load(line), a, b);
        low = cv::v_add_wrap(low, cv::v_reinterpret_as_s16(a));
        high = cv::v_add_wrap(high, cv::v_reinterpret_as_s16(b));
    }
    void slide(const uchar* entering, const uchar* leaving)
    {
        cv::v_uint16x8 inLow, inHigh, outLow, outHigh;
        cv::v_expand(cv::v_load(entering), inLow, inHigh);
        cv::v_expand(cv::v_load(leaving), outLow, outHigh);
        low = cv::v_add_wrap(low, cv::v_reinterpret_as_s16(cv::v_sub_wrap(inLow, outLow)));
        high = cv::v_add_wrap(high, cv::v_reinterpret_as_s16(cv::v_sub_wrap(inHigh, outHigh)));
    }
    void store(float* out, float scale) const
    {
        const cv::v_float32x4 factor = cv::v_setall_f32(scale);
        cv::v_int32x4 a, b, c, d;
        cv::v_expand(low, a, b);
        cv::v_expand(high, c, d);
        cv::v_store(out, cv::v_cvt_f32(a) * factor);
        cv::v_store(out + 4, cv::v_cvt_f32(b) * factor);
        cv::v_store(out + 8, cv::v_cvt_f32(c) * factor);
        cv::v_store(out + 12, cv::v_cvt_f32(d) * factor);
    }
};
#endif

// Averages columns [column, column + Sums::kColumns) of count segments, walking down the
// segments so that the running sums stay in registers.
template <typename Sums>
void averageColumns(const cv::Mat& lines, int width, int step, int64_t first, int count, bool sliding, int column,
                    float scale, float* profiles, size_t pitch)
{
    // Vector stores may alias anything, so the image's fields are read once, up front.
    const uchar* origin = lines.data + column;
    const size_t lineStep = lines.step;
    const auto line = [origin, lineStep](int64_t k) { return origin + k * lineStep; };
    Sums sums;
    for (int s = 0; s < count; ++s) {
        const int64_t a = (first + s) * step;
        if (sliding && s > 0) {
            for (int64_t k = a - step; k < a; ++k)
                sums.slide(line(k + width), line(k));
        } else {
            sums.clear();
            for (int64_t k = a; k < a + width; ++k)
                sums.add(line(k));
        }
        sums.store(profiles + s * pitch + column, scale);
    }
}

} // namespace detail

/// Averages segments of consecutive rows ("lines") of an 8-bit single-channel image into
/// float profiles of lines.cols samples: segment s covers rows s*step to s*step+width-1,
/// and its profile is (float)(sum over those rows) * (float)(1.0 / width). Segments
/// first to first+count-1 are written to profiles, one every pitch floats. The sliding
/// window only pays when segments overlap (step < width).
inline void averageSegments(const cv::Mat& lines, int width, int step, int64_t first, int count,
                            Summation summation, float* profiles, size_t pitch)
{
    FUNCTIONS_ASSERT(lines.type() == CV_8UC1 && lines.cols >= 1 && pitch >= static_cast<size_t>(lines.cols));
    FUNCTIONS_ASSERT(width >= 1 && step >= 1 && first >= 0 && count >= 0);
    FUNCTIONS_ASSERT(count == 0 || (first + count - 1) * step + width <= lines.rows);
    const float scale = static_cast<float>(1.0 / width);
    const bool sliding = summation == Summation::SlidingWindow && step < width;
    // Blocks of columns side by side; the last overlaps the one before rather than
    // leaving a tail.
    const auto inBlocks = [&](auto block) {
        using Sums = decltype(block);
        const int last = lines.cols - Sums::kColumns;
        for (int column = 0;; column += Sums::kColumns) {
            column = std::min(column, last);
            detail::averageColumns<Sums>(lines, width, step, first, count, sliding, column, scale, profiles, pitch);
            if (column == last)
                return;
        }
    };
    if (lines.cols < 16)
        inBlocks(detail::PlainSums<1, int64_t>());
#if CV_SIMD128
    else if (width <= kMaxWidthFor16BitSums)
        inBlocks(detail::SixteenColumnSums());
#endif
    else if (width <= kMaxWidthFor32BitSums)
        inBlocks(detail::PlainSums<16, int32_t>());
    else
        inBlocks(detail::PlainSums<16, int64_t>());
}

} // namespace profile_core
