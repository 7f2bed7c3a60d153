#include "RegionOperators.h"

#include "RegionSupport_p.h"
#include "ThreadHandoff_p.h"

#include <QtConcurrent/QtConcurrentFilter>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <functional>
#include <iterator>
#include <numeric>
#include <utility>

using namespace region_support;

namespace {

enum class Verdict { Pass, Fail, Skipped };

// Rotated-box angle of the longer side: the box angle turns the width side, so a taller
// box is turned by 90 degrees, folded back into [0, 180).
float longerSideAngle(const cv::RotatedRect& box)
{
    float angle = box.angle;
    if (box.size.height > box.size.width) {
        angle = angle - 90.0f;
        if (angle < 0)
            angle = angle + 180.0f;
    }
    return angle;
}

float halfSide(const cv::Size2f& size, bool longer)
{
    return (longer ? std::max(size.width, size.height) : std::min(size.width, size.height)) * 0.5f;
}

Verdict judge(const SelectShapeInfo& criterion, const Contours& contours, const LayerIndexes& layer)
{
    const double lo = std::min(criterion.min, criterion.max);
    const double hi = std::max(criterion.min, criterion.max);
    const auto inRange = [lo, hi](double value) { return lo <= value && value <= hi ? Verdict::Pass : Verdict::Fail; };
    const std::vector<cv::Point>& outer = contours[layer.outerIndex];

    switch (criterion.feature) {
    case Area:
        // The outer outline alone must fit before the holes are taken off.
        if (inRange(cv::contourArea(outer, false)) == Verdict::Fail)
            return Verdict::Fail;
        return inRange(layerArea(contours, layer));
    case Rectangularity: {
        const cv::RotatedRect box = cv::minAreaRect(outer);
        const float boxArea = box.size.width * box.size.height;
        if (boxArea == 0)
            return Verdict::Skipped;
        return inRange(layerArea(contours, layer) / boxArea);
    }
    case Width:
        return inRange(cv::boundingRect(outer).width);
    case Height:
        return inRange(cv::boundingRect(outer).height);
    case CentroidRow:
        return inRange(layerFocus(contours, layer).y);
    case CentroidColumn:
        return inRange(layerFocus(contours, layer).x);
    case RectHalfLength:
    case RectHalfWidth:
        return inRange(halfSide(cv::minAreaRect(outer).size, criterion.feature == RectHalfLength));
    case RectAngle:
        return inRange(longerSideAngle(cv::minAreaRect(outer)));
    case EllipseSemiMajor:
    case EllipseSemiMinor:
    case EllipseAngle: {
        if (outer.size() < 5)
            return Verdict::Fail;
        const cv::RotatedRect ellipse = cv::fitEllipse(outer);
        if (criterion.feature == EllipseAngle)
            return inRange(longerSideAngle(ellipse));
        return inRange(halfSide(ellipse.size, criterion.feature == EllipseSemiMajor));
    }
    }
    return Verdict::Skipped;
}

// Every criterion is judged (no early exit). And keeps a region no criterion failed; Or
// keeps one that some criterion passed; other operations keep nothing.
bool keeps(bool allPass, bool anyPass, SelectOperation operation)
{
    if (allPass && operation == And)
        return true;
    return anyPass && operation == Or;
}

// Region numbers 0, 1, 2, ... held by the iterator itself, so that the pool reads no buffer
// of ours after the predicate has returned, which the thread sanitizer could not order.
class RegionNumber {
public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = int;
    using difference_type = int;
    using pointer = const int*;
    using reference = const int&;

    explicit RegionNumber(int number) : number_(number) {}
    const int& operator*() const { return number_; }
    RegionNumber& operator++()
    {
        ++number_;
        return *this;
    }
    RegionNumber& operator--()
    {
        --number_;
        return *this;
    }
    RegionNumber& operator+=(int n)
    {
        number_ += n;
        return *this;
    }
    int operator-(const RegionNumber& other) const { return number_ - other.number_; }
    bool operator==(const RegionNumber& other) const { return number_ == other.number_; }
    bool operator!=(const RegionNumber& other) const { return number_ != other.number_; }

private:
    int number_;
};

// The filter predicate, over region numbers. It reads the shared layers and contour list,
// which nobody writes while the filter runs.
struct ShapeFilter : thread_handoff::HandOff {
    using result_type = bool;

    const RegionSet* regions;
    QVector<SelectShapeInfo> criteria;
    SelectOperation operation;

