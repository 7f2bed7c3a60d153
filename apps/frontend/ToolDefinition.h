#pragma once

// The front ends' view of a library tool (command-line tool, studio, Python module): its
// settings with types, ranges and defaults, the ROI shapes it accepts, how it runs on an
// image and how its result is drawn. Each tool adapter lives in its own Tool*.cpp; tools()
// lists them in a fixed order.

#include <FunctionsDef.h>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace frontend {

// Ordered, so records keep the documented field order.
using json = nlohmann::ordered_json;

/// Bad input from the user: a file, a setting, a ROI. Its message names the file or
/// field, the value and what is allowed; the command-line tool prints it and exits with
/// status 2, the studio shows it, the Python module raises ValueError.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class ParamType { Integer, Number, Boolean, Choice };

/// The upper end of a range that has none (integers still stop at the 32-bit limit).
constexpr double kNoLimit = std::numeric_limits<double>::infinity();

/// One setting of a tool. Integer and Number settings must lie in [minimum, maximum];
/// Choice settings take one of `choices` by name or by its index (the enumeration value).
struct ParamDefinition {
    std::string name;
    ParamType type = ParamType::Integer;
    json defaultValue;
    std::string help;
    std::vector<std::string> choices;
    double minimum = -std::numeric_limits<double>::infinity();
    double maximum = std::numeric_limits<double>::infinity();

    /// An integer or number setting with its allowed range.
    static ParamDefinition ranged(std::string name, ParamType type, json defaultValue, double minimum,
                                  double maximum, std::string help);
    /// A choice among named values; the index of a name is its enumeration value.
    static ParamDefinition choice(std::string name, std::string defaultValue, std::vector<std::string> choices,
                                  std::string help);
    /// A true/false setting.
    static ParamDefinition flag(std::string name, bool defaultValue, std::string help);

    /// The allowed values in words, e.g. "0 .. 100", "at least 1", "LeftToRight|RightToLeft".
    std::string allowedText() const;
};

/// A ROI read from a parameters file; `shape` is what the library receives.
struct RoiInput {
    std::string kind; // rotated_rect, rect, line, ring, arc
    json echo;        // the ROI as given, normalised, for the output
    std::unique_ptr<ROI> shape;
};

struct ToolInput {
    cv::Mat image; // 8-bit, 1 channel or RGB order
    json settings; // every parameter, validated, defaults filled in
    RoiInput roi;  // empty kind when the tool takes no ROI
    /// Whether the run's diagnostics list every edge point with its residual (a single
    /// run and the studio show them) or only the inlier and outlier counts (a recipe over
    /// many images, where the list would cost as much as the tool).
    bool listPointDiagnostics = true;

    int integer(const std::string& name) const { return settings.at(name).get<int>(); }
    double number(const std::string& name) const { return settings.at(name).get<double>(); }
    bool boolean(const std::string& name) const { return settings.at(name).get<bool>(); }
    /// Index of the chosen value of a Choice parameter.
    int choice(const std::string& name) const;

    const std::vector<ParamDefinition>* paramDefinitions = nullptr;
};

struct ToolResult {
    bool success = false;
    json outputs = json::object();
    /// How far to trust the outputs (Trust.h): residuals, uncertainties, 95 % intervals;
    /// null when the tool fits nothing or the fit could not be judged.
    json quality = nullptr;
    /// Per-point residuals and inlier marks, counts, and on failure the reason.
    json diagnostics = json::object();
    double microseconds = 0; // time spent in the library call(s)
};

/// One value of a tool's "outputs" in the record of a run.
struct OutputDefinition {
    std::string name;
    std::string help; ///< what it is, with units and when it is present
};

struct ToolDefinition {
    std::string name;
    std::string summary;
    std::vector<std::string> roiKinds; // accepted ROI kinds; empty: the tool takes no ROI
    std::vector<ParamDefinition> params;
    std::function<ToolResult(ToolInput&)> run;
    /// Draws the ROI and the result onto a BGR picture of the image.
    std::function<void(cv::Mat& picture, const ToolInput&, const ToolResult&)> draw;
    /// Cross-setting checks beyond each setting's own range (e.g. min below max); throws
    /// InputError naming `source`. May be empty.
    std::function<void(const json& settings, const std::string& source)> checkSettings = nullptr;
    /// What the record's "outputs" holds.
    std::vector<OutputDefinition> outputs = {};
};

/// Every tool, in the order `tools` lists them.
const std::vector<ToolDefinition>& tools();
/// The tool of that name; throws InputError naming the known tools otherwise.
const ToolDefinition& findTool(const std::string& name);

