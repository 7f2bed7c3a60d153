#include "PlaneCalibration.h"

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

bool isFinite(cv::Point2d p)
{
    return std::isfinite(p.x) && std::isfinite(p.y);
}

std::vector<cv::Point3f> boardCorners(cv::Size innerCorners, double squareSize)
{
    // Row by row, as the chessboard search returns them.
    std::vector<cv::Point3f> corners;
    for (int row = 0; row < innerCorners.height; ++row)
        for (int column = 0; column < innerCorners.width; ++column)
            corners.emplace_back(static_cast<float>(column * squareSize), static_cast<float>(row * squareSize), 0.f);
    return corners;
}

double rmsDistance(const std::vector<cv::Point2f>& a, const std::vector<cv::Point2f>& b)
{
    double sum = 0;
    for (size_t k = 0; k < a.size(); ++k) {
        const cv::Point2f d = a[k] - b[k];
        sum += static_cast<double>(d.x) * d.x + static_cast<double>(d.y) * d.y;
    }
    return a.empty() ? 0.0 : std::sqrt(sum / static_cast<double>(a.size()));
}

// Applies a homography; false when the point lands at infinity or on the far side of
// the camera (a non-positive homogeneous weight, given the positive scaling the
// calibration keeps).
bool applyHomography(const cv::Matx33d& h, cv::Point2d p, cv::Point2d& out)
{
    const cv::Vec3d q = h * cv::Vec3d(p.x, p.y, 1.0);
    if (!(q[2] > 0))
        return false;
    out = {q[0] / q[2], q[1] / q[2]};
    return isFinite(out);
}

} // namespace

bool findCalibrationBoard(const cv::Mat& image, cv::Size innerCorners, std::vector<cv::Point2f>& corners)
{
    if (image.empty() || image.depth() != CV_8U || innerCorners.width < 2 || innerCorners.height < 2)
        return false;
    cv::Mat grey = image;
    if (image.channels() == 3)
        cv::cvtColor(image, grey, cv::COLOR_RGB2GRAY);
    else if (image.channels() != 1)
        return false;
    std::vector<cv::Point2f> found;
    if (!cv::findChessboardCorners(grey, innerCorners, found, cv::CALIB_CB_ADAPTIVE_THRESH | cv::CALIB_CB_NORMALIZE_IMAGE))
        return false;
    cv::cornerSubPix(grey, found, cv::Size(5, 5), cv::Size(-1, -1),
                     cv::TermCriteria(cv::TermCriteria::EPS + cv::TermCriteria::COUNT, 100, 1e-4));
    corners = found;
    return true;
}

