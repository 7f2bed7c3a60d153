#pragma once

// The studio's measuring path, free of any widget so that a benchmark and the tests drive
// it exactly as the window does: a set of ROIs, each with its tool and settings, measured
// on one image through the shared layer (prepareInput, then the tool's run), the way the
// command-line tool runs a parameters file. A ROI whose tool, shape and settings are
// unchanged since its last measurement on the same image keeps that measurement, so a
// change to one ROI re-measures only that ROI.
//
// Not thread-safe: one thread at a time (the window hands it to one worker job at a time).

#include "RoiShape.h"

#include <opencv2/core.hpp>

#include <string>
#include <vector>

namespace studio {

/// One ROI of a recipe: the tool, the shape it measures in and the tool's settings.
struct RoiEntry {
    int id = 0;       // stable while the ROI exists
    std::string name; // names the ROI in messages, lists and recipes
    std::string tool; // a frontend::tools() name
    RoiShape shape;
    json settings = json::object(); // any of the tool's settings; defaults fill the rest

    /// The ROI as a `run` parameters file: its settings and "roi".
    json parameters() const;
    /// Equal exactly when tool, shape and settings are: what a measurement depends on.
    std::string key() const;
};

struct Measurement {
    bool ran = false;     // false: the tool refused the input (see error) or was not run
    std::string error;    // why the input was refused: a setting, a ROI outside the image
    bool success = false; // the tool's own verdict
    json settings;        // every setting as run, defaults filled in
    json outputs = json::object();
    json quality = nullptr;            // uncertainties and 95 % intervals; null: not judged
    json diagnostics = json::object(); // per-point residuals and inliers; "failure": why not
    double microseconds = 0;           // in the library call(s)
};

/// The settings a tool starts with: each parameter's default.
json defaultSettings(const frontend::ToolDefinition& tool);

/// Measures one ROI on an image through the shared layer; never throws for bad input, it
/// comes back as Measurement::error.
Measurement measure(const RoiEntry& entry, const cv::Mat& image, const std::string& imageName);

class MeasureSession {
public:
    /// A new image (8-bit, grey or RGB): every ROI is measured again.
    void setImage(const cv::Mat& image, const std::string& name);
    /// The ROIs to measure; those unchanged (same key) keep their measurement.
    void setEntries(const std::vector<RoiEntry>& entries);
    /// Measures every ROI without a current measurement; returns how many ran.
    int remeasure();

    const std::vector<RoiEntry>& entries() const { return entries_; }
    /// The measurement of each entry, in order; empty ones until remeasure() runs.
    const std::vector<Measurement>& measurements() const { return measurements_; }

private:
    cv::Mat image_;
    std::string imageName_;
    std::vector<RoiEntry> entries_;
    std::vector<Measurement> measurements_;
    std::vector<std::string> measuredKeys_; // key each measurement was made for; empty: none
};

} // namespace studio
