#pragma once

// Views of a flat scene through a camera with lens distortion, for calibration tests and
// examples. A plane point (X, Y) (any unit, the scene's) sits at R (X, Y, 0) + t in
// camera coordinates and lands in the image through the pinhole model and OpenCV's lens
// model (radial k1, k2, k3, tangential p1, p2). Each pixel is the mean of a square grid
// of samples over its area, so edges are anti-aliased as a sensor sees them.

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace synthetic {

struct Camera {
    cv::Matx33d matrix;                // [[fx, 0, cx], [0, fy, cy], [0, 0, 1]], pixels
    cv::Vec<double, 5> distortion;     // k1, k2, p1, p2, k3
    cv::Size size;                     // image size, pixels
};

/// The plane's pose in camera coordinates: a rotation vector (Rodrigues) and a
/// translation, in the scene's unit.
struct PlanePose {
    cv::Vec3d rotation;
    cv::Vec3d translation;
};

/// Grey value of the plane at a plane point.
using PlanePainting = std::function<double(double x, double y)>;

class PlaneCameraRenderer {
public:
    /// Undistorts every sample position of the image once (samplesPerAxis^2 per pixel),
    /// so that each view costs only a homography per sample.
    PlaneCameraRenderer(const Camera& camera, int samplesPerAxis);

    /// The plane seen in pose, 8-bit grey; samples whose ray misses the plane take the
    /// value outside.
    cv::Mat render(const PlanePose& pose, const PlanePainting& painting, double outside) const;

    /// Where plane points land in the image (exact lens model), pixels.
    std::vector<cv::Point2d> project(const PlanePose& pose, const std::vector<cv::Point2d>& planePoints) const;

private:
    Camera camera_;
    int samples_;
    std::vector<cv::Point2d> normalised_; // undistorted sample rays (x/z, y/z), row by row
};

/// A chessboard of columns x rows squares of side `side`, its first inner corner at the
/// plane origin and its squares along +x and +y, dark where the square's column plus row
/// is even, on a light surround `border` wide; `outside` beyond that.
PlanePainting chessboard(int columns, int rows, double side, double border, double dark, double light,
                         double outside);

} // namespace synthetic

namespace synthetic {

/// A camera with strong barrel distortion (k1 = -0.2) and ten views of a chessboard of
/// 10 x 7 squares of 15 mm (9 x 6 inner corners), the first lying on the measuring plane.
struct CalibrationRig {
    Camera camera;
    int columns = 10, rows = 7; // squares
    double square = 15;         // mm
    std::vector<PlanePose> boardViews;
};

CalibrationRig demoCalibrationRig();

/// A plate on the measuring plane (pose of boardViews[0]) with two round holes whose
/// centres lie `spacing` mm apart; returns the centres in plane mm.
std::vector<cv::Point2d> twoHolePlateCentres(double spacing);
PlanePainting twoHolePlate(double spacing, double holeRadius);

} // namespace synthetic
