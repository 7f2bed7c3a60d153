// Demo step: the segment-based and many-edge tools on the plate. Edge points along the
// plate's top edge against the true edge line, every edge across the slot (its two walls),
// edge pairs across the slot (its width, 40 px) and one edge along a line crossing the
// plate's bottom edge.

#include "Demo.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace demo {
namespace {

// The segment caliper fits a parabola to a Gaussian-smoothed central difference: on the
// scene's straight, slightly blurred edges (noise 2 grey levels) its points fall within a
// few hundredths of a pixel; 0.2 px leaves room for the noise without hiding a bias.
constexpr double kSubPixelTolerance = 0.2;
// clcEdges and clcMulEdgePoints report whole samples of a one-sided difference, whose
// peak lies half a sample after the wall: within 0.75 px of (wall + 0.5) at any wall
// position once noise is allowed for.
constexpr double kWholeSampleTolerance = 0.75;

RotateRectROI plateAlignedRoi(const SceneTruth& truth, cv::Point2d local, float width, float height)
{
    const cv::Point2d c = truth.plateToImage(local);
    return RotateRectROI(c.x, c.y, static_cast<float>(truth.plate.angle), width, height);
}

std::vector<cv::Point2d> outline(RotateRectROI& roi)
{
    std::vector<cv::Point2d> corners;
    for (const QPointF& q : getCornerPoints(&roi))
        corners.emplace_back(q.x(), q.y());
    return corners;
}

// Points of the ROI's straightened frame in the image.
std::vector<cv::Point2d> toImage(const std::vector<cv::Point2d>& local, RotateRectROI& roi)
{
    std::vector<cv::Point2d> in = local, out(local.size());
    transformPoints(in, out, &roi);
    return out;
}

// Distance of p from the plate's edge at local coordinate `at` along the plate's own axis
// (0: x = at, a left or right edge; 1: y = at, a top or bottom edge).
double distanceFromPlateEdge(const SceneTruth& truth, cv::Point2d p, int axis, double at)
{
    const double t = truth.plate.angle * 3.141592653589793 / 180.0;
    const cv::Point2d d = p - truth.plate.centre;
    const double local = axis == 0 ? d.x * std::cos(t) + d.y * std::sin(t) : -d.x * std::sin(t) + d.y * std::cos(t);
    return local - at;
}

// The picture of one tool: the neighbourhood of the ROI, enlarged.
void saveZoomed(Context& context, const std::string& name, const cv::Mat& picture, cv::Point2d centre,
                cv::Size size, int factor)
{
    const cv::Rect crop =
        cv::Rect(cv::Point(static_cast<int>(centre.x) - size.width / 2, static_cast<int>(centre.y) - size.height / 2),
                 size) &
        cv::Rect(0, 0, picture.cols, picture.rows);
    cv::Mat zoomed;
    cv::resize(picture(crop), zoomed, crop.size() * factor, 0, 0, cv::INTER_NEAREST);
    context.savePicture(name, zoomed);
}

void drawLine(cv::Mat& canvas, cv::Point2d a, cv::Point2d b, const cv::Scalar& colour)
{
    cv::line(canvas, cv::Point(cvRound(a.x * 16), cvRound(a.y * 16)), cv::Point(cvRound(b.x * 16), cvRound(b.y * 16)),
             colour, 1, cv::LINE_AA, 4);
}

void runEdgePoints(Context& context)
{
    const SceneTruth& truth = context.truth();
    const double topEdge = -truth.plate.height * 0.5;
    // 300 px along the top edge, 60 across it, a little off the edge as drawn by hand;
    // scanned along its height, from the background down into the plate.
    RotateRectROI roi = plateAlignedRoi(truth, {-20, topEdge + 4.3}, 300, 60);
    _EdgePointsDetParam param;
    param.scanAxis = 1;
    param.direction = 0;
    param.transition = DarkToLight;
    param.percent = 50;
    param.sigma = 2;
    param.minStrength = 10;
    param.segmentWidth = 5;
    param.segmentStep = 5;
    param.roi = &roi;
    cv::Mat image = context.image();
    const bool found = clcEdgePointsAndTransform(image, param);

    double worst = 0;
    for (const cv::Point2d& p : param.points)
        worst = std::max(worst, std::abs(distanceFromPlateEdge(truth, p, 1, topEdge)));
    context.report("clcEdgePoints", "points (one per segment)", 60, static_cast<double>(param.points.size()), 0,
                   found);
    context.report("clcEdgePoints", "worst offset from edge (px)", 0, worst, kSubPixelTolerance, found);

    cv::Mat picture = context.annotationCanvas();
    drawLine(picture, truth.plateToImage({-200, topEdge}), truth.plateToImage({160, topEdge}), kTruthColour);
    for (cv::Mat* canvas : {&picture, &context.overview()}) {
        drawPolygon(*canvas, outline(roi), kRoiColour);
        for (const cv::Point2d& p : param.points)
            drawCross(*canvas, p, kFoundColour, 2);
    }
    saveZoomed(context, "edge_points", picture, {roi.centreX, roi.centreY}, {340, 110}, 3);
}

void runEdges(Context& context)
{
    const SceneTruth& truth = context.truth();
    // Across the slot, 100 px long, 40 high, centred 3.3 px off the slot's centre line.
    const double offset = 3.3;
    const cv::Point2d slotLocal(140, 0);
    RotateRectROI roi = plateAlignedRoi(truth, slotLocal + cv::Point2d(offset, 0), 100, 40);
    _EdgesDetParam param;
    param.direction = LeftToRight;
    param.transition = BothTransitions;
    param.threshold = 50;
    param.smoothWidth = 0;
    param.minGradient = 5;
    param.roi = &roi;
    cv::Mat image = context.image();
    const bool found = clcEdges(image, param) && param.positions.size() == 2;

    // Walls along the profile: the ROI's left end lies at slot-local x = offset - 50.
    const double firstWall = -truth.slot.width * 0.5 - (offset - 50), secondWall = firstWall + truth.slot.width;
    const double first = found ? param.positions[0] : 0, second = found ? param.positions[1] : 0;
    context.report("clcEdges", "edges across slot", 2, static_cast<double>(param.positions.size()), 0, found);
    context.report("clcEdges", "first wall (profile px)", firstWall + 0.5, first, kWholeSampleTolerance, found);
    context.report("clcEdges", "second wall (profile px)", secondWall + 0.5, second, kWholeSampleTolerance, found);
    context.report("clcEdges", "first wall polarity", 1, found ? param.polarities[0] : 0, 0, found);
    context.report("clcEdges", "second wall polarity", -1, found ? param.polarities[1] : 0, 0, found);

    std::vector<cv::Point2d> local;
    for (float p : param.positions)
        local.emplace_back(p, roi.height * 0.5);
    cv::Mat picture = context.annotationCanvas();
    for (double wall : {firstWall, secondWall})
        drawCross(picture, toImage({{wall, roi.height * 0.5}}, roi).front(), kTruthColour, 8);
    for (cv::Mat* canvas : {&picture, &context.overview()}) {
        drawPolygon(*canvas, outline(roi), kRoiColour);
        for (const cv::Point2d& p : toImage(local, roi))
            drawCross(*canvas, p, kFoundColour, 4);
    }
    saveZoomed(context, "edges", picture, {roi.centreX, roi.centreY}, {140, 80}, 4);
}

void runEdgePairs(Context& context)
{
    const SceneTruth& truth = context.truth();
    // Across the slot, 160 px of its 220 px length, bands of 10 lines every 10.
    RotateRectROI roi = plateAlignedRoi(truth, {143.3, 12}, 100, 160);
    _MulEdgePointDetParam param;
    param.pairMode = 0;
    param.segmentAxis = 0;
    param.direction = 0;
    param.transition = BothTransitions;
    param.threshold = 50;
    param.minGradient = 5;
    param.segmentWidth = 10;
    param.segmentStep = 10;
    param.minPairDistance = 10;
    param.roi = &roi;
    cv::Mat image = context.image();
    const bool found = clcMulEdgePoints(image, param);

    double sum = 0, worst = truth.slot.width;
    for (size_t k = 0; k < param.firstEdges.size(); ++k) {
        const double distance = param.secondEdges[k].x - param.firstEdges[k].x;
        sum += distance;
        if (std::abs(distance - truth.slot.width) > std::abs(worst - truth.slot.width))
            worst = distance;
    }
    const double pairs = static_cast<double>(param.firstEdges.size());
    context.report("clcMulEdgePoints", "pairs (one per band)", 16, pairs, 0, found);
    // Both walls carry the same half-sample offset, so the distance is free of it.
    context.report("clcMulEdgePoints", "mean slot width (px)", truth.slot.width, pairs > 0 ? sum / pairs : 0, 0.5,
                   found);
    context.report("clcMulEdgePoints", "worst slot width (px)", truth.slot.width, worst, 1.0, found);

    const std::vector<cv::Point2d> first = toImage(param.firstEdges, roi), second = toImage(param.secondEdges, roi);
    cv::Mat picture = context.annotationCanvas();
    for (double side : {-0.5, 0.5}) {
        const double x = truth.slot.width * side + 140;
        drawLine(picture, truth.plateToImage({x, -110}), truth.plateToImage({x, 110}), kTruthColour);
    }
    for (cv::Mat* canvas : {&picture, &context.overview()}) {
        drawPolygon(*canvas, outline(roi), kRoiColour);
        for (size_t k = 0; k < first.size(); ++k)
            drawLine(*canvas, first[k], second[k], kFoundColour);
    }
    saveZoomed(context, "edge_pairs", picture, {roi.centreX, roi.centreY}, {150, 200}, 3);
}

void runEdgePointLine(Context& context)
{
    const SceneTruth& truth = context.truth();
    // A slanted line from inside the plate out across its bottom edge; it crosses the edge
    // halfway along, at plate-local (62.5, bottom).
    const double bottom = truth.plate.height * 0.5;
    const cv::Point2d start = truth.plateToImage({50, bottom - 40}), end = truth.plateToImage({75, bottom + 40});
    const cv::Point2d crossing = truth.plateToImage({62.5, bottom});
    LineROI line(start.x, start.y, end.x, end.y);
    _EdgePointDetParam_Line param;
    param.direction = 0;
    param.transition = LightToDark;
    param.percent = 50;
    param.sigma = 2;
    param.minStrength = 10;
    param.roi = &line;
    cv::Mat image = context.image();
    const bool found = clcEdgePoint_Line(image, param);
    context.report("clcEdgePoint_Line", "edge x (px)", crossing.x, param.x, kSubPixelTolerance, found);
    context.report("clcEdgePoint_Line", "edge y (px)", crossing.y, param.y, kSubPixelTolerance, found);

    cv::Mat picture = context.annotationCanvas();
    drawLine(picture, truth.plateToImage({20, bottom}), truth.plateToImage({105, bottom}), kTruthColour);
    for (cv::Mat* canvas : {&picture, &context.overview()}) {
        drawLine(*canvas, start, end, kRoiColour);
        if (found)
            drawCross(*canvas, {param.x, param.y}, kFoundColour, 4);
    }
    saveZoomed(context, "edge_point_line", picture, crossing, {120, 110}, 4);
}

void runEdgeTools(Context& context)
{
    runEdgePoints(context);
    runEdges(context);
    runEdgePairs(context);
    runEdgePointLine(context);
}

const StepRegistration registration(20, "edge tools", &runEdgeTools);

} // namespace
} // namespace demo
