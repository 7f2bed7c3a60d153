#pragma once

// The demo's built-in inspection scene and its exact geometry.

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace demo {

struct RotatedBox {
    cv::Point2d centre;
    double width = 0;  // along the box's own x axis
    double height = 0; // along its own y axis
    double angle = 0;  // degrees, positive turns +x towards +y
};

struct Disc {
    cv::Point2d centre;
    double radius = 0;
};

struct Ellipse {
    cv::Point2d centre;
    double semiMajor = 0;
    double semiMinor = 0;
    double angle = 0; // of the major axis, degrees, positive turns +x towards +y
};

/// Ground truth of every feature drawn into the scene, in image pixels.
struct SceneTruth {
    double background = 0;
    RotatedBox plate; // bright part with straight edges
    double plateValue = 0;
    Disc hole;        // bored hole through the plate
    RotatedBox slot;  // dark slot in the plate; its width is the edge-pair distance
    Disc boss;        // bright round boss whose rim is measured as an arc
    double bossValue = 0;
    Ellipse ovalBoss; // bright boss slightly out of round, gauged for its diameters
    double ovalBossValue = 0;
    std::vector<RotatedBox> blobRects; // rectangular blobs
    std::vector<Disc> blobDiscs;       // round blobs
    Disc ringBlob;                     // a blob with a hole: outer disc ...
    double ringBlobHoleRadius = 0;     // ... and the radius of its hole
    double blobValue = 0;
    std::vector<cv::Point2d> fiducials; // grid of small discs, row by row, left to right
    int fiducialRows = 0, fiducialColumns = 0;
    double fiducialRadius = 0, fiducialSpacing = 0, fiducialAngle = 0;
    std::string text;  // a line of characters ...
    cv::Point2d textCentre;
    double textHeight = 0, textAngle = 0; // ... turned by textAngle degrees (positive clockwise)
    double blurSigma = 0, noiseSigma = 0;

    /// Point of the plate given in its own frame (origin at its centre, x along its width).
    cv::Point2d plateToImage(cv::Point2d local) const;
};

struct SceneImage {
    cv::Mat grey; // 8-bit, one channel
    SceneTruth truth;
};

/// Renders the scene (about a second on one core). Deterministic: fixed noise seed.
SceneImage renderDemoScene();

} // namespace demo
