// The batch command: one tool over every image of a folder. An image that cannot be read
// or measured is recorded with its error and the batch goes on; only settings that are
// wrong for every image stop it before it starts.

#include "CliBatch.h"
#include "CliCommands.h"
#include "Console.h"
#include "Readable.h"
#include "Recipe.h"

#include <filesystem>
#include <iostream>

namespace fs = std::filesystem;

namespace cli {

using namespace frontend;

namespace {

enum class Outcome : char { Measured, NotMeasured, Error };

} // namespace

int runBatch(const std::string& folder, const std::string& paramsPath, const std::string& roiText,
             const std::string& toolName, int jobs, const std::string& outPath)
{
    const ToolDefinition& tool = findTool(toolName);
    std::string source;
    const json parameters = commandParameters(paramsPath, roiText, source);
    checkJobs(jobs);
    const std::vector<std::string> images = listImages(folder);
    // Settings are the same for every image: refused once, before any work.
    prepareSettings(tool, parameters, source);

    std::vector<json> records(images.size());
    std::vector<double> times(images.size(), 0.0);
    std::vector<Outcome> outcomes(images.size(), Outcome::Error);
    forEachInParallel(images.size(), jobs, "batch", [&](size_t i) {
        try {
            const cv::Mat image = readImage(images[i]);
            ToolInput input = prepareInput(tool, parameters, image, source, images[i]);
            ToolResult result;
            records[i] = runRecord(tool, input, images[i], result);
            times[i] = result.microseconds;
            outcomes[i] = result.success ? Outcome::Measured : Outcome::NotMeasured;
        } catch (const std::exception& e) {
            records[i] = {{"tool", tool.name}, {"image", {{"path", images[i]}}}, {"success", false},
                          {"error", e.what()}};
        } catch (...) {
            records[i] = {{"tool", tool.name}, {"image", {{"path", images[i]}}}, {"success", false},
                          {"error", "unknown failure"}};
        }
    });

    std::string lines;
    for (const json& r : records)
        lines += readableRecord(r, false).dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    if (outPath.empty())
        std::cout << lines << std::flush;
    else
        writeWholeFile(outPath, lines);

    size_t measured = 0, notMeasured = 0, errors = 0;
    double total = 0;
    size_t worst = images.size();
    for (size_t i = 0; i < images.size(); ++i) {
        switch (outcomes[i]) {
        case Outcome::Measured: ++measured; break;
        case Outcome::NotMeasured: ++notMeasured; break;
        case Outcome::Error:
            // The first few in full, so a user sees what went wrong without opening the output.
            if (++errors <= 5)
                std::fprintf(userErr(), "batch: error: %s\n", records[i].at("error").get<std::string>().c_str());
            continue;
        }
        total += times[i];
        if (worst == images.size() || times[i] > times[worst])
            worst = i;
    }
    if (errors > 5)
        std::fprintf(userErr(), "batch: ... and %zu more errors (see the \"error\" lines)\n", errors - 5);
    std::fprintf(userErr(), "batch: %zu images: %zu measured, %zu failed to measure, %zu %s", images.size(), measured,
                 notMeasured, errors, errors == 1 ? "error" : "errors");
    if (worst < images.size())
        std::fprintf(userErr(), "; mean %.1f us, worst %.1f us (%s)", total / static_cast<double>(measured + notMeasured),
                     times[worst], fs::path(images[worst]).filename().c_str());
    std::fprintf(userErr(), "\n");
    return errors == 0 ? 0 : 1;
}

} // namespace cli