    bool operator()(int region) const
    {
        workerStarts();
        const LayerIndexes& layer = regions->layers[region];
        bool allPass = true, anyPass = false;
        for (const SelectShapeInfo& criterion : criteria) {
            const Verdict verdict = judge(criterion, regions->contours, layer);
            if (verdict == Verdict::Fail)
                allPass = false;
            else if (verdict == Verdict::Pass)
                anyPass = true;
        }
        const bool kept = keeps(allPass, anyPass, operation);
        workerEnds();
        return kept;
    }
};

// Paints the layers into a fresh image. Each layer is painted alone and ORed in, so the
// holes of one region never cut into another; the work is limited to each bounding box.
cv::Mat paintLayers(const Contours& contours, const QList<LayerIndexes>& layers, cv::Size size)
{
    cv::Mat painted = freshZeros(size);
    cv::Mat scratch(size, CV_8UC1);
    const cv::Rect image(cv::Point(0, 0), size);
    for (const LayerIndexes& layer : layers) {
        const cv::Rect box = cv::boundingRect(contours[layer.outerIndex]) & image;
        cv::Mat view = scratch(box);
        view.setTo(0);
        paintLayer(contours, layer, view, -box.tl());
        cv::Mat target = painted(box);
        cv::bitwise_or(target, view, target);
    }
    return painted;
}

// A row or column outside the image counts as unset, so boxes touching the bottom or right
// border never read beyond it.
bool isSet(const cv::Mat& image, int row, int column)
{
    return row >= 0 && row < image.rows && column >= 0 && column < image.cols && image.ptr<uchar>(row)[column] != 0;
}

bool referencePoint(const cv::Mat& image, const cv::Rect& r, SortCriterion criterion, cv::Point& point)
{
    const int right = r.x + r.width;
    const int bottom = r.y + r.height;
    switch (criterion) {
    case FirstPoint:
        if (!isGrey8(image))
            return false;
        for (int c = r.x; c <= right; ++c)
            if (isSet(image, r.y, c)) {
                point = {c, r.y};
                return true;
            }
        return false;
    case LastPoint:
        if (!isGrey8(image))
            return false;
        for (int c = right; c >= r.x; --c)
            if (isSet(image, bottom, c)) {
                point = {c, bottom};
                return true;
            }
        return false;
    case UpperLeft:
        point = {r.x, r.y};
        return true;
    case UpperRight:
        point = {right, r.y};
        return true;
    case LowerLeft:
        point = {r.x, bottom};
        return true;
    case LowerRight:
        point = {right, bottom};
        return true;
    }
    return false;
}

} // namespace

void connection(cv::Mat image, std::vector<cv::Mat>& regions)
{
    regions.clear();
    if (!isSingleChannel(image))
        return;
    const RegionSet found = findRegions(image);
    regions.resize(found.layers.size());
    for (int i = 0; i < found.layers.size(); ++i) {
        regions[i] = freshZeros(image.size());
        paintLayer(found.contours, found.layers[i], regions[i]);
    }
}

QList<ContourLayer> select_shape(cv::Mat image, cv::Mat& selected, QVector<SelectShapeInfo> criteria,
                                 SelectOperation operation)
{
    QList<ContourLayer> result;
    if (!isSingleChannel(image) || criteria.isEmpty())
        return result;
    const RegionSet found = findRegions(image);

    // The pool takes the filter by reference and filters region numbers, so that its
    // workers read nothing of ours written after the hand-off and its results are numbers.
    const ShapeFilter filter{{}, &found, criteria, operation};
    filter.callerStarts();
    QFuture<int> filtering =
        QtConcurrent::filtered(RegionNumber(0), RegionNumber(found.layers.size()), std::cref(filter));
    filtering.waitForFinished();
    filter.callerResumes();
    QList<LayerIndexes> kept;
    for (int region : filtering.results())
        kept.append(found.layers[region]);

    selected = paintLayers(found.contours, kept, image.size());
    result.reserve(kept.size());
    for (const LayerIndexes& layer : kept)
        appendContourLayer(result, found.contours, layer);
    return result;
}

bool select_max_region(cv::Mat image, cv::Mat& largest)
{
    if (!isSingleChannel(image))
        return false;
    const RegionSet found = findRegions(image);
    int best = -1;
    double bestArea = 0;
    for (int i = 0; i < found.layers.size(); ++i) {
        const double area = layerArea(found.contours, found.layers[i]);
        if (area > bestArea) {
            bestArea = area;
            best = i;
        }
    }
    if (best < 0)
        return false;
    largest = freshZeros(image.size());
    paintLayer(found.contours, found.layers[best], largest);
    return true;
}

bool sort_region(cv::Mat image, const QList<ContourLayer>& regions, std::vector<int>& order, SortCriterion criterion,
                 SortOrder sortOrder, SortDirection direction)
{
    order.resize(regions.size());
    std::iota(order.begin(), order.end(), 0);
    std::vector<cv::Point> keys;
    keys.reserve(regions.size());
    for (const ContourLayer& region : regions) {
        const int n = static_cast<int>(region.contours.size());
        if (region.outerIndex < 0 || region.outerIndex >= n || region.contours[region.outerIndex].empty())
            return false;
        cv::Point key;
        if (!referencePoint(image, cv::boundingRect(region.contours[region.outerIndex]), criterion, key))
            return false;
        keys.push_back(key);
    }

    const bool byRow = direction == ByRow;
    const bool ascending = sortOrder == Ascending;
    const auto rank = [byRow](const cv::Point& p) {
        return byRow ? std::make_pair(p.y, p.x) : std::make_pair(p.x, p.y);
    };
    std::sort(order.begin(), order.end(),
              [&](int a, int b) { return ascending ? rank(keys[a]) < rank(keys[b]) : rank(keys[b]) < rank(keys[a]); });
    return true;
}
