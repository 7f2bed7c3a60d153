// The shape tools on rendered images: the line tool on straight edges.

#include "Studies.h"

#include <Functions.h>

#include "Synthetic.h"

#include <opencv2/imgproc.hpp>

namespace accuracy {

namespace {

// The caliper settings every segment-based tool of the study uses.
template <class Param>
void setCalipers(Param& param, int direction, int transition)
{
    param.direction = direction;
    param.transition = transition;
    param.percent = 50;
    param.sigma = 1;
    param.minStrength = 5;
    param.segmentWidth = 10;
    param.segmentStep = 10;
}

} // namespace

// ---------------------------------------------------------------------------------
// Line tool
// ---------------------------------------------------------------------------------

StudyResult studyLineTool(const StudyOptions& options)
{
    const std::vector<Metric> metrics{{"clcEdgeLineAndFit", "angle", "deg"}, {"clcEdgeLineAndFit", "offset", "px"}};
    return runStudy(
        "line", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            const uint64_t seed = placementSeed(6, index);
            cv::RNG rng(seed);
            // A straight edge across a 40 x 100 px ROI (ten calipers of 10 rows), the ROI a
            // few pixels off the edge and up to 3 degrees askew.
            const double normalAngle = rng.uniform(0.0, 360.0);
            const cv::Point2d n = unitAt(normalAngle), along(-n.y, n.x);
            const cv::Point2d edge(80 + rng.uniform(-1.0, 1.0), 80 + rng.uniform(-1.0, 1.0));
            synthetic::Scene scene(cv::Size(160, 160), kDark);
            scene.fillHalfPlane(edge, normalAngle, kBright);
            const double alongOffset = rng.uniform(-10.0, 10.0);
            const cv::Point2d centre = edge + n * rng.uniform(-4.0, 4.0) + along * alongOffset;
            RotateRectROI roi(centre.x, centre.y, static_cast<float>(normalAngle + rng.uniform(-3.0, 3.0)), 40.0f,
                              100.0f);
            // The offset is taken where the ROI's centre line meets the true edge.
            const cv::Point2d middle = edge + along * alongOffset;

            for (size_t s = 0; s < settings.size(); ++s) {
                cv::Mat image = scene.toGrey(settings[s].series, settings[s].noise, seed);
                _EdgeLineDetParam param;
                setCalipers(param, LeftToRight, DarkToLight);
                param.roi = &roi;
                double angle = 0, offset = 0;
                if (clcEdgeLineAndFit(image, param, 0) &&
                    lineError({param.line[0], param.line[1]}, {param.line[2], param.line[3]}, middle, n,
                              normalAngle + 90.0, angle, offset)) {
                    recorder.error(s, 0, angle);
                    recorder.error(s, 1, offset);
                } else {
                    recorder.miss(s, 0);
                    recorder.miss(s, 1);
                }
            }
        });
}

} // namespace accuracy
