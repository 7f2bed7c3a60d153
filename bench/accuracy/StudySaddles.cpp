// Saddle points at the inner corners of a rendered chessboard of random square size,
// angle and sub-pixel offset, against OpenCV's corner refinement on the same images.

#include "Studies.h"

#include <Functions.h>

#include "Synthetic.h"

#include <opencv2/imgproc.hpp>

namespace accuracy {

namespace {

constexpr int kSide = 96;          // image side
constexpr double kBorder = 12.0;   // corners closer to the border are not scored
constexpr double kCapture = 2.0;   // a point this close to a corner belongs to it
constexpr double kToolSigma = 1.0; // the detector's own smoothing, in pixels
constexpr double kToolThreshold = 2.0;

enum SaddleMetric : size_t { DetectorX, DetectorY, DetectorSpurious, RefinerX, RefinerY };

struct Board {
    cv::Point2d origin;
    cv::Point2d u, v; // unit axes of the squares
    double square;

    // Signed distance to the boundary of the bright squares, negative inside them. Every
    // grid line separates a bright square from a dark one, so the distance to the
    // nearest grid line is exact.
    double signedDistance(double x, double y) const
    {
        const cv::Point2d p(x - origin.x, y - origin.y);
        const double a = p.dot(u) / square, b = p.dot(v) / square;
        const double i = std::floor(a), j = std::floor(b);
        const double da = std::min(a - i, i + 1 - a), db = std::min(b - j, j + 1 - b);
        const double d = std::min(da, db) * square;
        return (static_cast<long long>(i + j) & 1) == 0 ? -d : d;
    }

    /// Every grid crossing in the image; those far enough from the border are scored.
    std::vector<cv::Point2d> crossings() const
    {
        std::vector<cv::Point2d> corners;
        const int reach = static_cast<int>(kSide / square) + 2;
        for (int i = -reach; i <= reach; ++i)
            for (int j = -reach; j <= reach; ++j) {
                const cv::Point2d c = origin + u * (i * square) + v * (j * square);
                if (c.x >= 0 && c.y >= 0 && c.x <= kSide - 1 && c.y <= kSide - 1)
                    corners.push_back(c);
            }
        return corners;
    }
};

bool scored(cv::Point2d p)
{
    return p.x >= kBorder && p.y >= kBorder && p.x <= kSide - 1 - kBorder && p.y <= kSide - 1 - kBorder;
}

// Scores the detector. It reports every pixel near a corner whose own fit passes, often
// two or three per corner, so the points within the capture distance of a corner are
// merged into their mean, as a user would; a scored corner without any is missed. Points
// near no crossing at all are spurious.
void scoreDetector(const std::vector<cv::Point2f>& points, const std::vector<cv::Point2d>& corners, size_t setting,
                   Recorder& recorder)
{
    std::vector<cv::Point2d> sums(corners.size());
    std::vector<int> counts(corners.size(), 0);
    int spurious = 0;
    for (const cv::Point2f& p : points) {
        size_t nearest = corners.size();
        double best = kCapture;
        for (size_t c = 0; c < corners.size(); ++c) {
            const double d = cv::norm(cv::Point2d(p) - corners[c]);
            if (d <= best) {
                best = d;
                nearest = c;
            }
        }
        if (nearest < corners.size()) {
            sums[nearest] += cv::Point2d(p);
            ++counts[nearest];
        } else if (scored(cv::Point2d(p))) {
            ++spurious;
        }
    }
    for (size_t c = 0; c < corners.size(); ++c) {
        if (!scored(corners[c]))
            continue;
        if (counts[c] == 0) {
            recorder.miss(setting, DetectorX);
            recorder.miss(setting, DetectorY);
            continue;
        }
        const cv::Point2d mean = sums[c] / counts[c];
        recorder.error(setting, DetectorX, mean.x - corners[c].x);
        recorder.error(setting, DetectorY, mean.y - corners[c].y);
    }
    recorder.error(setting, DetectorSpurious, spurious);
}

} // namespace

StudyResult studySaddlePoints(const StudyOptions& options)
{
    const std::vector<Metric> metrics{{"criticalPointsDetection", "x", "px"},
                                      {"criticalPointsDetection", "y", "px"},
                                      {"criticalPointsDetection", "spurious points per image", "count"},
                                      {"cv::cornerSubPix", "x", "px"},
                                      {"cv::cornerSubPix", "y", "px"}};
    return runStudy(
        "saddle", "blur_px", "noise_grey", metrics, imageSettings(options), options.placements,
        [](int index, const std::vector<Setting>& settings, Recorder& recorder) {
            const uint64_t seed = placementSeed(5, index);
            cv::RNG rng(seed);
            Board board;
            board.square = rng.uniform(12.0, 20.0);
            board.u = unitAt(rng.uniform(0.0, 90.0));
            board.v = cv::Point2d(-board.u.y, board.u.x);
            board.origin = cv::Point2d(kSide / 2.0 + rng.uniform(-1.0, 1.0), kSide / 2.0 + rng.uniform(-1.0, 1.0));
            synthetic::Scene scene(cv::Size(kSide, kSide), kDark);
            scene.fill([&board](double x, double y) { return board.signedDistance(x, y); }, kBright);
            const std::vector<cv::Point2d> crossings = board.crossings();

            // The refiner starts from the pixel nearest each scored corner, as a
            // pixel-level detector would hand it over.
            std::vector<cv::Point2d> corners;
            std::vector<cv::Point2f> starts;
            for (const cv::Point2d& c : crossings)
                if (scored(c)) {
                    corners.push_back(c);
                    starts.emplace_back(static_cast<float>(std::round(c.x)), static_cast<float>(std::round(c.y)));
                }

            for (size_t s = 0; s < settings.size(); ++s) {
                cv::Mat image = scene.toGrey(settings[s].series, settings[s].noise, seed);
                std::vector<cv::Point2f> points;
                criticalPointsDetection(image, kToolThreshold, kToolSigma, points);
                scoreDetector(points, crossings, s, recorder);

                std::vector<cv::Point2f> refined = starts;
                cv::cornerSubPix(image, refined, cv::Size(4, 4), cv::Size(-1, -1),
                                 cv::TermCriteria(cv::TermCriteria::EPS + cv::TermCriteria::COUNT, 40, 0.001));
                for (size_t c = 0; c < corners.size(); ++c) {
                    recorder.error(s, RefinerX, refined[c].x - corners[c].x);
                    recorder.error(s, RefinerY, refined[c].y - corners[c].y);
                }
            }
        });
}

} // namespace accuracy
