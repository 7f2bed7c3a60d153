#include "CliCommands.h"

#include "Console.h"
#include "Messages.h"
#include "Profile.h"
#include "Readable.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace fs = std::filesystem;

namespace cli {

using namespace frontend;

namespace {

std::string typeLabel(const ParamDefinition& definition)
{
    switch (definition.type) {
    case ParamType::Integer: return "int " + definition.allowedText();
    case ParamType::Number: return "number " + definition.allowedText();
    case ParamType::Boolean:
    case ParamType::Choice: return definition.allowedText();
    }
    return "";
}

void printTool(const ToolDefinition& tool)
{
    std::printf("%s\n    %s\n", tool.name.c_str(), tool.summary.c_str());
    if (!tool.roiKinds.empty())
        std::printf("    roi: %s\n", joined(tool.roiKinds).c_str());
    std::printf("    settings:\n");
    for (const ParamDefinition& definition : tool.params) {
        const json& value = definition.defaultValue;
        const std::string shown = value.is_number() ? formatNumber(value.get<double>()) : value.dump();
        std::printf("      %-18s %-40s default %-18s %s\n", definition.name.c_str(), typeLabel(definition).c_str(),
                    shown.c_str(), definition.help.c_str());
    }
    if (!tool.outputs.empty())
        std::printf("    outputs:\n");
    for (const OutputDefinition& output : tool.outputs)
        std::printf("      %-18s %s\n", output.name.c_str(), output.help.c_str());
    std::printf("\n");
}

} // namespace

json commandParameters(const std::string& paramsPath, const std::string& roiText, std::string& source)
{
    json parameters = json::object();
    if (!paramsPath.empty())
        parameters = loadParameters(paramsPath);
    if (!roiText.empty())
        parameters["roi"] = parseJson(roiText, "--roi");
    source = paramsPath.empty() ? "--roi" : roiText.empty() ? paramsPath : paramsPath + " with --roi";
    if (paramsPath.empty() && roiText.empty())
        throw InputError("give the settings with --params FILE, the ROI with --roi JSON, or both");
    return parameters;
}

int listTools(const std::string& only)
{
    // The probe measures nothing, but its settings are checked and listed the same way.
    const ToolDefinition& probe = probeDefinition();
    if (!only.empty()) {
        printTool(only == probe.name ? probe : findTool(only));
        return 0;
    }
    for (const ToolDefinition& tool : tools())
        printTool(tool);
    printTool(probe);
    return 0;
}

int runTool(const std::string& imagePath, const std::string& toolName, const std::string& paramsPath,
            const std::string& roiText, const std::string& overlayPath, bool compact)
{
    const ToolDefinition& tool = findTool(toolName);
    std::string source;
    const json parameters = commandParameters(paramsPath, roiText, source);
    const cv::Mat image = readImage(imagePath);
    ToolInput input = prepareInput(tool, parameters, image, source, imagePath);

    ToolResult result;
    const json record = readableRecord(runRecord(tool, input, imagePath, result), compact);
    if (!overlayPath.empty()) {
        cv::Mat picture;
        cv::cvtColor(image, picture, image.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_RGB2BGR);
        if (tool.draw)
            tool.draw(picture, input, result);
        bool written = false;
        try {
            const QuietDecoders quiet;
            written = cv::imwrite(overlayPath, picture);
        } catch (const cv::Exception&) {
            written = false;
        }
        if (!written)
            throw InputError(overlayPath + ": cannot write the overlay picture (use a .png path in a writable folder)");
    }
    // Invalid UTF-8 (a file name in another encoding) is replaced rather than refused.
    std::cout << record.dump(2, ' ', false, json::error_handler_t::replace) << std::endl;
    return 0;
}

} // namespace cli
