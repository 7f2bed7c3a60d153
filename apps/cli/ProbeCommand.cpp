#include "ProbeCommand.h"

#include "CliCommands.h"
#include "Console.h"
#include "Profile.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>

namespace cli {

using namespace frontend;

namespace {

const char* const kTransitionNames[] = {"BothTransitions", "LightToDark", "DarkToLight"};

void printProfile(const Profile& profile, const ProfileSettings& settings, const std::string& roiKind,
                  const std::string& imagePath)
{
    const size_t n = profile.grey.size();
    std::printf("probe: %s in %s, %zu samples", roiKind.c_str(), imagePath.c_str(), n);
    if (profile.linesAveraged > 1)
        std::printf(", each the mean of %d lines across the rectangle", profile.linesAveraged);
    std::printf("\nsettings: direction %s, transition %s, sigma %d, percent %g, minStrength %g\n",
                settings.reverse ? "RightToLeft" : "LeftToRight", kTransitionNames[settings.transition],
                settings.sigma, settings.percent, settings.minStrength);
    std::printf("strongest response %.2f, threshold %.2f (the larger of %g%% of it and minStrength)\n", profile.top,
                profile.threshold, settings.percent);
    std::printf("edges in scan order: %zu\n", profile.edges.size());
    for (size_t k = 0; k < profile.edges.size(); ++k) {
        const ProfileEdge& edge = profile.edges[k];
        std::printf("  edge %zu at sample %.2f, (%.2f, %.2f), strength %.2f, %s\n", k + 1, edge.position, edge.point.x,
                    edge.point.y, edge.strength, edge.darkToLight ? "dark to light" : "light to dark");
    }
    std::printf("%7s %9s %9s %8s %9s %11s %9s\n", "sample", "x", "y", "grey", "smoothed", "derivative", "strength");
    for (size_t i = 0; i < n; ++i) {
        std::printf("%7zu %9.2f %9.2f %8.2f %9.2f %11.2f %9.2f", i, profile.samplePoints[i].x,
                    profile.samplePoints[i].y, profile.grey[i], profile.smoothed[i], profile.derivative[i],
                    profile.strength[i]);
        for (size_t k = 0; k < profile.edges.size(); ++k)
            if (std::lround(profile.edges[k].position) == static_cast<long>(i))
                std::printf("  <- edge %zu", k + 1);
        std::printf("\n");
    }
}

// A tick spacing of 1, 2 or 5 times a power of ten giving about `count` ticks over span.
double tickStep(double span, int count)
{
    const double raw = std::max(span / count, 1e-9);
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0})
        if (factor * power >= raw)
            return factor * power;
    return 10 * power;
}

struct Panel {
    cv::Rect area;
    double low, high;
    int y(double value) const
    {
        return area.y + area.height - static_cast<int>(std::lround((value - low) / (high - low) * area.height));
    }
};

void drawCurve(cv::Mat& plot, const Panel& panel, const std::vector<float>& values,
               const std::function<int(double)>& x, const cv::Scalar& colour, int thickness)
{
    std::vector<cv::Point> points;
    for (size_t i = 0; i < values.size(); ++i)
        points.emplace_back(x(static_cast<double>(i)), panel.y(values[i]));
    cv::polylines(plot, points, false, colour, thickness, cv::LINE_AA);
}

void label(cv::Mat& plot, const std::string& text, cv::Point at, const cv::Scalar& colour = cv::Scalar::all(60))
{
    cv::putText(plot, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.4, colour, 1, cv::LINE_AA);
}

