#include "ProfileCore.h"

#include "ProfileCore_p.h"
#include "ToolSupport_p.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdint>
#include <limits>

using profile_core::kMaxKernelHalf;

namespace {

// All kernels in one block: kernel k has 2k+1 taps and starts at k*k, the number of taps
// of the kernels before it.
class GaussianKernelTable {
public:
    GaussianKernelTable() : taps_((kMaxKernelHalf + 1) * (kMaxKernelHalf + 1))
    {
        taps_[0] = 1.0f;
        for (int k = 1; k <= kMaxKernelHalf; ++k) {
            float* kernel = &taps_[k * k];
            const int n = 2 * k + 1;
            const double sigma = 0.3 * (k - 1) + 0.8;
            // Taps are stored as float before normalising, and the sum is of the unrounded
            // weights: both roundings are part of the published table values.
            double sum = 0.0;
            for (int j = 0; j < n; ++j) {
                const double x = j - (n - 1) * 0.5;
                const double w = std::exp(-0.5 * x * x / (sigma * sigma));
                kernel[j] = static_cast<float>(w);
                sum += w;
            }
            const double scale = 1.0 / sum;
            for (int j = 0; j < n; ++j)
                kernel[j] = static_cast<float>(kernel[j] * scale);
        }
    }

    const float* kernel(int k) const { return &taps_[k * k]; }

private:
    std::vector<float> taps_;
};

} // namespace

const float* getOneDimGaussianKernel(int k)
{
    if (k < 0 || k > kMaxKernelHalf)
        return nullptr;
    // A function-local static is initialised exactly once even when the first calls race.
    static const GaussianKernelTable table;
    return table.kernel(k);
}

void cutOneDimGaussianKernel(const float* src, int srcHalf, float* dst, int dstHalf)
{
    if (!src || !dst || dstHalf < 0 || dstHalf >= srcHalf)
        return;
    const float* centre = src + (srcHalf - dstHalf);
    const int n = 2 * dstHalf + 1;
    double sum = 0.0;
    for (int j = 0; j < n; ++j)
        sum += centre[j];
    if (sum == 0.0)
        return;
    const double scale = 1.0 / sum;
    for (int j = 0; j < n; ++j)
        dst[j] = static_cast<float>(centre[j] * scale);
}

namespace profile_core {

void smoothProfile(float* data, int n, const float* kernel, int half, bool circular, float* padded)
{
    if (!data || !kernel || n < 1 || half < 0 || n < half + 1)
        return;
    // Since n > half, both paddings only ever read samples of the profile itself.
    for (int k = 0; k < half; ++k) {
        padded[k] = circular ? data[n - half + k] : data[0];
        padded[half + n + k] = circular ? data[k] : data[n - 1];
    }
    std::copy(data, data + n, padded + half);

    // Tap-major order keeps every sample's sum in increasing tap order, as a per-sample
    // loop would, while the inner loop runs over samples and vectorises.
    std::fill(data, data + n, 0.0f);
    for (int j = 0; j <= 2 * half; ++j) {
        const float tap = kernel[j];
        const float* shifted = padded + j;
        for (int i = 0; i < n; ++i)
            data[i] += shifted[i] * tap;
    }
}

} // namespace profile_core

void oneDimArrayGaussianFilter(float* data, int n, const float* kernel, int half, bool circular)
{
    if (!data || !kernel || n < 1 || half < 0 || n < half + 1)
        return;
    std::vector<float> padded(static_cast<size_t>(n) + 2 * static_cast<size_t>(half));
    profile_core::smoothProfile(data, n, kernel, half, circular, padded.data());
}

void clcOneDimDeriv(float* src, float* dst, int n, bool circular)
{
    if (n <= 0 || !src || !dst)
        return;
    if (n == 1) {
        dst[0] = 0.0f;
        return;
    }
    for (int i = 1; i < n - 1; ++i)
        dst[i] = src[i + 1] - src[i - 1];
    if (circular) {
        dst[0] = src[1] - src[n - 1];
        dst[n - 1] = src[0] - src[n - 2];
    } else {
        dst[0] = src[1] - src[0];
        dst[n - 1] = src[n - 1] - src[n - 2];
    }
}

