#include "EdgeTools.h"

#include "ToolSupport_p.h"

#include <cmath>
#include <limits>

using namespace tool_support;

namespace {

constexpr double kPi = 3.141592653589793;

// The cleaned strength curve of a profile, common to the single-caliper tools: one-sided
// difference with the transition rule, values below minGradient dropped, optional moving
// average. Returns the curve's largest value (at least 0).
template <typename T>
T cleanedStrength(const std::vector<float>& profile, bool forward, EdgeTransition transition, int minGradient,
                  int smoothWidth, std::vector<T>& strength, std::vector<int>* polarities = nullptr)
{
    oneSidedStrength(profile, forward, transition, strength, polarities);
    clearBelow(strength, minGradient);
    centredMovingAverage(strength, smoothWidth);
    return largestNonNegative(strength);
}

// Threshold of the many-edge tools: the product in float, the division by 100.5 (so that
// 100 percent still passes the strongest sample) in double.
float manyEdgeThreshold(int percent, float top)
{
    return static_cast<float>(static_cast<double>(static_cast<float>(percent) * top) / 100.5);
}

// Peaks of the strength curve above thr, in scan order, at most maxPeaks. A sample counts
// while the curve is rising into it (its step from the previous sample in scan order sets
// or clears that state, an equal step keeps it) and the next sample is lower or it is the
// last one; a run of equal samples gives its centre. Samples at or below thr are skipped
// and change nothing.
template <typename T>
void peakPositions(const std::vector<T>& strength, bool forward, float thr, size_t maxPeaks,
                   std::vector<float>& positions)
{
    const int n = static_cast<int>(strength.size());
    const int stride = forward ? 1 : -1;
    const int first = forward ? 0 : n - 1;
    const int last = forward ? n - 1 : 0;
    bool rising = true;
    int plateauStart = -1;
    for (int i = first; n > 0 && positions.size() < maxPeaks; i += stride) {
        if (strength[i] > thr) {
            if (i != first) {
                const T step = strength[i] - strength[i - stride];
                if (step > 0)
                    rising = true;
                else if (step < 0)
                    rising = false;
            }
            if (rising) {
                if (i == last || strength[i + stride] < strength[i]) {
                    const int start = plateauStart < 0 ? i : plateauStart;
                    positions.push_back(static_cast<float>(start + i) * 0.5f);
                    plateauStart = -1;
                } else if (strength[i + stride] > strength[i]) {
                    plateauStart = -1;
                } else if (plateauStart < 0) {
                    plateauStart = i;
                }
            }
        }
        if (i == last)
            break;
    }
}

// Profile of a grey image: column means (along its width) or row means (along its height).
void profileOf(const cv::Mat& grey, bool alongWidth, std::vector<float>& profile)
{
    if (alongWidth)
        columnMeans(grey, profile);
    else
        rowMeans(grey, profile);
}

// The edge pair of one band's profile (see clcMulEdgePoints); false when the band gives
// none. strength and peaks are scratch buffers reused from band to band.
bool edgePair(const std::vector<float>& profile, const _MulEdgePointDetParam& param, std::vector<float>& strength,
              std::vector<float>& peaks, float& lo, float& hi)
{
    const bool forward = param.direction == 0;
    const float top = cleanedStrength(profile, forward, param.transition, param.minGradient, param.smoothWidth, strength);
    peaks.clear();
    peakPositions(strength, forward, manyEdgeThreshold(param.threshold, top), std::numeric_limits<size_t>::max(),
                  peaks);
    const size_t skipped = static_cast<size_t>(std::max(param.skipCount, 0));
    if (peaks.size() < 2 || peaks.size() - 2 < skipped)
        return false;
    const float* q = peaks.data() + skipped;
    const size_t m = peaks.size() - skipped;
    const size_t a = param.pairMode == 0 ? 0 : (m - 1) / 2;
    const size_t b = param.pairMode == 0 ? m - 1 : a + 1;
    lo = std::min(q[a], q[b]);
    hi = std::max(q[a], q[b]);
    return hi - lo > param.minPairDistance;
}

} // namespace

