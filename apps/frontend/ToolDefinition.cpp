#include "ToolDefinition.h"

#include "Messages.h"
#include "ToolAdapters.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace frontend {

namespace {

std::string typeName(ParamType type)
{
    switch (type) {
    case ParamType::Integer: return "an integer";
    case ParamType::Number: return "a finite number";
    case ParamType::Boolean: return "true or false";
    case ParamType::Choice: return "one of the listed names or its index";
    }
    return "?";
}

// "is 500, outside its range 0 .. 100", "is -3, it must be at least 1".
std::string outsideText(const ParamDefinition& definition)
{
    const bool bounded = std::isfinite(definition.minimum) && std::isfinite(definition.maximum);
    return (bounded ? ", outside its range " : ", it must be ") + definition.allowedText();
}

void checkRange(const ParamDefinition& definition, double value, const std::string& where)
{
    if (value < definition.minimum || value > definition.maximum)
        throw InputError(where + ": parameter '" + definition.name + "' is " + formatNumber(value) +
                         outsideText(definition));
}

json validatedValue(const ParamDefinition& definition, const json& value, const std::string& where)
{
    // Written only for a refused value: settings are checked on every run.
    const auto fault = [&] {
        return InputError(where + ": parameter '" + definition.name + "' must be " + typeName(definition.type) +
                          ", got " + value.dump());
    };
    switch (definition.type) {
    case ParamType::Integer: {
        if (!value.is_number_integer())
            throw fault();
        // Unsigned values above the signed range would wrap in get<long long>().
        const bool tooLarge = value.is_number_unsigned() && value.get<std::uint64_t>() > INT32_MAX;
        if (tooLarge || value.get<long long>() < INT32_MIN || value.get<long long>() > INT32_MAX)
            throw InputError(where + ": parameter '" + definition.name + "' is " + value.dump() +
                             outsideText(definition));
        checkRange(definition, value.get<double>(), where);
        return value;
    }
    case ParamType::Number:
        if (!value.is_number() || !std::isfinite(value.get<double>()))
            throw fault();
        checkRange(definition, value.get<double>(), where);
        return value.get<double>();
    case ParamType::Boolean:
        if (!value.is_boolean())
            throw fault();
        return value;
    case ParamType::Choice:
        if (value.is_string()) {
            for (const std::string& c : definition.choices)
                if (c == value.get<std::string>())
                    return value;
        } else if (value.is_number_integer() && !value.is_number_unsigned()) {
            const long long i = value.get<long long>();
            if (i >= 0 && i < static_cast<long long>(definition.choices.size()))
                return definition.choices[static_cast<size_t>(i)];
        } else if (value.is_number_unsigned() && value.get<std::uint64_t>() < definition.choices.size()) {
            return definition.choices[static_cast<size_t>(value.get<std::uint64_t>())];
        }
        throw InputError(where + ": parameter '" + definition.name + "' must be one of " + joined(definition.choices) +
                         " (or its index 0 .. " + std::to_string(definition.choices.size() - 1) + "), got " +
                         value.dump());
    }
    throw fault();
}

} // namespace

std::string joined(const std::vector<std::string>& words, const std::string& separator)
{
    std::string out;
    for (const std::string& w : words)
        out += (out.empty() ? "" : separator) + w;
    return out;
}

std::string formatNumber(double value)
{
    std::ostringstream text;
    text.precision(6);
    text << value;
    return text.str();
}

ParamDefinition ParamDefinition::ranged(std::string name, ParamType type, json defaultValue, double minimum,
                                        double maximum, std::string help)
{
    ParamDefinition definition;
    definition.name = std::move(name);
    definition.type = type;
    definition.defaultValue = std::move(defaultValue);
    definition.minimum = minimum;
    definition.maximum = maximum;
    definition.help = std::move(help);
    return definition;
}

ParamDefinition ParamDefinition::choice(std::string name, std::string defaultValue, std::vector<std::string> choices,
                                        std::string help)
{
    ParamDefinition definition;
    definition.name = std::move(name);
    definition.type = ParamType::Choice;
    definition.defaultValue = std::move(defaultValue);
    definition.choices = std::move(choices);
    definition.help = std::move(help);
    return definition;
}

ParamDefinition ParamDefinition::flag(std::string name, bool defaultValue, std::string help)
{
    ParamDefinition definition;
    definition.name = std::move(name);
    definition.type = ParamType::Boolean;
    definition.defaultValue = defaultValue;
    definition.help = std::move(help);
    return definition;
}

