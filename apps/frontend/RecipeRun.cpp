// Running a recipe on one image: fixture, measurements in dependency order, features in
// the recipe's units, dimensions against their tolerances.

#include "Recipe.h"

#include "Messages.h"
#include "RecipeSupport.h"

#include <FitQuality.h>
#include <Fitting.h>
#include <Geometry.h>
#include <PartFixture.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace frontend {

using namespace recipe;

namespace {

constexpr double kPi = 3.141592653589793;

cv::Point2d pointFrom(const json& p)
{
    return {p[0].get<double>(), p[1].get<double>()};
}

// The feature a tool's outputs describe, in pixels. Edge points are read only when they
// are to be refitted (on a calibrated plane): a circle's hundreds of them cost more to
// read back than the rest of the recipe's own work.
Feature imageFeature(const std::string& tool, const json& outputs, const json& quality, bool withEdgePoints)
{
    Feature f;
    f.type = toolFeature(tool);
    switch (f.type) {
    case Feature::Type::Point: f.point = pointFrom(outputs.at("point")); break;
    case Feature::Type::Line: {
        const json& l = outputs.at("line");
        f.line = {l[0].get<double>(), l[1].get<double>(), l[2].get<double>(), l[3].get<double>()};
        f.start = pointFrom(outputs.at("start"));
        f.end = pointFrom(outputs.at("end"));
        break;
    }
    case Feature::Type::Circle:
        f.point = pointFrom(outputs.at("centre"));
        f.radius = outputs.at("radius").get<double>();
        break;
    case Feature::Type::Pairs:
        for (const json& pair : outputs.at("pairs"))
            f.pairs.emplace_back(pointFrom(pair.at("first")), pointFrom(pair.at("second")));
        break;
    case Feature::Type::Diameters:
        f.point = pointFrom(outputs.at("centre"));
        f.smallest = outputs.at("minDiameter").get<double>();
        f.largest = outputs.at("maxDiameter").get<double>();
        break;
    case Feature::Type::None: break;
    }
    if (withEdgePoints && outputs.contains("edgePoints"))
        f.edgePoints = pointsFromJson(outputs.at("edgePoints"));
    if (quality.is_object()) {
        // The tool's own judgement of its fit, in pixels (Trust.h).
        const auto sigma = [&quality](const char* name) {
            const json& v = quality.contains(name) ? quality.at(name).at("sigma") : json(nullptr);
            return v.is_number() ? v.get<double>() : kUnknown;
        };
        if (f.type == Feature::Type::Line && quality.contains("anchor") && quality.at("anchor")[0].is_number()) {
            f.lineOffsetSigma = sigma("offset");
            f.lineAngleSigma = sigma("angle");
            f.lineAnchor = pointFrom(quality.at("anchor"));
        } else if (f.type == Feature::Type::Circle) {
            f.centreSigma = {sigma("centreX"), sigma("centreY")};
            f.radiusSigma = sigma("radius");
        } else if (f.type == Feature::Type::Pairs) {
            f.widthSigma = sigma("width");
        }
    }
    return f;
}

// Standard uncertainty of a line's position across itself at the foot of p.
double lineSigmaAt(const Feature& line, cv::Point2d p)
{
    const cv::Point2d direction = cv::Point2d(line.line[0], line.line[1]) / std::hypot(line.line[0], line.line[1]);
    const double along = (p - line.lineAnchor).dot(direction);
    const double turn = line.lineAngleSigma * kPi / 180.0;
    return std::hypot(line.lineOffsetSigma, along * turn);
}

// Standard uncertainty of a named point along a unit direction: known for circle
// centres, whose fit gives it; other points (an edge point, a line's clipped end) have
// no spread of their own to judge.
double pointSigmaAlong(const Feature& f, const std::string& point, cv::Point2d direction)
{
    if (f.type != Feature::Type::Circle || !(point.empty() || point == "centre"))
        return kUnknown;
    return std::hypot(direction.x * f.centreSigma.x, direction.y * f.centreSigma.y);
}

Feature scaled(const Feature& f, double s)
{
    Feature out = f;
    out.point *= s;
    out.radius *= s;
    out.line[2] *= s;
    out.line[3] *= s;
    out.start *= s;
    out.end *= s;
    for (auto& [a, b] : out.pairs)
        a *= s, b *= s;
    out.smallest *= s;
    out.largest *= s;
    for (cv::Point2d& p : out.edgePoints)
        p *= s;
    out.lineOffsetSigma *= s;
    out.lineAnchor *= s;
    out.centreSigma *= s;
    out.radiusSigma *= s;
    out.widthSigma *= s;
    return out;
}

std::vector<cv::Point2d> onPlane(const PlaneCalibration& calibration, const std::vector<cv::Point2d>& image)
{
    std::vector<cv::Point2d> plane;
    if (!mapImagePointsToPlane(calibration, image, plane))
        throw InputError("a point does not map onto the measuring plane");
    return plane;
}

// Edge points are undistorted and mapped onto the plane first, and the shape is fitted
// there: a straight edge is straight, and a circle round, only on the plane. The robust
// fits stand in for the tools' own outlier rules.
Feature calibrated(const Feature& f, const PlaneCalibration& calibration)
{
    Feature out = f;
    out.edgePoints = onPlane(calibration, f.edgePoints);
    switch (f.type) {
    case Feature::Type::Point: out.point = onPlane(calibration, {f.point})[0]; break;
    case Feature::Type::Line: {
        fitLine(out.edgePoints, out.line, FitLineHuber, 0);
        // Keep the tool's sense of direction, which fixtures and angles rely on.
        const std::vector<cv::Point2d> ends = onPlane(calibration, {f.start, f.end});
        if ((ends[1] - ends[0]).dot(cv::Point2d(out.line[0], out.line[1])) < 0)
            out.line = {-out.line[0], -out.line[1], out.line[2], out.line[3]};
        getFooDrop(ends[0], out.line, out.start);
        getFooDrop(ends[1], out.line, out.end);
        LineFitQuality quality;
        out.lineOffsetSigma = out.lineAngleSigma = kUnknown;
        if (getLineFitQuality(out.edgePoints, out.line, FitLineHuber, 0, quality)) {
            out.lineOffsetSigma = quality.offset.sigma;
            out.lineAngleSigma = quality.angle.sigma;
            out.lineAnchor = quality.anchor;
        }
        break;
    }
    case Feature::Type::Circle: {
        if (!fitCircle(out.edgePoints, out.point, out.radius, FitCircleHuber))
            throw InputError("the edge points on the plane do not fit a circle");
        CircleFitQuality quality;
        out.centreSigma = {kUnknown, kUnknown};
        out.radiusSigma = kUnknown;
        if (getCircleFitQuality(out.edgePoints, out.point, out.radius, FitCircleHuber, quality)) {
            out.centreSigma = {quality.centreX.sigma, quality.centreY.sigma};
            out.radiusSigma = quality.radius.sigma;
        }
        break;
    }
    case Feature::Type::Pairs:
        out.widthSigma = kUnknown; // the tool's figure is in pixels of its own strip
        for (auto& [a, b] : out.pairs) {
            const std::vector<cv::Point2d> ab = onPlane(calibration, {a, b});
            a = ab[0], b = ab[1];
        }
        break;
    case Feature::Type::Diameters:
        // Opposite rim points through the centre, measured on the plane.
        throw InputError("diameter measurements are not yet mapped through a calibration");
    case Feature::Type::None: break;
    }
    return out;
}

cv::Point2d namedPoint(const Feature& f, const std::string& point)
{
    if (point == "start")
        return f.start;
    if (point == "end")
        return f.end;
    if (point == "midpoint")
        return (f.start + f.end) * 0.5;
    return f.point; // "point", "centre", or a circle standing for its centre
}

json roiEcho(const std::string& kind, const ROI& roi)
{
    if (const auto* rr = dynamic_cast<const RotateRectROI*>(&roi))
        return {{"type", kind}, {"centre", {rr->centreX, rr->centreY}}, {"angle", rr->angle},
                {"width", rr->width}, {"height", rr->height}};
    if (const auto* ring = dynamic_cast<const RingROI*>(&roi))
        return {{"type", kind}, {"centre", {ring->centreX, ring->centreY}}, {"radius1", ring->radius1},
                {"radius2", ring->radius2}};
    if (const auto* arc = dynamic_cast<const ArcROI*>(&roi))
        return {{"type", kind},         {"centre", {arc->centreX, arc->centreY}}, {"radius1", arc->radius1},
                {"radius2", arc->radius2}, {"angle1", arc->angle1},                  {"angle2", arc->angle2}};
    if (const auto* line = dynamic_cast<const LineROI*>(&roi))
        return {{"type", kind}, {"start", {line->x1, line->y1}}, {"end", {line->x2, line->y2}}};
    if (const auto* rect = dynamic_cast<const RectROI*>(&roi))
        return {{"type", kind}, {"x", rect->rect.x()}, {"y", rect->rect.y()}, {"width", rect->rect.width()},
                {"height", rect->rect.height()}};
    return nullptr;
}

void placePoint(ROI& roi, const std::string& field, cv::Point2d p)
{
    if (auto* rr = dynamic_cast<RotateRectROI*>(&roi))
        rr->centreX = p.x, rr->centreY = p.y;
    else if (auto* ring = dynamic_cast<RingROI*>(&roi))
        ring->centreX = p.x, ring->centreY = p.y;
    else if (auto* arc = dynamic_cast<ArcROI*>(&roi))
        arc->centreX = p.x, arc->centreY = p.y;
    else if (auto* line = dynamic_cast<LineROI*>(&roi)) {
        if (field == "start")
            line->x1 = p.x, line->y1 = p.y;
        else
            line->x2 = p.x, line->y2 = p.y;
    }
}

double lineAngleBetween(const cv::Vec4d& a, const cv::Vec4d& b)
{
    const double cross = a[0] * b[1] - a[1] * b[0];
    const double dot = a[0] * b[0] + a[1] * b[1];
    return std::atan2(std::abs(cross), dot) * 180.0 / kPi;
}

double unsignedDistance(cv::Point2d p, const cv::Vec4d& line)
{
    return pointToLineDistance(p, line, false);
}

} // namespace

