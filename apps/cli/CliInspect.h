#pragma once

// The recipe commands of functions-cli: inspect, teach and calibrate. Each returns the
// process exit status and throws frontend::InputError for bad input.

#include <string>

namespace cli {

/// Runs a recipe over one image or a folder: per image a JSON line and an overlay, over
/// the batch a CSV and a summary table per dimension, all into outFolder; the table also
/// on stdout. Exit status 0 even when an inspected piece is out of tolerance.
int runInspect(const std::string& recipePath, const std::string& images, int jobs, const std::string& outFolder);

/// Measures the fixture's pose on a reference image and writes the recipe with it to
/// outPath (the recipe itself when empty).
int runTeach(const std::string& recipePath, const std::string& imagePath, const std::string& outPath);

/// Calibrates the camera from the chessboard views of a folder ("COLSxROWS" inner
/// corners, square side in mm); the measuring plane is the board in planeImage (the
/// first view in name order when empty). Writes the calibration file.
int runCalibrate(const std::string& folder, const std::string& board, double squareMm, const std::string& planeImage,
                 const std::string& outPath);

} // namespace cli
