#include "RegionOperators.h"

#include "RegionSupport_p.h"

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>

using namespace region_support;

namespace {

bool isComparison(ThresholdType type)
{
    return type == Light || type == Dark || type == Equal || type == NotEqual;
}

// ---------------------------------------------------------------------------------------
// dyn_threshold
// ---------------------------------------------------------------------------------------

// Grey values differ by at most 255, so offsets beyond +-256 decide every comparison the
// same way as +-256 do.
constexpr int kOffsetLimit = 256;

#if CV_SIMD
// g >= r + k and g <= r + k for |k| <= 256 on 8-bit lanes. The sums saturate, so where
// r + k leaves 0..255 the answer is decided by r alone.
cv::v_uint8 atLeast(const cv::v_uint8& g, const cv::v_uint8& r, int k)
{
    if (k <= 0)
        return g >= r - cv::vx_setall_u8(static_cast<uchar>(std::min(-k, 255)));
    if (k > 255)
        return cv::vx_setzero_u8();
    return (g >= r + cv::vx_setall_u8(static_cast<uchar>(k))) & (r <= cv::vx_setall_u8(static_cast<uchar>(255 - k)));
}

cv::v_uint8 atMost(const cv::v_uint8& g, const cv::v_uint8& r, int k)
{
    if (k >= 0)
        return g <= r + cv::vx_setall_u8(static_cast<uchar>(std::min(k, 255)));
    if (k < -255)
        return cv::vx_setzero_u8();
    return (g <= r - cv::vx_setall_u8(static_cast<uchar>(-k))) & (r >= cv::vx_setall_u8(static_cast<uchar>(-k)));
}
#endif

// The comparison of every pixel in [begin, end): whole vectors first, the rest one by one.
template <typename VectorRule, typename PixelRule>
void compareRange(const uchar* src, const uchar* ref, uchar* dst, size_t begin, size_t end, VectorRule vectorRule,
                  PixelRule pixelRule)
{
    size_t i = begin;
#if CV_SIMD
    for (; i + cv::v_uint8::nlanes <= end; i += cv::v_uint8::nlanes)
        cv::v_store(dst + i, vectorRule(cv::vx_load(src + i), cv::vx_load(ref + i)));
#else
    (void)vectorRule;
#endif
    for (; i < end; ++i)
        dst[i] = pixelRule(src[i], ref[i]) ? 255 : 0;
}

void compareRange(ThresholdType type, int t, const uchar* src, const uchar* ref, uchar* dst, size_t begin, size_t end)
{
    // The vector rules are written with the offset as a bound on g: Dark is g <= r - t.
    switch (type) {
    case Light:
        compareRange(
            src, ref, dst, begin, end, [t](const auto& g, const auto& r) { return atLeast(g, r, t); },
            [t](int g, int r) { return g >= r + t; });
        break;
    case Dark:
        compareRange(
            src, ref, dst, begin, end, [t](const auto& g, const auto& r) { return atMost(g, r, -t); },
            [t](int g, int r) { return g <= r - t; });
        break;
    case Equal:
        compareRange(
            src, ref, dst, begin, end,
            [t](const auto& g, const auto& r) { return atLeast(g, r, -t) & atMost(g, r, t); },
            [t](int g, int r) { return r - t <= g && g <= r + t; });
        break;
    case NotEqual:
        compareRange(
            src, ref, dst, begin, end,
            [t](const auto& g, const auto& r) { return ~(atLeast(g, r, -t) & atMost(g, r, t)); },
            [t](int g, int r) { return g < r - t || g > r + t; });
        break;
    }
}

// ---------------------------------------------------------------------------------------
// var_threshold
//
// The statistics are defined by a direct pass over the window: a float sum of the values in
// row order, the mean as that sum over the count in float, and the deviation as the root of
// the double sum of (v - mean)^2 over the count, narrowed to float. Exact integer window
// sums reproduce them where it can be proven, and the direct pass runs elsewhere:
//  - a float sum of integers is exact while it stays within 2^24, whatever the order;
//  - with exact integer sums S1 and S2 and the float mean m,
//      n * sum (v - m)^2 = (n * S2 - S1^2) + (n * m - S1)^2,
//    which double arithmetic evaluates to a few roundings; the direct pass differs from the
//    true value by at most about n / 2 roundings. When the float narrowing of every value
//    within both error bounds is the same float, that float is the direct pass's deviation.
// ---------------------------------------------------------------------------------------

constexpr int64_t kExactFloatSum = int64_t(1) << 24;
constexpr int64_t kExactProductCount = int64_t(1) << 29; // n * m stays within 53 bits

struct WindowStatistics {
    float mean = 0;
    float deviation = 0;
};

struct Window {
    int y0, y1, x0, x1; // inclusive
};

int halfWindow(int size)
{
    return (size % 2 != 0 ? size : size + 1) / 2;
}

// Calls visit(value) for the window's values inside the mask, row by row.
template <typename Visit> void forEachInWindow(const cv::Mat& src, const cv::Mat& mask, const Window& w, Visit visit)
{
    for (int yy = w.y0; yy <= w.y1; ++yy) {
        const uchar* s = src.ptr<uchar>(yy);
        const uchar* m = mask.empty() ? nullptr : mask.ptr<uchar>(yy);
        for (int xx = w.x0; xx <= w.x1; ++xx)
            if (!m || m[xx])
                visit(s[xx]);
    }
}

// The defining direct pass over the window, for the pixels the sums cannot decide.
WindowStatistics directStatistics(const cv::Mat& src, const cv::Mat& mask, const Window& w)
{
    float sum = 0;
    int count = 0;
    forEachInWindow(src, mask, w, [&](uchar v) {
        sum += static_cast<float>(v);
        ++count;
    });
    WindowStatistics stats;
    stats.mean = sum / static_cast<float>(count);
    double squares = 0;
    forEachInWindow(src, mask, w, [&](uchar v) {
        const double d = static_cast<double>(v) - static_cast<double>(stats.mean);
        squares += d * d;
    });
    stats.deviation = static_cast<float>(std::sqrt(squares / count));
    return stats;
}

// The statistics from exact window sums, or false when rounding could make them differ
// from the direct pass.
bool statisticsFromSums(int64_t count, int64_t sum, int64_t sumOfSquares, WindowStatistics& stats)
{
    if (sum > kExactFloatSum || count > kExactProductCount)
        return false;
    const float mean = static_cast<float>(sum) / static_cast<float>(count);
    const uint64_t n = static_cast<uint64_t>(count);
    const uint64_t s1 = static_cast<uint64_t>(sum);
    // n * S2 <= 2^29 * 255 * 2^24 and n * S2 >= S1^2, so the difference is exact.
    const uint64_t spread = n * static_cast<uint64_t>(sumOfSquares) - s1 * s1;
    const double meanOffset = static_cast<double>(count) * static_cast<double>(mean) - static_cast<double>(sum);
    const double deviation =
        std::sqrt(static_cast<double>(spread) + meanOffset * meanOffset) / static_cast<double>(count);
    const double margin = deviation * static_cast<double>(count + 16) * 0x1p-51;
    const float low = static_cast<float>(deviation - margin);
    const float high = static_cast<float>(deviation + margin);
    if (low != high)
        return false;
    stats.mean = mean;
    stats.deviation = low;
    return true;
}

float localThreshold(float deviation, float stdDevScale, float absThreshold)
{
    if (std::isnan(stdDevScale))
        return 0.0f;
    const float scaled = stdDevScale * deviation;
    return stdDevScale >= 0 ? std::max(absThreshold, scaled) : std::min(absThreshold, scaled);
}

bool holds(ThresholdType type, float g, float m, float t)
{
    switch (type) {
    case Light:
        return g >= m + t;
    case Dark:
        return m - t >= g;
    case Equal:
        return g >= m - t && m + t >= g;
    case NotEqual:
        return m - t > g || g > m + t;
    }
    return false;
}

// Masked window sums for one row at a time: per column, the sums over the window's rows of
// the values inside the mask, their squares and their count, slid down as the row
// advances; prefix sums along the row then give any window's sums at once.
class SlidingWindowSums {
public:
    struct Sums {
        int64_t count, sum, squares;
    };

