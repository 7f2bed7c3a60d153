#include "PlaneCamera.h"

#include <opencv2/calib3d.hpp>

#include <cmath>

namespace synthetic {

PlaneCameraRenderer::PlaneCameraRenderer(const Camera& camera, int samplesPerAxis)
    : camera_(camera), samples_(std::max(1, samplesPerAxis))
{
    std::vector<cv::Point2d> positions;
    positions.reserve(static_cast<size_t>(camera.size.area()) * samples_ * samples_);
    for (int y = 0; y < camera.size.height; ++y)
        for (int x = 0; x < camera.size.width; ++x)
            for (int j = 0; j < samples_; ++j)
                for (int i = 0; i < samples_; ++i)
                    positions.emplace_back(x - 0.5 + (i + 0.5) / samples_, y - 0.5 + (j + 0.5) / samples_);
    // Iterated to convergence: the truth of every test rests on these rays.
    cv::undistortPoints(positions, normalised_, camera.matrix, camera.distortion, cv::noArray(), cv::noArray(),
                        cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 200, 1e-12));
}

cv::Mat PlaneCameraRenderer::render(const PlanePose& pose, const PlanePainting& painting, double outside) const
{
    cv::Matx33d r;
    cv::Rodrigues(pose.rotation, r);
    const cv::Vec3d& t = pose.translation;
    const cv::Matx33d toNormalised(r(0, 0), r(0, 1), t[0], r(1, 0), r(1, 1), t[1], r(2, 0), r(2, 1), t[2]);
    const cv::Matx33d toPlane = toNormalised.inv();
    cv::Mat image(camera_.size, CV_8U);
    const double perPixel = 1.0 / (samples_ * samples_);
    size_t k = 0;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            double sum = 0;
            for (int s = 0; s < samples_ * samples_; ++s, ++k) {
                const cv::Vec3d q = toPlane * cv::Vec3d(normalised_[k].x, normalised_[k].y, 1.0);
                // q is (X, Y, 1) / depth: the ray meets the plane in front of the camera
                // when q[2] is positive.
                sum += q[2] > 0 ? painting(q[0] / q[2], q[1] / q[2]) : outside;
            }
            image.at<uchar>(y, x) = cv::saturate_cast<uchar>(sum * perPixel);
        }
    }
    return image;
}

std::vector<cv::Point2d> PlaneCameraRenderer::project(const PlanePose& pose,
                                                      const std::vector<cv::Point2d>& planePoints) const
{
    std::vector<cv::Point3d> points;
    for (const cv::Point2d& p : planePoints)
        points.emplace_back(p.x, p.y, 0.0);
    std::vector<cv::Point2d> image;
    cv::projectPoints(points, pose.rotation, pose.translation, camera_.matrix, camera_.distortion, image);
    return image;
}

PlanePainting chessboard(int columns, int rows, double side, double border, double dark, double light,
                         double outside)
{
    return [=](double x, double y) {
        // The first inner corner is at the origin: the board starts one square before it.
        const double u = x / side + 1.0, v = y / side + 1.0;
        if (u < 0 || v < 0 || u >= columns || v >= rows) {
            const bool onBorder = x > -side - border && y > -side - border && x < (columns - 1) * side + border &&
                                  y < (rows - 1) * side + border;
            return onBorder ? light : outside;
        }
        return (static_cast<int>(u) + static_cast<int>(v)) % 2 == 0 ? dark : light;
    };
}

} // namespace synthetic

namespace synthetic {

namespace {

// A pose that turns the board by `rotation` and puts the point `aim` of the board
// (mm) at `where` in camera coordinates.
PlanePose boardPose(cv::Vec3d rotation, cv::Point2d aim, cv::Vec3d where)
{
    cv::Matx33d r;
    cv::Rodrigues(rotation, r);
    return {rotation, where - r * cv::Vec3d(aim.x, aim.y, 0)};
}

} // namespace

CalibrationRig demoCalibrationRig()
{
    CalibrationRig rig;
    rig.camera.matrix = cv::Matx33d(700, 0, 400, 0, 700, 300, 0, 0, 1);
    rig.camera.distortion = cv::Vec<double, 5>(-0.2, 0, 0, 0, 0);
    rig.camera.size = cv::Size(800, 600);
    const cv::Point2d middle(67.5, 37.5); // centre of the inner corners
    rig.boardViews = {
        boardPose({0.12, -0.08, 0.03}, middle, {0, 0, 300}),
        boardPose({0.45, 0.05, 0.1}, middle, {-40, -30, 320}),
        boardPose({-0.45, 0.1, -0.1}, middle, {40, 30, 330}),
        boardPose({0.05, 0.5, 0.2}, middle, {-50, 20, 310}),
        boardPose({0.1, -0.5, -0.15}, middle, {50, -20, 300}),
        boardPose({0.3, 0.35, 0.5}, middle, {-30, 35, 340}),
        boardPose({-0.3, -0.35, -0.4}, middle, {30, -35, 330}),
        boardPose({0.0, 0.0, 0.8}, middle, {60, 40, 360}),
        boardPose({0.2, -0.25, 1.4}, middle, {-60, -40, 350}),
        boardPose({-0.25, 0.3, -0.7}, middle, {0, 50, 300}),
    };
    return rig;
}

std::vector<cv::Point2d> twoHolePlateCentres(double spacing)
{
    return {{67.5 - spacing / 2, 37.5}, {67.5 + spacing / 2, 37.5}};
}

PlanePainting twoHolePlate(double spacing, double holeRadius)
{
    const std::vector<cv::Point2d> centres = twoHolePlateCentres(spacing);
    return [=](double x, double y) {
        for (const cv::Point2d& c : centres)
            if (std::hypot(x - c.x, y - c.y) < holeRadius)
                return 40.0;
        const bool onPlate = std::abs(x - 67.5) < spacing / 2 + 3 * holeRadius && std::abs(y - 37.5) < 4 * holeRadius;
        return onPlate ? 200.0 : 90.0;
    };
}

} // namespace synthetic
