#pragma once

// Renderer of synthetic test scenes with exactly known geometry, shared by the demo,
// the tests, the benchmarks and the accuracy study.
//
// Shapes are painted in order onto a float canvas; each pixel takes the fraction of its
// area that the shape covers (area sampling), so edges are anti-aliased and their
// positions are exact to the sub-pixel. Coordinates follow the library: pixel (x, y)
// has its centre at (x, y) and covers [x - 0.5, x + 0.5] x [y - 0.5, y + 0.5].

#include <opencv2/core.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace synthetic {

class Scene {
public:
    Scene(cv::Size size, double background);

    /// Signed distance of a point to a shape's boundary: negative inside, positive
    /// outside. It may underestimate the distance outside (never overestimate), which
    /// only costs extra sampling.
    using SignedDistance = std::function<double(double x, double y)>;

    /// Paints a shape given by its signed distance with the grey value.
    void fill(const SignedDistance& shape, double value);

    /// Convex polygon, vertices in either winding.
    void fillConvexPolygon(const std::vector<cv::Point2d>& vertices, double value);
    /// Rotated rectangle: angle in degrees, positive turns its x axis towards +y.
    void fillRotatedRect(cv::Point2d centre, double width, double height, double angle, double value);
    void fillDisc(cv::Point2d centre, double radius, double value);
    /// Ellipse with semi-axes a along its own x axis and b across; angle in degrees,
    /// positive turns its x axis towards +y.
    void fillEllipse(cv::Point2d centre, double a, double b, double angle, double value);
    /// Half-plane of the points p with (p - point) . normal >= 0, normal at angle degrees.
    void fillHalfPlane(cv::Point2d point, double normalAngle, double value);
    /// Text drawn with OpenCV's Hershey font, turned by angle degrees about its centre.
    void drawText(const std::string& text, cv::Point2d centre, double height, double angle, double value);

    /// The canvas as 8-bit grey: optional Gaussian blur (sigma in pixels, 0 for none),
    /// then additive Gaussian noise (sigma in grey levels, 0 for none) from a fixed seed.
    cv::Mat toGrey(double blurSigma = 0.0, double noiseSigma = 0.0, uint64_t seed = 1) const;

    const cv::Mat& canvas() const { return canvas_; }

private:
    cv::Mat canvas_; // CV_64F
};

/// Corners of a rotated rectangle in the library's order: top-left, top-right,
/// bottom-right, bottom-left of the unrotated rectangle.
std::vector<cv::Point2d> rotatedRectCorners(cv::Point2d centre, double width, double height, double angle);

} // namespace synthetic
