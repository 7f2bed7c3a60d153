// Demo step: the edge point tool across the plate's left edge.

#include "Demo.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

namespace demo {
namespace {

void runEdgePoint(Context& context)
{
    const SceneTruth& truth = context.truth();
    // A caliper 80 x 20 across the plate's left edge, aligned with the plate so that it
    // walks from the dark background into the bright plate. It is placed off-centre, as a
    // user's drawing would be; the truth is where its centre line crosses the edge.
    const double edgeX = -truth.plate.width * 0.5;
    const double alongEdge = -100;
    const cv::Point2d centre = truth.plateToImage({edgeX + 7.3, alongEdge});
    const cv::Point2d edgePoint = truth.plateToImage({edgeX, alongEdge});
    RotateRectROI roi(centre.x, centre.y, static_cast<float>(truth.plate.angle), 80.0f, 20.0f);

    _EdgePointDetParam param;
    param.direction = LeftToRight;
    param.transition = DarkToLight;
    param.threshold = 50;
    param.smoothWidth = 3;
    param.minGradient = 5;
    param.roi = &roi;
    cv::Mat image = context.image();
    const bool found = clcEdgePoint(image, param);

    // Whole-sample positions: within a pixel of the truth.
    context.report("clcEdgePoint", "edge x (px)", edgePoint.x, param.x, 1.0, found);
    context.report("clcEdgePoint", "edge y (px)", edgePoint.y, param.y, 1.0, found);

    std::vector<cv::Point2d> corners;
    for (const QPointF& q : getCornerPoints(&roi))
        corners.emplace_back(q.x(), q.y());
    for (cv::Mat* canvas : {&context.overview()}) {
        drawPolygon(*canvas, corners, kRoiColour);
        if (found)
            drawCross(*canvas, {param.x, param.y}, kFoundColour);
    }
    cv::Mat picture = context.annotationCanvas();
    drawPolygon(picture, corners, kRoiColour);
    drawCross(picture, edgePoint, kTruthColour, 10);
    if (found)
        drawCross(picture, {param.x, param.y}, kFoundColour);
    const cv::Rect crop = cv::Rect(cv::Point(static_cast<int>(centre.x) - 80, static_cast<int>(centre.y) - 60),
                                   cv::Size(160, 120)) &
                          cv::Rect(0, 0, picture.cols, picture.rows);
    cv::Mat zoomed;
    cv::resize(picture(crop), zoomed, crop.size() * 4, 0, 0, cv::INTER_NEAREST);
    context.savePicture("edge_point", zoomed);
}

const StepRegistration registration(10, "edge point", &runEdgePoint);

} // namespace
} // namespace demo