bool clcEdgePoint(cv::Mat& image, _EdgePointDetParam& param)
{
    param.found = false;
    RotateRectROI* roi = param.roi;
    if (!roi || !isUsableRotateRect(*roi) || !isReadableImage(image))
        return false;
    param.x = 0;
    param.y = 0;

    straightenRotateRect(image, *roi, param.image);
    convertToGreyInPlace(param.image);

    std::vector<float> profile;
    columnMeans(param.image, profile);

    const bool forward = param.direction == LeftToRight;
    param.maxGradient =
        cleanedStrength(profile, forward, param.transition, param.minGradient, param.smoothWidth, param.gradient);

    // 100.5 rather than 100: with threshold 100 the strongest sample still passes.
    const float thr = static_cast<float>(param.threshold * param.maxGradient / 100.5);
    std::vector<float> peaks;
    peakPositions(param.gradient, forward, thr, 1, peaks);
    if (peaks.empty())
        return false;

    // The integer column count centres the position although the warp used the unrounded
    // width; the small offset for fractional widths is the tool's defined behaviour.
    const float t = peaks.front() - static_cast<float>(param.image.cols) * 0.5f;
    const double theta = roi->angle * kPi / 180.0;
    const float c = static_cast<float>(std::cos(theta));
    const float s = static_cast<float>(std::sin(theta));
    param.x = roi->centreX + t * c;
    param.y = roi->centreY + t * s;
    param.found = true;
    return true;
}

bool clcEdges(cv::Mat& image, _EdgesDetParam& param)
{
    param.found = false;
    param.gradient.clear();
    param.positions.clear();
    param.polarities.clear();
    if (!isReadableImage(image) || !uprightRoiImage(image, param.roi, param.image))
        return false;
    convertToGreyInPlace(param.image);
    if (param.image.empty())
        return false;

    const bool alongWidth = param.direction != TopToBottom && param.direction != BottomToTop;
    const bool forward = param.direction != RightToLeft && param.direction != BottomToTop;
    std::vector<float> profile;
    profileOf(param.image, alongWidth, profile);
    std::vector<int> codes;
    param.maxGradient = cleanedStrength(profile, forward, param.transition, param.minGradient, param.smoothWidth,
                                        param.gradient, &codes);
    peakPositions(param.gradient, forward, manyEdgeThreshold(param.threshold, param.maxGradient),
                  std::numeric_limits<size_t>::max(), param.positions);
    for (float position : param.positions)
        param.polarities.push_back(codes[static_cast<size_t>(position)]);
    param.found = !param.positions.empty();
    return param.found;
}

bool clcMulEdgePoints(cv::Mat& image, _MulEdgePointDetParam& param)
{
    param.found = false;
    if (!isReadableImage(image) || !recordShape(param.roi, RotateRectROIType) ||
        !isUsableRotateRect(*param.roi))
        return false;
    param.firstEdges.clear();
    param.secondEdges.clear();
    uprightRotateRect(image, *param.roi, param.image);
    convertToGreyInPlace(param.image);
    const int width = param.segmentWidth;
    const int step = param.segmentStep;
    if (param.image.empty() || width < 1 || step < 1)
        return false;

    const bool horizontalBands = param.segmentAxis == 0;
    const int64_t extent = horizontalBands ? param.image.rows : param.image.cols;
    std::vector<float> profile, strength, peaks;
    for (int64_t start = 0; start + width <= extent; start += step) {
        const cv::Range lines(static_cast<int>(start), static_cast<int>(start + width));
        profileOf(horizontalBands ? param.image.rowRange(lines) : param.image.colRange(lines), horizontalBands,
                  profile);
        float lo, hi;
        if (!edgePair(profile, param, strength, peaks, lo, hi))
            continue;
        const float centre = static_cast<float>(2 * start + width) * 0.5f;
        if (horizontalBands) {
            param.firstEdges.emplace_back(lo, centre);
            param.secondEdges.emplace_back(hi, centre);
        } else {
            param.firstEdges.emplace_back(centre, lo);
            param.secondEdges.emplace_back(centre, hi);
        }
    }
    param.found = !param.firstEdges.empty();
    return param.found;
}
