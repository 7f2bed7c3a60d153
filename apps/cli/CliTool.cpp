#include "CliTool.h"

#include <RoiShapes.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <chrono>
#include <cmath>
#include <fstream>
#include <sstream>

namespace cli {

namespace {

constexpr double kPi = 3.141592653589793;

std::vector<ToolDefinition>& registry()
{
    static std::vector<ToolDefinition> definitions;
    return definitions;
}

std::string typeName(ParamType type)
{
    switch (type) {
    case ParamType::Integer: return "an integer";
    case ParamType::Number: return "a number";
    case ParamType::Boolean: return "true or false";
    case ParamType::Choice: return "one of the listed names or its index";
    }
    return "?";
}

std::string joined(const std::vector<std::string>& words)
{
    std::string out;
    for (const std::string& w : words)
        out += (out.empty() ? "" : ", ") + w;
    return out;
}

// Reads a required finite number from a JSON object, naming the field on failure.
double requireNumber(const json& object, const std::string& key, const std::string& where)
{
    if (!object.contains(key))
        throw UsageError(where + ": missing field '" + key + "'");
    const json& v = object.at(key);
    if (!v.is_number() || !std::isfinite(v.get<double>()))
        throw UsageError(where + ": field '" + key + "' must be a finite number, got " + v.dump());
    return v.get<double>();
}

cv::Point2d requirePoint(const json& object, const std::string& key, const std::string& where)
{
    if (!object.contains(key))
        throw UsageError(where + ": missing field '" + key + "'");
    const json& v = object.at(key);
    if (!v.is_array() || v.size() != 2 || !v[0].is_number() || !v[1].is_number() ||
        !std::isfinite(v[0].get<double>()) || !std::isfinite(v[1].get<double>()))
        throw UsageError(where + ": field '" + key + "' must be [x, y] with finite numbers, got " + v.dump());
    return {v[0].get<double>(), v[1].get<double>()};
}

void rejectUnknownFields(const json& object, const std::vector<std::string>& known, const std::string& where)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        bool found = false;
        for (const std::string& k : known)
            found = found || k == it.key();
        if (!found)
            throw UsageError(where + ": unknown field '" + it.key() + "' (expected: " + joined(known) + ")");
    }
}

RoiInput parseRoi(const json& roi, const std::vector<std::string>& accepted, const std::string& source)
{
    const std::string where = source + ": roi";
    if (!roi.is_object())
        throw UsageError(where + " must be an object with a \"type\" field");
    if (!roi.contains("type") || !roi.at("type").is_string())
        throw UsageError(where + ": missing string field 'type' (one of: " + joined(accepted) + ")");
    RoiInput parsed;
    parsed.kind = roi.at("type").get<std::string>();
    bool acceptedKind = false;
    for (const std::string& k : accepted)
        acceptedKind = acceptedKind || k == parsed.kind;
    if (!acceptedKind)
        throw UsageError(where + ": type '" + parsed.kind + "' is not accepted by this tool (use one of: " +
                         joined(accepted) + ")");

    if (parsed.kind == "rotated_rect") {
        rejectUnknownFields(roi, {"type", "centre", "angle", "width", "height"}, where);
        const cv::Point2d c = requirePoint(roi, "centre", where);
        const double angle = requireNumber(roi, "angle", where);
        const double w = requireNumber(roi, "width", where), h = requireNumber(roi, "height", where);
        parsed.shape = std::make_unique<RotateRectROI>(c.x, c.y, static_cast<float>(angle), static_cast<float>(w),
                                                     static_cast<float>(h));
        parsed.echo = {{"type", parsed.kind}, {"centre", {c.x, c.y}}, {"angle", angle}, {"width", w}, {"height", h}};
    } else if (parsed.kind == "rect") {
        rejectUnknownFields(roi, {"type", "x", "y", "width", "height"}, where);
        const double x = requireNumber(roi, "x", where), y = requireNumber(roi, "y", where);
        const double w = requireNumber(roi, "width", where), h = requireNumber(roi, "height", where);
        parsed.shape = std::make_unique<RectROI>(QRectF(x, y, w, h));
        parsed.echo = {{"type", parsed.kind}, {"x", x}, {"y", y}, {"width", w}, {"height", h}};
    } else if (parsed.kind == "line") {
        rejectUnknownFields(roi, {"type", "start", "end"}, where);
        const cv::Point2d a = requirePoint(roi, "start", where), b = requirePoint(roi, "end", where);
        parsed.shape = std::make_unique<LineROI>(a.x, a.y, b.x, b.y);
        parsed.echo = {{"type", parsed.kind}, {"start", {a.x, a.y}}, {"end", {b.x, b.y}}};
    } else if (parsed.kind == "ring") {
        rejectUnknownFields(roi, {"type", "centre", "radius1", "radius2"}, where);
        const cv::Point2d c = requirePoint(roi, "centre", where);
        const double r1 = requireNumber(roi, "radius1", where), r2 = requireNumber(roi, "radius2", where);
        parsed.shape = std::make_unique<RingROI>(c.x, c.y, static_cast<float>(r1), static_cast<float>(r2));
        parsed.echo = {{"type", parsed.kind}, {"centre", {c.x, c.y}}, {"radius1", r1}, {"radius2", r2}};
    } else if (parsed.kind == "arc") {
        rejectUnknownFields(roi, {"type", "centre", "radius1", "radius2", "angle1", "angle2"}, where);
        const cv::Point2d c = requirePoint(roi, "centre", where);
        const double r1 = requireNumber(roi, "radius1", where), r2 = requireNumber(roi, "radius2", where);
        const double a1 = requireNumber(roi, "angle1", where), a2 = requireNumber(roi, "angle2", where);
        parsed.shape = std::make_unique<ArcROI>(c.x, c.y, static_cast<float>(r1), static_cast<float>(r2),
                                              static_cast<float>(a1), static_cast<float>(a2));
        parsed.echo = {{"type", parsed.kind}, {"centre", {c.x, c.y}}, {"radius1", r1}, {"radius2", r2},
                     {"angle1", a1},      {"angle2", a2}};
    } else {
        throw UsageError(where + ": unknown type '" + parsed.kind + "'");
    }
    return parsed;
}