    SlidingWindowSums(const cv::Mat& src, const cv::Mat& mask)
        : src_(src), mask_(mask), column_(src.cols), prefix_(src.cols + 1)
    {
    }

    // Moves the band of window rows to [y0, y1]. Successive bands move down and overlap or
    // touch, as the windows of successive rows do.
    void moveTo(int y0, int y1)
    {
        if (top_ > bottom_) { // empty: all sums are 0, so the band may start anywhere
            top_ = y0;
            bottom_ = y0 - 1;
        }
        while (top_ < y0)
            addRow(top_++, -1);
        while (bottom_ < y1)
            addRow(++bottom_, 1);
        for (size_t x = 0; x < column_.size(); ++x) {
            prefix_[x + 1].count = prefix_[x].count + column_[x].count;
            prefix_[x + 1].sum = prefix_[x].sum + column_[x].sum;
            prefix_[x + 1].squares = prefix_[x].squares + column_[x].squares;
        }
    }

    // The sums over columns x0..x1 of the current band.
    Sums window(int x0, int x1) const
    {
        const Sums& a = prefix_[x0];
        const Sums& b = prefix_[x1 + 1];
        return {b.count - a.count, b.sum - a.sum, b.squares - a.squares};
    }

private:
    void addRow(int y, int sign)
    {
        const uchar* s = src_.ptr<uchar>(y);
        const uchar* m = mask_.empty() ? nullptr : mask_.ptr<uchar>(y);
        for (size_t x = 0; x < column_.size(); ++x) {
            const int inside = (!m || m[x]) ? sign : 0;
            const int v = s[x];
            column_[x].count += inside;
            column_[x].sum += inside * v;
            column_[x].squares += inside * v * v;
        }
    }

