// Demo step: the line tool on three of the plate's straight edges, and the line pair tool
// on its two long edges, whose central line is the plate's own centre line.

#include "ToolDefinition.h"
#include "Demo.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace demo {
namespace {

constexpr double kPi = 3.141592653589793;

// A line of the scene: a point on it and a unit direction.
struct TrueLine {
    cv::Point2d point, direction;
};

// The plate's line through two points of its own frame, directed from a towards b.
TrueLine plateLine(const SceneTruth& truth, cv::Point2d a, cv::Point2d b)
{
    const cv::Point2d p = truth.plateToImage(a), q = truth.plateToImage(b);
    return {p, (q - p) / cv::norm(q - p)};
}

double degrees(cv::Point2d direction)
{
    return std::atan2(direction.y, direction.x) * 180.0 / kPi;
}

// One line tool measurement: its ROI (placed in the plate's frame, as a user would draw
// it across the edge with a few pixels to spare) and its record.
struct EdgeRun {
    std::string name;
    RotateRectROI roi;
    _EdgeLineDetParam param;
    TrueLine edge; // directed like the ROI's own y axis, the way the tool directs its line
    bool found = false;
};

EdgeRun measureEdge(Context& context, const std::string& name, cv::Point2d roiCentre, double turn, float width,
                    float height, int direction, TrueLine edge)
{
    const SceneTruth& truth = context.truth();
    const cv::Point2d centre = truth.plateToImage(roiCentre);
    EdgeRun run{name, RotateRectROI(centre.x, centre.y, static_cast<float>(truth.plate.angle + turn), width, height),
                {}, edge};
    const double a = run.roi.angle * kPi / 180.0;
    if (run.edge.direction.dot({-std::sin(a), std::cos(a)}) < 0)
        run.edge.direction = -run.edge.direction;

    _EdgeLineDetParam& p = run.param;
    p.direction = direction; // from outside the plate into it
    p.transition = DarkToLight;
    p.percent = 30;
    p.sigma = 2;
    p.minStrength = 20;
    p.segmentWidth = 5;
    p.segmentStep = 5;
    p.roi = &run.roi;
    cv::Mat image = context.image();
    run.found = clcEdgeLineAndFit(image, p, 0) && p.startEndPoints.size() == 2;
    run.param.roi = nullptr; // the record outlives this frame's copy of the ROI
    return run;
}

// Where the true edge crosses the ROI's top (v = -height/2) and bottom sides.
std::vector<cv::Point2d> trueEnds(const EdgeRun& run)
{
    const cv::Point2d centre(run.roi.centreX, run.roi.centreY);
    const double a = run.roi.angle * kPi / 180.0;
    const cv::Point2d yAxis(-std::sin(a), std::cos(a));
    std::vector<cv::Point2d> ends;
    for (double v : {-0.5 * run.roi.height, 0.5 * run.roi.height}) {
        const double t = (v - (run.edge.point - centre).dot(yAxis)) / run.edge.direction.dot(yAxis);
        ends.push_back(run.edge.point + t * run.edge.direction);
    }
    return ends;
}

void reportLine(Context& context, const std::string& tool, const std::string& name, const cv::Vec4d& line,
                const std::vector<cv::Point2d>& ends, const TrueLine& truth, const std::vector<cv::Point2d>& trueEnds,
                bool found)
{
    const cv::Point2d direction(line[0], line[1]), point(line[2], line[3]);
    const cv::Point2d normal(-truth.direction.y, truth.direction.x);
    context.report(tool, name + " angle (deg)", degrees(truth.direction), degrees(direction), 0.02, found);
    context.report(tool, name + " offset (px)", 0.0, (point - truth.point).dot(normal), 0.05, found);
    const char* labels[2] = {" start", " end"};
    for (int k = 0; k < 2; ++k) {
        const cv::Point2d p = found ? ends[k] : cv::Point2d(NAN, NAN);
        context.report(tool, name + labels[k] + " x (px)", trueEnds[k].x, p.x, 0.1, found);
        context.report(tool, name + labels[k] + " y (px)", trueEnds[k].y, p.y, 0.1, found);
    }
}

void drawSegment(cv::Mat& canvas, const std::vector<cv::Point2d>& ends, const cv::Scalar& colour)
{
    if (ends.size() == 2) {
        drawPolygon(canvas, ends, colour);
        drawCross(canvas, ends[0], colour, 4); // the start
    }
}

void drawRun(cv::Mat& canvas, EdgeRun& run)
{
    drawPolygon(canvas, frontend::roiOutline(run.roi), kRoiColour);
    for (const cv::Point2d& p : run.param.edgePoints)
        drawCross(canvas, p, kFoundColour, 2);
    if (run.found)
        drawSegment(canvas, run.param.startEndPoints, kFoundColour);
}

std::string legendLine(const std::string& name, const cv::Vec4d& line, const TrueLine& truth, bool found)
{
    if (!found)
        return name + ": not found";
    const cv::Point2d normal(-truth.direction.y, truth.direction.x);
    char text[160];
    std::snprintf(text, sizeof text, "%s: angle error %+.4f deg, offset %+.3f px", name.c_str(),
                  degrees({line[0], line[1]}) - degrees(truth.direction),
                  (cv::Point2d(line[2], line[3]) - truth.point).dot(normal));
    return text;
}

// The plate with a margin, enlarged twice, with a legend in its lower left corner.
void savePlatePicture(Context& context, const std::string& name, const cv::Mat& picture,
                      const std::vector<std::string>& legend)
{
    const SceneTruth& truth = context.truth();
    std::vector<cv::Point> corners;
    for (double x : {-1.0, 1.0})
        for (double y : {-1.0, 1.0}) {
            const cv::Point2d c = truth.plateToImage({x * truth.plate.width * 0.5, y * truth.plate.height * 0.5});
            corners.emplace_back(cvRound(c.x), cvRound(c.y));
        }
    const cv::Rect crop = (cv::boundingRect(corners) + cv::Size(100, 100) - cv::Point(50, 50)) &
                          cv::Rect(0, 0, picture.cols, picture.rows);
    cv::Mat zoomed;
    cv::resize(picture(crop), zoomed, crop.size() * 2, 0, 0, cv::INTER_NEAREST);
    int y = zoomed.rows - 30 * static_cast<int>(legend.size());
    for (const std::string& text : legend) {
        cv::putText(zoomed, text, {20, y}, cv::FONT_HERSHEY_SIMPLEX, 0.6, cv::Scalar(255, 255, 255), 1, cv::LINE_AA);
        y += 30;
    }
    context.savePicture(name, zoomed);
}

void runLines(Context& context)
{
    const SceneTruth& truth = context.truth();
    const double hw = truth.plate.width * 0.5, hh = truth.plate.height * 0.5;
    const TrueLine left = plateLine(truth, {-hw, -hh}, {-hw, hh});
    const TrueLine right = plateLine(truth, {hw, -hh}, {hw, hh});
    const TrueLine top = plateLine(truth, {-hw, -hh}, {hw, -hh});
    const TrueLine bottom = plateLine(truth, {-hw, hh}, {hw, hh});

    // Across the left and right edges the ROI lies along the plate; across the long edges
    // it is turned by 90 degrees. Each scans from the dark background into the plate.
    std::vector<EdgeRun> runs;
    runs.push_back(measureEdge(context, "left edge", {-hw + 6.4, -60}, 0, 70, 160, LeftToRight, left));
    runs.push_back(measureEdge(context, "right edge", {hw - 5.2, 40}, 0, 70, 180, RightToLeft, right));
    runs.push_back(measureEdge(context, "top edge", {-30, -hh + 4.1}, 90, 60, 240, LeftToRight, top));
    EdgeRun lower = measureEdge(context, "bottom edge", {20, hh - 3.7}, 90, 60, 240, RightToLeft, bottom);

    // The true edges are the plate's outline, the true central line its centre line.
    const std::vector<cv::Point2d> outline{truth.plateToImage({-hw, -hh}), truth.plateToImage({hw, -hh}),
                                           truth.plateToImage({hw, hh}), truth.plateToImage({-hw, hh})};
    cv::Mat picture = context.annotationCanvas();
    drawPolygon(picture, outline, kTruthColour);
    std::vector<std::string> legend{"line tool: found line and edge points red, true edges green, + marks the start"};
    for (EdgeRun& run : runs) {
        reportLine(context, "clcEdgeLineAndFit", run.name, run.param.line, run.param.startEndPoints, run.edge,
                   trueEnds(run), run.found);
        legend.push_back(legendLine(run.name, run.param.line, run.edge, run.found));
        drawRun(picture, run);
        drawRun(context.overview(), run);
    }
    savePlatePicture(context, "line", picture, legend);

    // The line pair: the central line of the two long edges is the plate's centre line,
    // running the way of the first (top) edge's line, and it spans what both segments
    // cover when projected onto it.
    EdgeRun& upper = runs.back();
    _EdgeLineDetParam central;
    const bool found = upper.found && lower.found && findLineLineCentralLine(upper.param, lower.param, central, false);
    const TrueLine centreLine{truth.plate.centre, upper.edge.direction};
    double lowest = 1e300, highest = -1e300;
    for (const EdgeRun* run : {&upper, &lower})
        for (const cv::Point2d& p : trueEnds(*run)) {
            lowest = std::min(lowest, (p - centreLine.point).dot(centreLine.direction));
            highest = std::max(highest, (p - centreLine.point).dot(centreLine.direction));
        }
    const std::vector<cv::Point2d> centralEnds{centreLine.point + lowest * centreLine.direction,
                                               centreLine.point + highest * centreLine.direction};
    reportLine(context, "findLineLineCentralLine", "centre line", central.line, central.startEndPoints, centreLine,
               centralEnds, found && central.startEndPoints.size() == 2);

    cv::Mat pair = context.annotationCanvas();
    for (EdgeRun* run : {&upper, &lower})
        drawRun(pair, *run);
    drawPolygon(pair, {truth.plateToImage({-hw, 0}), truth.plateToImage({hw, 0})}, kTruthColour);
    if (found)
        drawSegment(pair, central.startEndPoints, kFoundColour);
    savePlatePicture(context, "line_pair", pair,
                     {"line pair: central line of the two long edges red, the plate's centre line green",
                      legendLine("centre line", central.line, centreLine, found)});
    drawRun(context.overview(), lower);
    if (found)
        drawSegment(context.overview(), central.startEndPoints, kFoundColour);
}

const StepRegistration registration(30, "lines", &runLines);

} // namespace
} // namespace demo
