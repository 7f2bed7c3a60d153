#pragma once

// Inspection recipes: one part type measured again and again. A recipe names the units
// of its results, how the part's pose is found (the fixture), the tool runs that measure
// it (measurements) and the values derived from them with nominal and tolerance
// (dimensions). The format is JSON, documented in docs/recipes.md.
//
// The command-line tool runs recipes (inspect), the studio loads, edits and saves them,
// the Python module runs them: all through this header. A program may also build a
// Recipe in code and serialise it with recipeJson / saveRecipe.

#include "ToolDefinition.h"

#include <PlaneCalibration.h>

#include <opencv2/core.hpp>

#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace frontend {

/// What the results are expressed in.
struct RecipeUnits {
    enum class Kind { Pixels, PixelSize, Calibration };
    Kind kind = Kind::Pixels;
    double millimetresPerPixel = 1; ///< PixelSize: every length is scaled by this
    /// Calibration: the file as the recipe names it (relative to the recipe's folder
    /// unless absolute), and its contents once loaded.
    std::string calibrationFile;
    PlaneCalibration calibration;

    /// "px" or "mm".
    std::string lengthUnit() const { return kind == Kind::Pixels ? "px" : "mm"; }
};

/// How the part's pose is measured: from two of the recipe's measurements.
struct RecipeFixture {
    enum class Kind {
        None,         ///< no fixture: every ROI stays where it was drawn
        LineLine,     ///< origin where the lines meet, angle of the first line
        CircleLine,   ///< origin at the circle's centre, angle of the line
        CircleCircle, ///< origin at the first centre, angle towards the second
    };
    Kind kind = Kind::None;
    std::string first, second; ///< measurement names, in the order the kind lists them
    /// Measure the fixture's features a second time with their ROIs moved by the first
    /// pose, so that they lie square on the part's edges as they did when taught (two more
    /// tool runs per image; the dimensions then do not depend on the part's turn).
    bool refine = true;
    bool taught = false;       ///< whether reference holds the taught pose
    ObjPos reference;          ///< the part's pose in the reference image (pixels, degrees)
};

/// One tool run. roi is a ROI object as in a parameters file, drawn on the reference
/// image; any point field of it ("centre", "start", "end") may instead name a point of
/// an earlier result ("hole.centre"), which places it in the current image as found.
struct RecipeMeasurement {
    std::string name;
    std::string tool;
    json roi;                      ///< null for tools that take none
    json params = json::object(); ///< the tool's settings; missing ones take defaults
};

/// One named value derived from measurements, with its tolerance band
/// [nominal + lowerTolerance, nominal + upperTolerance].
struct RecipeDimension {
    std::string name;
    std::string kind; ///< see dimensionKinds()
    /// The kind's operands in its order: field name and reference ("hole",
    /// "hole.centre", "top.start").
    std::vector<std::pair<std::string, std::string>> operands;
    std::string at = "mean"; ///< line_line_distance: mean, min or max of the end distances
    double nominal = 0;
    double lowerTolerance = 0; ///< usually negative
    double upperTolerance = 0;
};

struct Recipe {
    std::string name;
    RecipeUnits units;
    RecipeFixture fixture;
    std::vector<RecipeMeasurement> measurements;
    std::vector<RecipeDimension> dimensions;
};

/// A kind of dimension: its operand fields with the feature each must name, and whether
/// its value is an angle (degrees) or a length (the recipe's unit).
struct DimensionKind {
    std::string name;
    std::vector<std::pair<std::string, std::string>> operands; ///< field, feature (point, line, circle, pairs, diameters)
    bool angle = false;
    std::string summary;
};

/// The dimension kinds, in the order docs/recipes.md lists them.
const std::vector<DimensionKind>& dimensionKinds();

/// Parses and validates a recipe. Faults throw InputError naming `source` and the JSON
/// path of the fault ("plate.json: $.dimensions[2].from: ..."). A calibration file is
/// read relative to `folder`.
Recipe parseRecipe(const json& document, const std::string& source, const std::string& folder);

/// Reads, parses and validates a recipe file.
Recipe loadRecipe(const std::string& path);

/// Validates a recipe built in code as parseRecipe validates a parsed one: tools and
/// settings, ROIs, references, cycles, operand features, tolerances.
void validateRecipe(const Recipe& recipe, const std::string& source);

/// The recipe as JSON, in the documented layout (parseRecipe reads it back unchanged).
json recipeJson(const Recipe& recipe);

/// Writes recipeJson to path, whole or not at all. Throws InputError when it cannot.
void saveRecipe(const Recipe& recipe, const std::string& path);

// Calibration files (JSON).

/// Reads a calibration file written by saveCalibration. Throws InputError.
PlaneCalibration loadCalibration(const std::string& path);
/// Writes a calibration file, whole or not at all. Throws InputError when it cannot.
void saveCalibration(const PlaneCalibration& calibration, const std::string& path);

/// Writes text to path through a temporary file, so a failure never leaves half a file.
void writeWholeFile(const std::string& path, const std::string& text);

