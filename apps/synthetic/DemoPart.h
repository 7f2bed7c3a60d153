#pragma once

// The demo's machined part: a bright rectangular plate with a bored hole and a dark
// slot, drawn at any pose. The demo scene, the inspection recipe example, the tests and
// the benchmarks all measure this one part.

#include "Synthetic.h"

namespace synthetic {

/// The part in its own frame: origin at the plate's centre, x along its width, pixels.
struct DemoPart {
    double width = 560, height = 360;          // the plate
    double holeOffset = -120, holeRadius = 75;  // hole centre on the x axis
    double slotOffset = 140;                    // slot centre on the x axis
    double slotWidth = 40, slotLength = 220;    // slot across and along y
    double plateValue = 190, background = 40;  // grey values
};

/// Where the part lies: its centre in the image and its angle in degrees (positive
/// turns its x axis towards +y, clockwise on screen).
struct DemoPose {
    cv::Point2d centre;
    double angle = 0;
    /// A point of the part's own frame in the image.
    cv::Point2d toImage(cv::Point2d local) const;
};

/// Paints the part onto a scene whose background already has part.background.
void paintDemoPart(Scene& scene, const DemoPart& part, const DemoPose& pose);

/// The part alone on its background, 8-bit grey, blurred and with noise as Scene::toGrey.
cv::Mat renderDemoPart(cv::Size size, const DemoPart& part, const DemoPose& pose, double blurSigma,
                       double noiseSigma, uint64_t seed = 1);

} // namespace synthetic

namespace synthetic {

/// The poses of the recipe example's images on a 1280 x 1024 picture: the reference
/// first, then the part moved by up to 50 px and turned by up to 20 degrees.
std::vector<DemoPose> demoPartPoses();

} // namespace synthetic