void clcOneDimDerivDir(float* d, int n, ClcDirection dir, EdgeTransition t)
{
    if (n < 1 || !d)
        return;
    if (dir == RightToLeft)
        for (int i = 0; i < n; ++i)
            d[i] = -d[i];
    if (t == LightToDark) {
        for (int i = 0; i < n; ++i)
            d[i] = d[i] < 0.0f ? -d[i] : 0.0f;
    } else if (t == DarkToLight) {
        for (int i = 0; i < n; ++i)
            d[i] = d[i] < 0.0f ? 0.0f : d[i];
    } else {
        for (int i = 0; i < n; ++i)
            d[i] = std::fabs(d[i]);
    }
}

namespace {

// Centre of a flat top between two indices: the integer sum through float, halved.
double plateauCentre(int a, int b)
{
    return static_cast<float>(static_cast<int64_t>(a) + b) * 0.5f;
}

} // namespace

void oneDimEdgeExtraction(float* strength, int n, ClcDirection dir, float percent, float minStrength, int maxCount,
                          std::vector<double>& positions)
{
    if (n < 2 || maxCount < 1 || !strength)
        return;
    const float* v = strength;
    float top = 0.0f;
    for (int i = 0; i < n; ++i)
        top = v[i] > top ? v[i] : top;
    if (minStrength > top)
        return;
    const float relative = percent / 100.0f * top;
    const float thr = relative > minStrength ? relative : minStrength;

    // More positions than samples cannot come, so a huge maxCount reserves no more.
    const size_t wanted = static_cast<size_t>(std::min(maxCount, n));
    if (positions.capacity() < wanted)
        positions.reserve(wanted);

    // One loop for both senses: "ahead" is the next sample in scan order, "behind" the
    // previous one; the last sample of the scan has no look-ahead and gets no parabola.
    const bool forward = dir == LeftToRight;
    const int stride = forward ? 1 : -1;
    const int first = forward ? 0 : n - 1;
    const int last = forward ? n - 1 : 0;
    bool rising = true;
    int plateauStart = -1;
    for (int i = first;; i += stride) {
        // Written as "not at or above" so that NaN samples (and a NaN threshold) never pass.
        if (v[i] >= thr) {
            if (i != first) {
                const float slope = v[i] - v[i - stride];
                if (slope > 0.0f)
                    rising = true;
                else if (slope < 0.0f)
                    rising = false;
            }
            bool emitted = false;
            if (i == last) {
                if (rising) {
                    positions.push_back(plateauStart < 0 ? static_cast<double>(i) : plateauCentre(i, plateauStart));
                    plateauStart = -1;
                    emitted = true;
                }
            } else if (rising) {
                const float ahead = v[i + stride];
                if (ahead > v[i]) {
                    plateauStart = -1;
                } else if (ahead == v[i]) {
                    if (plateauStart < 0)
                        plateauStart = i;
                } else if (v[i] > ahead) {
                    positions.push_back(plateauStart < 0 ? oneDimEdgeParabolaExtremum(v, n, i)
                                                         : plateauCentre(i, plateauStart));
                    plateauStart = -1;
                    emitted = true;
                }
            }
            if (emitted && positions.size() >= static_cast<size_t>(maxCount))
                return;
        }
        if (i == last)
            return;
    }
}

float oneDimEdgeParabolaExtremum(const float* strength, int n, int i)
{
    if (!strength || i <= 0 || i >= n - 1)
        return static_cast<float>(i);
    const float vertex = static_cast<float>(threePointParabolaExtremum(
        {i - 1.0, strength[i - 1]}, {static_cast<double>(i), strength[i]}, {i + 1.0, strength[i + 1]}));
    return std::isnan(vertex) ? static_cast<float>(i) : vertex;
}

