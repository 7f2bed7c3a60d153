// functions-cli calibrate: camera, lens and measuring plane from chessboard views.

#include "CliBatch.h"
#include "Console.h"
#include "CliInspect.h"
#include "Recipe.h"

#include <cstdio>
#include <filesystem>

namespace fs = std::filesystem;

namespace cli {

using namespace frontend;

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
        const cv::Mat image = readImage(path);
        if (size.empty())
            size = image.size();
        else if (image.size() != size)
            throw InputError(path + ": every view must have the size of the first (" + std::to_string(size.width) +
                             " x " + std::to_string(size.height) + ")");
        std::vector<cv::Point2f> corners;
        const bool found = findCalibrationBoard(image, cv::Size(columns, rows), corners);
        std::fprintf(userErr(), "%s: %s\n", path.c_str(), found ? "board found" : "no board, skipped");
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
