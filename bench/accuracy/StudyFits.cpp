// Fits on point sets with known truth: Gaussian noise on both coordinates and, in the
// outlier series, a share of the points pushed 5 to 20 px off the shape.

#include "Studies.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <numeric>

namespace accuracy {

namespace {

const std::vector<double> kOutlierPercent{0, 10};
const std::vector<double> kPointNoise{0, 0.1, 0.2, 0.5, 1.0};

// Points on a shape with everything random drawn once per placement, so that every
// setting moves the same points by the same draws, only scaled.
struct PointSet {
    std::vector<cv::Point2d> exact;
    std::vector<cv::Point2d> outward; // unit normal of the shape at each point
    std::vector<cv::Point2d> noise;   // standard normal draws
    std::vector<double> push;         // signed outlier offset, in a random order of points

    PointSet(cv::RNG& rng, std::vector<cv::Point2d> points, std::vector<cv::Point2d> normals)
        : exact(std::move(points)), outward(std::move(normals))
    {
        for (size_t i = 0; i < exact.size(); ++i) {
            const double x = rng.gaussian(1.0), y = rng.gaussian(1.0);
            noise.emplace_back(x, y);
            push.push_back(rng.uniform(5.0, 20.0) * (rng.uniform(0, 2) ? 1 : -1));
        }
        // Which points become outliers: a Fisher-Yates shuffle on the placement's draws.
        order.resize(exact.size());
        std::iota(order.begin(), order.end(), size_t{0});
        for (size_t i = order.size(); i > 1; --i)
            std::swap(order[i - 1], order[static_cast<size_t>(rng.uniform(0, static_cast<int>(i)))]);
    }

