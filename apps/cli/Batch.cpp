// The batch command: one tool over every image of a folder. An image that cannot be read
// or measured is recorded with its error and the batch goes on; only settings that are
// wrong for every image stop it before it starts.

#include "CliCommands.h"
#include "Console.h"
#include "Readable.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <thread>

namespace fs = std::filesystem;

namespace cli {

using namespace frontend;

namespace {

enum class Outcome : char { Measured, NotMeasured, Error };

bool isImageFile(const fs::path& path)
{
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    for (const char* known : {".png", ".bmp", ".jpg", ".jpeg", ".tif", ".tiff"})
        if (ext == known)
            return true;
    return false;
}

std::vector<std::string> imagesOf(const std::string& folder)
{
    std::error_code ec;
    if (!fs::is_directory(folder, ec))
        throw InputError(folder + ": not a folder");
    std::vector<std::string> images;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec))
        if (entry.is_regular_file(ec) && isImageFile(entry.path()))
            images.push_back(entry.path().string());
    if (ec)
        throw InputError(folder + ": cannot list the folder: " + ec.message());
    if (images.empty())
        throw InputError(folder + ": no images (png, bmp, jpg, tif) found");
    std::sort(images.begin(), images.end());
    return images;
}

void drawBar(size_t done, size_t total)
{
    const size_t width = 40;
    const size_t filled = total ? width * done / total : width;
    std::fprintf(userErr(), "\r[%s%s] %zu/%zu", std::string(filled, '#').c_str(),
                 std::string(width - filled, '.').c_str(), done, total);
}

// Until every image is done: a bar redrawn ten times a second on a terminal, a line every
// few seconds into a log.
void showProgress(const std::atomic<size_t>& done, size_t total)
{
    const bool terminal = userErrIsTerminal();
    const auto interval = std::chrono::seconds(5);
    auto lastLine = std::chrono::steady_clock::now();
    while (done.load() < total) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (terminal) {
            drawBar(done.load(), total);
        } else if (std::chrono::steady_clock::now() - lastLine >= interval) {
            std::fprintf(userErr(), "batch: %zu/%zu images done\n", done.load(), total);
            lastLine = std::chrono::steady_clock::now();
        }
    }
    if (terminal) {
        drawBar(total, total);
        std::fprintf(userErr(), "\n");
    }
}

} // namespace

int runBatch(const std::string& folder, const std::string& paramsPath, const std::string& roiText,
             const std::string& toolName, int jobs, const std::string& outPath)
{
    const ToolDefinition& tool = findTool(toolName);
    std::string source;
    const json parameters = commandParameters(paramsPath, roiText, source);
    if (jobs < 1)
        throw InputError("--jobs must be at least 1, got " + std::to_string(jobs));
    const std::vector<std::string> images = imagesOf(folder);
    // Settings are the same for every image: refused once, before any work.
    prepareSettings(tool, parameters, source);

    std::vector<json> records(images.size());
    std::vector<double> times(images.size(), 0.0);
    std::vector<Outcome> outcomes(images.size(), Outcome::Error);
    // Plain threads, whose start and end the thread sanitizer sees, taking images in turn.
    std::atomic<size_t> next{0}, done{0};
    const auto work = [&] {
        for (size_t i = next++; i < images.size(); i = next++) {
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
            ++done;
        }
    };
    std::vector<std::thread> workers;
    for (size_t k = 0; k < std::min(static_cast<size_t>(jobs), images.size()); ++k)
        workers.emplace_back(work);
    showProgress(done, images.size());
    for (std::thread& worker : workers)
        worker.join();

    std::string lines;
    for (const json& r : records)
        lines += readableRecord(r, false).dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    if (outPath.empty())
        std::cout << lines << std::flush;
    else
        writeWhole(outPath, lines);

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