namespace {

// Solves y = a*x^2 + b*x + c through three points; false for degenerate abscissas.
bool solveParabola(const cv::Point_<double>& p0, const cv::Point_<double>& p1, const cv::Point_<double>& p2,
                   double& a, double& b, double& c)
{
    const double d1 = p0.x * p0.x - p1.x * p1.x;
    const double d2 = p1.x * p1.x - p2.x * p2.x;
    const double det = (p0.x - p1.x) * d2 - (p1.x - p2.x) * d1;
    if (det == 0.0 || d1 == 0.0)
        return false;
    b = ((p0.y - p1.y) * d2 - (p1.y - p2.y) * d1) / det;
    a = ((p0.y - p1.y) - (p0.x - p1.x) * b) / d1;
    c = p0.y - a * p0.x * p0.x - b * p0.x;
    return true;
}

} // namespace

void threePointParabola(cv::Point_<double> p0, cv::Point_<double> p1, cv::Point_<double> p2, double& a, double& b,
                        double& c)
{
    double sa, sb, sc;
    if (solveParabola(p0, p1, p2, sa, sb, sc)) {
        a = sa;
        b = sb;
        c = sc;
    }
}

double threePointParabolaExtremum(cv::Point_<double> p0, cv::Point_<double> p1, cv::Point_<double> p2)
{
    double a, b, c;
    if (!solveParabola(p0, p1, p2, a, b, c) || a == 0.0)
        return 0.0;
    return -b / (2.0 * a);
}

double parabolaExtremum(double a, double b)
{
    return a == 0.0 ? 0.0 : -b / (a + a);
}

int findMinMaxPos(std::vector<double>& values, bool findMin)
{
    if (values.empty())
        return -1;
    double lowest = std::numeric_limits<double>::max();
    double highest = std::numeric_limits<double>::min(); // smallest positive normal, kept so
    int lowestAt = 0;
    int highestAt = 0;
    const int n = static_cast<int>(std::min<size_t>(values.size(), std::numeric_limits<int>::max()));
    for (int i = 1; i < n; ++i) {
        if (values[i] < lowest) {
            lowest = values[i];
            lowestAt = i;
        }
        if (values[i] > highest) {
            highest = values[i];
            highestAt = i;
        }
    }
    return findMin ? lowestAt : highestAt;
}

void findMaxValuePos(cv::Mat& response, int rowStart, int rowEnd, int colStart, int colEnd, int& maxRow,
                     int& maxCol)
{
    if (response.type() != CV_32FC1 || response.dims != 2)
        return;
    rowStart = std::max(rowStart, 0);
    colStart = std::max(colStart, 0);
    rowEnd = std::min(rowEnd, response.rows);
    colEnd = std::min(colEnd, response.cols);
    float best = -std::numeric_limits<float>::max();
    for (int r = rowStart; r < rowEnd; ++r) {
        const float* row = response.ptr<float>(r);
        for (int c = colStart; c < colEnd; ++c) {
            if (row[c] > best) {
                best = row[c];
                maxRow = r;
                maxCol = c;
            }
        }
    }
}

