// Settings, scenes and geometry shared by the studies.

#include "Studies.h"

#include <cmath>

namespace accuracy {

const std::vector<double>& blurLevels()
{
    static const std::vector<double> levels{0.5, 1.0, 2.0};
    return levels;
}

const std::vector<double>& greyNoiseLevels()
{
    static const std::vector<double> levels{0, 1, 2, 5, 10};
    return levels;
}

StraightEdge::StraightEdge(cv::RNG& rng, int side)
    : normalAngle(rng.uniform(0.0, 360.0)), normal(unitAt(normalAngle)), along(-normal.y, normal.x),
      scene(cv::Size(side, side), kDark)
{
    point = cv::Point2d(side / 2 + rng.uniform(-1.0, 1.0), side / 2 + rng.uniform(-1.0, 1.0));
    scene.fillHalfPlane(point, normalAngle, kBright);
}

std::vector<Setting> imageSettings(const StudyOptions& options)
{
    return gridOf(orDefault(options.series, blurLevels()), orDefault(options.noises, greyNoiseLevels()));
}

cv::Point2d unitAt(double degrees)
{
    const double t = degrees * CV_PI / 180.0;
    return {std::cos(t), std::sin(t)};
}

void recordInterval(Recorder& recorder, size_t setting, size_t metric, const FittedValue& value, double error)
{
    recorder.interval(setting, metric, value.sigma, std::abs(error) <= value.halfWidth95);
}

bool lineError(cv::Point2d d, cv::Point2d p, cv::Point2d c, cv::Point2d n, double truthAngle, double& angle,
               double& offset)
{
    const double crossing = n.x * d.y - n.y * d.x;
    if (!(std::abs(crossing) > 1e-12))
        return false;
    const cv::Point2d q = p - c;
    angle = angleDifference(std::atan2(d.y, d.x) * 180.0 / CV_PI, truthAngle, 180.0);
    offset = (q.x * d.y - q.y * d.x) / crossing;
    return true;
}

} // namespace accuracy
