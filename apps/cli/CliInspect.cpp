#include "CliInspect.h"

#include "CliBatch.h"
#include "Recipe.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <filesystem>
#include <iostream>

namespace fs = std::filesystem;

namespace cli {

using namespace frontend;

namespace {

void writePicture(const std::string& path, const cv::Mat& picture)
{
    bool written = false;
    try {
        written = cv::imwrite(path, picture);
    } catch (const cv::Exception&) {
        written = false;
    }
    if (!written)
        throw InputError(path + ": cannot write the overlay picture");
}

cv::Mat bgrPicture(const cv::Mat& image)
{
    cv::Mat picture;
    cv::cvtColor(image, picture, image.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_RGB2BGR);
    return picture;
}

} // namespace

int runInspect(const std::string& recipePath, const std::string& images, int jobs, const std::string& outFolder)
{
    const RecipeRunner runner(loadRecipe(recipePath), recipePath);
    const std::vector<std::string> paths = listImages(images);
    std::error_code ec;
    fs::create_directories(outFolder, ec);
    if (!fs::is_directory(outFolder, ec))
        throw InputError(outFolder + ": cannot create the output folder");

    std::vector<InspectionResult> results(paths.size());
    std::vector<json> records(paths.size());
    forEachInParallel(paths.size(), jobs, [&](size_t i) {
        try {
            const cv::Mat image = loadImage(paths[i]);
            results[i] = runner.inspect(image);
            records[i] = runner.resultJson(results[i], paths[i]);
            cv::Mat picture = bgrPicture(image);
            runner.drawOverlay(picture, results[i]);
            const std::string overlay = (fs::path(outFolder) / fs::path(paths[i]).stem()).string() + ".overlay.png";
            writePicture(overlay, picture);
            records[i]["overlay"] = overlay;
        } catch (const std::exception& e) {
            // An unreadable image is one failed part, not the end of the batch.
            results[i] = InspectionResult();
            results[i].dimensions.resize(runner.recipe().dimensions.size());
            records[i] = {{"image", paths[i]}, {"pass", false}, {"error", e.what()}};
        }
    });

    std::string lines;
    for (const json& r : records)
        lines += r.dump() + "\n";
    writeWholeFile((fs::path(outFolder) / "results.jsonl").string(), lines);
    writeWholeFile((fs::path(outFolder) / "results.csv").string(), resultsCsv(runner.recipe(), paths, results));
    const std::string table = statisticsTable(dimensionStatistics(runner.recipe(), results));
    writeWholeFile((fs::path(outFolder) / "summary.txt").string(), table);

    size_t passed = 0;
    for (const InspectionResult& r : results)
        passed += r.pass ? 1 : 0;
    std::cout << table << std::flush;
    std::fprintf(stderr, "inspect: %zu images, %zu passed, %zu failed; results in %s\n", paths.size(), passed,
                 paths.size() - passed, outFolder.c_str());
    return 0;
}

int runTeach(const std::string& recipePath, const std::string& imagePath, const std::string& outPath)
{
    Recipe recipe = loadRecipe(recipePath);
    recipe.fixture.taught = false;
    const RecipeRunner runner(recipe, recipePath);
    recipe.fixture.reference = runner.teach(loadImage(imagePath));
    recipe.fixture.taught = true;
    saveRecipe(recipe, outPath.empty() ? recipePath : outPath);
    std::printf("taught pose: x %.3f px, y %.3f px, angle %.4f deg\n", recipe.fixture.reference.x,
                recipe.fixture.reference.y, recipe.fixture.reference.angle);
    return 0;
}

int runCalibrate(const std::string& folder, const std::string& board, double squareMm, const std::string& planeImage,
                 const std::string& outPath)
{
    int columns = 0, rows = 0;
    char tail = 0;
    if (std::sscanf(board.c_str(), "%dx%d%c", &columns, &rows, &tail) != 2 || columns < 2 || rows < 2)
        throw InputError("--board must be COLSxROWS inner corners, each at least 2, got '" + board + "'");
    if (!(squareMm > 0))
        throw InputError("--square must be above 0 mm");
    const std::vector<std::string> paths = listImages(folder);
    std::vector<std::vector<cv::Point2f>> views;
    size_t planeView = 0;
    bool planeFound = planeImage.empty();
    cv::Size size;
    for (const std::string& path : paths) {
        const cv::Mat image = loadImage(path);
        if (size.empty())
            size = image.size();
        else if (image.size() != size)
            throw InputError(path + ": every view must have the size of the first (" + std::to_string(size.width) +
                             " x " + std::to_string(size.height) + ")");
        std::vector<cv::Point2f> corners;
        const bool found = findCalibrationBoard(image, cv::Size(columns, rows), corners);
        std::fprintf(stderr, "%s: %s\n", path.c_str(), found ? "board found" : "no board, skipped");
        if (!found)
            continue;
        if (!planeImage.empty() && fs::path(path).filename() == fs::path(planeImage).filename()) {
            planeView = views.size();
            planeFound = true;
        }
        views.push_back(corners);
    }
    if (!planeFound)
        throw InputError(planeImage + ": not among the views with a board found");
    PlaneCalibration calibration;
    if (!calibratePlane(views, cv::Size(columns, rows), squareMm, planeView, size, calibration))
        throw InputError(folder + ": calibration failed: it needs at least 3 views with the whole board, seen "
                                  "from different angles (found " + std::to_string(views.size()) + ")");
    saveCalibration(calibration, outPath);
    std::printf("views used: %zu\nreprojection error: %.4f px (rms), plane view %.4f px\n"
                "focal length: %.2f x %.2f px, centre (%.2f, %.2f) px\n"
                "distortion k1 %.5f k2 %.5f p1 %.6f p2 %.6f k3 %.5f\nscale at centre: %.6f mm/px\n",
                views.size(), calibration.reprojectionError, calibration.planeReprojectionError,
                calibration.cameraMatrix(0, 0), calibration.cameraMatrix(1, 1), calibration.cameraMatrix(0, 2),
                calibration.cameraMatrix(1, 2), calibration.distortion[0], calibration.distortion[1],
                calibration.distortion[2], calibration.distortion[3], calibration.distortion[4],
                calibration.scaleAtCentre);
    return 0;
}

} // namespace cli
