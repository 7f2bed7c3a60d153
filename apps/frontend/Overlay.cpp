#include "Overlay.h"

#include "Drawing.h"

#include <cmath>
#include <sstream>

namespace frontend {

bool rectangleFrame(const ROI& roi, RectangleFrame& frame)
{
    if (const auto* rotated = dynamic_cast<const RotateRectROI*>(&roi)) {
        const double t = rotated->angle * 3.141592653589793 / 180.0;
        frame.centre = {rotated->centreX, rotated->centreY};
        frame.widthAxis = {std::cos(t), std::sin(t)};
        frame.width = rotated->width;
        frame.height = rotated->height;
    } else if (const auto* rect = dynamic_cast<const RectROI*>(&roi)) {
        frame.centre = {rect->rect.center().x(), rect->rect.center().y()};
        frame.widthAxis = {1, 0};
        frame.width = rect->rect.width();
        frame.height = rect->rect.height();
    } else {
        return false;
    }
    frame.heightAxis = {-frame.widthAxis.y, frame.widthAxis.x};
    return true;
}

void drawRectangleScan(cv::Mat& picture, const ROI& roi, bool alongHeight, bool backwards)
{
    RectangleFrame frame;
    if (!rectangleFrame(roi, frame))
        return;
    const cv::Point2d axis = alongHeight ? frame.heightAxis : frame.widthAxis;
    const double half = 0.5 * (alongHeight ? frame.height : frame.width);
    const cv::Point2d start = frame.centre - axis * half, end = frame.centre + axis * half;
    drawScanArrow(picture, backwards ? end : start, backwards ? start : end);
}

std::string fixedText(double v, int decimals)
{
    std::ostringstream text;
    text.precision(decimals);
    text << std::fixed << v;
    return text.str();
}

std::string intervalLine(const std::string& name, const json& fitted, const std::string& unit)
{
    std::string line = name + " " + fixedText(fitted.at("value").get<double>()) + " " + unit;
    if (fitted.contains("ci95") && fitted["ci95"][0].is_number() && fitted["ci95"][1].is_number())
        line += "  95%: " + fixedText(fitted["ci95"][0].get<double>()) + " .. " +
                fixedText(fitted["ci95"][1].get<double>());
    return line;
}

std::vector<std::string> pointsLegend(const json& diagnostics)
{
    if (!diagnostics.contains("inliers") || !diagnostics.contains("points") || diagnostics["points"].empty())
        return {};
    const int inliers = diagnostics["inliers"].get<int>(), outliers = diagnostics["outliers"].get<int>();
    std::vector<std::string> legend = {std::to_string(inliers) + " inliers (green)"};
    if (outliers > 0) {
        legend[0] += ", " + std::to_string(outliers) + " outliers (red)";
        if (diagnostics.contains("rule"))
            legend.push_back("outliers: " + diagnostics["rule"].get<std::string>());
    }
    return legend;
}

cv::Point2d middlePoint(const json& diagnostics, cv::Point2d fallback)
{
    if (!diagnostics.contains("points") || diagnostics["points"].empty())
        return fallback;
    const json& p = diagnostics["points"][diagnostics["points"].size() / 2]["point"];
    if (!p[0].is_number() || !p[1].is_number())
        return fallback;
    return {p[0].get<double>(), p[1].get<double>()};
}

void finishOverlay(cv::Mat& picture, const std::vector<cv::Point2d>& outline, std::vector<std::string> label,
                   const ToolResult& result, cv::Point2d focus)
{
    if (!result.success && result.diagnostics.contains("failure"))
        label.push_back(result.diagnostics["failure"].get<std::string>());
    const cv::Point2d anchor = labelAnchorBeside(picture, label, outline);
    std::vector<cv::Rect> avoid;
    if (!label.empty())
        avoid.push_back(labelBox(picture, label, anchor));
    addInset(picture, outline, focus, avoid);
    drawLabel(picture, label, anchor);
}

} // namespace frontend