void checkInsideImage(const RoiInput& roi, const cv::Mat& image, const std::string& source)
{
    const std::vector<cv::Point2d> outline = roiOutline(*roi.shape);
    double x0 = 1e300, y0 = 1e300, x1 = -1e300, y1 = -1e300;
    for (const cv::Point2d& p : outline) {
        x0 = std::min(x0, p.x), y0 = std::min(y0, p.y);
        x1 = std::max(x1, p.x), y1 = std::max(y1, p.y);
    }
    // Pixel centres are integers, so the image covers [-0.5, size - 0.5].
    if (x0 < -0.5 || y0 < -0.5 || x1 > image.cols - 0.5 || y1 > image.rows - 0.5) {
        std::ostringstream message;
        message.precision(1);
        message << std::fixed << source << ": roi lies outside the image (" << image.cols << " x " << image.rows
                << "): it spans x " << x0 << " .. " << x1 << ", y " << y0 << " .. " << y1;
        throw UsageError(message.str());
    }
}

json validatedValue(const ParamDefinition& definition, const json& value, const std::string& where)
{
    const std::string fault = where + ": parameter '" + definition.name + "' must be " + typeName(definition.type) + ", got " +
                              value.dump();
    switch (definition.type) {
    case ParamType::Integer:
        if (!value.is_number_integer())
            throw UsageError(fault);
        if (value.get<long long>() < INT32_MIN || value.get<long long>() > INT32_MAX)
            throw UsageError(where + ": parameter '" + definition.name + "' is out of the 32-bit range: " + value.dump());
        return value;
    case ParamType::Number:
        if (!value.is_number() || !std::isfinite(value.get<double>()))
            throw UsageError(fault);
        return value.get<double>();
    case ParamType::Boolean:
        if (!value.is_boolean())
            throw UsageError(fault);
        return value;
    case ParamType::Choice:
        if (value.is_string()) {
            for (const std::string& c : definition.choices)
                if (c == value.get<std::string>())
                    return value;
        } else if (value.is_number_integer()) {
            const long long i = value.get<long long>();
            if (i >= 0 && i < static_cast<long long>(definition.choices.size()))
                return definition.choices[static_cast<size_t>(i)];
        }
        throw UsageError(where + ": parameter '" + definition.name + "' must be one of " + joined(definition.choices) +
                         " (or its index), got " + value.dump());
    }
    throw UsageError(fault);
}

} // namespace

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

ToolRegistration::ToolRegistration(ToolDefinition definition)
{
    registry().push_back(std::move(definition));
}

const std::vector<ToolDefinition>& tools()
{
    return registry();
}

const ToolDefinition& findTool(const std::string& name)
{
    std::vector<std::string> names;
    for (const ToolDefinition& t : registry()) {
        if (t.name == name)
            return t;
        names.push_back(t.name);
    }
    throw UsageError("unknown tool '" + name + "' (known tools: " + joined(names) + ")");
}

