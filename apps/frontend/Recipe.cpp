// Recipes in JSON: parsing with every fault reported at its JSON path, validation of a
// recipe however it was made, and serialisation.

#include "Recipe.h"

#include "Messages.h"
#include "RecipeSupport.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

namespace fs = std::filesystem;

namespace frontend {

namespace recipe {

Feature::Type toolFeature(const std::string& tool)
{
    if (tool == "edge_point")
        return Feature::Type::Point;
    if (tool == "line")
        return Feature::Type::Line;
    if (tool == "circle" || tool == "arc")
        return Feature::Type::Circle;
    if (tool == "edge_pairs")
        return Feature::Type::Pairs;
    if (tool == "diameter")
        return Feature::Type::Diameters;
    return Feature::Type::None;
}

std::vector<std::string> toolPoints(const std::string& tool)
{
    switch (toolFeature(tool)) {
    case Feature::Type::Point: return {"point"};
    case Feature::Type::Line: return {"start", "end", "midpoint"};
    case Feature::Type::Circle:
    case Feature::Type::Diameters: return {"centre"};
    case Feature::Type::Pairs:
    case Feature::Type::None: break;
    }
    return {};
}

std::string featureName(Feature::Type type)
{
    switch (type) {
    case Feature::Type::Point: return "point";
    case Feature::Type::Line: return "line";
    case Feature::Type::Circle: return "circle";
    case Feature::Type::Pairs: return "pairs";
    case Feature::Type::Diameters: return "diameters";
    case Feature::Type::None: break;
    }
    return "no feature";
}

Reference resolveReference(const Recipe& recipe, const std::string& text, const std::string& where)
{
    const size_t dot = text.find('.');
    const std::string name = text.substr(0, dot);
    Reference reference;
    bool found = false;
    for (size_t k = 0; k < recipe.measurements.size() && !found; ++k)
        if (recipe.measurements[k].name == name) {
            reference.measurement = k;
            found = true;
        }
    if (!found) {
        std::vector<std::string> names;
        for (const RecipeMeasurement& m : recipe.measurements)
            names.push_back(m.name);
        throw InputError(where + ": '" + text + "' names no measurement (known: " + joined(names) + ")");
    }
    const std::string& tool = recipe.measurements[reference.measurement].tool;
    if (dot == std::string::npos) {
        reference.type = toolFeature(tool);
        return reference;
    }
    reference.point = text.substr(dot + 1);
    const std::vector<std::string> points = toolPoints(tool);
    if (std::find(points.begin(), points.end(), reference.point) == points.end())
        throw InputError(where + ": '" + text + "': a " + tool + " measurement has no point '" + reference.point +
                         "'" + (points.empty() ? std::string(" (it has none)") : " (it has: " + joined(points) + ")"));
    reference.type = Feature::Type::Point;
    return reference;
}

bool accepts(const std::string& wanted, Feature::Type type)
{
    if (wanted == "point")
        return type == Feature::Type::Point || type == Feature::Type::Circle || type == Feature::Type::Diameters;
    return featureName(type) == wanted;
}

std::vector<cv::Point2d> pointsFromJson(const json& list)
{
    std::vector<cv::Point2d> points;
    points.reserve(list.size());
    for (const json& p : list)
        points.emplace_back(p[0].get<double>(), p[1].get<double>());
    return points;
}

bool isPointField(const std::string& field)
{
    return field == "centre" || field == "start" || field == "end";
}

} // namespace recipe

using namespace recipe;

namespace {

constexpr const char* kUnitsHelp = "\"pixels\", {\"mm_per_pixel\": number} or {\"calibration\": \"file.json\"}";

const std::vector<std::pair<RecipeFixture::Kind, std::string>>& fixtureKindNames()
{
    static const std::vector<std::pair<RecipeFixture::Kind, std::string>> names = {
        {RecipeFixture::Kind::LineLine, "line_line"},
        {RecipeFixture::Kind::CircleLine, "circle_line"},
        {RecipeFixture::Kind::CircleCircle, "circle_circle"},
    };
    return names;
}

// The features a fixture kind measures, in the order its "from" lists them.
std::pair<Feature::Type, Feature::Type> fixtureFeatures(RecipeFixture::Kind kind)
{
    switch (kind) {
    case RecipeFixture::Kind::LineLine: return {Feature::Type::Line, Feature::Type::Line};
    case RecipeFixture::Kind::CircleLine: return {Feature::Type::Circle, Feature::Type::Line};
    case RecipeFixture::Kind::CircleCircle: return {Feature::Type::Circle, Feature::Type::Circle};
    case RecipeFixture::Kind::None: break;
    }
    return {Feature::Type::None, Feature::Type::None};
}

std::string fixtureKindName(RecipeFixture::Kind kind)
{
    for (const auto& [k, name] : fixtureKindNames())
        if (k == kind)
            return name;
    return "none";
}

std::string at(const std::string& path, const std::string& key)
{
    return path + "." + key;
}

std::string at(const std::string& path, size_t index)
{
    return path + "[" + std::to_string(index) + "]";
}

void requireObject(const json& value, const std::string& where)
{
    if (!value.is_object())
        throw InputError(where + ": must be an object, got " + value.dump());
}

void rejectUnknown(const json& object, const std::vector<std::string>& known, const std::string& where)
{
    for (auto it = object.begin(); it != object.end(); ++it)
        if (std::find(known.begin(), known.end(), it.key()) == known.end())
            throw InputError(at(where, it.key()) + ": unknown field (expected: " + joined(known) + ")");
}

const json& require(const json& object, const std::string& key, const std::string& where)
{
    if (!object.contains(key))
        throw InputError(at(where, key) + ": missing");
    return object.at(key);
}

std::string requireString(const json& object, const std::string& key, const std::string& where)
{
    const json& value = require(object, key, where);
    if (!value.is_string() || value.get<std::string>().empty())
        throw InputError(at(where, key) + ": must be a non-empty string, got " + value.dump());
    return value.get<std::string>();
}

double requireNumber(const json& value, const std::string& where)
{
    if (!value.is_number() || !std::isfinite(value.get<double>()))
        throw InputError(where + ": must be a finite number, got " + value.dump());
    return value.get<double>();
}

RecipeUnits parseUnits(const json& units, const std::string& where, const std::string& folder)
{
    RecipeUnits parsed;
    if (units.is_string() && units.get<std::string>() == "pixels")
        return parsed;
    if (!units.is_object() || units.size() != 1)
        throw InputError(where + ": must be " + kUnitsHelp + ", got " + units.dump());
    if (units.contains("mm_per_pixel")) {
        parsed.kind = RecipeUnits::Kind::PixelSize;
        parsed.millimetresPerPixel = requireNumber(units.at("mm_per_pixel"), at(where, "mm_per_pixel"));
        if (parsed.millimetresPerPixel <= 0)
            throw InputError(at(where, "mm_per_pixel") + ": must be above 0, got " + units.at("mm_per_pixel").dump());
        return parsed;
    }
    if (units.contains("calibration")) {
        parsed.kind = RecipeUnits::Kind::Calibration;
        parsed.calibrationFile = requireString(units, "calibration", where);
        const fs::path file(parsed.calibrationFile);
        parsed.calibration = loadCalibration(file.is_absolute() ? file.string() : (fs::path(folder) / file).string());
        return parsed;
    }
    throw InputError(where + ": must be " + kUnitsHelp + ", got " + units.dump());
}

RecipeFixture parseFixture(const json& fixture, const std::string& where)
{
    requireObject(fixture, where);
    rejectUnknown(fixture, {"kind", "from", "refine", "reference"}, where);
    RecipeFixture parsed;
    const std::string kind = requireString(fixture, "kind", where);
    std::vector<std::string> names;
    for (const auto& [k, name] : fixtureKindNames()) {
        names.push_back(name);
        if (name == kind)
            parsed.kind = k;
    }
    if (parsed.kind == RecipeFixture::Kind::None)
        throw InputError(at(where, "kind") + ": unknown kind '" + kind + "' (known: " + joined(names) + ")");
    const json& from = require(fixture, "from", where);
    if (!from.is_array() || from.size() != 2 || !from[0].is_string() || !from[1].is_string())
        throw InputError(at(where, "from") + ": must name two measurements, got " + from.dump());
    parsed.first = from[0].get<std::string>();
    parsed.second = from[1].get<std::string>();
    if (fixture.contains("refine")) {
        if (!fixture.at("refine").is_boolean())
            throw InputError(at(where, "refine") + ": must be true or false, got " + fixture.at("refine").dump());
        parsed.refine = fixture.at("refine").get<bool>();
    }
    if (fixture.contains("reference")) {
        const std::string path = at(where, "reference");
        const json& reference = fixture.at("reference");
        requireObject(reference, path);
        rejectUnknown(reference, {"x", "y", "angle"}, path);
        parsed.reference.x = static_cast<float>(requireNumber(require(reference, "x", path), at(path, "x")));
        parsed.reference.y = static_cast<float>(requireNumber(require(reference, "y", path), at(path, "y")));
        parsed.reference.angle = static_cast<float>(requireNumber(require(reference, "angle", path), at(path, "angle")));
        parsed.taught = true;
    }
    return parsed;
}

RecipeMeasurement parseMeasurement(const json& measurement, const std::string& where)
{
    requireObject(measurement, where);
    rejectUnknown(measurement, {"name", "tool", "roi", "params"}, where);
    RecipeMeasurement parsed;
    parsed.name = requireString(measurement, "name", where);
    parsed.tool = requireString(measurement, "tool", where);
    if (measurement.contains("roi"))
        parsed.roi = measurement.at("roi");
    if (measurement.contains("params")) {
        parsed.params = measurement.at("params");
        requireObject(parsed.params, at(where, "params"));
    }
    return parsed;
}

const DimensionKind* findDimensionKind(const std::string& name)
{
    for (const DimensionKind& kind : dimensionKinds())
        if (kind.name == name)
            return &kind;
    return nullptr;
}

std::vector<std::string> dimensionKindNames()
{
    std::vector<std::string> names;
    for (const DimensionKind& kind : dimensionKinds())
        names.push_back(kind.name);
    return names;
}

RecipeDimension parseDimension(const json& dimension, const std::string& where)
{
    requireObject(dimension, where);
    RecipeDimension parsed;
    parsed.name = requireString(dimension, "name", where);
    parsed.kind = requireString(dimension, "kind", where);
    const DimensionKind* kind = findDimensionKind(parsed.kind);
    if (!kind)
        throw InputError(at(where, "kind") + ": unknown kind '" + parsed.kind + "' (known: " +
                         joined(dimensionKindNames()) + ")");
    std::vector<std::string> known = {"name", "kind", "nominal", "tolerance"};
    for (const auto& [field, feature] : kind->operands) {
        known.push_back(field);
        parsed.operands.emplace_back(field, requireString(dimension, field, where));
    }
    if (parsed.kind == "line_line_distance") {
        known.push_back("at");
        if (dimension.contains("at"))
            parsed.at = requireString(dimension, "at", where);
    }
    rejectUnknown(dimension, known, where);
    parsed.nominal = requireNumber(require(dimension, "nominal", where), at(where, "nominal"));
    const json& tolerance = require(dimension, "tolerance", where);
    if (tolerance.is_array() && tolerance.size() == 2) {
        parsed.lowerTolerance = requireNumber(tolerance[0], at(at(where, "tolerance"), 0));
        parsed.upperTolerance = requireNumber(tolerance[1], at(at(where, "tolerance"), 1));
    } else if (tolerance.is_number()) {
        const double t = requireNumber(tolerance, at(where, "tolerance"));
        if (t < 0)
            throw InputError(at(where, "tolerance") + ": a symmetric tolerance must be at least 0, got " +
                             tolerance.dump());
        parsed.lowerTolerance = -t;
        parsed.upperTolerance = t;
    } else {
        throw InputError(at(where, "tolerance") + ": must be a number (plus or minus) or [lower, upper], got " +
                         tolerance.dump());
    }
    return parsed;
}

// The measurements a measurement's ROI names, with the JSON path of each reference.
std::vector<std::pair<Reference, std::string>> roiReferences(const Recipe& recipe, size_t index,
                                                             const std::string& where)
{
    std::vector<std::pair<Reference, std::string>> references;
    const json& roi = recipe.measurements[index].roi;
    if (!roi.is_object())
        return references;
    for (auto it = roi.begin(); it != roi.end(); ++it) {
        if (!isPointField(it.key()) || !it.value().is_string())
            continue;
        const std::string path = at(at(where, "roi"), it.key());
        const Reference reference = resolveReference(recipe, it.value().get<std::string>(), path);
        if (reference.type != Feature::Type::Point)
            throw InputError(path + ": '" + it.value().get<std::string>() + "' is a " + featureName(reference.type) +
                             ", a ROI needs a point here (name one: measurement.point)");
        references.emplace_back(reference, path);
    }
    return references;
}

void validateMeasurements(const Recipe& recipe, const std::string& source)
{
    if (recipe.measurements.empty())
        throw InputError(source + ": $.measurements: a recipe needs at least one measurement");
    std::set<std::string> names;
    for (size_t i = 0; i < recipe.measurements.size(); ++i) {
        const RecipeMeasurement& m = recipe.measurements[i];
        const std::string where = source + ": " + at("$.measurements", i);
        if (m.name.empty() || m.name.find('.') != std::string::npos)
            throw InputError(at(where, "name") + ": must be a non-empty name without '.', got '" + m.name + "'");
        if (!names.insert(m.name).second)
            throw InputError(at(where, "name") + ": '" + m.name + "' is used twice");
        const ToolDefinition* tool = nullptr;
        try {
            tool = &findTool(m.tool);
        } catch (const InputError& e) {
            throw InputError(at(where, "tool") + ": " + e.what());
        }
        validatedSettings(*tool, m.params, at(where, "params"));
        if (tool->roiKinds.empty()) {
            if (!m.roi.is_null())
                throw InputError(at(where, "roi") + ": the " + m.tool + " tool takes no ROI");
            continue;
        }
        if (m.roi.is_null())
            throw InputError(at(where, "roi") + ": missing (one of: " + joined(tool->roiKinds) + ")");
        // References stand for points found at run time; any point checks the shape.
        json shape = m.roi;
        if (shape.is_object())
            for (auto it = shape.begin(); it != shape.end(); ++it)
                if (isPointField(it.key()) && it.value().is_string())
                    it.value() = json::array({0.0, 1.0});
        parseRoi(shape, tool->roiKinds, where);
    }
}

void validateFixture(const Recipe& recipe, const std::string& source)
{
    const RecipeFixture& fixture = recipe.fixture;
    if (fixture.kind == RecipeFixture::Kind::None)
        return;
    const auto [firstType, secondType] = fixtureFeatures(fixture.kind);
    const std::string where = source + ": $.fixture.from";
    const std::pair<const std::string*, Feature::Type> wanted[2] = {{&fixture.first, firstType},
                                                                     {&fixture.second, secondType}};
    for (size_t k = 0; k < 2; ++k) {
        const std::string path = at(where, k);
        if (wanted[k].first->find('.') != std::string::npos)
            throw InputError(path + ": name a measurement, not one of its points");
        const Reference reference = resolveReference(recipe, *wanted[k].first, path);
        if (reference.type != wanted[k].second)
            throw InputError(path + ": a " + fixtureKindName(fixture.kind) + " fixture needs a " +
                             featureName(wanted[k].second) + " here, '" + *wanted[k].first + "' is a " +
                             featureName(reference.type));
    }
    if (fixture.first == fixture.second)
        throw InputError(where + ": the two measurements must differ");
}

// Depth-first search for a cycle among the measurements: through ROI references, and
// through the fixture, which every measurement but its own two waits for.
void rejectCycles(const Recipe& recipe, const std::string& source)
{
    const size_t n = recipe.measurements.size();
    std::vector<std::vector<std::pair<size_t, std::string>>> needs(n);
    std::vector<size_t> fixtureMeasurements;
    if (recipe.fixture.kind != RecipeFixture::Kind::None)
        for (const std::string* name : {&recipe.fixture.first, &recipe.fixture.second})
            fixtureMeasurements.push_back(resolveReference(recipe, *name, "$.fixture").measurement);
    for (size_t i = 0; i < n; ++i) {
        const std::string where = source + ": " + at("$.measurements", i);
        for (const auto& [reference, path] : roiReferences(recipe, i, where))
            needs[i].emplace_back(reference.measurement, path);
        const bool own = std::find(fixtureMeasurements.begin(), fixtureMeasurements.end(), i) != fixtureMeasurements.end();
        if (!own)
            for (size_t f : fixtureMeasurements)
                needs[i].emplace_back(f, where + " (placed by the fixture)");
    }
    enum class Mark { New, Open, Done };
    std::vector<Mark> marks(n, Mark::New);
    std::vector<size_t> trail;
    std::function<void(size_t)> visit = [&](size_t i) {
        marks[i] = Mark::Open;
        trail.push_back(i);
        for (const auto& [next, path] : needs[i]) {
            if (marks[next] == Mark::Open) {
                std::string loop;
                for (auto it = std::find(trail.begin(), trail.end(), next); it != trail.end(); ++it)
                    loop += recipe.measurements[*it].name + " -> ";
                throw InputError(path + ": cycle: " + loop + recipe.measurements[next].name);
            }
            if (marks[next] == Mark::New)
                visit(next);
        }
        trail.pop_back();
        marks[i] = Mark::Done;
    };
    for (size_t i = 0; i < n; ++i)
        if (marks[i] == Mark::New)
            visit(i);
}

void validateDimensions(const Recipe& recipe, const std::string& source)
{
    std::set<std::string> names;
    for (size_t i = 0; i < recipe.dimensions.size(); ++i) {
        const RecipeDimension& d = recipe.dimensions[i];
        const std::string where = source + ": " + at("$.dimensions", i);
        if (d.name.empty())
            throw InputError(at(where, "name") + ": must not be empty");
        if (!names.insert(d.name).second)
            throw InputError(at(where, "name") + ": '" + d.name + "' is used twice");
        const DimensionKind* kind = findDimensionKind(d.kind);
        if (!kind)
            throw InputError(at(where, "kind") + ": unknown kind '" + d.kind + "' (known: " +
                             joined(dimensionKindNames()) + ")");
        if (d.operands.size() != kind->operands.size())
            throw InputError(where + ": a " + d.kind + " takes " + std::to_string(kind->operands.size()) +
                             " operands");
        for (size_t k = 0; k < d.operands.size(); ++k) {
            const auto& [field, wanted] = kind->operands[k];
            const std::string path = at(where, field);
            if (d.operands[k].first != field)
                throw InputError(path + ": missing (found '" + d.operands[k].first + "' in its place)");
            const Reference reference = resolveReference(recipe, d.operands[k].second, path);
            if (!accepts(wanted, reference.type))
                throw InputError(path + ": a " + d.kind + " needs a " + wanted + " here, '" + d.operands[k].second +
                                 "' is a " + featureName(reference.type));
        }
        if (d.kind == "line_line_distance" && d.at != "mean" && d.at != "min" && d.at != "max")
            throw InputError(at(where, "at") + ": must be mean, min or max, got '" + d.at + "'");
        if (!std::isfinite(d.nominal) || !std::isfinite(d.lowerTolerance) || !std::isfinite(d.upperTolerance) ||
            d.lowerTolerance > d.upperTolerance)
            throw InputError(at(where, "tolerance") + ": the lower limit must not exceed the upper one");
    }
}

json toleranceJson(const RecipeDimension& d)
{
    if (d.lowerTolerance == -d.upperTolerance)
        return d.upperTolerance;
    return json::array({d.lowerTolerance, d.upperTolerance});
}

} // namespace

const std::vector<DimensionKind>& dimensionKinds()
{
    static const std::vector<DimensionKind> kinds = {
        {"distance", {{"from", "point"}, {"to", "point"}}, false, "distance between two points or centres"},
        {"point_line_distance", {{"point", "point"}, {"line", "line"}}, false,
         "perpendicular distance from a point or centre to a line"},
        {"line_line_distance", {{"from", "line"}, {"to", "line"}}, false,
         "distances from each line's two ends to the other line: their mean, min or max (\"at\")"},
        {"angle", {{"from", "line"}, {"to", "line"}}, true,
         "angle between the lines' directions, 0 .. 180 degrees"},
        {"diameter", {{"of", "circle"}}, false, "a circle's diameter"},
        {"width", {{"of", "pairs"}}, false, "mean distance of an edge pair measurement's pairs"},
        {"min_diameter", {{"of", "diameters"}}, false, "a diameter measurement's smallest diameter"},
        {"max_diameter", {{"of", "diameters"}}, false, "a diameter measurement's largest diameter"},
    };
    return kinds;
}

void validateRecipe(const Recipe& recipe, const std::string& source)
{
    validateMeasurements(recipe, source);
    validateFixture(recipe, source);
    rejectCycles(recipe, source);
    validateDimensions(recipe, source);
    if (recipe.units.kind == RecipeUnits::Kind::PixelSize &&
        !(recipe.units.millimetresPerPixel > 0 && std::isfinite(recipe.units.millimetresPerPixel)))
        throw InputError(source + ": $.units.mm_per_pixel: must be above 0");
}

Recipe parseRecipe(const json& document, const std::string& source, const std::string& folder)
{
    const std::string root = source + ": $";
    requireObject(document, root);
    rejectUnknown(document, {"name", "units", "fixture", "measurements", "dimensions"}, root);
    Recipe recipe;
    if (document.contains("name")) {
        if (!document.at("name").is_string())
            throw InputError(at(root, "name") + ": must be a string");
        recipe.name = document.at("name").get<std::string>();
    }
    if (document.contains("units"))
        recipe.units = parseUnits(document.at("units"), at(root, "units"), folder);
    if (document.contains("fixture"))
        recipe.fixture = parseFixture(document.at("fixture"), at(root, "fixture"));
    const json& measurements = require(document, "measurements", root);
    if (!measurements.is_array())
        throw InputError(at(root, "measurements") + ": must be an array");
    for (size_t i = 0; i < measurements.size(); ++i)
        recipe.measurements.push_back(parseMeasurement(measurements[i], at(at(root, "measurements"), i)));
    if (document.contains("dimensions")) {
        const json& dimensions = document.at("dimensions");
        if (!dimensions.is_array())
            throw InputError(at(root, "dimensions") + ": must be an array");
        for (size_t i = 0; i < dimensions.size(); ++i)
            recipe.dimensions.push_back(parseDimension(dimensions[i], at(at(root, "dimensions"), i)));
    }
    validateRecipe(recipe, source);
    return recipe;
}

Recipe loadRecipe(const std::string& path)
{
    return parseRecipe(loadJsonObject(path, "recipe"), path, fs::path(path).parent_path().string());
}

json recipeJson(const Recipe& recipe)
{
    json document;
    if (!recipe.name.empty())
        document["name"] = recipe.name;
    switch (recipe.units.kind) {
    case RecipeUnits::Kind::Pixels: document["units"] = "pixels"; break;
    case RecipeUnits::Kind::PixelSize: document["units"] = {{"mm_per_pixel", recipe.units.millimetresPerPixel}}; break;
    case RecipeUnits::Kind::Calibration: document["units"] = {{"calibration", recipe.units.calibrationFile}}; break;
    }
    if (recipe.fixture.kind != RecipeFixture::Kind::None) {
        json fixture = {{"kind", fixtureKindName(recipe.fixture.kind)},
                        {"from", {recipe.fixture.first, recipe.fixture.second}}};
        if (!recipe.fixture.refine)
            fixture["refine"] = false;
        if (recipe.fixture.taught)
            fixture["reference"] = {{"x", recipe.fixture.reference.x},
                                    {"y", recipe.fixture.reference.y},
                                    {"angle", recipe.fixture.reference.angle}};
        document["fixture"] = fixture;
    }
    json measurements = json::array();
    for (const RecipeMeasurement& m : recipe.measurements) {
        json entry = {{"name", m.name}, {"tool", m.tool}};
        if (!m.roi.is_null())
            entry["roi"] = m.roi;
        if (!m.params.empty())
            entry["params"] = m.params;
        measurements.push_back(entry);
    }
    document["measurements"] = measurements;
    json dimensions = json::array();
    for (const RecipeDimension& d : recipe.dimensions) {
        json entry = {{"name", d.name}, {"kind", d.kind}};
        for (const auto& [field, reference] : d.operands)
            entry[field] = reference;
        if (d.kind == "line_line_distance")
            entry["at"] = d.at;
        entry["nominal"] = d.nominal;
        entry["tolerance"] = toleranceJson(d);
        dimensions.push_back(entry);
    }
    document["dimensions"] = dimensions;
    return document;
}

void writeWholeFile(const std::string& path, const std::string& text)
{
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        if (!(out << text) || !out.flush())
            throw InputError(path + ": cannot write");
    }
    std::error_code ec;
    fs::rename(temporary, path, ec);
    if (ec) {
        fs::remove(temporary, ec);
        throw InputError(path + ": cannot write");
    }
}

void saveRecipe(const Recipe& recipe, const std::string& path)
{
    writeWholeFile(path, recipeJson(recipe).dump(2) + "\n");
}

} // namespace frontend
