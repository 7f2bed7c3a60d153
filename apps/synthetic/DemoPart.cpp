#include "DemoPart.h"

#include <cmath>

namespace synthetic {

cv::Point2d DemoPose::toImage(cv::Point2d local) const
{
    const double t = angle * 3.141592653589793 / 180.0;
    return {centre.x + local.x * std::cos(t) - local.y * std::sin(t),
            centre.y + local.x * std::sin(t) + local.y * std::cos(t)};
}

void paintDemoPart(Scene& scene, const DemoPart& part, const DemoPose& pose)
{
    scene.fillRotatedRect(pose.centre, part.width, part.height, pose.angle, part.plateValue);
    scene.fillDisc(pose.toImage({part.holeOffset, 0}), part.holeRadius, part.background);
    scene.fillRotatedRect(pose.toImage({part.slotOffset, 0}), part.slotWidth, part.slotLength, pose.angle,
                          part.background);
}

cv::Mat renderDemoPart(cv::Size size, const DemoPart& part, const DemoPose& pose, double blurSigma,
                       double noiseSigma, uint64_t seed)
{
    Scene scene(size, part.background);
    paintDemoPart(scene, part, pose);
    return scene.toGrey(blurSigma, noiseSigma, seed);
}

} // namespace synthetic

namespace synthetic {

std::vector<DemoPose> demoPartPoses()
{
    return {
        {{640, 512}, 0}, {{690, 507}, 20}, {{600, 527}, -20}, {{672, 544}, 12}, {{610, 480}, -9},
    };
}

} // namespace synthetic
