#include "MatchingResults.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

bool resSortCenterYAscend(_MatchingResult a, _MatchingResult b) { return a.y < b.y; }
bool resSortCenterYDescend(_MatchingResult a, _MatchingResult b) { return a.y > b.y; }
bool resSortCenterXAscend(_MatchingResult a, _MatchingResult b) { return a.x < b.x; }
bool resSortCenterXDescend(_MatchingResult a, _MatchingResult b) { return a.x > b.x; }
bool resSortScoreDescend(_MatchingResult a, _MatchingResult b) { return a.score > b.score; }
bool resSortAngleDescend(_MatchingResult a, _MatchingResult b) { return a.angle > b.angle; }
bool resSortAngleAscend(_MatchingResult a, _MatchingResult b) { return a.angle < b.angle; }

namespace {

using Comparator = bool (*)(_MatchingResult, _MatchingResult);

Comparator simpleComparator(int type)
{
    switch (type) {
    case SortCenterYAscend: return &resSortCenterYAscend;
    case SortCenterYDescend: return &resSortCenterYDescend;
    case SortCenterXAscend: return &resSortCenterXAscend;
    case SortCenterXDescend: return &resSortCenterXDescend;
    case SortScoreDescend: return &resSortScoreDescend;
    case SortAngleDescend: return &resSortAngleDescend;
    case SortAngleAscend: return &resSortAngleAscend;
    default: return nullptr;
    }
}

/// The grid types 6..21 enumerate every combination in a fixed bit pattern: bit 0 the
/// secondary direction, bit 1 the primary direction, bit 2 columns instead of rows, and
/// the second block of eight the serpentines.
struct GridOrder {
    bool byColumns;
    bool primaryDescending;
    bool secondaryDescending; // of the first row or column for serpentines
    bool serpentine;
};

GridOrder gridOrder(int type)
{
    const int bits = (type - SortRowsYAscendXAscend) % 8;
    return {(bits & 4) != 0, (bits & 2) != 0, (bits & 1) != 0, type >= SortSnakeRowsYAscendXAscend};
}

int truncateToInt(double v)
{
    if (v >= static_cast<double>(INT_MAX))
        return INT_MAX;
    if (v <= static_cast<double>(INT_MIN))
        return INT_MIN;
    return static_cast<int>(v);
}

/// Centres turned level: rotation by -angle about the fixed point (128, 128); only the
/// relative positions matter, so the point is arbitrary but kept for repeatable rounding.
std::vector<cv::Point> levelledCentres(const std::vector<_MatchingResult>& results, float angle)
{
    std::vector<cv::Point2f> centres;
    centres.reserve(results.size());
    for (const _MatchingResult& r : results)
        centres.emplace_back(static_cast<float>(r.x), static_cast<float>(r.y));
    cv::transform(centres, centres, cv::getRotationMatrix2D(cv::Point2f(128.0f, 128.0f), -angle, 1.0));
    std::vector<cv::Point> levelled;
    levelled.reserve(centres.size());
    for (const cv::Point2f& c : centres)
        levelled.emplace_back(truncateToInt(c.x), truncateToInt(c.y));
    return levelled;
}

int automaticTolerance(const std::vector<_MatchingResult>& results)
{
    double smallest = std::numeric_limits<double>::infinity();
    for (size_t i = 0; i < results.size(); ++i) {
        for (size_t j = i + 1; j < results.size(); ++j) {
            const double dx = static_cast<double>(results[i].x) - results[j].x;
            const double dy = static_cast<double>(results[i].y) - results[j].y;
            smallest = std::min(smallest, dx * dx + dy * dy);
        }
    }
    return truncateToInt(std::sqrt(smallest) * 0.5);
}

/// Bubble sort over the shrinking unsorted prefix, without early exit. Every swap of the
/// working copy is repeated in the caller's vector so that the two stay in step.
template <typename OutOfOrder>
void bubblePasses(std::vector<cv::Point>& work, std::vector<_MatchingResult>& results, OutOfOrder outOfOrder)
{
    const size_t n = work.size();
    for (size_t pass = 0; pass + 1 < n; ++pass) {
        for (size_t i = 0; i + 1 < n - pass; ++i) {
            if (outOfOrder(i)) {
                std::swap(work[i], work[i + 1]);
                std::swap(results[i], results[i + 1]);
            }
        }
    }
}

} // namespace