RecipeRunner::RecipeRunner(Recipe recipe, std::string source) : recipe_(std::move(recipe)), source_(std::move(source))
{
    validateRecipe(recipe_, source_);
    const size_t n = recipe_.measurements.size();
    std::vector<size_t>& fixtureOwn = fixtureOwn_;
    if (recipe_.fixture.kind != RecipeFixture::Kind::None)
        for (const std::string* name : {&recipe_.fixture.first, &recipe_.fixture.second})
            fixtureOwn.push_back(resolveReference(recipe_, *name, source_).measurement);
    std::vector<std::vector<size_t>> needs(n);
    for (size_t i = 0; i < n; ++i) {
        const RecipeMeasurement& m = recipe_.measurements[i];
        tools_.push_back(&findTool(m.tool));
        settings_.push_back(validatedSettings(*tools_.back(), m.params, source_));
        const bool own = std::find(fixtureOwn.begin(), fixtureOwn.end(), i) != fixtureOwn.end();
        fixtured_.push_back(!fixtureOwn.empty() && !own);
        if (fixtured_.back())
            needs[i] = fixtureOwn;
        if (m.roi.is_object())
            for (auto it = m.roi.begin(); it != m.roi.end(); ++it)
                if (isPointField(it.key()) && it.value().is_string())
                    needs[i].push_back(resolveReference(recipe_, it.value().get<std::string>(), source_).measurement);
    }
    // validateRecipe has ruled out cycles: a depth-first post-order is a valid order.
    std::vector<bool> placed(n, false);
    std::function<void(size_t)> place = [&](size_t i) {
        if (placed[i])
            return;
        placed[i] = true;
        for (size_t j : needs[i])
            place(j);
        order_.push_back(i);
    };
    for (size_t i = 0; i < n; ++i)
        place(i);
}