// Two panels over the sample index: grey values (raw and smoothed) above, the signed
// derivative, the edge strength and the threshold below; every edge as a numbered line
// through both.
cv::Mat plotProfile(const Profile& profile, const ProfileSettings& settings)
{
    const int n = static_cast<int>(profile.grey.size());
    const int plotWidth = std::clamp(n * 4, 600, 1600), panelHeight = 220;
    const int left = 60, right = 20, top = 40, gap = 40, bottom = 50;
    cv::Mat plot(top + 2 * panelHeight + gap + bottom, left + plotWidth + right, CV_8UC3, cv::Scalar::all(255));
    const auto x = [&](double sample) {
        return left + static_cast<int>(std::lround(n > 1 ? sample * plotWidth / (n - 1) : plotWidth * 0.5));
    };

    const Panel grey{{left, top, plotWidth, panelHeight}, 0, 255};
    double low = 0, high = std::max(profile.threshold, 1.0);
    for (size_t i = 0; i < profile.derivative.size(); ++i) {
        low = std::min<double>(low, profile.derivative[i]);
        high = std::max<double>({high, profile.derivative[i], profile.strength[i]});
    }
    const Panel strength{{left, top + panelHeight + gap, plotWidth, panelHeight}, low * 1.05, high * 1.05};

    const cv::Scalar axisColour = cv::Scalar::all(120), gridColour = cv::Scalar::all(230);
    const double step = tickStep(std::max(n - 1, 1), 10);
    for (double s = 0; s <= n - 1 + 1e-9; s += step) {
        for (const Panel* panel : {&grey, &strength})
            cv::line(plot, {x(s), panel->area.y}, {x(s), panel->area.y + panel->area.height}, gridColour);
        label(plot, cv::format("%g", s), {x(s) - 8, strength.area.y + panelHeight + 16});
    }
    label(plot, "sample (0 = the ROI's start)", {left + plotWidth / 2 - 90, strength.area.y + panelHeight + 36});
    for (double g : {0.0, 64.0, 128.0, 192.0, 255.0}) {
        cv::line(plot, {left, grey.y(g)}, {left + plotWidth, grey.y(g)}, gridColour);
        label(plot, cv::format("%g", g), {8, grey.y(g) + 4});
    }
    cv::line(plot, {left, strength.y(0)}, {left + plotWidth, strength.y(0)}, axisColour);
    label(plot, "0", {8, strength.y(0) + 4});
    if (profile.top > 0) {
        cv::line(plot, {left - 4, strength.y(profile.top)}, {left, strength.y(profile.top)}, axisColour);
        label(plot, cv::format("%.1f", profile.top), {8, strength.y(profile.top) + 4}, cv::Scalar(0, 0, 200));
    }
    for (const Panel* panel : {&grey, &strength})
        cv::rectangle(plot, panel->area, axisColour);

    drawCurve(plot, grey, profile.grey, x, cv::Scalar(200, 170, 140), 1);
    drawCurve(plot, grey, profile.smoothed, x, cv::Scalar(120, 40, 0), 2);
    drawCurve(plot, strength, profile.derivative, x, cv::Scalar::all(185), 1);
    drawCurve(plot, strength, profile.strength, x, cv::Scalar(0, 0, 200), 2);
    const int thresholdY = strength.y(profile.threshold);
    for (int px = left; px < left + plotWidth; px += 12)
        cv::line(plot, {px, thresholdY}, {std::min(px + 6, left + plotWidth), thresholdY}, cv::Scalar(0, 150, 0), 1);
    label(plot, cv::format("threshold %.1f", profile.threshold), {8, thresholdY - 4}, cv::Scalar(0, 150, 0));

    for (size_t k = 0; k < profile.edges.size(); ++k) {
        const int ex = x(profile.edges[k].position);
        cv::line(plot, {ex, grey.area.y}, {ex, strength.area.y + panelHeight}, cv::Scalar(0, 140, 255), 1);
        label(plot, std::to_string(k + 1), {ex + 3, grey.area.y + 14}, cv::Scalar(0, 110, 230));
    }

    label(plot,
          cv::format("grey (light: as sampled, dark: smoothed, sigma %d)   %zu edge(s), scan %s", settings.sigma,
                     profile.edges.size(), settings.reverse ? "right to left" : "left to right"),
          {left, top - 12});
    label(plot,
          cv::format("derivative (grey), edge strength (red), threshold: max(%g%% of %.1f, minStrength %g) (green)",
                     settings.percent, profile.top, settings.minStrength),
          {left, strength.area.y - 12});
    return plot;
}

} // namespace

CLI::App* addProbeCommand(CLI::App& app, ProbeOptions& options)
{
    CLI::App* probe = app.add_subcommand(
        "probe", "Print the grey-value profile along a line or across a rotated rectangle, its derivative and the "
                 "edges the caliper settings (percent, sigma, minStrength) find; for choosing them on a new part");
    probe->add_option("--image", options.image, "Image file (8-bit png, bmp, jpg, tif)")->required();
    probe->add_option("--params", options.params,
                      "Parameters file (JSON): roi (line or rotated_rect) and direction, transition, percent, sigma, "
                      "minStrength; or a tool's parameters file with --tool");
    probe->add_option("--roi", options.roi, "The ROI as JSON text, replacing the file's");
    probe->add_option("--tool", options.tool,
                      "Read the parameters file as this tool's (line or edge_points) and probe its ROI with its "
                      "caliper settings");
    probe->add_option("--plot", options.plot, "Write a plot of the profile (png)");
    return probe;
}

int runProbe(const ProbeOptions& options)
{
    std::string source;
    const json parameters = commandParameters(options.params, options.roi, source);
    const cv::Mat image = readImage(options.image);
    const ToolDefinition& definition = options.tool.empty() ? probeDefinition() : findTool(options.tool);
    const ToolInput input = prepareInput(definition, parameters, image, source, options.image);
    if (!options.tool.empty()) {
        for (const char* setting : {"direction", "transition", "percent", "sigma", "minStrength"})
            if (!input.settings.contains(setting))
                throw InputError("--tool " + options.tool + ": the probe shows the segment calipers' analysis, and "
                                 "this tool has no '" + setting + "' setting (use line or edge_points)");
        if (input.settings.contains("scanAxis") && input.choice("scanAxis") != 0)
            throw InputError(source + ": the probe scans along a rectangle's width; set scanAxis AlongWidth or "
                             "probe a rectangle turned by 90 degrees");
        if (input.roi.kind != "rotated_rect" && input.roi.kind != "line")
            throw InputError(source + ": the probe samples along a line or across a rotated rectangle, not a " +
                             input.roi.kind);
    }
    ProfileSettings settings = profileSettings(input);
    settings.copyUpright = options.tool == "edge_points"; // it copies a rectangle at angle 0, the line tool warps
    const Profile profile = measureProfile(input.image, *input.roi.shape, settings);
    if (!options.plot.empty()) {
        bool written = false;
        try {
            const QuietDecoders quiet;
            written = cv::imwrite(options.plot, plotProfile(profile, settings));
        } catch (const cv::Exception&) {
            written = false;
        }
        if (!written)
            throw InputError(options.plot + ": cannot write the plot (use a .png path in a writable folder)");
    }
    printProfile(profile, settings, input.roi.kind, options.image);
    return 0;
}

} // namespace cli