// Running a recipe.

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

/// What a measurement found, in image pixels (as the tool reports) and in the recipe's
/// units (mapped through the calibration and fitted there, or scaled).
struct Feature {
    enum class Type { None, Point, Line, Circle, Pairs, Diameters };
    Type type = Type::None;
    cv::Point2d point;                 ///< Point: the point; Circle: the centre
    double radius = 0;                 ///< Circle
    cv::Vec4d line;                    ///< Line (vx, vy, x0, y0)
    cv::Point2d start, end;            ///< Line: its ends as the tool clips it
    std::vector<std::pair<cv::Point2d, cv::Point2d>> pairs; ///< Pairs
    double smallest = 0, largest = 0;  ///< Diameters
    std::vector<cv::Point2d> edgePoints;
    /// Standard uncertainties from the fit's residual spread where it is known (NaN
    /// otherwise), in the feature's unit: a line's position across itself at its anchor
    /// and its direction (degrees), a circle's centre coordinates and radius, the mean
    /// width of edge pairs.
    double lineOffsetSigma = kUnknown, lineAngleSigma = kUnknown;
    cv::Point2d lineAnchor;
    cv::Point2d centreSigma{kUnknown, kUnknown};
    double radiusSigma = kUnknown, widthSigma = kUnknown;
};

struct MeasurementOutcome {
    bool success = false;
    std::string error;            ///< why it has no result (tool failure, ROI outside, missing input)
    json roi;                     ///< the ROI as placed in this image
    json outputs;                 ///< the tool's outputs (pixels)
    double microseconds = 0;      ///< time in the library call(s)
    Feature image;                ///< in pixels
    Feature measured;             ///< in the recipe's units
};

struct DimensionOutcome {
    bool computed = false;
    double value = kUnknown;       ///< recipe unit or degrees
    double uncertainty = kUnknown; ///< standard uncertainty where known
    bool pass = false;
    std::string error;
};

struct InspectionResult {
    bool fixtureFound = false; ///< false also when the recipe has no fixture
    ObjPos pose;               ///< the part's pose in this image (fixture only)
    std::string fixtureError;
    std::vector<MeasurementOutcome> measurements; ///< in the recipe's order
    std::vector<DimensionOutcome> dimensions;     ///< in the recipe's order
    bool pass = false;                            ///< every dimension in tolerance
};

/// A validated recipe ready to run on many images, from many threads at once.
class RecipeRunner {
public:
    explicit RecipeRunner(Recipe recipe, std::string source = "recipe");

    const Recipe& recipe() const { return recipe_; }

    /// Runs every measurement and dimension on an image (8-bit, grey or RGB order).
    InspectionResult inspect(const cv::Mat& image) const;

    /// Measures the fixture's pose on a reference image, without a taught pose.
    /// Throws InputError when a fixture measurement fails or the recipe has no fixture.
    ObjPos teach(const cv::Mat& image) const;

    /// The documented JSON record of one image's inspection.
    json resultJson(const InspectionResult& result, const std::string& imagePath) const;

    /// Draws ROIs, found features and every dimension with its label, green in
    /// tolerance and red out, onto a BGR picture of the image.
    void drawOverlay(cv::Mat& picture, const InspectionResult& result) const;

private:
    Recipe recipe_;
    std::string source_;
    std::vector<size_t> order_;        // measurements in dependency order
    std::vector<json> settings_;       // validated settings per measurement
    std::vector<const ToolDefinition*> tools_;
    std::vector<bool> fixtured_;       // ROI moves with the part
    std::vector<size_t> fixtureOwn_;   // the fixture's two measurements

    void runMeasurement(size_t index, const cv::Mat& image, const CoordinateTransformer* pose,
                        InspectionResult& result) const;
    void measureFixture(const InspectionResult& result, ObjPos& pose, std::string& error) const;
    void evaluateDimension(size_t index, InspectionResult& result) const;
};

/// Batch statistics of one dimension against its tolerance.
struct DimensionStatistics {
    std::string name;
    std::string unit;
    size_t count = 0;    ///< images where it was computed
    size_t failures = 0; ///< images where it was out of tolerance or not computed
    double mean = kUnknown, standardDeviation = kUnknown, minimum = kUnknown, maximum = kUnknown;
    /// Process capability: Cp = (USL - LSL) / 6 s, Cpk = min(USL - mean, mean - LSL) / 3 s,
    /// s the sample standard deviation (n - 1); NaN for fewer than 2 values or s = 0.
    double cp = kUnknown, cpk = kUnknown;
};

std::vector<DimensionStatistics> dimensionStatistics(const Recipe& recipe,
                                                     const std::vector<InspectionResult>& results);

/// The statistics as an aligned text table, one row per dimension.
std::string statisticsTable(const std::vector<DimensionStatistics>& statistics);

/// One row per image (image, verdict, then one column per dimension), RFC 4180 quoting.
std::string resultsCsv(const Recipe& recipe, const std::vector<std::string>& images,
                       const std::vector<InspectionResult>& results);

} // namespace frontend
