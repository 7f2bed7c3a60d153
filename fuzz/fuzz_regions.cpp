// The region operators on random binary images, and the contour-layer helpers on random
// (also malformed) hierarchies and layers.

#include "FuzzSupport.h"

#include <RegionOperators.h>

#include <opencv2/imgproc.hpp>

#include <numeric>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 40;

using Contours = std::vector<std::vector<cv::Point>>;

QVector<ContourLayer> allLayers(const cv::Mat& image)
{
    Contours contours;
    std::vector<cv::Vec4i> hierarchy;
    cv::findContours(image, contours, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_NONE);
    QVector<ContourLayer> layers;
    groupingContours(contours, hierarchy, layers);
    return layers;
}

cv::Mat painted(const QList<ContourLayer>& layers, cv::Size size)
{
    cv::Mat image = cv::Mat::zeros(size, CV_8UC1);
    for (const ContourLayer& layer : layers)
        getLayerMat_CCOMP(layer, image);
    return image;
}

bool isPermutation(std::vector<int> order, size_t n)
{
    std::sort(order.begin(), order.end());
    std::vector<int> identity(n);
    std::iota(identity.begin(), identity.end(), 0);
    return order == identity;
}

// Regions are disjoint parts of the image, one per top-level contour (islands in holes
// are regions of their own).
void checkConnection(const cv::Mat& src)
{
    std::vector<cv::Mat> regions(2, cv::Mat(3, 3, CV_8UC1)); // replaced, not appended to
    connection(src, regions);
    FUZZ_CHECK(static_cast<int>(regions.size()) == allLayers(src).size());
    cv::Mat all = cv::Mat::zeros(src.size(), CV_8UC1);
    int pixels = 0;
    for (const cv::Mat& region : regions) {
        FUZZ_CHECK(region.type() == CV_8UC1 && region.size() == src.size() && isBinary(region));
        FUZZ_CHECK(isSubset(region, src));
        pixels += cv::countNonZero(region);
        all |= region;
    }
    FUZZ_CHECK(cv::countNonZero(all) == pixels);
}

// The painted selection is exactly the returned regions, painted; both lie within src.
void checkSelection(FuzzedDataProvider& in, const cv::Mat& src)
{
    QVector<SelectShapeInfo> criteria;
    const int count = in.ConsumeIntegralInRange<int>(0, 4);
    for (int i = 0; i < count; ++i)
        criteria.append({static_cast<ShapeFeature>(wildInt(in, -1, 12)), wildDouble(in, 500.0), wildDouble(in, 500.0)});
    const auto operation = static_cast<SelectOperation>(wildInt(in, 0, 2));
    cv::Mat selected = sentinelImage();
    const QList<ContourLayer> kept = select_shape(src, selected, criteria, operation);
    if (criteria.isEmpty()) {
        FUZZ_CHECK(kept.isEmpty() && isSentinel(selected));
        return;
    }
    FUZZ_CHECK(kept.size() <= allLayers(src).size());
    if (operation != And && operation != Or)
        FUZZ_CHECK(kept.isEmpty());
    FUZZ_CHECK(selected.type() == CV_8UC1 && selected.size() == src.size() && isBinary(selected));
    FUZZ_CHECK(isSubset(selected, src));
    FUZZ_CHECK(cv::norm(selected, painted(kept, src.size()), cv::NORM_INF) == 0);
    for (const ContourLayer& layer : kept)
        FUZZ_CHECK(std::isfinite(getContourArea(layer)));
}

void checkLargest(const cv::Mat& src)
{
    double largestArea = 0;
    for (const ContourLayer& layer : allLayers(src))
        largestArea = std::max(largestArea, getContourArea(layer));
    cv::Mat largest = sentinelImage();
    const bool found = select_max_region(src, largest);
    FUZZ_CHECK(found == (largestArea > 0));
    if (!found) {
        FUZZ_CHECK(isSentinel(largest));
        return;
    }
    FUZZ_CHECK(largest.size() == src.size() && isBinary(largest) && isSubset(largest, src));
}

// Whatever happens, the order is a permutation of the regions.
void checkSort(FuzzedDataProvider& in, const cv::Mat& src)
{
    QVector<ContourLayer> layers = allLayers(src);
    if (!layers.isEmpty() && in.ConsumeIntegralInRange<int>(0, 7) == 0)
        layers[in.ConsumeIntegralInRange<int>(0, layers.size() - 1)].outerIndex = wildInt(in, -1, 100);
    const QList<ContourLayer> regions = layers.toList();
    std::vector<int> order{42};
    sort_region(src, regions, order, static_cast<SortCriterion>(wildInt(in, -1, 6)),
                static_cast<SortOrder>(wildInt(in, 0, 1)), static_cast<SortDirection>(wildInt(in, 0, 1)));
    FUZZ_CHECK(isPermutation(order, regions.size()));
}