void RecipeRunner::measureFixture(const InspectionResult& result, ObjPos& pose, std::string& error) const
{
    const RecipeFixture& fixture = recipe_.fixture;
    const size_t a = resolveReference(recipe_, fixture.first, source_).measurement;
    const size_t b = resolveReference(recipe_, fixture.second, source_).measurement;
    for (size_t k : {a, b})
        if (!result.measurements[k].success) {
            error = "fixture measurement '" + recipe_.measurements[k].name + "' found nothing";
            return;
        }
    const Feature& first = result.measurements[a].image;
    const Feature& second = result.measurements[b].image;
    bool found = false;
    switch (fixture.kind) {
    case RecipeFixture::Kind::LineLine: found = getPoseFromTwoLines(first.line, second.line, pose); break;
    case RecipeFixture::Kind::CircleLine: found = getPoseFromPointAndLine(first.point, second.line, pose); break;
    case RecipeFixture::Kind::CircleCircle: found = getPoseFromTwoPoints(first.point, second.point, pose); break;
    case RecipeFixture::Kind::None: break;
    }
    if (!found)
        error = "the fixture's features give no pose (parallel lines or coincident centres)";
}

void RecipeRunner::runMeasurement(size_t index, const cv::Mat& image, const CoordinateTransformer* pose,
                                  InspectionResult& result) const
{
    const RecipeMeasurement& m = recipe_.measurements[index];
    const ToolDefinition& tool = *tools_[index];
    MeasurementOutcome& outcome = result.measurements[index];
    const std::string where = source_ + ": measurement '" + m.name + "'";
    try {
        ToolInput input;
        input.image = image;
        input.settings = settings_[index];
        input.paramDefinitions = &tool.params;
        input.listPointDiagnostics = false;
        if (!tool.roiKinds.empty()) {
            json shape = m.roi;
            std::vector<std::pair<std::string, cv::Point2d>> found;
            for (auto it = shape.begin(); it != shape.end(); ++it) {
                if (!isPointField(it.key()) || !it.value().is_string())
                    continue;
                const Reference ref = resolveReference(recipe_, it.value().get<std::string>(), where);
                const MeasurementOutcome& from = result.measurements[ref.measurement];
                if (!from.success)
                    throw InputError("its ROI needs '" + it.value().get<std::string>() + "', which was not found");
                found.emplace_back(it.key(), namedPoint(from.image, ref.point));
                it.value() = json::array({found.back().second.x, found.back().second.y});
            }
            input.roi = parseRoi(shape, tool.roiKinds, where);
            // Taught positions move with the part; points taken from results are already
            // where the part is.
            if (pose)
                transRoiToCurImage(*pose, input.roi.shape.get());
            for (const auto& [field, p] : found)
                placePoint(*input.roi.shape, field, p);
            input.roi.echo = roiEcho(input.roi.kind, *input.roi.shape);
            outcome.roi = input.roi.echo;
            checkInsideImage(input.roi, image, "placed", "");
        }
        ToolResult run = tool.run(input);
        const json quality = std::move(run.quality);
        outcome.success = run.success;
        outcome.outputs = std::move(run.outputs); // edge points make it large
        outcome.microseconds = run.microseconds;
        if (!run.success) {
            outcome.error = "the " + m.tool + " tool found nothing";
            if (run.diagnostics.contains("failure") && run.diagnostics.at("failure").is_string())
                outcome.error += ": " + run.diagnostics.at("failure").get<std::string>();
            return;
        }
        outcome.image =
            imageFeature(m.tool, outcome.outputs, quality, recipe_.units.kind == RecipeUnits::Kind::Calibration);
        switch (recipe_.units.kind) {
        case RecipeUnits::Kind::Pixels: outcome.measured = outcome.image; break;
        case RecipeUnits::Kind::PixelSize:
            outcome.measured = scaled(outcome.image, recipe_.units.millimetresPerPixel);
            break;
        case RecipeUnits::Kind::Calibration:
            outcome.measured = calibrated(outcome.image, recipe_.units.calibration);
            break;
        }
    } catch (const std::exception& e) {
        outcome.success = false;
        outcome.error = e.what();
    }
}