void sortMatchingResult(std::vector<_MatchingResult>& results, MatchingResultSortType type)
{
    const Comparator less = simpleComparator(type);
    if (!less) {
        sortMatchingResult(results, type, 0.0f, -1);
        return;
    }
    // A NaN key compares neither way, which std::sort cannot take (it may run off the
    // range): such records are set aside at the end and the rest sorted.
    const auto hasNaNKey = [type](const _MatchingResult& r) {
        if (type == SortScoreDescend)
            return std::isnan(r.score);
        if (type == SortAngleDescend || type == SortAngleAscend)
            return std::isnan(r.angle);
        return false;
    };
    const auto comparable =
        std::partition(results.begin(), results.end(), [&](const _MatchingResult& r) { return !hasNaNKey(r); });
    std::sort(results.begin(), comparable, less);
}

void sortMatchingResult(std::vector<_MatchingResult>& results, MatchingResultSortType type, float angle,
                        int tolerance)
{
    if (type < SortRowsYAscendXAscend || type > SortSnakeColumnsXDescendYDescend || results.size() < 2 ||
        !std::isfinite(angle))
        return;
    const GridOrder order = gridOrder(type);
    if (tolerance < 0)
        tolerance = automaticTolerance(results);

    std::vector<cv::Point> work = levelledCentres(results, angle);
    const auto primary = [&](size_t i) -> int64_t { return order.byColumns ? work[i].x : work[i].y; };
    const auto secondary = [&](size_t i) -> int64_t { return order.byColumns ? work[i].y : work[i].x; };
    const auto sameRun = [&](size_t i) { return std::abs(primary(i) - primary(i + 1)) <= tolerance; };

    bubblePasses(work, results, [&](size_t i) {
        return order.primaryDescending ? primary(i) < primary(i + 1) : primary(i) > primary(i + 1);
    });

    // Direction of each record's run: serpentines flip it where a new run starts. Swaps
    // below only happen inside a run, whose records share a direction, so it can stay
    // attached to the position.
    std::vector<char> descending(work.size(), order.secondaryDescending);
    if (order.serpentine) {
        for (size_t i = 0; i + 1 < work.size(); ++i)
            descending[i + 1] = sameRun(i) ? descending[i] : !descending[i];
    }
    bubblePasses(work, results, [&](size_t i) {
        if (!sameRun(i))
            return false;
        return descending[i] ? secondary(i) < secondary(i + 1) : secondary(i) > secondary(i + 1);
    });
}

float getRotatedRectOverlapArea(_MatchingResult& a, _MatchingResult& b, int width, int height)
{
    if (!std::isfinite(a.angle) || !std::isfinite(b.angle))
        return std::numeric_limits<float>::quiet_NaN();
    // Boxes whose centres lie farther apart than a box's diagonal cannot meet; OpenCV's
    // float arithmetic would not always see that for centres far out.
    const double ax = static_cast<float>(a.x), ay = static_cast<float>(a.y);
    const double bx = static_cast<float>(b.x), by = static_cast<float>(b.y);
    if (std::hypot(ax - bx, ay - by) > std::hypot(static_cast<double>(width), static_cast<double>(height)))
        return 0.0f;
    // Float corners far out lose the boxes' shape (near 2^31 they fall on multiples of 256),
    // so the boxes are moved together towards the origin by a multiple of 65536: exact for
    // the float centres, and nothing moves within the usual image range.
    const double dx = std::nearbyint(ax / 65536.0) * 65536.0;
    const double dy = std::nearbyint(ay / 65536.0) * 65536.0;
    const cv::Size2f size(static_cast<float>(width), static_cast<float>(height));
    const cv::RotatedRect boxA(cv::Point2f(static_cast<float>(ax - dx), static_cast<float>(ay - dy)), size, a.angle);
    const cv::RotatedRect boxB(cv::Point2f(static_cast<float>(bx - dx), static_cast<float>(by - dy)), size, b.angle);
    std::vector<cv::Point2f> intersection;
    cv::rotatedRectangleIntersection(boxA, boxB, intersection);
    if (intersection.empty())
        return 0.0f;
    // The overlap of two boxes is convex, but OpenCV can return its corners out of order
    // (equal boxes turned half a turn apart give eight points in a star whose turns all
    // have one sign, and an area a third too large): the hull of the points is the
    // polygon they bound.
    std::vector<cv::Point2f> hull;
    cv::convexHull(intersection, hull);
    return static_cast<float>(cv::contourArea(hull));
}
