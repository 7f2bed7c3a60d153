// Front-end adapter of the skew measurement and character-row crop.

#include "Drawing.h"
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
    result.outputs = {{"skew", skew}};
    if (result.success && rowsFound)
        result.outputs["characterRows"] = {{"top", top}, {"bottom", bottom}, {"height", bottom - top + 1}};
    return result;
}

void drawSkew(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    if (!result.success)
        return;
    // A line through the ROI's centre at the measured skew (positive descends to the right).
    const cv::Point2d centre = (outline[0] + outline[2]) * 0.5;
    const double half = (outline[1].x - outline[0].x) * 0.5;
    const double a = result.outputs.at("skew").get<double>() * CV_PI / 180.0;
    const cv::Point2d d(half * std::cos(a), half * std::sin(a));
    drawPolygon(picture, {centre - d, centre + d}, kFoundColour);
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