std::string ParamDefinition::allowedText() const
{
    switch (type) {
    case ParamType::Boolean: return "true|false";
    case ParamType::Choice: return joined(choices, "|");
    case ParamType::Integer:
    case ParamType::Number: break;
    }
    const bool lower = std::isfinite(minimum), upper = std::isfinite(maximum);
    if (lower && upper)
        return formatNumber(minimum) + " .. " + formatNumber(maximum);
    if (lower)
        return "at least " + formatNumber(minimum);
    if (upper)
        return "at most " + formatNumber(maximum);
    return "any";
}

ParamDefinition transitionParam()
{
    return ParamDefinition::choice("transition", "BothTransitions", {"BothTransitions", "LightToDark", "DarkToLight"},
                                   "edge polarity along the scan: either, light to dark only, or dark to light only");
}

ParamDefinition sigmaParam()
{
    return ParamDefinition::ranged("sigma", ParamType::Integer, 2, 0, 100,
                                   "Gaussian smoothing of each profile: kernel index, sigma = 0.3 (k - 1) + 0.8 px; "
                                   "0 smooths nothing");
}

int ToolInput::choice(const std::string& name) const
{
    for (const ParamDefinition& definition : *paramDefinitions) {
        if (definition.name != name)
            continue;
        const std::string chosen = settings.at(name).get<std::string>();
        for (size_t i = 0; i < definition.choices.size(); ++i)
            if (definition.choices[i] == chosen)
                return static_cast<int>(i);
    }
    throw std::logic_error("no choice parameter " + name);
}

const std::vector<ToolDefinition>& tools()
{
    // Built once, on first use; the order is the order `tools` lists them in.
    static const std::vector<ToolDefinition> definitions = {
        edgePointTool(), edgePointsTool(), edgesTool(),    edgePairsTool(), lineTool(),
        circleTool(),    arcTool(),        diameterTool(), regionsTool(),   skewTool(),
    };
    return definitions;
}

const ToolDefinition& findTool(const std::string& name)
{
    std::vector<std::string> names;
    for (const ToolDefinition& t : tools()) {
        if (t.name == name)
            return t;
        names.push_back(t.name);
    }
    throw InputError("unknown tool '" + name + "' (known tools: " + joined(names) + ")");
}

cv::Mat checkedImage(const cv::Mat& image, const std::string& source)
{
    if (image.empty())
        throw InputError(source + ": the image is empty");
    if (image.depth() != CV_8U)
        throw InputError(source + ": only 8-bit images are supported, this one has " +
                         std::to_string(8 * static_cast<int>(image.elemSize1())) + "-bit samples");
    if (image.channels() == 4) {
        cv::Mat rgb;
        cv::cvtColor(image, rgb, cv::COLOR_RGBA2RGB);
        return rgb;
    }
    if (image.channels() != 1 && image.channels() != 3)
        throw InputError(source + ": unsupported channel count " + std::to_string(image.channels()) +
                         " (1 grey, 3 colour or 4 colour with alpha)");
    return image;
}

