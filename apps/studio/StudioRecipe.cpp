#include "StudioRecipe.h"

#include <set>

namespace studio {

std::string undrawableReason(const frontend::RecipeMeasurement& measurement)
{
    if (!measurement.roi.is_object())
        return "its tool takes no ROI";
    for (const char* field : {"centre", "start", "end"})
        if (measurement.roi.contains(field) && measurement.roi.at(field).is_string())
            return std::string("its ") + field + " is placed at " + measurement.roi.at(field).get<std::string>() +
                   " as found in each image";
    return "";
}

RoiEntry recipeEntry(const frontend::RecipeMeasurement& measurement, const std::string& source)
{
    RoiEntry entry;
    entry.name = measurement.name;
    entry.tool = measurement.tool;
    entry.shape = RoiShape::fromJson(measurement.roi, source);
    entry.settings = frontend::validatedSettings(frontend::findTool(entry.tool), measurement.params, source);
    return entry;
}

namespace {

// A name the recipe's references can use (non-empty, no '.') and no other measurement has.
std::string uniqueName(const RoiEntry& entry, const std::set<std::string>& taken)
{
    std::string name = entry.name;
    for (char& c : name)
        if (c == '.')
            c = '_';
    if (name.empty())
        name = entry.tool;
    const std::string stem = name;
    for (int n = 2; taken.count(name); ++n)
        name = stem + "_" + std::to_string(n);
    return name;
}

frontend::RecipeMeasurement measurementOf(const RoiEntry& entry)
{
    return {entry.name, entry.tool, entry.shape.toJson(), entry.settings};
}

} // namespace

RecipeOrigin recipeOfRois(const std::vector<RoiEntry>& rois, const RecipeOrigin* base,
                          std::map<int, std::string>& renamed)
{
    RecipeOrigin out;
    if (base)
        out.recipe = base->recipe;
    out.recipe.measurements.clear();

    // Names are settled first, those held unchanged before any ROI's.
    std::set<std::string> taken;
    if (base)
        for (const HeldMeasurement& held : base->held)
            taken.insert(held.name);
    std::vector<RoiEntry> named = rois;
    for (RoiEntry& entry : named) {
        const std::string name = uniqueName(entry, taken);
        if (name != entry.name)
            renamed[entry.id] = entry.name = name;
        taken.insert(name);
    }

    std::map<size_t, const RoiEntry*> drawnAt; // measurement index -> the ROI drawn from it
    std::set<int> fromBase;
    if (base)
        for (const RoiEntry& entry : named)
            if (const auto found = base->drawn.find(entry.id); found != base->drawn.end()) {
                drawnAt[found->second] = &entry;
                fromBase.insert(entry.id);
            }
    const auto append = [&out](frontend::RecipeMeasurement measurement) {
        out.recipe.measurements.push_back(std::move(measurement));
        return out.recipe.measurements.size() - 1;
    };
    if (base) {
        size_t held = 0;
        for (size_t i = 0; i < base->recipe.measurements.size(); ++i) {
            const frontend::RecipeMeasurement& original = base->recipe.measurements[i];
            if (held < base->held.size() && base->held[held].index == i) {
                HeldMeasurement kept = base->held[held++];
                kept.index = append(original);
                out.held.push_back(kept);
                continue;
            }
            const auto drawn = drawnAt.find(i);
            if (drawn == drawnAt.end())
                continue; // its ROI was deleted
            const RoiEntry& entry = *drawn->second;
            // Written back as it was read unless the studio changed it, so that settings
            // left to their defaults stay so and the numbers keep their spelling.
            const RoiEntry loaded = recipeEntry(original, original.name);
            const bool unchanged = loaded.name == entry.name && loaded.key() == entry.key();
            out.drawn[entry.id] = append(unchanged ? original : measurementOf(entry));
        }
    }
    for (const RoiEntry& entry : named)
        if (!fromBase.count(entry.id))
            out.drawn[entry.id] = append(measurementOf(entry));
    return out;
}

} // namespace studio