cv::Mat loadImage(const std::string& path)
{
    std::ifstream probe(path, std::ios::binary);
    if (!probe)
        throw UsageError(path + ": cannot open image file");
    cv::Mat image = cv::imread(path, cv::IMREAD_UNCHANGED);
    if (image.empty())
        throw UsageError(path + ": not a readable image (png, bmp, jpg or tif expected)");
    if (image.depth() != CV_8U)
        throw UsageError(path + ": only 8-bit images are supported, this one has " +
                         std::to_string(8 * static_cast<int>(image.elemSize1())) + "-bit samples");
    if (image.channels() == 3)
        cv::cvtColor(image, image, cv::COLOR_BGR2RGB);
    else if (image.channels() == 4)
        cv::cvtColor(image, image, cv::COLOR_BGRA2RGB);
    else if (image.channels() != 1)
        throw UsageError(path + ": unsupported channel count " + std::to_string(image.channels()));
    return image;
}

json loadParameters(const std::string& path)
{
    std::ifstream in(path);
    if (!in)
        throw UsageError(path + ": cannot open parameters file");
    json parameters;
    try {
        parameters = json::parse(in);
    } catch (const json::parse_error& e) {
        throw UsageError(path + ": malformed JSON: " + e.what());
    }
    if (!parameters.is_object())
        throw UsageError(path + ": the parameters must be a JSON object");
    return parameters;
}

ToolInput prepareInput(const ToolDefinition& tool, const json& parameters, const cv::Mat& image,
                       const std::string& source)
{
    ToolInput input;
    input.image = image;
    input.paramDefinitions = &tool.params;
    input.settings = json::object();
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
            throw UsageError(source + ": unknown parameter '" + it.key() + "' for tool " + tool.name +
                             " (known: " + joined(names) + ")");
        }
    }
    for (const ParamDefinition& definition : tool.params)
        input.settings[definition.name] =
            parameters.contains(definition.name) ? validatedValue(definition, parameters.at(definition.name), source)
                                           : validatedValue(definition, definition.defaultValue, source + " (default)");
    if (!tool.roiKinds.empty()) {
        if (!parameters.contains("roi"))
            throw UsageError(source + ": missing 'roi' (one of: " + joined(tool.roiKinds) + ")");
        input.roi = parseRoi(parameters.at("roi"), tool.roiKinds, source);
        checkInsideImage(input.roi, image, source);
    }
    return input;
}

json runRecord(const ToolDefinition& tool, ToolInput& input, const std::string& imagePath, ToolResult& result)
{
    result = tool.run(input);
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
    record["outputs"] = result.outputs;
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

std::vector<cv::Point2d> roiOutline(const ROI& roi)
{
    std::vector<cv::Point2d> outline;
    auto arcPoints = [&outline](double cx, double cy, double r, double from, double to) {
        const int steps = 72;
        for (int i = 0; i <= steps; ++i) {
            const double a = (from + (to - from) * i / steps) * kPi / 180.0;
            outline.emplace_back(cx + r * std::cos(a), cy - r * std::sin(a)); // counter-clockwise, y up
        }
    };
    if (const auto* rr = dynamic_cast<const RotateRectROI*>(&roi)) {
        RotateRectROI copy = *rr;
        for (const QPointF& q : getCornerPoints(&copy))
            outline.emplace_back(q.x(), q.y());
    } else if (const auto* rect = dynamic_cast<const RectROI*>(&roi)) {
        const QRectF& r = rect->rect;
        outline = {{r.left(), r.top()}, {r.right(), r.top()}, {r.right(), r.bottom()}, {r.left(), r.bottom()}};
    } else if (const auto* line = dynamic_cast<const LineROI*>(&roi)) {
        outline = {{line->x1, line->y1}, {line->x2, line->y2}};
    } else if (const auto* ring = dynamic_cast<const RingROI*>(&roi)) {
        arcPoints(ring->centreX, ring->centreY, std::max(ring->radius1, ring->radius2), 0, 360);
    } else if (const auto* arc = dynamic_cast<const ArcROI*>(&roi)) {
        const double to = arc->angle2 >= arc->angle1 ? arc->angle2 : arc->angle2 + 360.0;
        arcPoints(arc->centreX, arc->centreY, std::max(arc->radius1, arc->radius2), arc->angle1, to);
        arcPoints(arc->centreX, arc->centreY, std::min(arc->radius1, arc->radius2), to, arc->angle1);
    }
    return outline;
}

cv::Rect roiPixels(const ToolInput& input)
{
    const auto* rect = static_cast<const RectROI*>(input.roi.shape.get());
    const cv::Rect box(static_cast<int>(std::floor(rect->rect.left())), static_cast<int>(std::floor(rect->rect.top())),
                       static_cast<int>(std::ceil(rect->rect.width())), static_cast<int>(std::ceil(rect->rect.height())));
    return box & cv::Rect(0, 0, input.image.cols, input.image.rows);
}

cv::Mat greyImage(const ToolInput& input)
{
    if (input.image.channels() == 1)
        return input.image;
    cv::Mat grey;
    cv::cvtColor(input.image, grey, cv::COLOR_RGB2GRAY);
    return grey;
}

} // namespace cli
