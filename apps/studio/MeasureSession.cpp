#include "MeasureSession.h"

#include <map>

namespace studio {

json RoiEntry::parameters() const
{
    // The ROI first, as the example files have it.
    json parameters = {{"roi", shape.toJson()}};
    for (auto it = settings.begin(); it != settings.end(); ++it)
        parameters[it.key()] = it.value();
    return parameters;
}

std::string RoiEntry::key() const
{
    return tool + '\n' + parameters().dump();
}

json defaultSettings(const frontend::ToolDefinition& tool)
{
    json settings = json::object();
    for (const frontend::ParamDefinition& definition : tool.params)
        settings[definition.name] = definition.defaultValue;
    return settings;
}

Measurement measure(const RoiEntry& entry, const cv::Mat& image, const std::string& imageName)
{
    Measurement m;
    try {
        const frontend::ToolDefinition& tool = frontend::findTool(entry.tool);
        frontend::ToolInput input = frontend::prepareInput(tool, entry.parameters(), image, entry.name, imageName);
        const frontend::ToolResult result = tool.run(input);
        m.ran = true;
        m.success = result.success;
        m.settings = input.settings;
        m.outputs = result.outputs;
        m.quality = result.quality;
        m.diagnostics = result.diagnostics;
        m.microseconds = result.microseconds;
    } catch (const frontend::InputError& e) {
        m.error = e.what();
    } catch (const std::exception& e) {
        // The library lets OpenCV's exceptions through; a studio shows them, it does not stop.
        m.error = entry.name + ": " + e.what();
    }
    return m;
}

void MeasureSession::setImage(const cv::Mat& image, const std::string& name)
{
    image_ = image;
    imageName_ = name;
    std::fill(measuredKeys_.begin(), measuredKeys_.end(), std::string());
}

void MeasureSession::setEntries(const std::vector<RoiEntry>& entries)
{
    std::map<std::string, Measurement> kept;
    for (size_t i = 0; i < entries_.size(); ++i)
        if (!measuredKeys_[i].empty())
            kept.emplace(measuredKeys_[i], std::move(measurements_[i]));
    entries_ = entries;
    measurements_.assign(entries_.size(), Measurement());
    measuredKeys_.assign(entries_.size(), std::string());
    for (size_t i = 0; i < entries_.size(); ++i) {
        const auto found = kept.find(entries_[i].key());
        if (found != kept.end()) {
            measurements_[i] = found->second;
            measuredKeys_[i] = found->first;
        }
    }
}

int MeasureSession::remeasure()
{
    int ran = 0;
    for (size_t i = 0; i < entries_.size(); ++i) {
        const std::string key = entries_[i].key();
        if (measuredKeys_[i] == key)
            continue;
        measurements_[i] = measure(entries_[i], image_, imageName_);
        measuredKeys_[i] = key;
        ++ran;
    }
    return ran;
}

} // namespace studio