    const cv::Mat& src_;
    const cv::Mat& mask_;
    int top_ = 1, bottom_ = 0; // empty band
    std::vector<Sums> column_;
    std::vector<Sums> prefix_;
};

// Sum of an integral image over an inclusive box.
int boxSum(const cv::Mat& integral, const Window& w)
{
    const int* top = integral.ptr<int>(w.y0);
    const int* bottom = integral.ptr<int>(w.y1 + 1);
    return bottom[w.x1 + 1] - bottom[w.x0] - top[w.x1 + 1] + top[w.x0];
}

// ---------------------------------------------------------------------------------------
// Bands
// ---------------------------------------------------------------------------------------

// 255 where the pixel lies in minGray..maxGray and inside the mask (empty: everywhere).
// With a mask, pixels outside it keep band's values when band already has src's size and
// type (the masked AND writes only inside the mask), else they are 0.
void bandPixels(const cv::Mat& src, const cv::Mat& mask, int minGray, int maxGray, cv::Mat& band)
{
    // Bounds outside the 8-bit range act like the nearest value just outside it, which also
    // keeps lo - 1 from overflowing.
    const int lo = std::clamp(std::min(minGray, maxGray), 0, 256);
    const int hi = std::clamp(std::max(minGray, maxGray), -1, 255);
    cv::Mat atLeastLo, atMostHi;
    cv::threshold(src, atLeastLo, lo - 1, 255, cv::THRESH_BINARY);
    cv::threshold(src, atMostHi, hi, 255, cv::THRESH_BINARY_INV);
    cv::bitwise_and(atLeastLo, atMostHi, band, mask);
}

} // namespace

void threshold_min_max(cv::Mat src, cv::Mat& dst, int minGray, int maxGray, cv::Mat mask)
{
    if (!isGrey8(src) || !isOptionalGrey8Of(mask, src.size())) {
        dst.release();
        return;
    }
    bandPixels(src, mask, minGray, maxGray, dst);
}

void dyn_threshold(cv::Mat src, cv::Mat ref, cv::Mat& dst, int offset, ThresholdType type)
{
    if (!isGrey8(src) || ref.type() != CV_8UC1 || ref.size() != src.size()) {
        dst.release();
        return;
    }
    if (!src.isContinuous())
        src = src.clone();
    if (!ref.isContinuous())
        ref = ref.clone();
    if (!isComparison(type)) {
        dst = freshZeros(src.size());
        return;
    }
    // Every pixel is written below, so the fresh output needs no clearing.
    dst = cv::Mat(src.size(), CV_8UC1);

    const int t = std::clamp(offset, -kOffsetLimit, kOffsetLimit);
    // The linear range in units of whole pixels, grouped only when it exceeds an int.
    const size_t total = src.total();
    const size_t unit = total / INT_MAX + 1;
    const int units = static_cast<int>((total + unit - 1) / unit);
    const uchar* s = src.data;
    const uchar* r = ref.data;
    uchar* d = dst.data;
    cv::parallel_for_(
        cv::Range(0, units),
        [&](const cv::Range& range) {
            compareRange(type, t, s, r, d, range.start * unit, std::min(total, range.end * unit));
        },
        stripeCount(units));
}

