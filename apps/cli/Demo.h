#pragma once

// The demo: a registry of steps, each running one tool family on the built-in scene and
// reporting measured values against the scene's truth.

#include "DemoScene.h"
#include "Drawing.h"

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace demo {

/// One line of the results table.
struct Measurement {
    std::string tool;
    std::string quantity;
    double truth = 0;
    double measured = 0;
    double tolerance = 0; // the measurement passes when |measured - truth| <= tolerance
    bool found = false;   // false when the tool reported failure

    double error() const { return measured - truth; }
    bool passed() const;
};

class Context {
public:
    Context(SceneImage scene, std::string outDir);

    const cv::Mat& image() const { return scene_.grey; }
    const SceneTruth& truth() const { return scene_.truth; }

    /// Adds a row to the results table.
    void report(const std::string& tool, const std::string& quantity, double truth, double measured,
                double tolerance, bool found = true);
    /// A colour copy of the scene to draw a step's annotations on.
    cv::Mat annotationCanvas() const;
    /// Writes a step's annotated picture as <outDir>/<name>.png; returns false on failure.
    bool savePicture(const std::string& name, const cv::Mat& picture);
    /// The overview picture every step may draw its ROIs and results onto.
    cv::Mat& overview() { return overview_; }

    const std::vector<Measurement>& measurements() const { return rows_; }
    const std::string& outDir() const { return outDir_; }

private:
    SceneImage scene_;
    std::string outDir_;
    cv::Mat overview_;
    std::vector<Measurement> rows_;
};

using StepFunction = void (*)(Context&);

/// Registers a step at static initialisation; steps run in ascending order, then name.
struct StepRegistration {
    StepRegistration(int order, const char* name, StepFunction run);
};

/// Renders the scene, runs every registered step, prints the table to stdout and writes
/// the pictures into outDir. Returns 0 when every measurement is within its tolerance,
/// 1 when one is not, 2 when outDir cannot be written.
int runDemo(const std::string& outDir);

/// Writes the recipe example's pictures of the demo part at several poses (the last with
/// an oversize hole) into folder.
int writeRecipeImages(const std::string& folder);

/// Writes chessboard views through a distorted camera into folder/boards (the first
/// lying on the measuring plane) and a plate with two holes 100 mm apart on that plane.
int writeCalibrationImages(const std::string& folder);

// The steps draw with the tools' own overlay helpers.
using frontend::circleArc;
using frontend::drawArcRoi;
using frontend::drawCross;
using frontend::drawEdgePoints;
using frontend::drawPolygon;
using frontend::drawPolyline;
using frontend::drawRingRoi;
using frontend::kFoundColour;
using frontend::kRoiColour;
using frontend::kTruthColour;
using frontend::View;
using frontend::zoomedAround;

} // namespace demo
