// The line tools on random images, rotated rectangles and settings, and their geometry
// helpers on random lines and points.

#include "FuzzSupport.h"

#include <LineTools.h>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 48;

bool isFiniteLine(const cv::Vec4d& line)
{
    return std::isfinite(line[0]) && std::isfinite(line[1]) && std::isfinite(line[2]) && std::isfinite(line[3]);
}

bool isUnit(const cv::Vec4d& line)
{
    return std::abs(std::hypot(line[0], line[1]) - 1) < 1e-9;
}

bool allFinite(const std::vector<cv::Point2d>& points)
{
    return std::all_of(points.begin(), points.end(), [](const cv::Point2d& p) { return isFinite(p); });
}

// Every point of part appears in all, in the same order.
bool isOrderedSubset(const std::vector<cv::Point2d>& part, const std::vector<cv::Point2d>& all)
{
    size_t j = 0;
    for (const cv::Point2d& p : part) {
        while (j < all.size() && all[j] != p)
            ++j;
        if (j == all.size())
            return false;
        ++j;
    }
    return true;
}

_EdgeLineDetParam record(FuzzedDataProvider& in, RotateRectROI* roi)
{
    _EdgeLineDetParam param;
    segmentCaliperSettings(in, param);
    param.roi = roi;
    return param;
}

// Edge points inside the ROI; a fitted line through them with a unit direction, clipped
// to two finite points; noise removal keeps an ordered subset or changes nothing.
void checkLineTool(FuzzedDataProvider& in, cv::Mat& image, RotateRectROI& rect)
{
    _EdgeLineDetParam param = record(in, in.ConsumeIntegralInRange<int>(0, 7) == 0 ? nullptr : &rect);
    param.roiImage = sentinelImage();
    param.edgePoints = {{-7, -7}};
    const bool fit = in.ConsumeBool();
    const int fitMode = wildInt(in, 0, 3);

    const bool found = fit ? clcEdgeLineAndFit(image, param, fitMode) : clcLineEdgePoints(image, param);
    if (image.empty()) {
        // The record is left as it was, so the fit sees the one point put there.
        FUZZ_CHECK(!found && param.edgePoints.size() == 1);
        return;
    }
    if (fit)
        FUZZ_CHECK(found == param.success);
    else
        FUZZ_CHECK(found == !param.edgePoints.empty() && !param.success);
    if (isSentinel(param.roiImage)) {
        FUZZ_CHECK(!found && param.edgePoints.empty());
        return;
    }
    FUZZ_CHECK(param.roiImage.type() == CV_8UC1 && param.roiImage.cols == static_cast<int>(rect.width) &&
               param.roiImage.rows == static_cast<int>(rect.height));
    for (const cv::Point2d& p : param.edgePoints)
        FUZZ_CHECK(isFinite(p) && insideRectangle(rect, p, 1.0));
    if (!found || !fit)
        return;
    FUZZ_CHECK(param.edgePoints.size() >= 2 && isFiniteLine(param.line) && isUnit(param.line));
    FUZZ_CHECK(param.startEndPoints.size() == 2 && allFinite(param.startEndPoints));

    const _EdgeLineDetParam before = param;
    const double maxDistance = wildDouble(in, 5.0);
    if (!removeEdgeLineNoise(param, maxDistance)) {
        FUZZ_CHECK(sameBits(param.edgePoints, before.edgePoints) && param.line == before.line &&
                   sameBits(param.startEndPoints, before.startEndPoints));
        return;
    }
    FUZZ_CHECK(param.edgePoints.size() >= 2 && isFiniteLine(param.line) && isUnit(param.line));
    FUZZ_CHECK(isOrderedSubset(param.edgePoints, before.edgePoints));
}

cv::Vec4d wildLine(FuzzedDataProvider& in)
{
    return {wildDouble(in, 1.0), wildDouble(in, 1.0), wildDouble(in, 100.0), wildDouble(in, 100.0)};
}

void checkGeometry(FuzzedDataProvider& in)
{
    std::vector<cv::Point2f> corners(4);
    for (cv::Point2f& c : corners)
        c = {wildFloat(in, 100.0f), wildFloat(in, 100.0f)};
    std::vector<cv::Point2d> startEnd{{1, 2}, {3, 4}, {5, 6}};
    getLineStartEndPointByROI(corners, {wildDouble(in, 100.0), wildDouble(in, 100.0)}, wildLine(in), startEnd);
    FUZZ_CHECK(startEnd.empty() || startEnd.size() == 2);

    // setLineDir turns the direction round or leaves it; the point stays.
    const cv::Vec4d original = wildLine(in);
    cv::Vec4d line = original;
    const auto point = [&in] { return cv::Point2d(wildDouble(in, 100.0), wildDouble(in, 100.0)); };
    setLineDir(point(), point(), point(), point(), line);
    FUZZ_CHECK(line[2] == original[2] || (std::isnan(line[2]) && std::isnan(original[2])));
    FUZZ_CHECK(line[3] == original[3] || (std::isnan(line[3]) && std::isnan(original[3])));
    const bool same = sameValue(line[0], original[0]) && sameValue(line[1], original[1]);
    const bool turned = sameValue(line[0], -original[0]) && sameValue(line[1], -original[1]);
    FUZZ_CHECK(same || turned);

    QVector<cv::Point2d> points(in.ConsumeIntegralInRange<int>(0, 6));
    for (cv::Point2d& p : points)
        p = point();
    cv::Point2d leftTop(-7, -7), rightBottom(-7, -7);
    findLtPointAndRbPoint(points, leftTop, rightBottom);
    if (points.isEmpty()) {
        FUZZ_CHECK(leftTop == cv::Point2d(-7, -7) && rightBottom == cv::Point2d(-7, -7));
    } else {
        const auto member = [&](const cv::Point2d& p) {
            return std::any_of(points.begin(), points.end(), [&](const cv::Point2d& q) {
                return sameValue(p.x, q.x) && sameValue(p.y, q.y);
            });
        };
        FUZZ_CHECK(member(leftTop) && member(rightBottom));
    }
}

// The central line of two records: true with a finite direction, or nothing written.
void checkCentralLine(FuzzedDataProvider& in)
{
    _EdgeLineDetParam first, second, central;
    first.line = wildLine(in);
    second.line = wildLine(in);
    for (_EdgeLineDetParam* p : {&first, &second})
        for (int k = in.ConsumeIntegralInRange<int>(0, 3); k > 0; --k)
            p->startEndPoints.emplace_back(wildDouble(in, 100.0), wildDouble(in, 100.0));
    central.line = cv::Vec4d(7, 7, 7, 7);
    const bool found = findLineLineCentralLine(first, second, central, in.ConsumeBool());
    FUZZ_CHECK(found == central.success);
    if (!found) {
        FUZZ_CHECK(central.line == cv::Vec4d(7, 7, 7, 7) && central.startEndPoints.empty());
        return;
    }
    // The direction is not normalised (parallel lines keep the first line's as it is).
    FUZZ_CHECK(std::isfinite(central.line[0]) && std::isfinite(central.line[1]) &&
               (central.line[0] != 0 || central.line[1] != 0));
    FUZZ_CHECK(central.startEndPoints.size() == 2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    RotateRectROI rect = rotateRect(in, kImageSide);
    cv::Mat image = fuzz_support::image(in, kImageSide, true);
    runOneOf(in, image, {[&] { checkLineTool(in, image, rect); }, [&] { checkGeometry(in); },
                         [&] { checkCentralLine(in); }});
    return 0;
}
