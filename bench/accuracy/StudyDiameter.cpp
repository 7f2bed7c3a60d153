// The circle diameter tool on rendered discs and slightly oval ellipses.

#include "Studies.h"

#include <Functions.h>

#include "Synthetic.h"

namespace accuracy {

namespace {

enum DiameterMetric : size_t {
    DiscMean, DiscSmallest, DiscLargest, DiscRoundness,
    OvalSmallest, OvalLargest, OvalSmallestDirection, OvalLargestDirection, OvalRoundness,
    DiameterMetricCount
};

// 360 calipers of three lines over 1 degree, scanning outwards from the bright shape into
// the dark background. A gauge's readings are compared one with another, so its profiles
// are smoothed a little more than the other studies' (sigma 2, not 1): the extreme
// readings stand out of the measuring noise by a few of its standard deviations.
_CircleDiameterDetParam outwardDiameters(RingROI* roi)
{
    _CircleDiameterDetParam param;
    param.direction = LeftToRight;
    param.transition = LightToDark;
    param.percent = 50;
    param.sigma = 2;
    param.minStrength = 5;
    param.segmentWidth = 3;
    param.caliperCount = 360;
    param.caliperAngle = 1.0;
    param.roi = roi;
    return param;
}

void recordAll(Recorder& recorder, size_t s, const std::vector<std::pair<size_t, double>>& errors, bool ok)
{
    for (const auto& [metric, error] : errors) {
        if (ok)
            recorder.error(s, metric, error);
        else
            recorder.miss(s, metric);
    }
}

} // namespace

StudyResult studyCircleDiameter(const StudyOptions& options)
{
    std::vector<Metric> metrics(DiameterMetricCount);
    metrics[DiscMean] = {"clcCircleMulPoints disc", "mean diameter", "px"};
    metrics[DiscSmallest] = {"clcCircleMulPoints disc", "smallest diameter", "px"};
    metrics[DiscLargest] = {"clcCircleMulPoints disc", "largest diameter", "px"};
    metrics[DiscRoundness] = {"clcCircleMulPoints disc", "roundness", "px"};
    metrics[OvalSmallest] = {"clcCircleMulPoints oval", "smallest diameter", "px"};
    metrics[OvalLargest] = {"clcCircleMulPoints oval", "largest diameter", "px"};
    metrics[OvalSmallestDirection] = {"clcCircleMulPoints oval", "smallest direction", "deg"};
    metrics[OvalLargestDirection] = {"clcCircleMulPoints oval", "largest direction", "deg"};
    metrics[OvalRoundness] = {"clcCircleMulPoints oval", "roundness", "px"};
    return runStudy(
        "diameter", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            const uint64_t seed = placementSeed(9, index);
            cv::RNG rng(seed);
            // A bright disc of radius 30 to 70 px, and an ellipse of the same size whose
            // axes differ by 2 px at a random orientation. The rings are centred up to 3 px
            // off the shapes and reach 10 px either side of their edges.
            const double radius = rng.uniform(30.0, 70.0);
            const cv::Point2d centre(100 + rng.uniform(-3.0, 3.0), 100 + rng.uniform(-3.0, 3.0));
            const double major = rng.uniform(0.0, 180.0); // degrees, counter-clockwise with y up
            const double a = radius + 1.0, b = radius;
            synthetic::Scene disc(cv::Size(200, 200), kDark), oval(cv::Size(200, 200), kDark);
            disc.fillDisc(centre, radius, kBright);
            oval.fillEllipse(centre, a, b, -major, kBright);
            const cv::Point2d roiCentre = centre + cv::Point2d(rng.uniform(-3.0, 3.0), rng.uniform(-3.0, 3.0));
            RingROI ring(roiCentre.x, roiCentre.y, static_cast<float>(radius - 10), static_cast<float>(radius + 11));

            for (size_t s = 0; s < settings.size(); ++s) {
                cv::Mat image = disc.toGrey(settings[s].series, settings[s].noise, seed);
                auto param = outwardDiameters(&ring);
                bool ok = clcCircleMulPoints(image, param);
                recordAll(recorder, s,
                          {{DiscMean, param.meanDiameter - 2 * radius},
                           {DiscSmallest, param.minDiameter - 2 * radius},
                           {DiscLargest, param.maxDiameter - 2 * radius},
                           {DiscRoundness, param.roundness}},
                          ok);

                image = oval.toGrey(settings[s].series, settings[s].noise, seed);
                param = outwardDiameters(&ring);
                ok = clcCircleMulPoints(image, param);
                recordAll(recorder, s,
                          {{OvalSmallest, param.minDiameter - 2 * b},
                           {OvalLargest, param.maxDiameter - 2 * a},
                           {OvalSmallestDirection, angleDifference(param.minDiameterAngle, major + 90.0, 180.0)},
                           {OvalLargestDirection, angleDifference(param.maxDiameterAngle, major, 180.0)},
                           {OvalRoundness, param.roundness - (a - b)}},
                          ok);
            }
        });
}

} // namespace accuracy
