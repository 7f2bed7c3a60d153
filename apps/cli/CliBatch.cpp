#include "CliBatch.h"

#include "Console.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

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

void drawBar(size_t done, size_t total)
{
    const size_t width = 40;
    const size_t filled = total ? width * done / total : width;
    std::fprintf(userErr(), "\r[%s%s] %zu/%zu", std::string(filled, '#').c_str(),
                 std::string(width - filled, '.').c_str(), done, total);
}

// Until every item is done: a bar redrawn ten times a second on a terminal, a line every
// few seconds into a log.
void showProgress(const std::atomic<size_t>& done, size_t total, const char* what)
{
    const bool terminal = userErrIsTerminal();
    const auto interval = std::chrono::seconds(5);
    auto lastLine = std::chrono::steady_clock::now();
    while (done.load() < total) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (terminal) {
            drawBar(done.load(), total);
        } else if (std::chrono::steady_clock::now() - lastLine >= interval) {
            std::fprintf(userErr(), "%s: %zu/%zu images done\n", what, done.load(), total);
            lastLine = std::chrono::steady_clock::now();
        }
    }
    if (terminal) {
        drawBar(total, total);
        std::fprintf(userErr(), "\n");
    }
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
        if (entry.is_regular_file(ec) && isImageFile(entry.path()))
            images.push_back(entry.path().string());
    if (ec)
        throw frontend::InputError(fileOrFolder + ": cannot list the folder: " + ec.message());
    if (images.empty())
        throw frontend::InputError(fileOrFolder + ": no images (png, bmp, jpg, tif) found");
    std::sort(images.begin(), images.end());
    return images;
}

void checkJobs(int jobs)
{
    if (jobs < 1)
        throw frontend::InputError("--jobs must be at least 1, got " + std::to_string(jobs));
}

void forEachInParallel(size_t count, int jobs, const char* what, const std::function<void(size_t)>& work)
{
    checkJobs(jobs);
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
    showProgress(done, count, what);
    for (std::thread& w : workers)
        w.join();
}

} // namespace cli