/// Reads an image for the tools: 8-bit grey as it is, colour converted to RGB order (the
/// order the library's grey conversion expects). Throws InputError on failure.
cv::Mat loadImage(const std::string& path);

/// Checks an image handed in by a caller (not read from a file) as loadImage would: 8-bit,
/// 1, 3 or 4 channels (colour in RGB order, alpha dropped), not empty. `source` names it.
cv::Mat checkedImage(const cv::Mat& image, const std::string& source);

/// Parses JSON text; throws InputError naming `source`, the line and column of a syntax
/// error, or the field of a number beyond the range of a double.
json parseJson(const std::string& text, const std::string& source);

/// Parses parameters (JSON object: "roi" plus the tool's settings) from text; `source`
/// names them in messages.
json parseParameters(const std::string& text, const std::string& source);

/// Reads a file holding one JSON object; `what` names it in messages ("parameters").
/// Throws InputError when it is a folder, cannot be read, is malformed or is not an object.
json loadJsonObject(const std::string& path, const std::string& what);

/// Reads and parses a parameters file.
json loadParameters(const std::string& path);

/// Validates the settings of `parameters` against the tool (every value in its range,
/// no unknown names; a "roi" entry is let through for tools that take one) and returns
/// them with the defaults filled in. Throws InputError naming `source`.
json validatedSettings(const ToolDefinition& tool, const json& parameters, const std::string& source);

/// validatedSettings and the parsed ROI: all that does not depend on the image, so a
/// batch can refuse bad settings once, before any image is read. The input has no image
/// yet. `source` names the parameters in messages.
ToolInput prepareSettings(const ToolDefinition& tool, const json& parameters, const std::string& source);

/// prepareSettings, then the image and the check that the ROI lies inside it. `source`
/// names the parameters file, `imageName` the image in messages.
ToolInput prepareInput(const ToolDefinition& tool, const json& parameters, const cv::Mat& image,
                       const std::string& source, const std::string& imageName);

/// Runs a prepared input and returns the documented JSON record of the run; result keeps
/// the tool's result (for drawing).
json runRecord(const ToolDefinition& tool, ToolInput& input, const std::string& imagePath, ToolResult& result);
/// The documented JSON record of a finished run, taking the result's JSON over instead of
/// copying it (per-point lists make copies cost as much as the measurement).
json takeRecord(const ToolDefinition& tool, const ToolInput& input, const std::string& imagePath, ToolResult&& result);

/// Times a callable in microseconds.
double timeMicroseconds(const std::function<void()>& call);

// ROI shapes in JSON (RoiInput.cpp).

/// Parses a ROI object of one of the `accepted` kinds; throws InputError naming `source`.
RoiInput parseRoi(const json& roi, const std::vector<std::string>& accepted, const std::string& source);
/// Throws InputError when the ROI reaches outside the image, naming the image and saying
/// by how much. An upright `rect` counts whole pixels (x .. x + width - 1), so one of the
/// image's own size at (0, 0) fits; the other shapes are in pixel-centre coordinates and
/// fit when they stay within the image's outer pixel edges, -0.5 .. size - 0.5.
void checkInsideImage(const RoiInput& roi, const cv::Mat& image, const std::string& source,
                      const std::string& imageName);
/// The ROI's outline in image coordinates (corners, or points along its circles).
std::vector<cv::Point2d> roiOutline(const ROI& roi);

// Helpers for adapters.
json pointJson(cv::Point2d p);
json pointsJson(const std::vector<cv::Point2d>& points);

/// The whole pixels a rectangle ROI covers, clipped to the image.
cv::Rect roiPixels(const ToolInput& input);

/// The image in grey: as it is, or converted from RGB.
cv::Mat greyImage(const ToolInput& input);

/// The edge polarity setting every caliper tool has (EdgeTransition by name).
ParamDefinition transitionParam();
/// The Gaussian profile smoothing index of the segment calipers, 0 .. 100.
ParamDefinition sigmaParam();

/// Copies the seven caliper settings the edge points, line, circle and arc records share.
template <typename Record>
void fillCaliperSettings(Record& param, const ToolInput& input)
{
    param.direction = input.choice("direction");
    param.transition = static_cast<decltype(param.transition)>(input.choice("transition"));
    param.percent = input.integer("percent");
    param.sigma = input.integer("sigma");
    param.minStrength = input.integer("minStrength");
    param.segmentWidth = input.integer("segmentWidth");
    param.segmentStep = input.integer("segmentStep");
}

} // namespace frontend
