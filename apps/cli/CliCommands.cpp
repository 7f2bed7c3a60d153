#include "CliCommands.h"

#include "ToolDefinition.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>
#include <unistd.h>

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

bool isImageFile(const fs::path& path)
{
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    for (const char* known : {".png", ".bmp", ".jpg", ".jpeg", ".tif", ".tiff"})
        if (ext == known)
            return true;
    return false;
}

// Writes text to path through a temporary file, so a failure never leaves half a file.
void writeWhole(const std::string& path, const std::string& text)
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

void drawProgress(size_t done, size_t total)
{
    const int width = 40;
    const int filled = total ? static_cast<int>(width * done / total) : width;
    std::fprintf(stderr, "\r[%s%s] %zu/%zu", std::string(filled, '#').c_str(), std::string(width - filled, '.').c_str(),
                 done, total);
    std::fflush(stderr);
}

} // namespace

int listTools()
{
    for (const ToolDefinition& tool : tools()) {
        std::printf("%s\n    %s\n", tool.name.c_str(), tool.summary.c_str());
        if (!tool.roiKinds.empty()) {
            std::string kinds;
            for (const std::string& k : tool.roiKinds)
                kinds += (kinds.empty() ? "" : ", ") + k;
            std::printf("    roi: %s\n", kinds.c_str());
        }
        for (const ParamDefinition& definition : tool.params)
            std::printf("    %-16s %-40s default %-16s %s\n", definition.name.c_str(), typeLabel(definition).c_str(),
                        definition.defaultValue.dump().c_str(), definition.help.c_str());
        std::printf("\n");
    }
    return 0;
}

int runTool(const std::string& imagePath, const std::string& toolName, const std::string& paramsPath,
            const std::string& overlayPath, bool compact)
{
    const ToolDefinition& tool = findTool(toolName);
    const json parameters = loadParameters(paramsPath);
    const cv::Mat image = loadImage(imagePath);
    ToolInput input = prepareInput(tool, parameters, image, paramsPath, imagePath);

    ToolResult result;
    json record = runRecord(tool, input, imagePath, result);
    if (compact && record.contains("diagnostics"))
        record["diagnostics"].erase("points");
    if (!overlayPath.empty()) {
        cv::Mat picture;
        cv::cvtColor(image, picture, image.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_RGB2BGR);
        if (tool.draw)
            tool.draw(picture, input, result);
        bool written = false;
        try {
            written = cv::imwrite(overlayPath, picture);
        } catch (const cv::Exception&) {
            written = false;
        }
        if (!written)
            throw InputError(overlayPath + ": cannot write the overlay picture (use a .png path in a writable folder)");
    }
    std::cout << record.dump(2) << std::endl;
    return 0;
}

int runBatch(const std::string& folder, const std::string& paramsPath, const std::string& toolName, int jobs,
             const std::string& outPath)
{
    const ToolDefinition& tool = findTool(toolName);
    const json parameters = loadParameters(paramsPath);
    if (jobs < 1)
        throw InputError("--jobs must be at least 1, got " + std::to_string(jobs));

    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        throw InputError(folder + ": not a folder");
    std::vector<std::string> images;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec))
        if (entry.is_regular_file() && isImageFile(entry.path()))
            images.push_back(entry.path().string());
    if (images.empty())
        throw InputError(folder + ": no images (png, bmp, jpg, tif) found");
    std::sort(images.begin(), images.end());

    // Settings errors are the same for every image: report them once, before any work.
    prepareInput(tool, parameters, loadImage(images.front()), paramsPath, images.front());

    std::vector<json> records(images.size());
    std::vector<double> times(images.size(), 0.0);
    std::vector<char> failed(images.size(), 0);
    // Plain threads, whose start and end the thread sanitizer sees, taking images in turn.
    std::atomic<size_t> next{0}, done{0};
    const auto work = [&] {
        for (size_t i = next++; i < images.size(); i = next++) {
            try {
                const cv::Mat image = loadImage(images[i]);
                ToolInput input = prepareInput(tool, parameters, image, paramsPath, images[i]);
                ToolResult result;
                records[i] = runRecord(tool, input, images[i], result);
                times[i] = result.microseconds;
                failed[i] = result.success ? 0 : 1;
            } catch (const std::exception& e) {
                records[i] = {{"tool", tool.name}, {"image", {{"path", images[i]}}}, {"success", false},
                              {"error", e.what()}};
                failed[i] = 1;
            }
            ++done;
        }
    };
    std::vector<std::thread> workers;
    for (size_t k = 0; k < std::min(static_cast<size_t>(jobs), images.size()); ++k)
        workers.emplace_back(work);
    if (isatty(STDERR_FILENO)) {
        while (done.load() < images.size()) {
            drawProgress(done.load(), images.size());
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        drawProgress(images.size(), images.size());
        std::fprintf(stderr, "\n");
    }
    for (std::thread& worker : workers)
        worker.join();

    std::string lines;
    for (const json& r : records)
        lines += r.dump() + "\n";
    if (outPath.empty())
        std::cout << lines << std::flush;
    else
        writeWhole(outPath, lines);

    size_t failures = 0, worst = 0;
    double total = 0;
    for (size_t i = 0; i < images.size(); ++i) {
        failures += failed[i];
        total += times[i];
        if (times[i] > times[worst])
            worst = i;
    }
    std::fprintf(stderr, "batch: %zu images, %zu failed, mean %.1f us, worst %.1f us (%s)\n", images.size(), failures,
                 total / images.size(), times[worst], fs::path(images[worst]).filename().c_str());
    return 0;
}

} // namespace cli
