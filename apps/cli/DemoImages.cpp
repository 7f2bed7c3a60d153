// Pictures for the recipe and calibration examples, rendered with known geometry.

#include "Demo.h"

#include "DemoPart.h"
#include "PlaneCamera.h"
#include "ToolDefinition.h"

#include <opencv2/imgcodecs.hpp>

#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace demo {

namespace {

void writeImage(const fs::path& path, const cv::Mat& image)
{
    if (!cv::imwrite(path.string(), image))
        throw frontend::InputError(path.string() + ": cannot write");
    std::printf("%s\n", path.c_str());
}

fs::path freshFolder(const std::string& folder)
{
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (!fs::is_directory(folder, ec))
        throw frontend::InputError(folder + ": cannot create the folder");
    return folder;
}

} // namespace

int writeRecipeImages(const std::string& folder)
{
    const fs::path out = freshFolder(folder);
    const std::vector<synthetic::DemoPose> poses = synthetic::demoPartPoses();
    for (size_t k = 0; k < poses.size(); ++k) {
        synthetic::DemoPart part;
        // The last part's hole was bored 0.25 mm too large (5 px at 0.05 mm per pixel).
        const bool oversize = k + 1 == poses.size();
        if (oversize)
            part.holeRadius += 2.5;
        char name[64];
        std::snprintf(name, sizeof name, "plate_%02zu%s.png", k + 1, oversize ? "_oversize_hole" : "");
        writeImage(out / name, synthetic::renderDemoPart({1280, 1024}, part, poses[k], 0.8, 2.0, 11 + k));
    }
    return 0;
}

int writeCalibrationImages(const std::string& folder)
{
    const fs::path out = freshFolder(folder);
    const synthetic::CalibrationRig rig = synthetic::demoCalibrationRig();
    const synthetic::PlaneCameraRenderer renderer(rig.camera, 4);
    fs::create_directories(out / "boards");
    const synthetic::PlanePainting board = synthetic::chessboard(rig.columns, rig.rows, rig.square, 10, 30, 220, 90);
    for (size_t k = 0; k < rig.boardViews.size(); ++k) {
        char name[64];
        std::snprintf(name, sizeof name, "board_%02zu%s.png", k + 1, k == 0 ? "_on_plane" : "");
        writeImage(out / "boards" / name, renderer.render(rig.boardViews[k], board, 90));
    }
    writeImage(out / "two_holes_100mm.png",
               renderer.render(rig.boardViews[0], synthetic::twoHolePlate(100, 8), 90));
    return 0;
}

} // namespace demo
