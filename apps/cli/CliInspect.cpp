#include "CliInspect.h"

#include "CliBatch.h"
#include "Console.h"
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
    forEachInParallel(paths.size(), jobs, "inspect", [&](size_t i) {
        try {
            const cv::Mat image = readImage(paths[i]);
            results[i] = runner.inspect(image);
            records[i] = runner.resultJson(results[i], paths[i]);
            cv::Mat picture = bgrPicture(image);
            runner.drawOverlay(picture, results[i]);
            const std::string overlay = (fs::path(outFolder) / fs::path(paths[i]).stem()).string() + ".overlay.png";
            writePicture(overlay, picture);
            records[i]["overlay"] = overlay;
        } catch (const std::exception& e) {
            // An unreadable image is one failed inspection, not the end of the batch.
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
    std::fprintf(userErr(), "inspect: %zu images, %zu passed, %zu failed; results in %s\n", paths.size(), passed,
                 paths.size() - passed, outFolder.c_str());
    return 0;
}

int runTeach(const std::string& recipePath, const std::string& imagePath, const std::string& outPath)
{
    Recipe recipe = loadRecipe(recipePath);
    recipe.fixture.taught = false;
    const RecipeRunner runner(recipe, recipePath);
    recipe.fixture.reference = runner.teach(readImage(imagePath));
    recipe.fixture.taught = true;
    saveRecipe(recipe, outPath.empty() ? recipePath : outPath);
    std::printf("taught pose: x %.3f px, y %.3f px, angle %.4f deg\n", recipe.fixture.reference.x,
                recipe.fixture.reference.y, recipe.fixture.reference.angle);
    return 0;
}

} // namespace cli