bool calibratePlane(const std::vector<std::vector<cv::Point2f>>& views, cv::Size innerCorners, double squareSize,
                    size_t planeView, cv::Size imageSize, PlaneCalibration& calibration)
{
    const size_t perView = static_cast<size_t>(std::max(0, innerCorners.area()));
    if (views.size() < 3 || planeView >= views.size() || !(squareSize > 0) || !std::isfinite(squareSize) ||
        imageSize.width <= 0 || imageSize.height <= 0 || innerCorners.width < 2 || innerCorners.height < 2)
        return false;
    for (const std::vector<cv::Point2f>& view : views) {
        if (view.size() != perView)
            return false;
        for (const cv::Point2f& p : view)
            if (!isFinite(p))
                return false;
    }

    const std::vector<std::vector<cv::Point3f>> objects(views.size(), boardCorners(innerCorners, squareSize));
    cv::Mat cameraMatrix, distortion;
    std::vector<cv::Mat> rotations, translations;
    double rms = 0;
    try {
        rms = cv::calibrateCamera(objects, views, imageSize, cameraMatrix, distortion, rotations, translations);
    } catch (const cv::Exception&) {
        return false; // degenerate views (all parallel, collinear corners) cannot be solved
    }
    if (!std::isfinite(rms) || distortion.total() < 5)
        return false;

    PlaneCalibration result;
    result.cameraMatrix = cv::Matx33d(cameraMatrix);
    for (int k = 0; k < 5; ++k)
        result.distortion[k] = distortion.at<double>(k);
    result.imageWidth = imageSize.width;
    result.imageHeight = imageSize.height;
    result.reprojectionError = rms;

    // The plane view's board pose: a plane point (X, Y, 0) lands at z (x, y, 1) =
    // [r1 r2 t] (X, Y, 1) in normalised coordinates; its inverse maps back.
    cv::Matx33d rotation;
    cv::Rodrigues(rotations[planeView], rotation);
    const cv::Vec3d t(translations[planeView]);
    const cv::Matx33d toNormalised(rotation(0, 0), rotation(0, 1), t[0], rotation(1, 0), rotation(1, 1), t[1],
                                   rotation(2, 0), rotation(2, 1), t[2]);
    if (std::abs(cv::determinant(toNormalised)) < 1e-12)
        return false;
    cv::Matx33d toPlane = toNormalised.inv();
    // Scaled by a positive factor only, so that a positive weight still means "in front
    // of the camera" (see applyHomography).
    toPlane *= 1.0 / std::abs(toPlane(2, 2));
    result.planeHomography = toPlane;

    std::vector<cv::Point2f> projected;
    cv::projectPoints(objects[planeView], rotations[planeView], translations[planeView], cameraMatrix, distortion,
                      projected);
    result.planeReprojectionError = rmsDistance(views[planeView], projected);

    const cv::Point2d centre(result.cameraMatrix(0, 2), result.cameraMatrix(1, 2));
    std::vector<cv::Point2d> onPlane;
    if (!mapImagePointsToPlane(result, {centre, centre + cv::Point2d(1, 0), centre + cv::Point2d(0, 1)}, onPlane))
        return false;
    result.scaleAtCentre = 0.5 * (cv::norm(onPlane[1] - onPlane[0]) + cv::norm(onPlane[2] - onPlane[0]));
    calibration = result;
    return true;
}

bool mapImagePointsToPlane(const PlaneCalibration& calibration, const std::vector<cv::Point2d>& image,
                           std::vector<cv::Point2d>& plane)
{
    for (const cv::Point2d& p : image)
        if (!isFinite(p))
            return false;
    std::vector<cv::Point2d> normalised;
    if (!image.empty())
        // The default five iterations leave strong barrel distortion visibly unsolved at
        // the image corners; iterate until the point no longer moves.
        cv::undistortPoints(image, normalised, calibration.cameraMatrix, calibration.distortion, cv::noArray(),
                            cv::noArray(),
                            cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 200, 1e-12));
    std::vector<cv::Point2d> out(image.size());
    for (size_t k = 0; k < image.size(); ++k)
        if (!applyHomography(calibration.planeHomography, normalised[k], out[k]))
            return false;
    plane = std::move(out);
    return true;
}

bool mapPlanePointsToImage(const PlaneCalibration& calibration, const std::vector<cv::Point2d>& plane,
                           std::vector<cv::Point2d>& image)
{
    if (std::abs(cv::determinant(calibration.planeHomography)) < 1e-300)
        return false;
    const cv::Matx33d toNormalised = calibration.planeHomography.inv();
    std::vector<cv::Point3d> rays(plane.size());
    for (size_t k = 0; k < plane.size(); ++k) {
        if (!isFinite(plane[k]))
            return false;
        cv::Point2d n;
        if (!applyHomography(toNormalised, plane[k], n))
            return false;
        rays[k] = {n.x, n.y, 1.0};
    }
    std::vector<cv::Point2d> out;
    if (!rays.empty())
        cv::projectPoints(rays, cv::Vec3d(0, 0, 0), cv::Vec3d(0, 0, 0), calibration.cameraMatrix,
                          calibration.distortion, out);
    image = std::move(out);
    return true;
}
