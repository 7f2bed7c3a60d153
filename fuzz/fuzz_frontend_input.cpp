// The front ends' input path on any parameters file: parsing, the checks of every
// setting and of the ROI, then the tool's run, its record and its overlay (or the
// probe's profile) on a small image. Whatever the bytes, the outcome is a result or an
// InputError, which the command-line tool turns into exit status 0 or 2; any other
// exception escapes and libFuzzer reports it, as it does crashes and sanitizer findings.
//
// The first byte picks the tool and the image; its top bit picks how the rest is read:
// as the file's text itself, or as choices that build a file from the tool's own setting
// names and ROI fields with awkward values, which reaches the checks behind the parser
// far more often than random text would.

#include "FuzzSupport.h"

#include <Profile.h>
#include <ToolDefinition.h>

#include <opencv2/imgproc.hpp>

using namespace fuzz_support;
using frontend::json;

namespace {

// A step, a disc and a bar: edges for every tool to find, a region for the regions tool.
cv::Mat scene(bool colour)
{
    cv::Mat grey(40, 48, CV_8U, cv::Scalar(40));
    grey.colRange(24, 48).setTo(200);
    cv::circle(grey, {14, 20}, 8, cv::Scalar(230), cv::FILLED);
    cv::rectangle(grey, cv::Rect(30, 6, 12, 5), cv::Scalar(10), cv::FILLED);
    if (!colour)
        return grey;
    cv::Mat rgb;
    cv::merge(std::vector<cv::Mat>{grey, 255 - grey, grey / 2}, rgb);
    return rgb;
}

const std::string& pick(FuzzedDataProvider& in, const std::vector<std::string>& words)
{
    return words[in.ConsumeIntegralInRange<size_t>(0, words.size() - 1)];
}

json wildNumber(FuzzedDataProvider& in)
{
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
    case 0: return wildInt(in, -5, 60);
    case 1: return in.ConsumeIntegral<int64_t>();
    case 2: return in.ConsumeIntegral<uint64_t>();
    default: {
        const double value = wildDouble(in, 80.0);
        // JSON has no NaN or infinity: the dump would write null.
        return std::isfinite(value) ? json(value) : json(in.ConsumeBool() ? 1e308 : -1e-308);
    }
    }
}

json wildValue(FuzzedDataProvider& in, const std::vector<std::string>& words)
{
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0: return in.ConsumeBool();
    case 1: return words.empty() ? json("") : json(pick(in, words));
    case 2: return in.ConsumeRandomLengthString(12);
    case 3: return json::array({wildNumber(in), wildNumber(in)});
    case 4: return nullptr;
    default: return wildNumber(in);
    }
}

// A ROI object of a (mostly) known type with (mostly) its own fields.
json wildRoi(FuzzedDataProvider& in)
{
    static const std::vector<std::string> types = {"rotated_rect", "rect", "line", "ring", "arc", "circle"};
    static const std::vector<std::string> fields = {"centre", "angle",   "width",  "height", "x",      "y",
                                                    "start",  "end",     "radius1", "radius2", "angle1", "angle2"};
    json roi = json::object();
    if (in.ConsumeIntegralInRange<int>(0, 15) != 0)
        roi["type"] = pick(in, types);
    const int count = in.ConsumeIntegralInRange<int>(0, 7);
    for (int k = 0; k < count; ++k) {
        const std::string& field = pick(in, fields);
        const bool point = field == "centre" || field == "start" || field == "end";
        roi[field] = point && in.ConsumeIntegralInRange<int>(0, 3) != 0
                         ? json::array({in.ConsumeFloatingPointInRange<double>(-5, 55),
                                        in.ConsumeFloatingPointInRange<double>(-5, 45)})
                         : wildValue(in, {});
    }
    return roi;
}

std::string builtFile(FuzzedDataProvider& in, const frontend::ToolDefinition& tool)
{
    json parameters = json::object();
    if (in.ConsumeIntegralInRange<int>(0, 7) != 0)
        parameters["roi"] = wildRoi(in);
    const int count = in.ConsumeIntegralInRange<int>(0, 6);
    for (int k = 0; k < count && !tool.params.empty(); ++k) {
        const frontend::ParamDefinition& setting = tool.params[in.ConsumeIntegralInRange<size_t>(0, tool.params.size() - 1)];
        parameters[in.ConsumeIntegralInRange<int>(0, 15) == 0 ? "unknownSetting" : setting.name] =
            wildValue(in, setting.choices);
    }
    // Random strings are seldom valid UTF-8; the raw-text mode covers such bytes.
    return parameters.dump(-1, ' ', false, json::error_handler_t::replace);
}

void runTool(const frontend::ToolDefinition& tool, const std::string& text, const cv::Mat& image)
{
    const json parameters = frontend::parseParameters(text, "fuzz.json");
    frontend::ToolInput input = frontend::prepareInput(tool, parameters, image, "fuzz.json", "scene");
    if (!tool.run) { // the probe
        const frontend::Profile profile =
            frontend::measureProfile(input.image, *input.roi.shape, frontend::profileSettings(input));
        FUZZ_CHECK(profile.grey.size() == profile.strength.size() && profile.grey.size() == profile.samplePoints.size());
        for (const frontend::ProfileEdge& edge : profile.edges)
            FUZZ_CHECK(edge.position >= 0 && edge.position <= profile.grey.size() - 1.0);
        return;
    }
    frontend::ToolResult result;
    const json record = frontend::runRecord(tool, input, "scene", result);
    FUZZ_CHECK(record.at("success").get<bool>() == result.success);
    // The record is printed as JSON text, as the command-line tool prints it.
    record.dump(2, ' ', false, json::error_handler_t::replace);
    cv::Mat picture;
    cv::cvtColor(image, picture, image.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_RGB2BGR);
    tool.draw(picture, input, result);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    static const cv::Mat images[2] = {scene(false), scene(true)};
    const std::vector<frontend::ToolDefinition>& tools = frontend::tools();
    const size_t choices = tools.size() + 1; // the tools and the probe
    const size_t pick = data[0] & 0x7f;
    const frontend::ToolDefinition& tool = pick % choices < tools.size() ? tools[pick % choices]
                                                                           : frontend::probeDefinition();
    const cv::Mat& image = images[(pick / choices) % 2];
    FuzzedDataProvider in(data + 1, size - 1);
    const std::string text = (data[0] & 0x80) ? builtFile(in, tool) : in.ConsumeRemainingBytesAsString();
    try {
        runTool(tool, text, image);
    } catch (const frontend::InputError&) {
        // Refused with a message: exit status 2, as intended.
    }
    return 0;
}