cv::Mat loadImage(const std::string& path)
{
    std::ifstream probe(path, std::ios::binary);
    if (!probe)
        throw InputError(path + ": cannot open image file");
    cv::Mat image;
    try {
        image = cv::imread(path, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception&) {
        image.release(); // a decoder that gives up on a damaged file is an unreadable image
    }
    if (image.empty())
        throw InputError(path + ": not a readable image: damaged, cut short, or not a png, bmp, jpg or tif");
    // The decoders give BGR(A); the library's grey conversion expects RGB order.
    if (image.channels() == 3)
        cv::cvtColor(image, image, cv::COLOR_BGR2RGB);
    else if (image.channels() == 4)
        cv::cvtColor(image, image, cv::COLOR_BGRA2RGBA);
    return checkedImage(image, path);
}

json parseJson(const std::string& text, const std::string& source)
{
    // The parser names the line and column of a syntax error but not of a number beyond
    // the range of a double (1e400); the last key seen names its field.
    std::string lastKey;
    const json::parser_callback_t trackKeys = [&lastKey](int, json::parse_event_t event, json& parsed) {
        if (event == json::parse_event_t::key)
            lastKey = parsed.get<std::string>();
        return true;
    };
    json document;
    try {
        document = json::parse(text, trackKeys);
    } catch (const json::exception& e) {
        // "[json.exception.parse_error.101] parse error at ...": the bracket means nothing to a user.
        std::string what = e.what();
        const size_t bracket = what.find("] ");
        if (what.rfind("[json.exception.", 0) == 0 && bracket != std::string::npos)
            what.erase(0, bracket + 2);
        const bool outOfRange = dynamic_cast<const json::out_of_range*>(&e) != nullptr;
        throw InputError(source + ": malformed JSON: " +
                         (outOfRange && !lastKey.empty() ? "field '" + lastKey + "': " : "") + what);
    }
    return document;
}

namespace {

json objectOf(const std::string& text, const std::string& source, const std::string& what)
{
    json document = parseJson(text, source);
    if (!document.is_object())
        throw InputError(source + ": the " + what + " must be a JSON object");
    return document;
}

} // namespace

json parseParameters(const std::string& text, const std::string& source)
{
    return objectOf(text, source, "parameters");
}

json loadJsonObject(const std::string& path, const std::string& what)
{
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
        throw InputError(path + ": a folder, not a " + what + " file");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw InputError(path + ": cannot open " + what + " file");
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (in.bad())
        throw InputError(path + ": cannot read " + what + " file");
    return objectOf(text, path, what);
}

json loadParameters(const std::string& path)
{
    return loadJsonObject(path, "parameters");
}

json validatedSettings(const ToolDefinition& tool, const json& parameters, const std::string& source)
{
    for (auto it = parameters.begin(); it != parameters.end(); ++it) {
        if (it.key() == "roi" && !tool.roiKinds.empty())
            continue;
        bool known = false;
        for (const ParamDefinition& definition : tool.params)
            known = known || definition.name == it.key();
        if (!known) {
            std::vector<std::string> names;
            for (const ParamDefinition& definition : tool.params)
                names.push_back(definition.name);
            if (!tool.roiKinds.empty())
                names.push_back("roi");
            throw InputError(source + ": unknown parameter '" + it.key() + "' for tool " + tool.name +
                             " (known: " + joined(names) + ")");
        }
    }
    json settings = json::object();
    for (const ParamDefinition& definition : tool.params)
        settings[definition.name] = parameters.contains(definition.name)
                                        ? validatedValue(definition, parameters.at(definition.name), source)
                                        : validatedValue(definition, definition.defaultValue, source + " (default)");
    if (tool.checkSettings)
        tool.checkSettings(settings, source);
    return settings;
}

ToolInput prepareSettings(const ToolDefinition& tool, const json& parameters, const std::string& source)
{
    ToolInput input;
    input.paramDefinitions = &tool.params;
    input.settings = validatedSettings(tool, parameters, source);
    if (!tool.roiKinds.empty()) {
        if (!parameters.contains("roi"))
            throw InputError(source + ": missing 'roi' (one of: " + joined(tool.roiKinds) + ")");
        input.roi = parseRoi(parameters.at("roi"), tool.roiKinds, source);
    }
    return input;
}

ToolInput prepareInput(const ToolDefinition& tool, const json& parameters, const cv::Mat& image,
                       const std::string& source, const std::string& imageName)
{
    ToolInput input = prepareSettings(tool, parameters, source);
    input.image = image;
    if (!input.roi.kind.empty())
        checkInsideImage(input.roi, image, source, imageName);
    return input;
}

json runRecord(const ToolDefinition& tool, ToolInput& input, const std::string& imagePath, ToolResult& result)
{
    result = tool.run(input);
    return takeRecord(tool, input, imagePath, ToolResult(result));
}

json takeRecord(const ToolDefinition& tool, const ToolInput& input, const std::string& imagePath, ToolResult&& result)
{
    json record;
    record["tool"] = tool.name;
    record["image"] = {{"path", imagePath},
                       {"width", input.image.cols},
                       {"height", input.image.rows},
                       {"channels", input.image.channels()}};
    if (!input.roi.kind.empty())
        record["roi"] = input.roi.echo;
    record["params"] = input.settings;
    record["success"] = result.success;
    record["outputs"] = std::move(result.outputs);
    if (!result.quality.is_null())
        record["quality"] = std::move(result.quality);
    if (!result.diagnostics.empty())
        record["diagnostics"] = std::move(result.diagnostics);
    record["timing_us"] = std::round(result.microseconds * 10.0) / 10.0;
    return record;
}

double timeMicroseconds(const std::function<void()>& call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

json pointJson(cv::Point2d p)
{
    return json::array({p.x, p.y});
}

json pointsJson(const std::vector<cv::Point2d>& points)
{
    json out = json::array();
    for (const cv::Point2d& p : points)
        out.push_back(pointJson(p));
    return out;
}

cv::Mat greyImage(const ToolInput& input)
{
    if (input.image.channels() == 1)
        return input.image;
    cv::Mat grey;
    cv::cvtColor(input.image, grey, cv::COLOR_RGB2GRAY);
    return grey;
}

} // namespace frontend
