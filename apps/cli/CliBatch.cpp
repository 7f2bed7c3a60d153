#include "CliBatch.h"

#include "ToolDefinition.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace cli {

namespace {

bool isImageFile(const fs::path& path)
{
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
    for (const char* known : {".png", ".bmp", ".jpg", ".jpeg", ".tif", ".tiff"})
        if (ext == known)
            return true;
    return false;
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

std::vector<std::string> listImages(const std::string& fileOrFolder)
{
    std::error_code ec;
    if (fs::is_regular_file(fileOrFolder, ec))
        return {fileOrFolder};
    if (!fs::is_directory(fileOrFolder, ec))
        throw frontend::InputError(fileOrFolder + ": not a folder nor an image file");
    std::vector<std::string> images;
    for (const fs::directory_entry& entry : fs::directory_iterator(fileOrFolder, ec))
        if (entry.is_regular_file() && isImageFile(entry.path()))
            images.push_back(entry.path().string());
    if (images.empty())
        throw frontend::InputError(fileOrFolder + ": no images (png, bmp, jpg, tif) found");
    std::sort(images.begin(), images.end());
    return images;
}

void forEachInParallel(size_t count, int jobs, const std::function<void(size_t)>& work)
{
    if (jobs < 1)
        throw frontend::InputError("--jobs must be at least 1, got " + std::to_string(jobs));
    // Plain threads, whose start and end the thread sanitizer sees, taking items in turn.
    std::atomic<size_t> next{0}, done{0};
    const auto worker = [&] {
        for (size_t i = next++; i < count; i = next++) {
            work(i);
            ++done;
        }
    };
    std::vector<std::thread> workers;
    for (size_t k = 0; k < std::min(static_cast<size_t>(jobs), count); ++k)
        workers.emplace_back(worker);
    if (isatty(STDERR_FILENO)) {
        while (done.load() < count) {
            drawProgress(done.load(), count);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        drawProgress(count, count);
        std::fprintf(stderr, "\n");
    }
    for (std::thread& w : workers)
        w.join();
}

} // namespace cli
