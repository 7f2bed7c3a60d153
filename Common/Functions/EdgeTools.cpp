#include "EdgeTools.h"

#include "ToolSupport_p.h"

#include <cmath>

using namespace tool_support;

namespace {

constexpr double kPi = 3.141592653589793;

// First peak in scan order above thr; runs of equal values give their centre. Returns -1
// when the scan ends without a peak.
float firstPeakPosition(const std::vector<double>& strength, bool forward, float thr)
{
    const int n = static_cast<int>(strength.size());
    const int last = forward ? n - 1 : 0;
    const int stride = forward ? 1 : -1;
    std::vector<int> plateau;
    for (int i = forward ? 0 : n - 1; forward ? i < n : i >= 0; i += stride) {
        if (!(strength[i] > thr))
            continue;
        bool finished = false;
        if (i == last) {
            plateau.push_back(i);
            finished = true;
        } else {
            const int j = i + stride;
            if (strength[j] > strength[i]) {
                plateau.clear();
            } else if (strength[j] == strength[i]) {
                plateau.push_back(i);
            } else {
                plateau.push_back(i);
                finished = true;
            }
        }
        if (finished)
            return static_cast<float>(plateau.front() + plateau.back()) * 0.5f;
    }
    return -1.0f;
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
    oneSidedStrength(profile, forward, param.transition, param.gradient);
    clearBelow(param.gradient, param.minGradient);
    centredMovingAverage(param.gradient, param.smoothWidth);
    param.maxGradient = largestNonNegative(param.gradient);

    // 100.5 rather than 100: with threshold 100 the strongest sample still passes.
    const float thr = static_cast<float>(param.threshold * param.maxGradient / 100.5);
    const float position = firstPeakPosition(param.gradient, forward, thr);
    if (position < 0)
        return false;

    // The integer column count centres the position although the warp used the unrounded
    // width; the small offset for fractional widths is the tool's defined behaviour.
    const float t = position - static_cast<float>(param.image.cols) * 0.5f;
    const double theta = roi->angle * kPi / 180.0;
    const float c = static_cast<float>(std::cos(theta));
    const float s = static_cast<float>(std::sin(theta));
    param.x = roi->centreX + t * c;
    param.y = roi->centreY + t * s;
    param.found = true;
    return true;
}
