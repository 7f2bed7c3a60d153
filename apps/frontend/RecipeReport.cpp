// What a recipe run reports: the JSON record of an image, its overlay, and the batch's
// table, statistics and capability per dimension.

#include "Recipe.h"

#include "Drawing.h"
#include "Messages.h"
#include "RecipeSupport.h"

#include <Geometry.h>

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <sstream>

namespace frontend {

using namespace recipe;

namespace {

const cv::Scalar kPassColour(0, 190, 0);
const cv::Scalar kFailColour(0, 0, 255);
const cv::Scalar kMissingColour(0, 140, 255);
const cv::Scalar kEdgeColour(0, 215, 235); // neutral: red and green say pass or fail

json numberOrNull(double value)
{
    return std::isfinite(value) ? json(value) : json(nullptr);
}

json measuredJson(const Feature& f)
{
    switch (f.type) {
    case Feature::Type::Point: return {{"point", pointJson(f.point)}};
    case Feature::Type::Line:
        return {{"line", {f.line[0], f.line[1], f.line[2], f.line[3]}},
                {"start", pointJson(f.start)},
                {"end", pointJson(f.end)}};
    case Feature::Type::Circle: return {{"centre", pointJson(f.point)}, {"radius", f.radius}};
    case Feature::Type::Pairs: return {{"pairs", f.pairs.size()}};
    case Feature::Type::Diameters:
        return {{"centre", pointJson(f.point)}, {"minDiameter", f.smallest}, {"maxDiameter", f.largest}};
    case Feature::Type::None: break;
    }
    return json::object();
}

std::string unitOf(const Recipe& recipe, const RecipeDimension& d)
{
    for (const DimensionKind& kind : dimensionKinds())
        if (kind.name == d.kind && kind.angle)
            return "deg";
    return recipe.units.lengthUnit();
}

cv::Point2d foot(cv::Point2d p, const cv::Vec4d& line)
{
    cv::Point2d f;
    getFooDrop(p, line, f);
    return f;
}

void drawSegment(cv::Mat& picture, cv::Point2d a, cv::Point2d b, const cv::Scalar& colour, int thickness)
{
    cv::line(picture, cv::Point(cvRound(a.x * 16), cvRound(a.y * 16)), cv::Point(cvRound(b.x * 16), cvRound(b.y * 16)),
             colour, thickness, cv::LINE_AA, 4);
}

// A label on a dark box near `at`, moved down past the labels already placed.
void drawLabel(cv::Mat& picture, cv::Point2d at, const std::string& text, const cv::Scalar& colour,
               std::vector<cv::Rect>& placed)
{
    const double scale = std::max(0.5, picture.cols / 1800.0);
    int baseline = 0;
    const cv::Size size = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, scale, 1, &baseline);
    cv::Point origin(cvRound(at.x) + 6, cvRound(at.y) - 6);
    origin.x = std::clamp(origin.x, 2, std::max(2, picture.cols - size.width - 2));
    origin.y = std::clamp(origin.y, size.height + 2, std::max(size.height + 2, picture.rows - baseline - 2));
    const auto box = [&] {
        return cv::Rect(origin + cv::Point(-3, -size.height - 3), origin + cv::Point(size.width + 3, baseline + 2));
    };
    for (bool moved = true; moved;) {
        moved = false;
        for (const cv::Rect& other : placed)
            if ((box() & other).area() > 0) {
                origin.y = other.br().y + size.height + 4;
                moved = true;
            }
    }
    placed.push_back(box());
    cv::rectangle(picture, box(), cv::Scalar(20, 20, 20), cv::FILLED);
    cv::putText(picture, text, origin, cv::FONT_HERSHEY_SIMPLEX, scale, colour, 1, cv::LINE_AA);
}

// The dimension drawn on the image features (pixels); returns where its label goes.
cv::Point2d drawDimension(cv::Mat& picture, const RecipeDimension& d, const std::vector<const Feature*>& f,
                          const std::vector<cv::Point2d>& points, const cv::Scalar& colour)
{
    if (d.kind == "distance") {
        drawSegment(picture, points[0], points[1], colour, 2);
        return (points[0] + points[1]) * 0.5;
    }
    if (d.kind == "point_line_distance") {
        const cv::Point2d q = foot(points[0], f[1]->line);
        drawSegment(picture, points[0], q, colour, 2);
        return (points[0] + q) * 0.5;
    }
    if (d.kind == "line_line_distance") {
        for (cv::Point2d end : {f[0]->start, f[0]->end})
            drawSegment(picture, end, foot(end, f[1]->line), colour, 1);
        return (f[0]->start + f[0]->end) * 0.5;
    }
    if (d.kind == "angle") {
        drawSegment(picture, f[0]->start, f[0]->end, colour, 2);
        drawSegment(picture, f[1]->start, f[1]->end, colour, 2);
        cv::Point2d corner;
        if (clcLineLineIntersection(f[0]->line, f[1]->line, corner) && corner.inside(cv::Rect2d(0, 0, picture.cols, picture.rows)))
            return corner;
        return f[0]->end;
    }
    if (d.kind == "width") {
        cv::Point2d centre;
        for (const auto& [a, b] : f[0]->pairs) {
            drawSegment(picture, a, b, colour, 1);
            centre += (a + b) * (0.5 / static_cast<double>(f[0]->pairs.size()));
        }
        return centre;
    }
    // Diameters: the circle and one diameter across it.
    const double radius = d.kind == "diameter" ? f[0]->radius
                          : d.kind == "min_diameter" ? f[0]->smallest / 2
                                                     : f[0]->largest / 2;
    drawPolyline(picture, View(), circleArc(f[0]->point, radius, 0, 360), true, colour);
    drawSegment(picture, f[0]->point - cv::Point2d(radius, 0), f[0]->point + cv::Point2d(radius, 0), colour, 2);
    return f[0]->point + cv::Point2d(0, -radius);
}

double sampleStandardDeviation(const std::vector<double>& values, double mean)
{
    double sum = 0;
    for (double v : values)
        sum += (v - mean) * (v - mean);
    return std::sqrt(sum / static_cast<double>(values.size() - 1));
}

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

std::string fixed(double value, int digits)
{
    if (!std::isfinite(value))
        return "-";
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

} // namespace

json RecipeRunner::resultJson(const InspectionResult& result, const std::string& imagePath) const
{
    json record;
    record["image"] = imagePath;
    record["pass"] = result.pass;
    if (recipe_.fixture.kind != RecipeFixture::Kind::None) {
        record["fixture"] = {{"found", result.fixtureFound}};
        if (result.fixtureFound)
            record["fixture"]["pose"] = {{"x", result.pose.x}, {"y", result.pose.y}, {"angle", result.pose.angle}};
        else
            record["fixture"]["error"] = result.fixtureError;
    }
    json measurements = json::object();
    for (size_t i = 0; i < recipe_.measurements.size(); ++i) {
        const MeasurementOutcome& m = result.measurements[i];
        json entry = {{"success", m.success}};
        if (!m.error.empty())
            entry["error"] = m.error;
        if (!m.roi.is_null())
            entry["roi"] = m.roi;
        if (m.success) {
            entry["measured"] = measuredJson(m.measured);
            json outputs = m.outputs;
            outputs.erase("edgePoints"); // the bulk of a record, and in the overlay already
            entry["outputs"] = outputs;
        }
        entry["timing_us"] = std::round(m.microseconds * 10.0) / 10.0;
        measurements[recipe_.measurements[i].name] = entry;
    }
    record["measurements"] = measurements;
    json dimensions = json::object();
    for (size_t k = 0; k < recipe_.dimensions.size(); ++k) {
        const RecipeDimension& d = recipe_.dimensions[k];
        const DimensionOutcome& o = result.dimensions[k];
        json entry = {{"value", numberOrNull(o.value)},
                      {"unit", unitOf(recipe_, d)},
                      {"uncertainty", numberOrNull(o.uncertainty)},
                      {"nominal", d.nominal},
                      {"lower", d.nominal + d.lowerTolerance},
                      {"upper", d.nominal + d.upperTolerance},
                      {"pass", o.pass}};
        if (!o.error.empty())
            entry["error"] = o.error;
        dimensions[d.name] = entry;
    }
    record["dimensions"] = dimensions;
    return record;
}

void RecipeRunner::drawOverlay(cv::Mat& picture, const InspectionResult& result) const
{
    std::vector<cv::Rect> labels;
    // ROIs as placed and the edge points found; the dimensions go on top.
    const View view;
    for (size_t i = 0; i < recipe_.measurements.size(); ++i) {
        const MeasurementOutcome& m = result.measurements[i];
        if (m.roi.is_null())
            continue;
        const RoiInput roi = parseRoi(m.roi, tools_[i]->roiKinds, recipe_.measurements[i].name);
        const cv::Scalar colour = m.success ? kRoiColour : kMissingColour;
        if (const auto* ring = dynamic_cast<const RingROI*>(roi.shape.get()))
            drawRingRoi(picture, view, *ring, colour);
        else if (const auto* arc = dynamic_cast<const ArcROI*>(roi.shape.get()))
            drawArcRoi(picture, view, *arc, colour);
        else
            drawPolygon(picture, roiOutline(*roi.shape), colour);
        if (!m.success)
            drawLabel(picture, roiOutline(*roi.shape).front(), recipe_.measurements[i].name + ": not found", colour,
                      labels);
        else if (m.outputs.contains("edgePoints"))
            drawEdgePoints(picture, view, pointsFromJson(m.outputs.at("edgePoints")), kEdgeColour);
    }
    struct Label {
        cv::Point2d at;
        std::string text;
        cv::Scalar colour;
    };
    std::vector<Label> pending;
    for (size_t k = 0; k < recipe_.dimensions.size(); ++k) {
        const RecipeDimension& d = recipe_.dimensions[k];
        const DimensionOutcome& o = result.dimensions[k];
        if (!o.computed)
            continue;
        std::vector<const Feature*> features;
        std::vector<cv::Point2d> points;
        for (const auto& [field, text] : d.operands) {
            const Reference ref = resolveReference(recipe_, text, source_);
            const Feature& f = result.measurements[ref.measurement].image;
            features.push_back(&f);
            points.push_back(ref.point == "start" ? f.start
                             : ref.point == "end" ? f.end
                             : ref.point == "midpoint" ? (f.start + f.end) * 0.5
                                                       : f.point);
        }
        const cv::Scalar colour = o.pass ? kPassColour : kFailColour;
        const cv::Point2d labelAt = drawDimension(picture, d, features, points, colour);
        // Labels go on after every dimension's lines, which would otherwise cross them.
        const int digits = unitOf(recipe_, d) == "px" ? 3 : 4;
        const std::string spread = std::isfinite(o.uncertainty) ? " +- " + fixed(o.uncertainty, digits) : "";
        pending.push_back({labelAt, d.name + " " + fixed(o.value, digits) + spread + " " + unitOf(recipe_, d), colour});
    }
    for (const Label& label : pending)
        drawLabel(picture, label.at, label.text, label.colour, labels);
    drawLabel(picture, {8, 30}, result.pass ? "PASS" : "FAIL", result.pass ? kPassColour : kFailColour, labels);
}

std::vector<DimensionStatistics> dimensionStatistics(const Recipe& recipe, const std::vector<InspectionResult>& results)
{
    std::vector<DimensionStatistics> all;
    for (size_t k = 0; k < recipe.dimensions.size(); ++k) {
        const RecipeDimension& d = recipe.dimensions[k];
        DimensionStatistics s;
        s.name = d.name;
        s.unit = unitOf(recipe, d);
        std::vector<double> values;
        for (const InspectionResult& r : results) {
            const DimensionOutcome& o = r.dimensions[k];
            s.failures += o.pass ? 0 : 1;
            if (o.computed)
                values.push_back(o.value);
        }
        s.count = values.size();
        if (!values.empty()) {
            double sum = 0;
            for (double v : values)
                sum += v;
            s.mean = sum / static_cast<double>(values.size());
            s.minimum = *std::min_element(values.begin(), values.end());
            s.maximum = *std::max_element(values.begin(), values.end());
        }
        if (values.size() >= 2) {
            s.standardDeviation = sampleStandardDeviation(values, s.mean);
            if (s.standardDeviation > 0) {
                const double lower = d.nominal + d.lowerTolerance, upper = d.nominal + d.upperTolerance;
                s.cp = (upper - lower) / (6.0 * s.standardDeviation);
                s.cpk = std::min(upper - s.mean, s.mean - lower) / (3.0 * s.standardDeviation);
            }
        }
        all.push_back(s);
    }
    return all;
}

std::string statisticsTable(const std::vector<DimensionStatistics>& statistics)
{
    std::ostringstream table;
    char line[256];
    std::snprintf(line, sizeof line, "%-20s %-4s %4s %4s %11s %10s %11s %11s %7s %7s\n", "dimension", "unit", "n",
                  "fail", "mean", "std", "min", "max", "Cp", "Cpk");
    table << line;
    for (const DimensionStatistics& s : statistics) {
        std::snprintf(line, sizeof line, "%-20s %-4s %4zu %4zu %11s %10s %11s %11s %7s %7s\n", s.name.c_str(),
                      s.unit.c_str(), s.count, s.failures, fixed(s.mean, 4).c_str(),
                      fixed(s.standardDeviation, 5).c_str(), fixed(s.minimum, 4).c_str(), fixed(s.maximum, 4).c_str(),
                      fixed(s.cp, 2).c_str(), fixed(s.cpk, 2).c_str());
        table << line;
    }
    return table.str();
}

std::string resultsCsv(const Recipe& recipe, const std::vector<std::string>& images,
                       const std::vector<InspectionResult>& results)
{
    std::string csv = "image,pass";
    for (const RecipeDimension& d : recipe.dimensions)
        csv += "," + csvField(d.name + " [" + unitOf(recipe, d) + "]");
    csv += "\n";
    for (size_t i = 0; i < results.size(); ++i) {
        csv += csvField(images[i]) + (results[i].pass ? ",true" : ",false");
        for (const DimensionOutcome& o : results[i].dimensions) {
            char value[64] = "";
            if (o.computed)
                std::snprintf(value, sizeof value, "%.9g", o.value);
            csv += std::string(",") + value;
        }
        csv += "\n";
    }
    return csv;
}

} // namespace frontend