void RecipeRunner::evaluateDimension(size_t index, InspectionResult& result) const
{
    const RecipeDimension& d = recipe_.dimensions[index];
    DimensionOutcome& outcome = result.dimensions[index];
    std::vector<const Feature*> features;
    std::vector<cv::Point2d> points;
    std::vector<std::string> pointNames;
    for (const auto& [field, text] : d.operands) {
        const Reference ref = resolveReference(recipe_, text, source_);
        pointNames.push_back(ref.point);
        const MeasurementOutcome& m = result.measurements[ref.measurement];
        if (!m.success) {
            outcome.error = "'" + recipe_.measurements[ref.measurement].name + "' was not measured";
            return;
        }
        features.push_back(&m.measured);
        points.push_back(namedPoint(m.measured, ref.point));
    }
    const Feature& a = *features[0];
    double value = kUnknown, sigma = kUnknown;
    // Uncertainties combine the operands' standard uncertainties as independent errors,
    // to first order.
    if (d.kind == "distance") {
        value = cv::norm(points[1] - points[0]);
        const cv::Point2d u = value > 0 ? (points[1] - points[0]) / value : cv::Point2d(1, 0);
        sigma = std::hypot(pointSigmaAlong(a, pointNames[0], u), pointSigmaAlong(*features[1], pointNames[1], u));
    } else if (d.kind == "point_line_distance") {
        const Feature& line = *features[1];
        value = unsignedDistance(points[0], line.line);
        const cv::Point2d normal = cv::Point2d(-line.line[1], line.line[0]) / std::hypot(line.line[0], line.line[1]);
        sigma = std::hypot(pointSigmaAlong(a, pointNames[0], normal), lineSigmaAt(line, points[0]));
    } else if (d.kind == "line_line_distance") {
        const Feature& b = *features[1];
        sigma = std::hypot(lineSigmaAt(a, (a.start + a.end) * 0.5), lineSigmaAt(b, (b.start + b.end) * 0.5));
        const double ends[4] = {unsignedDistance(a.start, b.line), unsignedDistance(a.end, b.line),
                                unsignedDistance(b.start, a.line), unsignedDistance(b.end, a.line)};
        value = d.at == "min"   ? *std::min_element(ends, ends + 4)
                : d.at == "max" ? *std::max_element(ends, ends + 4)
                                : (ends[0] + ends[1] + ends[2] + ends[3]) / 4.0;
    } else if (d.kind == "angle") {
        value = lineAngleBetween(a.line, features[1]->line);
        sigma = std::hypot(a.lineAngleSigma, features[1]->lineAngleSigma);
    } else if (d.kind == "diameter") {
        value = 2.0 * a.radius;
        sigma = 2.0 * a.radiusSigma;
    } else if (d.kind == "width") {
        sigma = a.widthSigma;
        if (a.pairs.empty()) {
            outcome.error = "no edge pairs";
            return;
        }
        double sum = 0;
        for (const auto& [p, q] : a.pairs)
            sum += cv::norm(q - p);
        value = sum / static_cast<double>(a.pairs.size());
    } else if (d.kind == "min_diameter") {
        value = a.smallest;
    } else if (d.kind == "max_diameter") {
        value = a.largest;
    }
    if (!std::isfinite(value)) {
        outcome.error = "no finite value";
        return;
    }
    outcome.computed = true;
    outcome.value = value;
    outcome.uncertainty = std::isfinite(sigma) ? sigma : kUnknown;
    outcome.pass = value >= d.nominal + d.lowerTolerance && value <= d.nominal + d.upperTolerance;
}

