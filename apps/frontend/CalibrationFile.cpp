// Calibration files: the camera, its lens and the measuring plane, as JSON.

#include "Recipe.h"

#include <cmath>

namespace frontend {

namespace {

json matrixJson(const cv::Matx33d& m)
{
    json rows = json::array();
    for (int r = 0; r < 3; ++r)
        rows.push_back({m(r, 0), m(r, 1), m(r, 2)});
    return rows;
}

double finiteNumber(const json& value, const std::string& where)
{
    if (!value.is_number() || !std::isfinite(value.get<double>()))
        throw InputError(where + ": must be a finite number, got " + value.dump());
    return value.get<double>();
}

const json& field(const json& document, const std::string& key, const std::string& where)
{
    if (!document.contains(key))
        throw InputError(where + ": missing field '" + key + "'");
    return document.at(key);
}

cv::Matx33d matrixFrom(const json& value, const std::string& where)
{
    if (!value.is_array() || value.size() != 3)
        throw InputError(where + ": must be a 3 x 3 array of numbers");
    cv::Matx33d m;
    for (int r = 0; r < 3; ++r) {
        if (!value[r].is_array() || value[r].size() != 3)
            throw InputError(where + ": must be a 3 x 3 array of numbers");
        for (int c = 0; c < 3; ++c)
            m(r, c) = finiteNumber(value[r][c], where);
    }
    return m;
}

} // namespace

PlaneCalibration loadCalibration(const std::string& path)
{
    const json document = loadJsonObject(path, "calibration");
    PlaneCalibration calibration;
    calibration.cameraMatrix = matrixFrom(field(document, "camera_matrix", path), path + ": camera_matrix");
    calibration.planeHomography = matrixFrom(field(document, "plane_homography", path), path + ": plane_homography");
    const json& distortion = field(document, "distortion", path);
    if (!distortion.is_array() || distortion.size() != 5)
        throw InputError(path + ": distortion must be [k1, k2, p1, p2, k3]");
    for (int k = 0; k < 5; ++k)
        calibration.distortion[k] = finiteNumber(distortion[k], path + ": distortion");
    const json& size = field(document, "image_size", path);
    if (!size.is_array() || size.size() != 2 || !size[0].is_number_integer() || !size[1].is_number_integer())
        throw InputError(path + ": image_size must be [width, height]");
    calibration.imageWidth = size[0].get<int>();
    calibration.imageHeight = size[1].get<int>();
    if (document.contains("reprojection_error_px"))
        calibration.reprojectionError = finiteNumber(document.at("reprojection_error_px"), path);
    if (document.contains("plane_reprojection_error_px"))
        calibration.planeReprojectionError = finiteNumber(document.at("plane_reprojection_error_px"), path);
    if (document.contains("mm_per_pixel_at_centre"))
        calibration.scaleAtCentre = finiteNumber(document.at("mm_per_pixel_at_centre"), path);
    if (!(calibration.cameraMatrix(0, 0) > 0) || !(calibration.cameraMatrix(1, 1) > 0))
        throw InputError(path + ": camera_matrix needs positive focal lengths");
    return calibration;
}

void saveCalibration(const PlaneCalibration& calibration, const std::string& path)
{
    json document;
    document["camera_matrix"] = matrixJson(calibration.cameraMatrix);
    document["distortion"] = json::array();
    for (int k = 0; k < 5; ++k)
        document["distortion"].push_back(calibration.distortion[k]);
    document["plane_homography"] = matrixJson(calibration.planeHomography);
    document["image_size"] = {calibration.imageWidth, calibration.imageHeight};
    document["reprojection_error_px"] = calibration.reprojectionError;
    document["plane_reprojection_error_px"] = calibration.planeReprojectionError;
    document["mm_per_pixel_at_centre"] = calibration.scaleAtCentre;
    writeWholeFile(path, document.dump(2) + "\n");
}

} // namespace frontend
