// The shape tools on rendered images: the line tool on straight edges, the circle and arc
// tools on discs, against OpenCV's Hough transform.

#include "Studies.h"

#include <Functions.h>

#include "Synthetic.h"

#include <opencv2/imgproc.hpp>

namespace accuracy {

// ---------------------------------------------------------------------------------
// Line tool
// ---------------------------------------------------------------------------------

StudyResult studyLineTool(const StudyOptions& options)
{
    const std::vector<Metric> metrics{{"clcEdgeLineAndFit", "angle", "deg"}, {"clcEdgeLineAndFit", "offset", "px"}};
    return runStudy(
        "line", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            const uint64_t seed = placementSeed(6, index);
            cv::RNG rng(seed);
            // A straight edge across a 40 x 100 px ROI (ten calipers of 10 rows), the ROI a
            // few pixels off the edge and up to 3 degrees askew.
            const StraightEdge truth(rng, 160);
            const cv::Point2d &n = truth.normal, &edge = truth.point;
            const double alongOffset = rng.uniform(-10.0, 10.0);
            const cv::Point2d centre = edge + n * rng.uniform(-4.0, 4.0) + truth.along * alongOffset;
            RotateRectROI roi(centre.x, centre.y, static_cast<float>(truth.normalAngle + rng.uniform(-3.0, 3.0)),
                              40.0f, 100.0f);
            // The offset is taken where the ROI's centre line meets the true edge.
            const cv::Point2d middle = edge + truth.along * alongOffset;

            for (size_t s = 0; s < settings.size(); ++s) {
                cv::Mat image = truth.scene.toGrey(settings[s].series, settings[s].noise, seed);
                _EdgeLineDetParam param;
                param.direction = LeftToRight;
                param.transition = DarkToLight;
                useSegmentCalipers(param);
                param.roi = &roi;
                double angle = 0, offset = 0;
                if (clcEdgeLineAndFit(image, param, 0) &&
                    lineError({param.line[0], param.line[1]}, {param.line[2], param.line[3]}, middle, n,
                              truth.normalAngle + 90.0, angle, offset)) {
                    recorder.error(s, 0, angle);
                    recorder.error(s, 1, offset);
                    // The offset's interval holds at the anchor, the foot of the points'
                    // centroid: its error there is the anchor's distance from the true line.
                    LineFitQuality quality;
                    if (getLineFitQuality(param.edgePoints, param.line, FitLineHuber, 0.0, quality)) {
                        recordInterval(recorder, s, 0, quality.angle,
                                       angleDifference(quality.angle.value, truth.normalAngle + 90.0, 180.0));
                        recordInterval(recorder, s, 1, quality.offset, (quality.anchor - middle).dot(n));
                    }
                } else {
                    recorder.miss(s, 0);
                    recorder.miss(s, 1);
                }
            }
        });
}

// ---------------------------------------------------------------------------------
// Circle and arc tools
// ---------------------------------------------------------------------------------

namespace {

enum CircleMetric : size_t {
    RingX, RingY, RingRadius,        // circle tool on a full ring
    ArcX, ArcY, ArcRadius,           // circle tool on a 120-degree arc
    ArcToolRadius, ArcStart, ArcEnd, // arc tool on the same arc
    HoughX, HoughY, HoughRadius,
    HoughAltX, HoughAltY, HoughAltRadius,
    CircleMetricCount
};

// Angle in degrees, counter-clockwise with y up, about centre, of the point where the
// circle (centre, radius) crosses the ray from origin at yUpDegrees. NaN when it does not.
double crossingAngle(cv::Point2d origin, double yUpDegrees, cv::Point2d centre, double radius)
{
    const double t = yUpDegrees * CV_PI / 180.0;
    const cv::Point2d dir(std::cos(t), -std::sin(t));
    const cv::Point2d q = origin - centre;
    const double b = q.dot(dir), c = q.dot(q) - radius * radius, disc = b * b - c;
    if (disc < 0)
        return std::numeric_limits<double>::quiet_NaN();
    const cv::Point2d p = origin + dir * (-b + std::sqrt(disc)) - centre;
    const double a = std::atan2(-p.y, p.x) * 180.0 / CV_PI;
    return a < 0 ? a + 360.0 : a;
}

// A circle or arc record whose calipers scan outwards from the bright disc into the dark
// background.
template <class Param, class Shape>
Param outwardCalipers(Shape* roi)
{
    Param param;
    param.direction = LeftToRight;
    param.transition = LightToDark;
    useSegmentCalipers(param);
    param.roi = roi;
    return param;
}

void recordCircle(Recorder& recorder, size_t s, size_t first, bool ok, cv::Point2d centre, double radius,
                  cv::Point2d trueCentre, double trueRadius)
{
    if (ok && std::isfinite(radius)) {
        recorder.error(s, first, centre.x - trueCentre.x);
        recorder.error(s, first + 1, centre.y - trueCentre.y);
        recorder.error(s, first + 2, radius - trueRadius);
    } else {
        for (size_t k = 0; k < 3; ++k)
            recorder.miss(s, first + k);
    }
}

// The intervals the fit quality reports for a circle the circle tool fitted (Huber).
void recordCircleIntervals(Recorder& recorder, size_t s, size_t first, const std::vector<cv::Point2d>& points,
                           cv::Point2d centre, double radius, cv::Point2d trueCentre, double trueRadius)
{
    CircleFitQuality quality;
    if (!getCircleFitQuality(points, centre, radius, FitCircleHuber, quality))
        return;
    recordInterval(recorder, s, first, quality.centreX, centre.x - trueCentre.x);
    recordInterval(recorder, s, first + 1, quality.centreY, centre.y - trueCentre.y);
    recordInterval(recorder, s, first + 2, quality.radius, radius - trueRadius);
}

void measureHough(Recorder& recorder, size_t s, size_t first, const cv::Mat& image, int method, double dp,
                  double param1, double param2, cv::Point2d centre, double radius)
{
    // The peer gets the radius range the ring gives our tools.
    std::vector<cv::Vec3f> circles;
    cv::HoughCircles(image, circles, method, dp, 100.0, param1, param2, static_cast<int>(radius) - 10,
                     static_cast<int>(radius) + 10);
    const bool ok = !circles.empty();
    recordCircle(recorder, s, first, ok, ok ? cv::Point2d(circles[0][0], circles[0][1]) : cv::Point2d(),
                 ok ? circles[0][2] : 0.0, centre, radius);
}

} // namespace

