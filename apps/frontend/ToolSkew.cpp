// Front-end adapter of the skew measurement and character-row crop.

#include "Drawing.h"
#include "Overlay.h"
#include "ToolAdapters.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace frontend {
namespace {

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
        if (!std::isfinite(skew))
            return;
        // Level the crop, fill what the turn uncovers with the crop's own median-ish grey
        // (its mean), then find the rows that hold print: pixels of the print's polarity
        // beyond Otsu's split.
        cv::Mat levelled;
        skewCorrectionRot(crop, levelled, skew, cv::Scalar(cv::mean(crop)[0]));
        cv::Mat ink;
        const int type = input.choice("print") == 0 ? cv::THRESH_BINARY : cv::THRESH_BINARY_INV;
        cv::threshold(levelled, ink, 0, 255, type | cv::THRESH_OTSU);
        rowsFound = cutCharacterTopBottom(ink, top, bottom);
    });
    result.success = std::isfinite(skew) && skew != -90.0;
    if (!result.success)
        result.diagnostics["failure"] =
            "no pixel of the ROI has a vertical Sobel response of 129 or more (the edges that vote for the skew)";
    result.outputs = {{"skew", skew}};
    if (result.success && rowsFound)
        result.outputs["characterRows"] = {{"top", top}, {"bottom", bottom}, {"height", bottom - top + 1}};
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
            label.push_back("character rows " + std::to_string(rows.at("top").get<int>()) + " .. " +
                            std::to_string(rows.at("bottom").get<int>()) + " of the levelled crop (" +
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
    };
}
} // namespace frontend