    std::vector<cv::Point2d> under(const Setting& setting) const
    {
        std::vector<cv::Point2d> points(exact.size());
        for (size_t i = 0; i < exact.size(); ++i)
            points[i] = exact[i] + noise[i] * setting.noise;
        const size_t outliers = static_cast<size_t>(std::lround(exact.size() * setting.series / 100.0));
        for (size_t k = 0; k < outliers; ++k)
            points[order[k]] += outward[order[k]] * push[k];
        return points;
    }

private:
    std::vector<size_t> order;
};

std::vector<cv::Point2f> toFloat(const std::vector<cv::Point2d>& points)
{
    return std::vector<cv::Point2f>(points.begin(), points.end());
}

cv::Point2d randomCentre(cv::RNG& rng)
{
    // Image-sized coordinates: algebraic fits work on raw moments, so the offset matters.
    return {rng.uniform(200.0, 800.0), rng.uniform(200.0, 600.0)};
}

// ---------------------------------------------------------------------------------
// Lines
// ---------------------------------------------------------------------------------

void recordLine(Recorder& recorder, size_t setting, size_t metric, cv::Point2d d, cv::Point2d p, cv::Point2d c,
                cv::Point2d n, double truthAngle, const LineFitQuality* quality = nullptr)
{
    double angle = 0, offset = 0;
    if (lineError(d, p, c, n, truthAngle, angle, offset)) {
        recorder.error(setting, metric, angle);
        recorder.error(setting, metric + 1, offset);
        if (quality) {
            recordInterval(recorder, setting, metric, quality->angle, angle);
            // The offset's interval holds at the anchor: its distance from the true line.
            recordInterval(recorder, setting, metric + 1, quality->offset, (quality->anchor - c).dot(n));
        }
    } else {
        recorder.miss(setting, metric);
        recorder.miss(setting, metric + 1);
    }
}

} // namespace

StudyResult studyLineFits(const StudyOptions& options)
{
    const char* tools[] = {"fitLine LS", "fitLine Huber", "fitLine Tukey", "cv::fitLine L2", "cv::fitLine Huber"};
    std::vector<Metric> metrics;
    for (const char* tool : tools) {
        metrics.push_back({tool, "angle", "deg"});
        metrics.push_back({tool, "offset", "px"});
    }
    const auto settings =
        gridOf(orDefault(options.series, kOutlierPercent), orDefault(options.noises, kPointNoise));
    return runStudy("fit_line", "outliers_pct", "noise_px", metrics, settings, options.placements,
                    [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
                        cv::RNG rng(placementSeed(2, index));
                        // 50 points 2 px apart on a line of random direction.
                        const double angle = rng.uniform(0.0, 180.0);
                        const cv::Point2d d = unitAt(angle), n(-d.y, d.x), c = randomCentre(rng);
                        std::vector<cv::Point2d> exact, normals;
                        for (int k = 0; k < 50; ++k) {
                            exact.push_back(c + d * (2.0 * k - 49.0));
                            normals.push_back(n);
                        }
                        const PointSet set(rng, exact, normals);
                        for (size_t s = 0; s < settings.size(); ++s) {
                            std::vector<cv::Point2d> points = set.under(settings[s]);
                            const FitLineType types[] = {FitLineLeastSquares, FitLineHuber, FitLineTukey};
                            for (size_t t = 0; t < 3; ++t) {
                                cv::Vec4d line;
                                fitLine(points, line, types[t], 0.0);
                                LineFitQuality quality;
                                const bool judged = getLineFitQuality(points, line, types[t], 0.0, quality);
                                recordLine(recorder, s, 2 * t, {line[0], line[1]}, {line[2], line[3]}, c, n,
                                           angle, judged ? &quality : nullptr);
                            }
                            const int peers[] = {cv::DIST_L2, cv::DIST_HUBER};
                            for (size_t t = 0; t < 2; ++t) {
                                cv::Vec4f line;
                                cv::fitLine(toFloat(points), line, peers[t], 0, 0.01, 0.01);
                                recordLine(recorder, s, 6 + 2 * t, {line[0], line[1]}, {line[2], line[3]}, c, n,
                                           angle);
                            }
                        }
                    });
}

// ---------------------------------------------------------------------------------
// Circles
// ---------------------------------------------------------------------------------

StudyResult studyCircleFits(const StudyOptions& options)
{
    const FitCircleType types[] = {FitCircleLeastSquares, FitCircleHuber, FitCircleTukey, FitCircleTaubin};
    const char* tools[] = {"fitCircle LS", "fitCircle Huber", "fitCircle Tukey", "fitCircle Taubin"};
    const char* arcs[] = {"full", "arc 120"};
    std::vector<Metric> metrics;
    for (const char* tool : tools)
        for (const char* arc : arcs) {
            metrics.push_back({tool, std::string("centre (") + arc + ")", "px"});
            metrics.push_back({tool, std::string("radius (") + arc + ")", "px"});
        }
    const auto settings =
        gridOf(orDefault(options.series, kOutlierPercent), orDefault(options.noises, kPointNoise));
    return runStudy(
        "fit_circle", "outliers_pct", "noise_px", metrics, settings, options.placements,
        [types](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            cv::RNG rng(placementSeed(3, index));
            const cv::Point2d centre = randomCentre(rng);
            const double radius = rng.uniform(20.0, 80.0), start = rng.uniform(0.0, 360.0);
            // 60 points evenly spread over the whole circle and over a third of it.
            for (size_t arc = 0; arc < 2; ++arc) {
                const double span = arc == 0 ? 360.0 : 120.0;
                std::vector<cv::Point2d> exact, normals;
                for (int k = 0; k < 60; ++k) {
                    const cv::Point2d u = unitAt(start + span * (arc == 0 ? k / 60.0 : k / 59.0));
                    exact.push_back(centre + u * radius);
                    normals.push_back(u);
                }
                const PointSet set(rng, exact, normals);
                for (size_t s = 0; s < settings.size(); ++s) {
                    std::vector<cv::Point2d> points = set.under(settings[s]);
                    for (size_t t = 0; t < 4; ++t) {
                        const size_t metric = 4 * t + 2 * arc;
                        cv::Point2d c;
                        double r = 0;
                        if (fitCircle(points, c, r, types[t]) && std::isfinite(r)) {
                            recorder.error(s, metric, cv::norm(c - centre));
                            recorder.error(s, metric + 1, r - radius);
                            CircleFitQuality quality;
                            if (getCircleFitQuality(points, c, r, types[t], quality))
                                recordInterval(recorder, s, metric + 1, quality.radius, r - radius);
                        } else {
                            recorder.miss(s, metric);
                            recorder.miss(s, metric + 1);
                        }
                    }
                }
            }
        });
}

// ---------------------------------------------------------------------------------
// Ellipses
// ---------------------------------------------------------------------------------

namespace {

// Records an ellipse given as a rotated rectangle, whichever side holds the major axis.
void recordEllipse(Recorder& recorder, size_t setting, size_t metric, const cv::RotatedRect& box,
                   cv::Point2d centre, double major, double minor, double angle,
                   const EllipseFitQuality* quality = nullptr)
{
    const bool widthIsMajor = box.size.width >= box.size.height;
    const double majorError = std::max(box.size.width, box.size.height) - major;
    const double minorError = std::min(box.size.width, box.size.height) - minor;
    const double angleError = angleDifference(box.angle + (widthIsMajor ? 0.0 : 90.0), angle, 180.0);
    recorder.error(setting, metric, cv::norm(cv::Point2d(box.center) - centre));
    recorder.error(setting, metric + 1, majorError);
    recorder.error(setting, metric + 2, minorError);
    recorder.error(setting, metric + 3, angleError);
    if (quality) {
        recordInterval(recorder, setting, metric + 1, widthIsMajor ? quality->width : quality->height, majorError);
        recordInterval(recorder, setting, metric + 2, widthIsMajor ? quality->height : quality->width, minorError);
        recordInterval(recorder, setting, metric + 3, quality->angle, angleError);
    }
}

} // namespace

StudyResult studyEllipseFits(const StudyOptions& options)
{
    const char* tools[] = {"fitEllipse LS", "fitEllipse Huber", "fitEllipse Tukey", "cv::fitEllipseDirect"};
    std::vector<Metric> metrics;
    for (const char* tool : tools) {
        metrics.push_back({tool, "centre", "px"});
        metrics.push_back({tool, "major axis", "px"});
        metrics.push_back({tool, "minor axis", "px"});
        metrics.push_back({tool, "angle", "deg"});
    }
    const auto settings =
        gridOf(orDefault(options.series, kOutlierPercent), orDefault(options.noises, kPointNoise));
    return runStudy(
        "fit_ellipse", "outliers_pct", "noise_px", metrics, settings, options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            cv::RNG rng(placementSeed(4, index));
            const cv::Point2d centre = randomCentre(rng);
            const double a = rng.uniform(30.0, 60.0), b = a * rng.uniform(0.5, 0.8);
            const double angle = rng.uniform(0.0, 180.0), start = rng.uniform(0.0, 360.0);
            const cv::Point2d u = unitAt(angle), v(-u.y, u.x);
            // 60 points evenly spread in the parameter; outliers move along the
            // radius from the centre.
            std::vector<cv::Point2d> exact, normals;
            for (int k = 0; k < 60; ++k) {
                const cv::Point2d e = unitAt(start + 6.0 * k);
                const cv::Point2d offset = u * (a * e.x) + v * (b * e.y);
                exact.push_back(centre + offset);
                normals.push_back(offset / cv::norm(offset));
            }
            const PointSet set(rng, exact, normals);
            const FitEllipseType types[] = {FitEllipseLeastSquares, FitEllipseHuber, FitEllipseTukey};
            for (size_t s = 0; s < settings.size(); ++s) {
                std::vector<cv::Point2d> points = set.under(settings[s]);
                for (size_t t = 0; t < 3; ++t) {
                    cv::RotatedRect box;
                    if (fitEllipse(points, box, types[t], 0.0)) {
                        EllipseFitQuality quality;
                        const bool judged = getEllipseFitQuality(points, box, types[t], 0.0, quality);
                        recordEllipse(recorder, s, 4 * t, box, centre, 2 * a, 2 * b, angle,
                                      judged ? &quality : nullptr);
                    } else {
                        for (size_t q = 0; q < 4; ++q)
                            recorder.miss(s, 4 * t + q);
                    }
                }
                recordEllipse(recorder, s, 12, cv::fitEllipseDirect(toFloat(points)), centre, 2 * a, 2 * b, angle);
            }
        });
}

} // namespace accuracy
