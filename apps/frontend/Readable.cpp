#include "Readable.h"

#include "Trust.h"

namespace frontend {

namespace {

// Steps of the numbers a record holds: what one unit in the last printed digit means.
constexpr double kLengthStep = 1e-4; // pixels, and degrees alike
constexpr double kDirectionStep = 1e-6;

// A region's area (square pixels, whose digits are the region's own) and its shape ratios,
// which the selection compares against its bounds as they are: rounded, a region shown at
// 0.9 could fail a minimum of 0.9.
bool unrounded(const std::string& key)
{
    return key == "area" || key == "rectangularity" || key == "circularity";
}

// Rounds every fractional number below node to step, except the values unrounded names;
// a line's direction components (the first two of "line": [vx, vy, x0, y0]) get the
// finer step their angle needs.
void roundBelow(json& node, double step)
{
    if (node.is_number_float()) {
        node = rounded(node.get<double>(), step);
    } else if (node.is_array()) {
        for (json& item : node)
            roundBelow(item, step);
    } else if (node.is_object()) {
        for (auto it = node.begin(); it != node.end(); ++it) {
            if (unrounded(it.key()))
                continue;
            if (it.key() == "line" && it.value().is_array() && it.value().size() == 4) {
                for (size_t k = 0; k < 4; ++k)
                    roundBelow(it.value()[k], k < 2 ? kDirectionStep : step);
                continue;
            }
            roundBelow(it.value(), step);
        }
    }
}

} // namespace

json readableRecord(json record, bool compact)
{
    for (const char* part : {"outputs", "quality", "diagnostics"})
        if (record.contains(part))
            roundBelow(record[part], kLengthStep);
    if (compact) {
        if (record.contains("outputs"))
            for (const char* list : {"edgePoints", "points", "pairs", "diameters", "diameterAngles"})
                record["outputs"].erase(list);
        if (record.contains("diagnostics"))
            record["diagnostics"].erase("points");
    }
    return record;
}

} // namespace frontend
