// Front-end adapter of the skew measurement and character-row crop.

#include "Drawing.h"
#include "Overlay.h"
#include "ToolAdapters.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace frontend {
namespace {

// Where the rows of the print lie: the crop levelled onto the library's canvas, the
// print's pixels by Otsu's split of the crop itself, counted only where the turned crop
// covers the canvas (its uncovered corners are not print). Rows are returned as canvas
// rows; false when no pixel is print.
bool printRows(cv::Mat crop, double skew, bool darkPrint, int& top, int& bottom)
{
    cv::Mat unused;
    const double split = cv::threshold(crop, unused, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
    cv::Mat levelled, footprint, print;
    skewCorrectionRot(crop, levelled, skew, cv::Scalar(0));
    cv::Mat covered(crop.size(), CV_8U, cv::Scalar(255));
    skewCorrectionRot(covered, footprint, skew, cv::Scalar(0));
    cv::threshold(levelled, print, split, 255, darkPrint ? cv::THRESH_BINARY_INV : cv::THRESH_BINARY);
    print.setTo(0, footprint < 255);
    return cv::countNonZero(print) > 0 && cutCharacterTopBottom(print, top, bottom);
}

ToolResult runSkew(ToolInput& input)
{
    const cv::Rect box = roiPixels(input);
    cv::Mat crop;
    cv::Mat grey = greyImage(input);
    grey(box).copyTo(crop);

    ToolResult result;
    double skew = 0;
    int top = 0, bottom = 0;
    bool rowsFound = false;
    result.microseconds = timeMicroseconds([&] {
        skew = clcHorizontalSkew(crop);
        // -90 is the library's answer for a crop without a horizontal edge to vote.
        result.success = std::isfinite(skew) && skew != -90.0;
        if (result.success)
            rowsFound = printRows(crop, skew, input.choice("print") == 1, top, bottom);
    });
    if (!result.success) {
        result.diagnostics["failure"] =
            "no pixel of the ROI has a vertical Sobel response of 129 or more (the edges that vote for the skew)";
        return result;
    }
    result.outputs = {{"skew", skew}};
    if (rowsFound) {
        // A canvas row lies (row - canvas height / 2) from the canvas centre, across the
        // print; at the crop's centre column that is cos(skew) times as far in image rows.
        const double a = skew * CV_PI / 180.0;
        const double canvasHeight = crop.rows * std::abs(std::cos(a)) + crop.cols * std::abs(std::sin(a));
        const auto imageRow = [&](int row) {
            return box.y + crop.rows * 0.5 + (row - canvasHeight * 0.5) * std::cos(a);
        };
        result.outputs["characterRows"] = {{"top", imageRow(top)}, {"bottom", imageRow(bottom)},
                                           {"height", bottom - top + 1}};
    }
    return result;
}

// A line through the ROI's centre at the measured skew, and the character rows found once
// the crop is levelled, written beside the ROI.
void drawSkew(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    const cv::Point2d centre = (outline[0] + outline[2]) * 0.5;
    std::vector<std::string> label;
    if (result.success) {
        // Positive skew descends to the right.
        const double half = (outline[1].x - outline[0].x) * 0.5;
        const double skew = result.outputs.at("skew").get<double>();
        const double a = skew * CV_PI / 180.0;
        const cv::Point2d d(half * std::cos(a), half * std::sin(a));
        drawPolygon(picture, {centre - d, centre + d}, kShapeColour);
        label.push_back("skew " + fixedText(skew) + " deg (positive descends to the right)");
        if (result.outputs.contains("characterRows")) {
            const json& rows = result.outputs["characterRows"];
            label.push_back("character rows at image rows " + fixedText(rows.at("top").get<double>(), 1) + " .. " +
                            fixedText(rows.at("bottom").get<double>(), 1) + " (" +
                            std::to_string(rows.at("height").get<int>()) + " px high)");
        }
    }
    finishOverlay(picture, outline, label, result, centre);
}

} // namespace

ToolDefinition skewTool()
{
    return {
        "skew",
        "Skew of a line of print inside an upright rectangle (degrees, positive descends to the right), and the "
        "rows its characters occupy once levelled",
        {"rect"},
        {
            ParamDefinition::choice("print", "LightOnDark", {"LightOnDark", "DarkOnLight"}, "polarity of the print"),
        },
        runSkew,
        drawSkew,
        nullptr,
        {
            {"skew", "degrees, positive descends to the right (when the print has horizontal edges)"},
            {"characterRows", "{top, bottom, height}: top and bottom of the print at the ROI's centre column in image "
                              "rows, and its height in pixels across the print (when found)"},
        },
    };
}
} // namespace frontend