void var_threshold(cv::Mat src, cv::Mat mask, cv::Mat& dst, int maskWidth, int maskHeight, float stdDevScale,
                   float absThreshold, ThresholdType type)
{
    if (!isGrey8(src) || !isOptionalGrey8Of(mask, src.size()) || maskWidth < 0 || maskHeight < 0) {
        dst.release();
        return;
    }
    dst = freshZeros(src.size());
    if (!isComparison(type))
        return;

    const int rows = src.rows, cols = src.cols;
    // A window never reaches farther than the image, so larger halves change nothing.
    const int hw = std::min(halfWindow(maskWidth), cols);
    const int hh = std::min(halfWindow(maskHeight), rows);
    cv::parallel_for_(
        cv::Range(0, rows),
        [&](const cv::Range& range) {
            SlidingWindowSums sums(src, mask);
            for (int y = range.start; y < range.end; ++y) {
                const uchar* g = src.ptr<uchar>(y);
                const uchar* inside = mask.empty() ? nullptr : mask.ptr<uchar>(y);
                uchar* out = dst.ptr<uchar>(y);
                Window w{std::max(0, y - hh), std::min(rows - 1, y + hh), 0, 0};
                sums.moveTo(w.y0, w.y1);
                for (int x = 0; x < cols; ++x) {
                    if (inside && !inside[x])
                        continue;
                    w.x0 = std::max(0, x - hw);
                    w.x1 = std::min(cols - 1, x + hw);
                    const SlidingWindowSums::Sums window = sums.window(w.x0, w.x1);
                    WindowStatistics stats;
                    if (!statisticsFromSums(window.count, window.sum, window.squares, stats))
                        stats = directStatistics(src, mask, w);
                    const float t = localThreshold(stats.deviation, stdDevScale, absThreshold);
                    if (holds(type, static_cast<float>(g[x]), stats.mean, t))
                        out[x] = 255;
                }
            }
        },
        stripeCount(rows));
}

void fast_threshold(cv::Mat src, cv::Mat mask, cv::Mat& dst, int minGray, int maxGray, int minSize)
{
    if (!isGrey8(src) || !isOptionalGrey8Of(mask, src.size())) {
        dst.release();
        return;
    }
    dst = freshZeros(src.size());
    const int rows = src.rows, cols = src.cols;
    if (minSize <= 0 || minSize >= rows)
        return;

    // A pixel is marked when it qualifies and some seed lies within minSize in both
    // directions; counting seeds per square with an integral image finds that in linear time
    // instead of painting a square per seed. Seeds whose square would cross the top or left
    // border are not seeds at all.
    cv::Mat band;
    bandPixels(src, mask, minGray, maxGray, band);
    cv::Mat seeds = cv::Mat::zeros(src.size(), CV_8UC1);
    for (int y = 0; y < rows; y += 4) {
        if (y < minSize)
            continue;
        const uchar* b = band.ptr<uchar>(y);
        uchar* s = seeds.ptr<uchar>(y);
        for (int x = minSize; x < cols; ++x)
            s[x] = b[x] ? 1 : 0;
    }
    cv::Mat seedCount;
    cv::integral(seeds, seedCount, CV_32S);
    for (int y = 0; y < rows; ++y) {
        const uchar* b = band.ptr<uchar>(y);
        uchar* out = dst.ptr<uchar>(y);
        Window w{std::max(0, y - minSize), std::min(rows - 1, y + minSize), 0, 0};
        for (int x = 0; x < cols; ++x) {
            if (!b[x])
                continue;
            w.x0 = std::max(0, x - minSize);
            w.x1 = std::min(cols - 1, x + minSize);
            if (boxSum(seedCount, w) > 0)
                out[x] = 255;
        }
    }
}