namespace {

// Runs the caliper over `count` segments of `lines` (one row per line, segment s starting
// at row s*step) and appends the edges. Sum is the integer type of the segment sums.
template <typename Sum>
void scanSegments(const cv::Mat& lines, bool verticalProfiles, ClcDirection direction, EdgeTransition transition,
                  int width, int step, int start, int count, const float* kernel, int half, float percent,
                  float minStrength, int maxEdges, std::vector<cv::Point_<double>>& points)
{
    const int length = lines.cols;
    // One block for the profile, its derivative and the smoothing scratch, reused by
    // every segment.
    std::vector<float> buffers(3 * static_cast<size_t>(length) + 2 * static_cast<size_t>(half));
    float* profile = buffers.data();
    float* derivative = profile + length;
    float* padded = derivative + length;
    std::vector<double> positions;

    const profile_core::Summation summation =
        step < width ? profile_core::Summation::SlidingWindow : profile_core::Summation::Direct;
    profile_core::SegmentAverager<Sum> averager(lines, width, step, summation);
    for (int s = 0; s < count; ++s) {
        averager.next(profile);
        profile_core::smoothProfile(profile, length, kernel, half, false, padded);
        clcOneDimDeriv(profile, derivative, length, false);
        clcOneDimDerivDir(derivative, length, direction, transition);
        positions.clear();
        oneDimEdgeExtraction(derivative, length, direction, percent, minStrength, maxEdges, positions);

        const int64_t segmentStart = start + static_cast<int64_t>(s) * step;
        const double centre = static_cast<double>(2 * segmentStart + width) * 0.5;
        // Points carry single precision by definition: both coordinates go through float.
        const double across = static_cast<float>(centre);
        for (double p : positions) {
            const double along = static_cast<float>(p);
            points.emplace_back(verticalProfiles ? across : along, verticalProfiles ? along : across);
        }
    }
}

} // namespace

void clcSegmentPoints(cv::Mat& strip, ClcDirection segmentAxis, ClcDirection scanDirection, EdgeTransition transition,
                      int width, int step, int start, int maxSegments, int sigma, float percent, float minStrength,
                      std::vector<cv::Point_<double>>& points, int maxEdges)
{
    if (!tool_support::isReadableImage(strip) || strip.dims != 2 || width < 1 || step < 1 || start < 0 ||
        maxSegments < 1 || sigma < 0 || sigma > kMaxKernelHalf || maxEdges < 1)
        return;

    const bool verticalProfiles = segmentAxis == LeftToRight;
    const int64_t extent = static_cast<int64_t>(verticalProfiles ? strip.cols : strip.rows) - start;
    if (extent < width)
        return;
    // The cap is the larger of maxSegments and the row count, deliberately: maxSegments
    // only limits beyond the row count, which hosts have come to rely on.
    const int64_t cap = std::max(maxSegments, strip.rows);
    const int count = static_cast<int>(std::min<int64_t>((extent - width) / step + 1, cap));
    if (points.capacity() < static_cast<size_t>(count))
        points.reserve(count);

    // Only the lines that some segment covers are converted; vertical bands are turned
    // into rows so that one row-wise averager serves both axes.
    const int used = static_cast<int>(static_cast<int64_t>(step) * (count - 1) + width);
    cv::Mat region = verticalProfiles ? strip.colRange(start, start + used) : strip.rowRange(start, start + used);
    cv::Mat grey;
    if (region.channels() == 1)
        grey = region;
    else
        cv::cvtColor(region, grey, cv::COLOR_RGB2GRAY);
    cv::Mat lines;
    if (verticalProfiles)
        cv::transpose(grey, lines);
    else
        lines = grey;

    const int length = lines.cols;
    const float* kernel = getOneDimGaussianKernel(sigma);
    int half = sigma;
    float cutKernel[2 * kMaxKernelHalf + 1];
    if (length < sigma + 1) {
        half = length - 1;
        cutOneDimGaussianKernel(kernel, sigma, cutKernel, half);
        kernel = cutKernel;
    }

    const ClcDirection direction =
        verticalProfiles ? (scanDirection == TopToBottom ? LeftToRight : RightToLeft) : scanDirection;
    if (width <= profile_core::kMaxWidthFor32BitSums)
        scanSegments<int32_t>(lines, verticalProfiles, direction, transition, width, step, start, count, kernel, half,
                              percent, minStrength, maxEdges, points);
    else
        scanSegments<int64_t>(lines, verticalProfiles, direction, transition, width, step, start, count, kernel, half,
                              percent, minStrength, maxEdges, points);
}
