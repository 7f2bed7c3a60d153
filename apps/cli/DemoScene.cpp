#include "DemoScene.h"

#include "DemoPart.h"
#include "Synthetic.h"

#include <cmath>

namespace demo {

namespace {
constexpr double kPi = 3.141592653589793;
}

cv::Point2d SceneTruth::plateToImage(cv::Point2d local) const
{
    const double t = plate.angle * kPi / 180.0;
    return {plate.centre.x + local.x * std::cos(t) - local.y * std::sin(t),
            plate.centre.y + local.x * std::sin(t) + local.y * std::cos(t)};
}

SceneImage renderDemoScene()
{
    SceneTruth t;
    const synthetic::DemoPart part;
    const synthetic::DemoPose partPose{{430, 330}, 10};
    t.background = part.background;
    t.plate = {partPose.centre, part.width, part.height, partPose.angle};
    t.plateValue = part.plateValue;
    t.hole = {t.plateToImage({part.holeOffset, 0}), part.holeRadius};
    t.slot = {t.plateToImage({part.slotOffset, 0}), part.slotWidth, part.slotLength, t.plate.angle};
    t.boss = {{1010, 250}, 130};
    t.bossValue = 170;
    t.ovalBoss = {{1208.3, 799.6}, 50.9, 49.7, -28};
    t.ovalBossValue = 180;
    t.blobValue = 220;
    t.blobRects = {{{130, 720}, 120, 60, 0}, {{500, 740}, 100, 50, 30}, {{540, 875}, 140, 30, 0}};
    t.blobDiscs = {{{330, 730}, 40}, {{150, 860}, 12}};
    t.ringBlob = {{330, 870}, 45};
    t.ringBlobHoleRadius = 20;
    t.fiducialRows = 3;
    t.fiducialColumns = 4;
    t.fiducialRadius = 14;
    t.fiducialSpacing = 90;
    t.fiducialAngle = 8;
    t.text = "LOT 2611 A7";
    t.textCentre = {990, 560};
    t.textHeight = 34;
    t.textAngle = 4;
    t.blurSigma = 0.8;
    t.noiseSigma = 2.0;

    const cv::Point2d gridCentre(960, 790);
    const double ga = t.fiducialAngle * kPi / 180.0;
    for (int r = 0; r < t.fiducialRows; ++r) {
        for (int c = 0; c < t.fiducialColumns; ++c) {
            const double lx = (c - (t.fiducialColumns - 1) * 0.5) * t.fiducialSpacing;
            const double ly = (r - (t.fiducialRows - 1) * 0.5) * t.fiducialSpacing;
            t.fiducials.emplace_back(gridCentre.x + lx * std::cos(ga) - ly * std::sin(ga),
                                     gridCentre.y + lx * std::sin(ga) + ly * std::cos(ga));
        }
    }

    synthetic::Scene scene(cv::Size(1280, 960), t.background);
    synthetic::paintDemoPart(scene, part, partPose);
    scene.fillDisc(t.boss.centre, t.boss.radius, t.bossValue);
    scene.fillEllipse(t.ovalBoss.centre, t.ovalBoss.semiMajor, t.ovalBoss.semiMinor, t.ovalBoss.angle,
                      t.ovalBossValue);
    for (const RotatedBox& b : t.blobRects)
        scene.fillRotatedRect(b.centre, b.width, b.height, b.angle, t.blobValue);
    for (const Disc& d : t.blobDiscs)
        scene.fillDisc(d.centre, d.radius, t.blobValue);
    scene.fillDisc(t.ringBlob.centre, t.ringBlob.radius, t.blobValue);
    scene.fillDisc(t.ringBlob.centre, t.ringBlobHoleRadius, t.background);
    for (const cv::Point2d& f : t.fiducials)
        scene.fillDisc(f, t.fiducialRadius, 230);
    scene.drawText(t.text, t.textCentre, t.textHeight, t.textAngle, 230);

    return {scene.toGrey(t.blurSigma, t.noiseSigma, 7), t};
}

} // namespace demo
