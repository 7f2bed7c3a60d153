// Demo step: the region operators on the scene's blobs. The blob area is thresholded,
// split into regions, the rectangles are selected by area and rectangularity and sorted
// left to right, and their areas and centroids are compared with the drawn shapes.

#include "Demo.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <string>

namespace demo {
namespace {

constexpr double kPi = 3.141592653589793;

// The part of the scene holding the blobs, clear of the plate, the text and the grid.
const cv::Rect kBlobArea(20, 640, 680, 300);

// Pixel counts of a shape thresholded halfway between its grey and the background differ
// from its true area by edge noise: allow 1 % of the area.
constexpr double kAreaTolerance = 0.01;
// Polygon centroids of shapes this size land within a few hundredths of a pixel.
constexpr double kCentroidTolerance = 0.25;

int pixelArea(const cv::Mat& region, cv::Point2f* centre = nullptr)
{
    int area = 0;
    cv::Point2f c;
    area_center(region, area, c);
    if (centre)
        *centre = c;
    return area;
}

double leftmostX(const RotatedBox& box)
{
    const double t = box.angle * kPi / 180.0;
    return box.centre.x - 0.5 * (box.width * std::abs(std::cos(t)) + box.height * std::abs(std::sin(t)));
}

cv::Mat paintedRegion(const ContourLayer& layer, cv::Size size)
{
    cv::Mat region = cv::Mat::zeros(size, CV_8UC1);
    getLayerMat_CCOMP(layer, region);
    return region;
}

void drawOutline(cv::Mat& canvas, const ContourLayer& layer, const cv::Scalar& colour)
{
    cv::drawContours(canvas, layer.contours, layer.outerIndex, colour, 1, cv::LINE_8);
    for (int h : layer.holeIndexes)
        cv::drawContours(canvas, layer.contours, h, colour, 1, cv::LINE_8);
}

void runRegions(Context& context)
{
    const SceneTruth& truth = context.truth();
    const cv::Mat& image = context.image();
    const cv::Size size = image.size();

    cv::Mat mask = cv::Mat::zeros(size, CV_8UC1);
    mask(kBlobArea).setTo(255);
    const int cut = static_cast<int>(std::lround((truth.background + truth.blobValue) * 0.5));
    cv::Mat regions;
    threshold_min_max(image, regions, cut, 255, mask);

    std::vector<cv::Mat> parts;
    connection(regions, parts);
    const size_t blobCount = truth.blobRects.size() + truth.blobDiscs.size() + 1;
    context.report("connection", "regions in blob area", static_cast<double>(blobCount),
                   static_cast<double>(parts.size()), 0);

    // Rectangles: large enough and filling their minimum-area rectangle. The discs fill
    // about pi / 4 of theirs, the ring less, the small disc is too small.
    const QVector<SelectShapeInfo> criteria{{Area, 1500, 20000}, {Rectangularity, 0.85, 1.05}};
    cv::Mat selected;
    const QList<ContourLayer> kept = select_shape(regions, selected, criteria, And);
    context.report("select_shape", "rectangles kept", static_cast<double>(truth.blobRects.size()),
                   static_cast<double>(kept.size()), 0);

    std::vector<int> order;
    const bool sorted = sort_region(regions, kept, order, UpperLeft, Ascending, ByColumn);
    std::vector<RotatedBox> expected = truth.blobRects;
    std::sort(expected.begin(), expected.end(),
              [](const RotatedBox& a, const RotatedBox& b) { return leftmostX(a) < leftmostX(b); });

    std::vector<cv::Point2d> centroids;
    for (size_t k = 0; k < order.size() && k < expected.size(); ++k) {
        const ContourLayer& layer = kept[order[k]];
        const RotatedBox& box = expected[k];
        const std::string name = "sorted rect " + std::to_string(k + 1);
        const double trueArea = box.width * box.height;
        context.report("area_center", name + " area (px2)", trueArea, pixelArea(paintedRegion(layer, size)),
                       kAreaTolerance * trueArea, sorted);
        const cv::Point2d c = getContourFocus(layer);
        centroids.push_back(c);
        context.report("getContourFocus", name + " x (px)", box.centre.x, c.x, kCentroidTolerance, sorted);
        context.report("getContourFocus", name + " y (px)", box.centre.y, c.y, kCentroidTolerance, sorted);
    }

    // The ring: fill_up closes its hole; its own pixels are the thresholded ones inside
    // that outline. (Its connection image is smaller by the pixels along the hole's
    // outline, which painting a hole clears.)
    const Disc& ring = truth.ringBlob;
    const double hole = truth.ringBlobHoleRadius;
    const cv::Point onRing(static_cast<int>(ring.centre.x + 0.5 * (ring.radius + hole)),
                           static_cast<int>(ring.centre.y));
    const auto ringPart =
        std::find_if(parts.begin(), parts.end(), [&](const cv::Mat& p) { return p.at<uchar>(onRing) != 0; });
    const bool ringFound = ringPart != parts.end();
    cv::Mat filled;
    if (ringFound)
        fill_up(*ringPart, filled);
    const double discArea = kPi * ring.radius * ring.radius;
    context.report("fill_up", "filled ring area (px2)", discArea, ringFound ? pixelArea(filled) : 0,
                   kAreaTolerance * discArea, ringFound);
    cv::Point2f ringCentre;
    const int ringArea = ringFound ? pixelArea(regions & filled, &ringCentre) : 0;
    const double ringTrueArea = kPi * (ring.radius * ring.radius - hole * hole);
    context.report("area_center", "ring area (px2)", ringTrueArea, ringArea, kAreaTolerance * ringTrueArea, ringFound);
    context.report("area_center", "ring x (px)", ring.centre.x, ringCentre.x, kCentroidTolerance, ringFound);
    context.report("area_center", "ring y (px)", ring.centre.y, ringCentre.y, kCentroidTolerance, ringFound);

    cv::Mat largest;
    const bool hasLargest = select_max_region(regions, largest);
    const auto byArea = [](const RotatedBox& a, const RotatedBox& b) {
        return a.width * a.height < b.width * b.height;
    };
    const RotatedBox& biggest = *std::max_element(truth.blobRects.begin(), truth.blobRects.end(), byArea);
    const double biggestArea = biggest.width * biggest.height;
    context.report("select_max_region", "largest area (px2)", biggestArea, hasLargest ? pixelArea(largest) : 0,
                   kAreaTolerance * biggestArea, hasLargest);

    // Pictures: every region outlined, the kept ones in the result colour with their rank.
    std::vector<std::vector<cv::Point>> outlines;
    cv::findContours(regions, outlines, cv::RETR_CCOMP, cv::CHAIN_APPROX_NONE);
    cv::Mat picture = context.annotationCanvas();
    for (cv::Mat* canvas : {&picture, &context.overview()}) {
        cv::rectangle(*canvas, kBlobArea, kRoiColour, 1);
        cv::drawContours(*canvas, outlines, -1, kRoiColour, 1, cv::LINE_8);
        for (const ContourLayer& layer : kept)
            drawOutline(*canvas, layer, kFoundColour);
    }
    for (size_t k = 0; k < centroids.size(); ++k) {
        drawCross(picture, expected[k].centre, kTruthColour, 10);
        drawCross(picture, centroids[k], kFoundColour);
        cv::putText(picture, std::to_string(k + 1), cv::Point(centroids[k]) + cv::Point(6, -6),
                    cv::FONT_HERSHEY_SIMPLEX, 0.6, kFoundColour, 1, cv::LINE_AA);
    }
    cv::Mat zoomed;
    cv::resize(picture(kBlobArea), zoomed, kBlobArea.size() * 2, 0, 0, cv::INTER_NEAREST);
    context.savePicture("regions", zoomed);
}

const StepRegistration registration(60, "regions", &runRegions);

} // namespace
} // namespace demo
