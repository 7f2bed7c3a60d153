// Segment-based edge tools: clcEdgePoints, clcEdgePointsAndTransform, clcEdgePoint_Line.

#include "EdgeTools.h"

#include "ProfileCore.h"
#include "ToolSupport_p.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

using namespace tool_support;

namespace {

constexpr double kPi = 3.141592653589793;

// Copies or straightens param.roi into param.image and records the frame that maps its
// pixels back into the image. False, with the record untouched, for a refused shape.
bool takeRoi(const cv::Mat& image, _EdgePointsDetParam& param)
{
    if (auto* rotated = shapeAs<RotateRectROI>(param.roi, RotateRectROIType)) {
        if (!uprightRoiImage(image, rotated, param.image))
            return false;
        param.angle = rotated->angle;
        param.halfWidth = rotated->width * 0.5f;
        param.halfHeight = rotated->height * 0.5f;
        param.centreX = static_cast<float>(rotated->centreX);
        param.centreY = static_cast<float>(rotated->centreY);
        return true;
    }
    auto* rect = shapeAs<RectROI>(param.roi, RectROIType);
    cv::Rect box;
    if (!rect || !isUsableRect(*rect))
        return false;
    const QRectF& r = rect->rect;
    truncatedRect(r.x(), r.y(), r.width(), r.height(), box);
    // Strict on purpose: a rectangle reaching the last column or row is refused.
    if (box.x < 0 || box.y < 0 || box.x + box.width >= image.cols || box.y + box.height >= image.rows)
        return false;
    uprightRoiImage(image, rect, param.image);
    param.angle = 0;
    param.halfWidth = static_cast<float>(r.width() * 0.5);
    param.halfHeight = static_cast<float>(r.height() * 0.5);
    param.centreX = static_cast<float>(r.x() + r.width() / 2);
    param.centreY = static_cast<float>(r.y() + r.height() / 2);
    return true;
}

// Of the edges of many segments (in segment order, scan order within a segment), keeps
// one consistent contour into kept, sorted along the segment axis: the long runs of lone
// edges of neighbouring segments, then, walking outwards from them, the edge of each
// segment nearest the last kept point while it stays within the limit. Returns false when
// no run is long enough. Run points are smoothed in place, so points is modified.
bool keepEdgeRuns(std::vector<cv::Point2d>& points, bool horizontalProfiles, int segmentStep,
                  std::vector<cv::Point2d>& kept)
{
    const size_t n = points.size();
    std::vector<double> segment(n);
    for (size_t i = 0; i < n; ++i)
        segment[i] = horizontalProfiles ? points[i].y : points[i].x;

    // Distances of the lone edges of their segments to the point before; NaN elsewhere.
    std::vector<double> distance(n, std::numeric_limits<double>::quiet_NaN());
    double sum = 0, largest = 0;
    size_t measured = 0;
    for (size_t i = 1; i < n; ++i) {
        const bool alone = segment[i] != segment[i - 1] && (i + 1 == n || segment[i] != segment[i + 1]);
        if (!alone)
            continue;
        distance[i] = std::hypot(points[i].x - points[i - 1].x, points[i].y - points[i - 1].y);
        sum += distance[i];
        largest = std::max(largest, distance[i]);
        ++measured;
    }
    const double mean = measured > 0 ? sum / static_cast<double>(measured) : 0.0;
    const double lower = std::max(10.0, 3.0 * segmentStep);
    const double upper = std::max(20.0, 6.0 * segmentStep);
    const double limit = std::min(upper, std::max(lower, (largest + mean) * 0.5));

    // Runs: chains of points each within the limit of the one before.
    std::vector<char> marked(n, 0);
    std::vector<std::pair<size_t, size_t>> accepted; // [begin, end)
    std::pair<size_t, size_t> longest(0, 0);
    auto closeRun = [&](size_t begin, size_t end) {
        if (end - begin > 20)
            accepted.emplace_back(begin, end);
        if (end - begin > longest.second - longest.first)
            longest = {begin, end};
    };
    size_t runBegin = 0;
    for (size_t i = 1; i < n; ++i) {
        if (distance[i] <= limit) {
            // Smoothed values feed the next step, so the run's contour is filtered as it grows.
            if (i - runBegin >= 2)
                points[i - 1] = points[i - 2] * 0.25 + points[i - 1] * 0.5 + points[i] * 0.25;
        } else {
            closeRun(runBegin, i);
            runBegin = i;
        }
    }
    closeRun(runBegin, n);
    if (accepted.empty()) {
        if (longest.second - longest.first < 4)
            return false;
        accepted.push_back(longest);
    }
    std::vector<size_t> keptIndices;
    for (const auto& run : accepted)
        for (size_t k = run.first; k < run.second; ++k) {
            marked[k] = 1;
            keptIndices.push_back(k);
        }

    // Segments as index ranges of equal segment coordinate.
    std::vector<size_t> groupBegin, groupOf(n);
    for (size_t i = 0; i < n; ++i) {
        if (i == 0 || segment[i] != segment[i - 1])
            groupBegin.push_back(i);
        groupOf[i] = groupBegin.size() - 1;
    }
    groupBegin.push_back(n);
    const long groups = static_cast<long>(groupBegin.size()) - 1;

    // Walks from a kept point through the segments in one direction, up to the next
    // segment that already holds a kept point.
    auto walk = [&](size_t from, long stride) {
        cv::Point2d last = points[from];
        for (long g = static_cast<long>(groupOf[from]) + stride; g >= 0 && g < groups; g += stride) {
            size_t nearest = n;
            double nearestDistance = std::numeric_limits<double>::infinity();
            bool holdsKept = false;
            for (size_t k = groupBegin[g]; k < groupBegin[g + 1]; ++k) {
                holdsKept = holdsKept || marked[k];
                const double d = std::hypot(points[k].x - last.x, points[k].y - last.y);
                if (d < nearestDistance) {
                    nearestDistance = d;
                    nearest = k;
                }
            }
            if (holdsKept)
                return;
            if (nearestDistance < limit) {
                marked[nearest] = 1;
                keptIndices.push_back(nearest);
                last = points[nearest];
            }
        }
    };
    for (const auto& run : accepted) {
        walk(run.second - 1, 1);
        walk(run.first, -1);
    }

    std::sort(keptIndices.begin(), keptIndices.end());
    kept.reserve(keptIndices.size());
    for (size_t k : keptIndices)
        kept.push_back(points[k]);
    return true;
}

} // namespace

