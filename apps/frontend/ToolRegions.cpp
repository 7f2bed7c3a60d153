// Front-end adapter of the region chain: band threshold, shape selection, sorting.

#include "Drawing.h"
#include "Messages.h"
#include "Overlay.h"
#include "ToolAdapters.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

namespace frontend {
namespace {

constexpr double kPi = 3.141592653589793;

// A region's features, the selection's own among them: rectangularity is computed as the
// selection computes it (area over the float area of the smallest rotated rectangle
// around the outer outline), so a region reported at 0.9 passes a minimum of 0.9.
json regionJson(const ContourLayer& layer)
{
    const std::vector<cv::Point>& outer = layer.contours[layer.outerIndex];
    const cv::Rect bounds = cv::boundingRect(outer);
    const double area = getContourArea(layer);
    const cv::RotatedRect box = cv::minAreaRect(outer);
    const float boxArea = box.size.width * box.size.height;
    const double perimeter = cv::arcLength(outer, true);
    json region = {{"area", area},
                   {"centroid", pointJson(getContourFocus(layer))},
                   {"box", {bounds.x, bounds.y, bounds.width, bounds.height}},
                   {"holes", layer.holeIndexes.size()},
                   {"perimeter", perimeter}};
    // Undefined for a region of no extent (a line of pixels has a box of no area).
    region["rectangularity"] = boxArea > 0 ? json(area / boxArea) : json(nullptr);
    region["circularity"] = perimeter > 0 ? json(4 * kPi * area / (perimeter * perimeter)) : json(nullptr);
    return region;
}

// The regions of the thresholded picture that pass one criterion (all regions for an
// unbounded area).
int passing(const cv::Mat& regions, const SelectShapeInfo& criterion)
{
    cv::Mat unused;
    return select_shape(regions, unused, {criterion}, And).size();
}

// Why no region was kept: nothing in the grey band, or how many regions each criterion
// let through.
std::string regionsFailure(const ToolInput& input, const cv::Mat& grey, const cv::Rect& box, const cv::Mat& regions)
{
    const std::string band = std::to_string(input.integer("minGray")) + " .. " + std::to_string(input.integer("maxGray"));
    if (cv::countNonZero(regions) == 0) {
        double low = 0, high = 0;
        cv::minMaxLoc(grey(box), &low, &high);
        return "no pixel of the ROI lies in the grey band " + band + " (its grey levels run " +
               std::to_string(static_cast<int>(low)) + " .. " + std::to_string(static_cast<int>(high)) + ")";
    }
    const int all = passing(regions, {Area, 0.0, std::numeric_limits<double>::max()});
    const int byArea = passing(regions, {Area, input.number("minArea"), input.number("maxArea")});
    const int byShape =
        passing(regions, {Rectangularity, input.number("minRectangularity"), input.number("maxRectangularity")});
    return std::to_string(all) + " regions lie in the grey band " + band + ": " + std::to_string(byArea) +
           " pass area " + formatNumber(input.number("minArea")) + " .. " + formatNumber(input.number("maxArea")) +
           ", " + std::to_string(byShape) + " pass rectangularity " + formatNumber(input.number("minRectangularity")) +
           " .. " + formatNumber(input.number("maxRectangularity")) + ", none passes " +
           (input.choice("operation") == 0 ? "both (And)" : "either (Or)");
}

ToolResult runRegions(ToolInput& input)
{
    const cv::Rect box = roiPixels(input);
    cv::Mat grey = greyImage(input);
    cv::Mat mask = cv::Mat::zeros(grey.size(), CV_8U);
    mask(box).setTo(255);

    QVector<SelectShapeInfo> criteria;
    criteria.push_back({Area, input.number("minArea"), input.number("maxArea")});
    criteria.push_back({Rectangularity, input.number("minRectangularity"), input.number("maxRectangularity")});
    const SelectOperation operation = input.choice("operation") == 0 ? And : Or;

    ToolResult result;
    cv::Mat regions, selected;
    QList<ContourLayer> kept;
    std::vector<int> order;
    bool sorted = false;
    result.microseconds = timeMicroseconds([&] {
        threshold_min_max(grey, regions, input.integer("minGray"), input.integer("maxGray"), mask);
        kept = select_shape(regions, selected, criteria, operation);
        sorted = sort_region(regions, kept, order, UpperLeft, Ascending, static_cast<SortDirection>(input.choice("sortBy")));
    });

    json list = json::array();
    for (size_t k = 0; k < order.size() && sorted; ++k)
        list.push_back(regionJson(kept[order[k]]));
    result.success = !kept.isEmpty() && sorted;
    result.outputs = {{"count", kept.size()}, {"regions", list}};
    if (kept.isEmpty())
        result.diagnostics["failure"] = regionsFailure(input, grey, box, regions);
    return result;
}

// Each kept region's box and centroid with its number in the sort order, and its area
// and centroid written beside the ROI.
void drawRegions(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    const json& regions = result.outputs.at("regions");
    std::vector<std::string> label;
    if (!regions.empty())
        label.push_back(std::to_string(regions.size()) + " regions, by " +
                        (input.choice("sortBy") == 0 ? "rows" : "columns") + ":");
    constexpr size_t kListed = 6; // more would hide the picture
    cv::Point2d focus = (outline[0] + outline[2]) * 0.5;
    for (size_t k = 0; k < regions.size(); ++k) {
        const json& b = regions[k].at("box");
        const cv::Rect box(b[0].get<int>(), b[1].get<int>(), b[2].get<int>(), b[3].get<int>());
        cv::rectangle(picture, box, kShapeColour, std::max(1, markSize(picture) / 2));
        const cv::Point2d c(regions[k].at("centroid")[0].get<double>(), regions[k].at("centroid")[1].get<double>());
        drawCross(picture, c, kShapeColour, markSize(picture));
        drawLabel(picture, {std::to_string(k + 1)}, {static_cast<double>(box.x), box.y - 4.0 * markSize(picture)});
        if (k == 0) // the inset shows the first region's corner, where its outline can be judged
            focus = cv::Point2d(box.x, box.y);
        if (k < kListed)
            label.push_back(std::to_string(k + 1) + ": area " + formatNumber(regions[k].at("area").get<double>()) +
                            " px2, centroid " + fixedText(c.x, 2) + ", " + fixedText(c.y, 2));
    }
    if (regions.size() > kListed)
        label.push_back("... " + std::to_string(regions.size() - kListed) + " more in the JSON");
    finishOverlay(picture, outline, label, result, focus);
}

// The library takes either order of each bound; a front end refuses a swapped pair
// because it is almost always a typo.
void checkRegionBounds(const json& settings, const std::string& source)
{
    for (const char* feature : {"Gray", "Area", "Rectangularity"}) {
        const std::string low = std::string("min") + feature, high = std::string("max") + feature;
        if (settings.at(low).get<double>() > settings.at(high).get<double>())
            throw InputError(source + ": parameter '" + low + "' (" + formatNumber(settings.at(low).get<double>()) +
                             ") is above '" + high + "' (" + formatNumber(settings.at(high).get<double>()) + ")");
    }
}

} // namespace

ToolDefinition regionsTool()
{
    return {
        "regions",
        "Band threshold inside an upright rectangle, then the regions whose area (holes subtracted) and "
        "rectangularity lie in the given ranges, ordered by their upper-left corners",
        {"rect"},
        {
            ParamDefinition::ranged("minGray", ParamType::Integer, 128, 0, 255, "lowest grey value of a region pixel"),
            ParamDefinition::ranged("maxGray", ParamType::Integer, 255, 0, 255,
                                    "highest grey value of a region pixel (not below minGray)"),
            ParamDefinition::ranged("minArea", ParamType::Number, 100.0, 0, kNoLimit,
                                    "smallest area in square pixels, holes subtracted"),
            ParamDefinition::ranged("maxArea", ParamType::Number, 1e9, 0, kNoLimit,
                                    "largest area in square pixels (not below minArea)"),
            ParamDefinition::ranged("minRectangularity", ParamType::Number, 0.0, 0, 1,
                                    "smallest area over the area of the smallest enclosing rotated rectangle"),
            ParamDefinition::ranged("maxRectangularity", ParamType::Number, 1.0, 0, 1,
                                    "largest area over the area of the smallest enclosing rotated rectangle (not "
                                    "below minRectangularity)"),
            ParamDefinition::choice("operation", "And", {"And", "Or"}, "keep regions passing every criterion, or any"),
            ParamDefinition::choice("sortBy", "ByRow", {"ByRow", "ByColumn"},
                                    "rows first (top to bottom) or columns first"),
        },
        runRegions,
        drawRegions,
        checkRegionBounds,
        {
            {"count", "number of regions kept"},
            {"regions", "per region, in the sorted order: area (square pixels, holes subtracted), centroid [x, y], box "
                        "[x, y, width, height] of the outer outline, holes, perimeter (length of the outer outline "
                        "through its pixel centres), rectangularity (area over the smallest rotated rectangle's, as "
                        "selected on) and circularity (4 pi area / perimeter squared, near 1 for a disc)"},
        },
    };
}
} // namespace frontend