StudyResult studyCircleTools(const StudyOptions& options)
{
    std::vector<Metric> metrics(CircleMetricCount);
    const char* xyr[] = {"centre x", "centre y", "radius"};
    for (size_t k = 0; k < 3; ++k) {
        metrics[RingX + k] = {"clcCirclePointsAndFit ring", xyr[k], "px"};
        metrics[ArcX + k] = {"clcCirclePointsAndFit arc 120", xyr[k], "px"};
        metrics[HoughX + k] = {"cv::HoughCircles", xyr[k], "px"};
        metrics[HoughAltX + k] = {"cv::HoughCircles ALT", xyr[k], "px"};
    }
    metrics[ArcToolRadius] = {"clcArcPointsAndFit", "radius", "px"};
    metrics[ArcStart] = {"clcArcPointsAndFit", "start angle", "deg"};
    metrics[ArcEnd] = {"clcArcPointsAndFit", "end angle", "deg"};
    return runStudy(
        "circle", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            const uint64_t seed = placementSeed(7, index);
            cv::RNG rng(seed);
            // A bright disc; the ROIs are centred up to 3 px off its centre and reach 10 px
            // either side of its edge; the arc covers a random third of the turn.
            const double radius = rng.uniform(30.0, 70.0);
            const cv::Point2d centre(100 + rng.uniform(-3.0, 3.0), 100 + rng.uniform(-3.0, 3.0));
            synthetic::Scene scene(cv::Size(200, 200), kDark);
            scene.fillDisc(centre, radius, kBright);
            const cv::Point2d roiCentre = centre + cv::Point2d(rng.uniform(-3.0, 3.0), rng.uniform(-3.0, 3.0));
            const float inner = static_cast<float>(radius - 10), outer = static_cast<float>(radius + 10);
            const float arcFrom = static_cast<float>(rng.uniform(0.0, 360.0)), arcTo = arcFrom + 120.0f;
            RingROI ring(roiCentre.x, roiCentre.y, inner, outer);
            ArcROI arc(roiCentre.x, roiCentre.y, inner, outer, arcFrom, std::fmod(arcTo, 360.0f));
            const double trueStart = crossingAngle(roiCentre, arcFrom, centre, radius);
            const double trueEnd = crossingAngle(roiCentre, arcTo, centre, radius);

            for (size_t s = 0; s < settings.size(); ++s) {
                cv::Mat image = scene.toGrey(settings[s].series, settings[s].noise, seed);
                auto circle = outwardCalipers<_CircleDetParam>(&ring);
                bool ok = clcCirclePointsAndFit(image, circle, 0, false, 0, -1.0);
                recordCircle(recorder, s, RingX, ok, circle.centre, circle.radius, centre, radius);
                if (ok)
                    recordCircleIntervals(recorder, s, RingX, circle.edgePoints, circle.centre, circle.radius, centre,
                                          radius);

                circle = outwardCalipers<_CircleDetParam>(&arc);
                ok = clcCirclePointsAndFit(image, circle, 0, false, 0, -1.0);
                recordCircle(recorder, s, ArcX, ok, circle.centre, circle.radius, centre, radius);
                if (ok)
                    recordCircleIntervals(recorder, s, ArcX, circle.edgePoints, circle.centre, circle.radius, centre,
                                          radius);

                auto arcParam = outwardCalipers<_ArcDetParam>(&arc);
                if (clcArcPointsAndFit(image, arcParam, 0, false, 0, -1.0) && std::isfinite(arcParam.radius)) {
                    recorder.error(s, ArcToolRadius, arcParam.radius - radius);
                    recorder.error(s, ArcStart, angleDifference(arcParam.arcStartAngle, trueStart, 360.0));
                    recorder.error(s, ArcEnd, angleDifference(arcParam.arcEndAngle, trueEnd, 360.0));
                    CircleFitQuality quality;
                    if (getCircleFitQuality(arcParam.edgePoints, arcParam.centre, arcParam.radius, FitCircleTukey,
                                            quality))
                        recordInterval(recorder, s, ArcToolRadius, quality.radius, arcParam.radius - radius);
                } else {
                    for (size_t m : {ArcToolRadius, ArcStart, ArcEnd})
                        recorder.miss(s, m);
                }

                // Untuned peers: the classic method with its default Canny threshold and a
                // low accumulator threshold, the alternative one as its documentation
                // recommends.
                measureHough(recorder, s, HoughX, image, cv::HOUGH_GRADIENT, 1.0, 100.0, 20.0, centre, radius);
                measureHough(recorder, s, HoughAltX, image, cv::HOUGH_GRADIENT_ALT, 1.5, 300.0, 0.9, centre,
                             radius);
            }
        });
}

} // namespace accuracy