void checkTransforms(FuzzedDataProvider& in, const cv::Mat& src)
{
    const auto type = static_cast<ShapeTransType>(wildInt(in, -1, 3));
    cv::Mat shapes;
    shape_trans(src, shapes, type);
    FUZZ_CHECK(shapes.type() == CV_8UC1 && shapes.size() == src.size() && isBinary(shapes));
    if (type == BoundingRectangle || type == ConvexHull)
        FUZZ_CHECK(isSubset(src, shapes));
    else if (type != EnclosingCircle)
        FUZZ_CHECK(cv::countNonZero(shapes) == 0);

    cv::Mat filled, refilled;
    fill_up(src, filled);
    FUZZ_CHECK(filled.type() == CV_8UC1 && filled.size() == src.size() && isBinary(filled));
    FUZZ_CHECK(isSubset(src, filled));
    fill_up(filled, refilled);
    FUZZ_CHECK(cv::norm(filled, refilled, cv::NORM_INF) == 0);

    int area = -1;
    cv::Point2f centre(-1, -1);
    area_center(src, area, centre);
    FUZZ_CHECK(area == cv::countNonZero(src));
    if (area > 0)
        FUZZ_CHECK(centre.x >= 0 && centre.x <= src.cols - 1 && centre.y >= 0 && centre.y <= src.rows - 1);

    // Thinning only removes pixels, never on the border.
    cv::Mat thin;
    cvThin(src, thin, wildInt(in, -1, 6));
    FUZZ_CHECK(thin.size() == src.size() && isSubset(thin, src) && isBinary(thin));
    cv::Mat border = src.clone();
    border(cv::Rect(1, 1, std::max(0, src.cols - 2), std::max(0, src.rows - 2))).setTo(0);
    FUZZ_CHECK(isSubset(border, thin));

    cv::Mat labels;
    const int labelCount = cv::connectedComponents(src, labels, 8, CV_32S);
    const int label = in.ConsumeIntegralInRange<int>(-1, labelCount);
    double m00, m10, m01, m20, m11, m02;
    connectedMoments(labels, label, m00, m10, m01, m20, m11, m02);
    FUZZ_CHECK(m00 == cv::countNonZero(labels == label));
    FUZZ_CHECK(m00 == 0 || (m10 >= 0 && m01 >= 0 && m20 >= m10 && m02 >= m01));
}

// Hierarchies with cycles, dangling links and out-of-range layer indexes must neither
// loop nor read outside the contour list.
void checkMalformedLayers(FuzzedDataProvider& in)
{
    const int n = in.ConsumeIntegralInRange<int>(0, 12);
    std::vector<cv::Vec4i> hierarchy(n);
    Contours contours(n);
    for (int i = 0; i < n; ++i) {
        hierarchy[i] = cv::Vec4i(wildInt(in, -1, n), wildInt(in, -1, n), wildInt(in, -1, n), wildInt(in, -1, n));
        const int points = in.ConsumeIntegralInRange<int>(0, 6);
        for (int k = 0; k < points; ++k)
            contours[i].emplace_back(in.ConsumeIntegralInRange<int>(-5, 45), in.ConsumeIntegralInRange<int>(-5, 45));
    }
    const QVector<int> outermost = getOutermostIndexs(hierarchy);
    FUZZ_CHECK(std::is_sorted(outermost.begin(), outermost.end()));
    for (int index : outermost)
        FUZZ_CHECK(index >= 0 && index < n && hierarchy[index][3] == -1);

    QVector<int> outer, holes;
    groupIndex(wildInt(in, -1, n), hierarchy, in.ConsumeBool(), outer, holes);
    FUZZ_CHECK(outer.size() + holes.size() <= n);

    QVector<ContourLayer> layers{ContourLayer{}};
    groupingContours(contours, hierarchy, layers);
    FUZZ_CHECK(layers.size() == outermost.size());

    ContourLayer layer;
    layer.contours = contours;
    layer.outerIndex = wildInt(in, -1, n);
    layer.outerIndexes = {layer.outerIndex};
    for (int k = in.ConsumeIntegralInRange<int>(0, 3); k > 0; --k)
        layer.holeIndexes.append(wildInt(in, -1, n));
    const double area = getContourArea(layer);
    const cv::Point2d focus = getContourFocus(layer);
    cv::Mat image = cv::Mat::zeros(kImageSide, kImageSide, CV_8UC1);
    getLayerMat_CCOMP(layer, image);
    FUZZ_CHECK(std::isfinite(area) && isFinite(focus) && isBinary(image));
    const auto outside = [n](int index) { return index < 0 || index >= n; };
    if (outside(layer.outerIndex) || std::any_of(layer.holeIndexes.begin(), layer.holeIndexes.end(), outside))
        FUZZ_CHECK(area == 0 && focus == cv::Point2d(0, 0) && cv::countNonZero(image) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const cv::Mat src = maybeView(in, binaryImage(in, kImageSide));
    const cv::Mat before = src.clone();
    checkConnection(src);
    checkSelection(in, src);
    checkLargest(src);
    checkSort(in, src);
    checkTransforms(in, src);
    checkMalformedLayers(in);
    FUZZ_CHECK(cv::norm(src, before, cv::NORM_INF) == 0);
    return 0;
}
