// Edge position over straight step edges at random sub-pixel offsets and angles, and the
// width between the edges of bars.

#include "Studies.h"

#include <Functions.h>

#include "Synthetic.h"

namespace accuracy {

namespace {

constexpr uint64_t kTag = 1;

enum EdgeMetric : size_t { EdgePointTool, SegmentCaliper, EdgePointsTool };

// The edge point tool as a user places it: a 40 x 20 caliper laid across the edge, a few
// pixels off and a few degrees askew, scanning from the dark side.
void measureEdgePointTool(cv::RNG& rng, uint64_t seed, const std::vector<Setting>& settings, Recorder& recorder)
{
    const StraightEdge truth(rng, 72);
    const cv::Point2d &n = truth.normal, &edge = truth.point;
    const cv::Point2d centre = edge + n * rng.uniform(-4.0, 4.0) + truth.along * rng.uniform(-4.0, 4.0);
    RotateRectROI roi(centre.x, centre.y, static_cast<float>(truth.normalAngle + rng.uniform(-3.0, 3.0)), 40.0f,
                      20.0f);

    for (size_t s = 0; s < settings.size(); ++s) {
        cv::Mat image = truth.scene.toGrey(settings[s].series, settings[s].noise, seed);
        _EdgePointDetParam param;
        param.direction = LeftToRight;
        param.transition = DarkToLight;
        useSingleCaliper(param);
        param.roi = &roi;
        if (clcEdgePoint(image, param))
            recorder.error(s, EdgePointTool, (cv::Point2d(param.x, param.y) - edge).dot(n));
        else
            recorder.miss(s, EdgePointTool);

        // The edge points tool on the same caliper: two segments of 10 rows.
        constexpr size_t segments = 2;
        _EdgePointsDetParam points;
        points.scanAxis = 0;
        points.direction = 0;
        points.transition = DarkToLight;
        useSegmentCalipers(points);
        points.roi = &roi;
        if (clcEdgePointsAndTransform(image, points))
            for (const cv::Point2d& p : points.points)
                recorder.error(s, EdgePointsTool, (p - edge).dot(n));
        for (size_t k = points.points.size(); k < segments; ++k)
            recorder.miss(s, EdgePointsTool);
    }
}

// The segment caliper alone on an upright strip of 48 x 50 pixels holding an edge within
// 5 degrees of vertical: five segments of ten rows, one edge each. The strip is cut from
// a taller rendering so that the blur sees the edge continue beyond its ends.
void measureSegmentCaliper(cv::RNG& rng, uint64_t seed, const std::vector<Setting>& settings, Recorder& recorder)
{
    constexpr int margin = 8, rows = 50, segmentWidth = 10, segments = rows / segmentWidth;
    const double tilt = rng.uniform(-5.0, 5.0);
    const cv::Point2d n = unitAt(tilt);
    const cv::Point2d edge(24 + rng.uniform(-2.0, 2.0), margin + rows / 2);
    synthetic::Scene scene(cv::Size(48, rows + 2 * margin), kDark);
    scene.fillHalfPlane(edge, tilt, kBright);
    const cv::Point2d edgeInStrip = edge - cv::Point2d(0, margin);

    for (size_t s = 0; s < settings.size(); ++s) {
        cv::Mat strip = scene.toGrey(settings[s].series, settings[s].noise, seed).rowRange(margin, margin + rows);
        std::vector<cv::Point2d> points;
        clcSegmentPoints(strip, TopToBottom, LeftToRight, DarkToLight, segmentWidth, segmentWidth, 0, 1024, 1, 50.0f,
                         5.0f, points, 1);
        for (const cv::Point2d& p : points)
            recorder.error(s, SegmentCaliper, (p - edgeInStrip).dot(n));
        for (size_t k = points.size(); k < segments; ++k)
            recorder.miss(s, SegmentCaliper);
    }
}

} // namespace

StudyResult studyEdgePosition(const StudyOptions& options)
{
    const std::vector<Metric> metrics{{"clcEdgePoint", "position", "px"},
                                      {"clcSegmentPoints", "position", "px"},
                                      {"clcEdgePoints", "position", "px"}};
    return runStudy("edge", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
                    [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
                        const uint64_t seed = placementSeed(kTag, index);
                        cv::RNG rng(seed);
                        measureEdgePointTool(rng, seed, settings, recorder);
                        measureSegmentCaliper(rng, seed, settings, recorder);
                    });
}

// ---------------------------------------------------------------------------------
// Edge pairs
// ---------------------------------------------------------------------------------

StudyResult studyEdgePairs(const StudyOptions& options)
{
    const std::vector<Metric> metrics{{"clcMulEdgePoints", "width", "px"}};
    return runStudy(
        "edge_pairs", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            const uint64_t seed = placementSeed(9, index);
            cv::RNG rng(seed);
            // A bright bar 8 to 30 px wide crossing the whole image; the ROI lies across it,
            // 24 px wider than the bar, a few pixels off its middle and up to 3 degrees
            // askew, so that the width along the ROI is width / cos(skew).
            const double width = rng.uniform(8.0, 30.0), barAngle = rng.uniform(0.0, 360.0);
            const cv::Point2d across = unitAt(barAngle), along(-across.y, across.x);
            const cv::Point2d barCentre(60 + rng.uniform(-1.0, 1.0), 60 + rng.uniform(-1.0, 1.0));
            synthetic::Scene scene(cv::Size(120, 120), kDark);
            scene.fillRotatedRect(barCentre, width, 400.0, barAngle, kBright);
            const double skew = rng.uniform(-3.0, 3.0);
            const cv::Point2d roiCentre = barCentre + across * rng.uniform(-3.0, 3.0) + along * rng.uniform(-5.0, 5.0);
            RotateRectROI roi(roiCentre.x, roiCentre.y, static_cast<float>(barAngle + skew),
                              static_cast<float>(width + 24.0), 40.0f);
            const double truth = width / std::cos(skew * CV_PI / 180.0);
            constexpr size_t bands = 4; // 40 rows in bands of 10

            for (size_t s = 0; s < settings.size(); ++s) {
                cv::Mat image = scene.toGrey(settings[s].series, settings[s].noise, seed);
                _MulEdgePointDetParam param;
                param.pairMode = 0;
                param.segmentAxis = 0;
                param.direction = 0;
                param.transition = BothTransitions;
                useSingleCaliper(param);
                param.segmentWidth = 10;
                param.segmentStep = 10;
                param.minPairDistance = 2.0f;
                param.roi = &roi;
                clcMulEdgePoints(image, param);
                const size_t pairs = std::min(param.firstEdges.size(), param.secondEdges.size());
                for (size_t k = 0; k < pairs; ++k)
                    recorder.error(s, 0, param.secondEdges[k].x - param.firstEdges[k].x - truth);
                for (size_t k = pairs; k < bands; ++k)
                    recorder.miss(s, 0);
                EdgePairWidthQuality quality;
                if (getEdgePairWidthQuality(param, quality))
                    recordInterval(recorder, s, 0, quality.width, quality.width.value - truth);
            }
        });
}

} // namespace accuracy
