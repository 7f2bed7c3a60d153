#pragma once

// Plain renderings of the region rules, written for clarity rather than speed: the
// baselines that the library's operators are compared with in the tests and timed against
// in the benchmarks. The threshold rules render the rows [rowBegin, rowEnd) into dst,
// which the caller has made all 0 (8-bit, src's size). An empty mask means everywhere.

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace reference {

// The comparison of grey value g with reference r and offset t; types outside 0..3 never
// hold.
template <typename T> bool thresholdHolds(int type, T g, T r, T t)
{
    switch (type) {
    case 0:
        return g >= r + t;
    case 1:
        return r - t >= g;
    case 2:
        return g >= r - t && r + t >= g;
    case 3:
        return r - t > g || g > r + t;
    default:
        return false;
    }
}

// Pixel-wise comparison with the offset taken as a signed integer (64 bits, so that
// extreme offsets do not overflow).
inline void dynThresholdRows(const cv::Mat& src, const cv::Mat& ref, cv::Mat& dst, int offset, int type, int rowBegin,
                             int rowEnd)
{
    for (int y = rowBegin; y < rowEnd; ++y)
        for (int x = 0; x < src.cols; ++x)
            if (thresholdHolds<int64_t>(type, src.at<uchar>(y, x), ref.at<uchar>(y, x), offset))
                dst.at<uchar>(y, x) = 255;
}

// The window statistics gathered into a fresh list per pixel: float sum and mean, the
// deviation in double over the list.
inline void varThresholdRows(const cv::Mat& src, const cv::Mat& mask, cv::Mat& dst, int maskWidth, int maskHeight,
                             float stdDevScale, float absThreshold, int type, int rowBegin, int rowEnd)
{
    const int hw = (maskWidth % 2 != 0 ? maskWidth : maskWidth + 1) / 2;
    const int hh = (maskHeight % 2 != 0 ? maskHeight : maskHeight + 1) / 2;
    const auto inside = [&mask](int y, int x) { return mask.empty() || mask.at<uchar>(y, x) != 0; };
    for (int y = rowBegin; y < rowEnd; ++y) {
        for (int x = 0; x < src.cols; ++x) {
            if (!inside(y, x))
                continue;
            std::vector<float> values;
            float sum = 0;
            for (int yy = std::max(0, y - hh); yy <= y + hh && yy < src.rows; ++yy)
                for (int xx = std::max(0, x - hw); xx <= x + hw && xx < src.cols; ++xx)
                    if (inside(yy, xx)) {
                        const float v = src.at<uchar>(yy, xx);
                        values.push_back(v);
                        sum += v;
                    }
            if (values.empty())
                return;
            const float mean = sum / values.size();
            double squares = 0;
            for (const double v : values)
                squares += (v - mean) * (v - mean);
            const float deviation = static_cast<float>(std::sqrt(squares / values.size()));
            float t = 0;
            if (stdDevScale >= 0)
                t = std::max(absThreshold, stdDevScale * deviation);
            else if (stdDevScale < 0)
                t = std::min(absThreshold, stdDevScale * deviation);
            if (thresholdHolds<float>(type, src.at<uchar>(y, x), mean, t))
                dst.at<uchar>(y, x) = 255;
        }
    }
}

// Seeds on every fourth row paint the qualifying pixels of their square; seeds whose
// square crosses the top or left border paint nothing.
inline void fastThreshold(const cv::Mat& src, const cv::Mat& mask, cv::Mat& dst, int minGray, int maxGray, int minSize)
{
    const int lo = std::min(minGray, maxGray), hi = std::max(minGray, maxGray);
    const auto qualifies = [&](int y, int x) {
        const int g = src.at<uchar>(y, x);
        return (mask.empty() || mask.at<uchar>(y, x) != 0) && lo <= g && g <= hi;
    };
    if (minSize <= 0 || minSize >= src.rows)
        return;
    for (int y = 0; y < src.rows; y += 4)
        for (int x = 0; x < src.cols; ++x) {
            if (!qualifies(y, x) || y - minSize < 0)
                continue;
            for (int yy = y - minSize; yy <= y + minSize && yy < src.rows; ++yy) {
                if (x - minSize < 0)
                    continue;
                for (int xx = x - minSize; xx <= x + minSize && xx < src.cols; ++xx)
                    if (qualifies(yy, xx))
                        dst.at<uchar>(yy, xx) = 255;
            }
        }
}

// shape_trans as one serial pass: every outer contour's shape (0 box, 1 enclosing circle,
// 2 convex hull) painted one after the other into one image.
inline cv::Mat serialShapes(const cv::Mat& src, int type)
{
    std::vector<std::vector<cv::Point>> contours;
    cv::findContours(src, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    cv::Mat dst = cv::Mat::zeros(src.size(), CV_8UC1);
    for (const auto& contour : contours) {
        if (type == 0) {
            cv::rectangle(dst, cv::boundingRect(contour), cv::Scalar(255), cv::FILLED);
        } else if (type == 1) {
            cv::Point2f centre;
            float radius = 0;
            cv::minEnclosingCircle(contour, centre, radius);
            cv::circle(dst, cv::Point(cvRound(centre.x), cvRound(centre.y)), static_cast<int>(radius), cv::Scalar(255),
                       cv::FILLED);
        } else {
            std::vector<cv::Point> hull;
            cv::convexHull(contour, hull, false, true);
            cv::fillPoly(dst, std::vector<std::vector<cv::Point>>{hull}, cv::Scalar(255));
        }
    }
    return dst;
}

} // namespace reference
