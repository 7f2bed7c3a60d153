#pragma once

// Helpers shared by the measurement tools; internal to the library (not installed).

#include "FunctionsDef.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tool_support {

/// Largest straightened size: OpenCV's warps and remaps refuse outputs of 32767 or more.
constexpr float kMaxStraightenedSide = 32767.0f;

/// True for a rectangle that can be straightened: both sides at least 1 and below the
/// warp limit. NaN sides fail the comparisons and are refused too.
inline bool isStraightenableSize(float width, float height)
{
    return width >= 1.0f && height >= 1.0f && width < kMaxStraightenedSide && height < kMaxStraightenedSide;
}

/// Largest corner coordinate a rotated rectangle may have (pixels, either sign).
constexpr float kMaxCornerCoordinate = 1.0e6f;

/// True for a rotated rectangle a tool can straighten: straightenable sides and corners
/// within kMaxCornerCoordinate (a NaN or infinite centre or angle is refused too).
bool isUsableRotateRect(RotateRectROI& roi);

/// True for images a tool can read: non-empty, 8-bit, with 1, 3 or 4 channels.
bool isReadableImage(const cv::Mat& image);

/// Warps the rotated rectangle into an upright image of (int)width x (int)height: the
/// corners go to (0,0), (w,0), (w,h), (0,h) with the unrounded float sizes; bilinear,
/// constant border 0.
void straightenRotateRect(const cv::Mat& image, RotateRectROI& roi, cv::Mat& straightened);

/// Converts a multi-channel image to grey in place with the red-green-blue weights
/// (the first channel weighted as red), deliberately, as every tool does.
void convertToGreyInPlace(cv::Mat& image);

/// Column means of an 8-bit single-channel continuous image, in float.
void columnMeans(const cv::Mat& grey, std::vector<float>& means);

/// One-sided difference in scan order turned into an edge strength: d is the difference
/// from the previous sample along the scan (the first sample in scan order gets 0);
/// transition 0 keeps |d|, 1 keeps |d| where d < 0, any other value keeps d where d > 0.
/// When polarities is given it receives 1 where d < 0, -1 where d > 0, 0 otherwise.
template <typename T>
void oneSidedStrength(const std::vector<float>& profile, bool forward, EdgeTransition transition,
                      std::vector<T>& strength, std::vector<int>* polarities = nullptr)
{
    const int n = static_cast<int>(profile.size());
    strength.assign(n, T(0));
    if (polarities)
        polarities->assign(n, 0);
    for (int k = 1; k < n; ++k) {
        const int i = forward ? k : n - 1 - k;
        const int previous = forward ? i - 1 : i + 1;
        const float d = profile[i] - profile[previous];
        float s;
        if (transition == BothTransitions)
            s = std::abs(d);
        else if (transition == LightToDark)
            s = d < 0 ? std::abs(d) : 0.0f;
        else
            s = d > 0 ? d : 0.0f;
        strength[i] = static_cast<T>(s);
        if (polarities)
            (*polarities)[i] = d < 0 ? 1 : (d > 0 ? -1 : 0);
    }
}

/// Sets every value strictly below minimum to 0.
template <typename T>
void clearBelow(std::vector<T>& values, int minimum)
{
    for (T& v : values)
        if (v < minimum)
            v = T(0);
}

/// Centred moving average of the given width, truncated at both ends and divided by the
/// number of values present. Running sums in float. Widths below 2 change nothing.
template <typename T>
void centredMovingAverage(std::vector<T>& values, int width)
{
    if (width < 2)
        return;
    const int64_t n = static_cast<int64_t>(values.size());
    std::vector<float> sums(values.size() + 1, 0.0f);
    for (int64_t k = 0; k < n; ++k)
        sums[k + 1] = static_cast<float>(sums[k] + values[k]);
    const int64_t half = width / 2;
    for (int64_t i = 0; i < n; ++i) {
        const int64_t lo = std::max<int64_t>(0, i - half);
        const int64_t hi = std::min<int64_t>(n - 1, i - half + width - 1);
        values[i] = static_cast<T>((sums[hi + 1] - sums[lo]) / static_cast<float>(hi - lo + 1));
    }
}

/// Largest value, never below 0.
template <typename T>
T largestNonNegative(const std::vector<T>& values)
{
    T top = T(0);
    for (T v : values)
        if (v > top)
            top = v;
    return top;
}

/// True for an upright rectangle a tool can copy: sides from 1 up to the warp limit and
/// an origin whose truncation fits an int. NaN fields are refused.
bool isUsableRect(const RectROI& roi);

/// The upright integer rectangle of an origin and size, each truncated towards zero.
/// False (rect untouched) when the origin is too far out to be truncated into an int.
bool truncatedRect(double x, double y, double width, double height, cv::Rect& rect);

/// Copies rect of image into upright with UtilityFunctions::CopyImage. upright is
/// released first, so a rectangle the copy refuses (negative origin) leaves it empty
/// rather than holding an earlier call's picture.
void copyUprightRect(const cv::Mat& image, cv::Rect rect, cv::Mat& upright);

/// The rotated rectangle as an upright image: an angle of exactly 0 copies the integer
/// rectangle whose top-left is the truncated (centre - size/2) and whose sides are the
/// truncated sizes (copyUprightRect; nothing is interpolated), any other angle is
/// straightened with straightenRotateRect.
void uprightRotateRect(const cv::Mat& image, RotateRectROI& roi, cv::Mat& upright);

/// The shape down-cast to Shape when its type code is typeCode and the cast agrees;
/// nullptr for a null shape or any other type.
template <typename Shape>
Shape* shapeAs(ROI* roi, int typeCode)
{
    return roi && roi->type() == typeCode ? dynamic_cast<Shape*>(roi) : nullptr;
}

/// The shape behind a record's typed pointer (RotateRectROI*, ArcROI*) when it really is
/// of that type. Hosts may put any shape there, so it is asked for its type through its
/// base class first: a conversion or call through the wrong derived type would be
/// undefined. The base lies at the shape's own address (single inheritance).
template <typename Shape>
Shape* recordShape(Shape* roi, int typeCode)
{
    return shapeAs<Shape>(reinterpret_cast<ROI*>(roi), typeCode);
}

/// A RectROI (truncated integer rectangle, copied) or RotateRectROI (uprightRotateRect)
/// as an upright image. False, with upright untouched, for any other or an unusable
/// shape; true otherwise, even when the copy was refused and upright is left empty.
bool uprightRoiImage(const cv::Mat& image, ROI* roi, cv::Mat& upright);

/// Row means of an 8-bit single-channel image (rows read through their own pointers,
/// so views of column ranges are fine), in float.
void rowMeans(const cv::Mat& grey, std::vector<float>& means);

} // namespace tool_support