InspectionResult RecipeRunner::inspect(const cv::Mat& image) const
{
    const cv::Mat checked = checkedImage(image, "image");
    const bool hasFixture = recipe_.fixture.kind != RecipeFixture::Kind::None;
    if (hasFixture && !recipe_.fixture.taught)
        throw InputError(source_ + ": $.fixture.reference: the fixture has not been taught (run teach on a "
                                   "reference image first)");
    InspectionResult result;
    result.measurements.resize(recipe_.measurements.size());
    result.dimensions.resize(recipe_.dimensions.size());
    bool poseTried = false;
    CoordinateTransformer transformer;
    for (size_t i : order_) {
        if (fixtured_[i] && !poseTried) {
            // Every fixture measurement precedes the first one that moves with the part.
            poseTried = true;
            measureFixture(result, result.pose, result.fixtureError);
            result.fixtureFound = result.fixtureError.empty();
            transformer = getPoseTransformer(recipe_.fixture.reference, result.pose);
            if (result.fixtureFound && recipe_.fixture.refine) {
                // Measured again with their ROIs turned onto the part: a caliper band
                // laid askew across an edge reports it a little off, by an amount that
                // depends on the skew, so only square-on results are the same at every pose.
                for (size_t own : fixtureOwn_)
                    runMeasurement(own, checked, &transformer, result);
                measureFixture(result, result.pose, result.fixtureError);
                result.fixtureFound = result.fixtureError.empty();
                transformer = getPoseTransformer(recipe_.fixture.reference, result.pose);
            }
        }
        if (fixtured_[i] && !result.fixtureFound) {
            result.measurements[i].error = "not placed: " + result.fixtureError;
            continue;
        }
        runMeasurement(i, checked, fixtured_[i] ? &transformer : nullptr, result);
    }
    result.pass = true;
    for (size_t k = 0; k < recipe_.dimensions.size(); ++k) {
        evaluateDimension(k, result);
        result.pass = result.pass && result.dimensions[k].pass;
    }
    for (const MeasurementOutcome& m : result.measurements)
        result.pass = result.pass && m.success;
    return result;
}

ObjPos RecipeRunner::teach(const cv::Mat& image) const
{
    if (recipe_.fixture.kind == RecipeFixture::Kind::None)
        throw InputError(source_ + ": the recipe has no fixture to teach");
    const cv::Mat checked = checkedImage(image, "image");
    InspectionResult result;
    result.measurements.resize(recipe_.measurements.size());
    for (size_t i : order_)
        if (!fixtured_[i])
            runMeasurement(i, checked, nullptr, result);
    ObjPos pose;
    std::string error;
    measureFixture(result, pose, error);
    for (size_t i = 0; i < result.measurements.size() && error.empty(); ++i)
        if (!fixtured_[i] && !result.measurements[i].success)
            error = "'" + recipe_.measurements[i].name + "': " + result.measurements[i].error;
    if (!error.empty())
        throw InputError(source_ + ": cannot teach the fixture: " + error);
    return pose;
}

} // namespace frontend
