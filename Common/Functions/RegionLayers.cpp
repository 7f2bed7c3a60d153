#include "RegionOperators.h"

#include "Contract_p.h"
#include "RegionSupport_p.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <climits>
#include <utility>

using namespace region_support;

namespace {

// Children of every contour in ascending index order, so that a depth-first walk visits
// them in the order a scan of the whole hierarchy per contour would, at linear cost.
class ChildLists {
public:
    explicit ChildLists(const std::vector<cv::Vec4i>& hierarchy) : start_(hierarchy.size() + 1, 0)
    {
        const int n = static_cast<int>(hierarchy.size());
        for (const cv::Vec4i& h : hierarchy)
            if (h[3] >= 0 && h[3] < n)
                ++start_[h[3] + 1];
        for (int i = 0; i < n; ++i)
            start_[i + 1] += start_[i];
        children_.resize(start_[n]);
        std::vector<int> next(start_.begin(), start_.end() - 1);
        for (int i = 0; i < n; ++i) {
            const int parent = hierarchy[i][3];
            if (parent >= 0 && parent < n)
                children_[next[parent]++] = i;
        }
    }

    const int* begin(int parent) const { return children_.data() + start_[parent]; }
    const int* end(int parent) const { return children_.data() + start_[parent + 1]; }

private:
    std::vector<int> start_;
    std::vector<int> children_;
};

// Appends root and its subtree depth first, each child's subtree before its next sibling,
// alternating between solid boundaries and holes. visited keeps a malformed (cyclic)
// hierarchy from looping; in a tree it never stops anything.
void appendSubtree(int root, bool rootIsOuter, const ChildLists& children, std::vector<char>& visited,
                   QVector<int>& outerIndexes, QVector<int>& holeIndexes)
{
    std::vector<std::pair<int, bool>> pending{{root, rootIsOuter}};
    while (!pending.empty()) {
        const auto [index, isOuter] = pending.back();
        pending.pop_back();
        if (visited[index])
            continue;
        visited[index] = 1;
        (isOuter ? outerIndexes : holeIndexes).append(index);
        for (const int* child = children.end(index); child != children.begin(index);)
            pending.emplace_back(*--child, !isOuter);
    }
}

// The area and centroid of a layer are sums over its contours, holes counted negative.
template <typename PerContour> void forEachSignedContour(const LayerIndexes& layer, PerContour perContour)
{
    for (int i : layer.outerIndexes)
        perContour(i, 1.0);
    for (int h : layer.holeIndexes)
        perContour(h, -1.0);
}

} // namespace

namespace region_support {

LayerIndexes indexesOf(const ContourLayer& layer)
{
    return {layer.outerIndex, layer.outerIndexes, layer.holeIndexes};
}

bool indexesFit(const Contours& contours, const LayerIndexes& layer)
{
    const int n = static_cast<int>(contours.size());
    const auto fits = [n](int i) { return i >= 0 && i < n; };
    return fits(layer.outerIndex) && std::all_of(layer.outerIndexes.begin(), layer.outerIndexes.end(), fits) &&
           std::all_of(layer.holeIndexes.begin(), layer.holeIndexes.end(), fits);
}

QVector<LayerIndexes> groupHierarchy(const std::vector<cv::Vec4i>& hierarchy)
{
    const ChildLists children(hierarchy);
    std::vector<char> visited(hierarchy.size(), 0);
    QVector<LayerIndexes> layers;
    for (int top : getOutermostIndexs(hierarchy)) {
        LayerIndexes layer;
        layer.outerIndex = top;
        appendSubtree(top, true, children, visited, layer.outerIndexes, layer.holeIndexes);
        layers.append(layer);
    }
    return layers;
}

RegionSet findRegions(const cv::Mat& image)
{
    RegionSet regions;
    std::vector<cv::Vec4i> hierarchy;
    cv::findContours(image, regions.contours, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_NONE);
    regions.layers = groupHierarchy(hierarchy);
    return regions;
}

double layerArea(const Contours& contours, const LayerIndexes& layer)
{
    FUNCTIONS_ASSERT(indexesFit(contours, layer));
    double area = 0;
    forEachSignedContour(layer, [&](int i, double sign) {
        if (!contours[i].empty())
            area += sign * cv::contourArea(contours[i], false);
    });
    return area;
}

cv::Point2d layerFocus(const Contours& contours, const LayerIndexes& layer)
{
    FUNCTIONS_ASSERT(indexesFit(contours, layer));
    double m00 = 0, m10 = 0, m01 = 0;
    forEachSignedContour(layer, [&](int i, double sign) {
        const cv::Moments m = cv::moments(contours[i], false);
        m00 += sign * m.m00;
        m10 += sign * m.m10;
        m01 += sign * m.m01;
    });
    // A NaN sum is not 0 and divides through, as the moments say.
    if (m00 == 0)
        return {0, 0};
    return {m10 / m00, m01 / m00};
}

void paintLayer(const Contours& contours, const LayerIndexes& layer, cv::Mat& image, cv::Point offset)
{
    FUNCTIONS_ASSERT(indexesFit(contours, layer));
    const auto fill = [&](int i, double value) {
        if (!contours[i].empty())
            cv::drawContours(image, contours, i, cv::Scalar(value), cv::FILLED, cv::LINE_8, cv::noArray(), INT_MAX,
                             offset);
    };
    fill(layer.outerIndex, 255);
    for (int h : layer.holeIndexes)
        fill(h, 0);
}

} // namespace region_support

QVector<int> getOutermostIndexs(const std::vector<cv::Vec4i>& hierarchy)
{
    QVector<int> tops;
    for (int i = 0; i < static_cast<int>(hierarchy.size()); ++i)
        if (hierarchy[i][3] == -1)
            tops.append(i);
    return tops;
}

void groupIndex(int parent, const std::vector<cv::Vec4i>& hierarchy, bool asOuter, QVector<int>& outerIndexes,
                QVector<int>& holeIndexes)
{
    const ChildLists children(hierarchy);
    std::vector<char> visited(hierarchy.size(), 0);
    if (parent >= 0 && parent < static_cast<int>(hierarchy.size()))
        visited[parent] = 1;
    // The first level matches any parent value, even one that is not a contour index.
    for (int i = 0; i < static_cast<int>(hierarchy.size()); ++i)
        if (hierarchy[i][3] == parent)
            appendSubtree(i, asOuter, children, visited, outerIndexes, holeIndexes);
}

void groupingContours(const std::vector<std::vector<cv::Point>>& contours, const std::vector<cv::Vec4i>& hierarchy,
                      QVector<ContourLayer>& layers)
{
    layers.clear();
    for (const LayerIndexes& layer : groupHierarchy(hierarchy))
        appendContourLayer(layers, contours, layer);
}

void getLayerMat_CCOMP(const ContourLayer& layer, cv::Mat& image)
{
    const LayerIndexes indexes = indexesOf(layer);
    if (indexesFit(layer.contours, indexes))
        paintLayer(layer.contours, indexes, image);
}

double getContourArea(const ContourLayer& layer)
{
    const LayerIndexes indexes = indexesOf(layer);
    return indexesFit(layer.contours, indexes) ? layerArea(layer.contours, indexes) : 0.0;
}

cv::Point_<double> getContourFocus(const ContourLayer& layer)
{
    const LayerIndexes indexes = indexesOf(layer);
    return indexesFit(layer.contours, indexes) ? layerFocus(layer.contours, indexes) : cv::Point2d(0, 0);
}
