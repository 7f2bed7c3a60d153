#pragma once

// The command-line tool's view of a library tool: its parameters with types and defaults,
// the ROI shapes it accepts, how it runs on an image and how its result is drawn.
// Each tool adapter lives in its own Tool*.cpp and registers itself.

#include <FunctionsDef.h>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace cli {

// Ordered, so records keep the documented field order.
using json = nlohmann::ordered_json;

/// A user error: bad file, bad JSON, unknown tool, bad parameter, ROI outside the image.
/// main() prints its message once and exits with status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

enum class ParamType { Integer, Number, Boolean, Choice };

/// One setting of a tool's record. Choice parameters take one of `choices` by name or by
/// its index (the enumeration value).
struct ParamDefinition {
    std::string name;
    ParamType type = ParamType::Integer;
    json defaultValue;
    std::string help;
    std::vector<std::string> choices;
};

/// A ROI read from the parameters file; `shape` is what the library receives.
struct RoiInput {
    std::string kind; // rotated_rect, rect, line, ring, arc
    json echo;        // the ROI as given, normalised, for the output
    std::unique_ptr<ROI> shape;
};

struct ToolInput {
    cv::Mat image; // 8-bit, 1 channel or RGB order
    json settings; // every parameter, validated, defaults filled in
    RoiInput roi;  // empty kind when the tool takes no ROI

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
    double microseconds = 0; // time spent in the library call(s)
};

struct ToolDefinition {
    std::string name;
    std::string summary;
    std::vector<std::string> roiKinds; // accepted ROI kinds; empty: the tool takes no ROI
    std::vector<ParamDefinition> params;
    std::function<ToolResult(ToolInput&)> run;
    /// Draws the ROI and the result onto a BGR picture of the image.
    std::function<void(cv::Mat& picture, const ToolInput&, const ToolResult&)> draw;
};

/// Registers a tool at static initialisation.
struct ToolRegistration {
    explicit ToolRegistration(ToolDefinition definition);
};

const std::vector<ToolDefinition>& tools();
/// The tool of that name; throws UsageError naming the known tools otherwise.
const ToolDefinition& findTool(const std::string& name);

/// Reads an image for the tools: 8-bit grey as it is, colour converted to RGB order (the
/// order the library's grey conversion expects). Throws UsageError on failure.
cv::Mat loadImage(const std::string& path);

/// Parses a parameters file (JSON object: "roi" plus the tool's settings).
json loadParameters(const std::string& path);

/// Validates settings against the tool, fills defaults, parses and checks the ROI against
/// the image size. `source` names the parameters file in messages.
ToolInput prepareInput(const ToolDefinition& tool, const json& parameters, const cv::Mat& image,
                       const std::string& source);

/// Runs a prepared input and returns the documented JSON record of the run.
json runRecord(const ToolDefinition& tool, ToolInput& input, const std::string& imagePath, ToolResult& result);

/// Times a callable in microseconds.
double timeMicroseconds(const std::function<void()>& call);

// Helpers for adapters.
json pointJson(cv::Point2d p);
json pointsJson(const std::vector<cv::Point2d>& points);
std::vector<cv::Point2d> roiOutline(const ROI& roi);

/// The whole pixels a rectangle ROI covers, clipped to the image.
cv::Rect roiPixels(const ToolInput& input);

/// The image in grey: as it is, or converted from RGB.
cv::Mat greyImage(const ToolInput& input);

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

} // namespace cli