bool clcEdgePoints(cv::Mat& image, _EdgePointsDetParam& param, bool multiEdge)
{
    param.found = false;
    param.points.clear();
    if (!isReadableImage(image) || !takeRoi(image, param))
        return false;
    convertToGreyInPlace(param.image);
    if (param.image.empty())
        return false;
    if (multiEdge) {
        // Every edge of a segment is kept, so speckle would otherwise add edges of its own.
        cv::Mat filtered;
        cv::medianBlur(param.image, filtered, 5);
        param.image = filtered;
    }

    const bool horizontalProfiles = param.scanAxis == 0;
    const bool backwards = param.direction == 1;
    const ClcDirection segmentAxis = horizontalProfiles ? TopToBottom : LeftToRight;
    const ClcDirection scan = horizontalProfiles ? (backwards ? RightToLeft : LeftToRight)
                                                 : (backwards ? BottomToTop : TopToBottom);
    const int edgesPerSegment = multiEdge ? std::max(horizontalProfiles ? param.image.cols : param.image.rows, 1) : 1;
    std::vector<cv::Point2d> found;
    clcSegmentPoints(param.image, segmentAxis, scan, param.transition, param.segmentWidth, param.segmentStep, 0, 1024,
                     param.sigma, static_cast<float>(param.percent), static_cast<float>(param.minStrength), found,
                     edgesPerSegment);
    if (found.empty())
        return false;
    if (multiEdge && found.size() >= 3) {
        if (!keepEdgeRuns(found, horizontalProfiles, param.segmentStep, param.points))
            return false;
    } else {
        param.points = found;
    }
    param.found = true;
    return true;
}

bool clcEdgePointsAndTransform(cv::Mat& image, _EdgePointsDetParam& param)
{
    if (!clcEdgePoints(image, param, false))
        return false;
    const double theta = param.angle * kPi / 180.0;
    const float c = static_cast<float>(std::cos(theta));
    const float s = static_cast<float>(std::sin(theta));
    const float halfWidth = static_cast<float>(param.halfWidth);
    const float halfHeight = static_cast<float>(param.halfHeight);
    const float centreX = static_cast<float>(param.centreX);
    const float centreY = static_cast<float>(param.centreY);
    for (cv::Point2d& p : param.points) {
        const float dx = static_cast<float>(p.x) - halfWidth;
        const float dy = static_cast<float>(p.y) - halfHeight;
        p.x = static_cast<float>(dx * c - dy * s + centreX);
        p.y = static_cast<float>(dx * s + dy * c + centreY);
    }
    return true;
}

bool clcEdgePoint_Line(cv::Mat& image, _EdgePointDetParam_Line& param)
{
    if (image.empty())
        return false;
    param.found = false;
    const LineROI* line = shapeAs<LineROI>(param.roi, LineROIType);
    if (!line || !isReadableImage(image))
        return false;
    const double dx = line->x2 - line->x1;
    const double dy = line->y2 - line->y1;
    const double length = std::sqrt(dx * dx + dy * dy);
    // The remap turns sample positions into fixed-point ints, which wrap round (and read
    // pixels elsewhere in the image) for lines this far out.
    constexpr double kFar = 1e7;
    // The strip holds ceil(length) samples, which the remap takes only below its limit.
    if (!(length > 0 && std::ceil(length) < kMaxStraightenedSide && std::abs(line->x1) < kFar &&
          std::abs(line->y1) < kFar))
        return false;

    const int samples = static_cast<int>(std::ceil(length));
    const double ux = dx / length;
    const double uy = dy / length;
    cv::Mat mapX(1, samples, CV_32F), mapY(1, samples, CV_32F);
    for (int k = 0; k < samples; ++k) {
        mapX.at<float>(k) = static_cast<float>(k * ux + line->x1);
        mapY.at<float>(k) = static_cast<float>(k * uy + line->y1);
    }
    const cv::Mat source = image; // keeps the source alive should param.image be the image
    cv::remap(source, param.image, mapX, mapY, cv::INTER_CUBIC, cv::BORDER_CONSTANT, cv::Scalar(0));
    convertToGreyInPlace(param.image);

    std::vector<cv::Point2d> found;
    clcSegmentPoints(param.image, TopToBottom, param.direction == 1 ? RightToLeft : LeftToRight, param.transition, 1,
                     1, 0, 1024, param.sigma, static_cast<float>(param.percent),
                     static_cast<float>(param.minStrength), found, 1);
    if (found.empty())
        return false;
    const double t = found.front().x;
    param.x = t * ux + line->x1;
    param.y = t * uy + line->y1;
    param.found = true;
    return true;
}
