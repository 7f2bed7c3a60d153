#pragma once

// Helpers shared by the region operators; internal to the library (not installed).

#include "FunctionsDef.h"

#include <QVector>
#include <opencv2/core.hpp>

#include <algorithm>
#include <vector>

namespace region_support {

using Contours = std::vector<std::vector<cv::Point>>;

/// Stripes for cv::parallel_for_: one per usable worker, never more than the range holds.
inline int stripeCount(int rangeLength)
{
    const int workers = std::max(1, std::min(cv::getNumberOfCPUs(), cv::getNumThreads()));
    return std::min(rangeLength, workers);
}

/// A newly allocated all-0 8-bit image. Assigning it replaces an output instead of
/// clearing the output's pixels in place, which may be an input's pixels or a view into
/// a larger image.
inline cv::Mat freshZeros(cv::Size size)
{
    return cv::Mat(size, CV_8UC1, cv::Scalar(0));
}

/// Non-empty, 8-bit, one channel.
inline bool isGrey8(const cv::Mat& image)
{
    return !image.empty() && image.type() == CV_8UC1;
}

/// Empty, or 8-bit single-channel of the given size: an optional mask.
inline bool isOptionalGrey8Of(const cv::Mat& mask, cv::Size size)
{
    return mask.empty() || (mask.type() == CV_8UC1 && mask.size() == size);
}

/// Non-empty with one channel: what the region operators hand to the contour finder.
inline bool isSingleChannel(const cv::Mat& image)
{
    return !image.empty() && image.channels() == 1;
}

/// The index lists of one region without the contour list a ContourLayer carries, so that
/// internal operators can work on many regions without copying that list per region.
struct LayerIndexes {
    int outerIndex = 0;
    QVector<int> outerIndexes;
    QVector<int> holeIndexes;
};

/// The index lists of a public layer (the vectors are shared, not copied).
LayerIndexes indexesOf(const ContourLayer& layer);

/// True when every index of the layer points into contours.
bool indexesFit(const Contours& contours, const LayerIndexes& layer);

/// One layer per top-level contour, as groupingContours makes them, without contour lists.
QVector<LayerIndexes> groupHierarchy(const std::vector<cv::Vec4i>& hierarchy);

/// The regions of a region image: its contours (two-level hierarchy, every boundary
/// pixel) grouped per region.
struct RegionSet {
    Contours contours;
    QVector<LayerIndexes> layers;
};
RegionSet findRegions(const cv::Mat& image);

/// Appends a public layer: the index lists with a full copy of contours. The copy is made
/// in place, since copying a layer copies its whole contour list.
template <typename LayerList>
void appendContourLayer(LayerList& layers, const Contours& contours, const LayerIndexes& layer)
{
    layers.append(ContourLayer{layer.outerIndex, layer.outerIndexes, layer.holeIndexes, {}});
    layers.last().contours = contours;
}

// The following trust the indexes (see indexesFit). An empty contour, found only in layers
// a caller made, encloses nothing (OpenCV would refuse it).

/// Polygon area of the solid boundaries minus the holes.
double layerArea(const Contours& contours, const LayerIndexes& layer);

/// Centroid of the solid boundaries minus the holes; (0, 0) for a net zero area.
cv::Point2d layerFocus(const Contours& contours, const LayerIndexes& layer);

/// Paints the outer contour filled with 255, then the holes with 0. offset is added to
/// every point, so a layer can be painted into a view of its bounding box.
void paintLayer(const Contours& contours, const LayerIndexes& layer, cv::Mat& image, cv::Point offset = {});

} // namespace region_support
