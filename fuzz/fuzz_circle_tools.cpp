// The circle, arc and circle diameter tools on random images, rings, arcs and settings.

#include "FuzzSupport.h"

#include <CircleDiameterTool.h>
#include <CircleTools.h>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 48;
// Larger radii below the tools' limit make strips of thousands of rows: kept small here,
// while radii beyond the limit still reach the refusal.
constexpr float kMaxRadius = 40.0f;
constexpr float kRadiusLimit = 16383.0f;

float radius(FuzzedDataProvider& in)
{
    const float r = wildSide(in, kMaxRadius);
    return r > kMaxRadius && r < kRadiusLimit ? kMaxRadius : r;
}

// The ROIs of one run.
struct Rois {
    RingROI ring;
    ArcROI arc;
    CircleROI circle;
    RotateRectROI rotated;

    explicit Rois(FuzzedDataProvider& in)
        : ring(wildDouble(in, kImageSide), wildDouble(in, kImageSide), radius(in), radius(in)),
          arc(ring.centreX, ring.centreY, ring.radius1, ring.radius2, wildFloat(in, 400.0f), wildFloat(in, 400.0f)),
          circle(QRectF(ring.centreX, ring.centreY, ring.radius1, ring.radius1)), rotated(10, 10, 0, 5, 5)
    {
    }
};

// Every point lies in the annulus about the ROI's centre truncated to whole pixels.
template <typename Shape>
bool inAnnulus(const Shape& roi, const cv::Point2d& p)
{
    const double outer = static_cast<int>(std::max(roi.radius1, roi.radius2));
    const double inner = static_cast<int>(std::min(roi.radius1, roi.radius2));
    const double r = std::hypot(p.x - static_cast<int>(roi.centreX), p.y - static_cast<int>(roi.centreY));
    return r >= inner - 1 && r <= outer + 1;
}

template <typename Record>
void settings(FuzzedDataProvider& in, Record& param)
{
    segmentCaliperSettings(in, param);
    param.roiImage = sentinelImage();
}

template <typename Record>
void checkPoints(const Record& param, ROI* roi, const Rois& rois)
{
    for (const cv::Point2d& p : param.edgePoints) {
        FUZZ_CHECK(isFinite(p));
        FUZZ_CHECK(roi == &rois.ring ? inAnnulus(rois.ring, p) : inAnnulus(rois.arc, p));
    }
    if (!param.edgePoints.empty()) {
        // The crop is the square about the truncated centre, 2 Ro + 1 pixels wide.
        FUZZ_CHECK(param.roiImage.type() == CV_8UC1 && param.roiImage.size() == param.cropRect.size());
    }
}

// A fitted circle, when the radius came out finite, has a finite centre.
template <typename Record>
void checkCircle(const Record& param, bool success)
{
    FUZZ_CHECK(success == param.success);
    if (!success)
        return;
    FUZZ_CHECK(param.edgePoints.size() >= 3);
    if (std::isfinite(param.radius))
        FUZZ_CHECK(isFinite(param.centre) && param.radius >= 0);
}

void checkCirclePoints(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _CirclePointsDetParam param;
    settings(in, param);
    ROI* choices[] = {&rois.ring, &rois.arc, &rois.circle, &rois.rotated, nullptr};
    param.roi = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? in.PickValueInArray(choices)
                                                            : (in.ConsumeBool() ? choices[0] : choices[1]);
    const bool success = clcCirclePoints(image, param);
    FUZZ_CHECK(success == param.success && success == (param.edgePoints.size() >= 3));
    if (param.roi == &rois.ring || param.roi == &rois.arc)
        checkPoints(param, param.roi, rois);
    else
        FUZZ_CHECK(param.edgePoints.empty() && isSentinel(param.roiImage));
}

void checkCircleFit(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _CircleDetParam param;
    settings(in, param);
    param.roi = in.ConsumeBool() ? static_cast<ROI*>(&rois.ring) : &rois.arc;
    const int fitMode = wildInt(in, 0, 3);
    const bool best = in.ConsumeBool();
    const int smoothing = wildInt(in, -1, 9);
    const double outlierDistance = wildDouble(in, 10.0);
    const bool success = clcCirclePointsAndFit(image, param, fitMode, best, smoothing, outlierDistance);
    checkPoints(param, param.roi, rois);
    checkCircle(param, success);
}

void checkArcFit(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _ArcDetParam param;
    settings(in, param);
    // Hosts may hand any shape in through the record's pointer, which the tool refuses.
    ArcROI* others[] = {nullptr, reinterpret_cast<ArcROI*>(static_cast<ROI*>(&rois.ring)),
                        reinterpret_cast<ArcROI*>(static_cast<ROI*>(&rois.rotated))};
    param.roi = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? in.PickValueInArray(others) : &rois.arc;
    param.arcStartAngle = param.arcEndAngle = -7;
    const int fitMode = wildInt(in, 0, 3);
    const bool best = in.ConsumeBool();
    const int smoothing = wildInt(in, -1, 9);
    const double outlierDistance = wildDouble(in, 10.0);
    const bool success = clcArcPointsAndFit(image, param, fitMode, best, smoothing, outlierDistance);
    if (param.roi != &rois.arc) {
        FUZZ_CHECK(!success && param.edgePoints.empty() && isSentinel(param.roiImage));
        return;
    }
    checkPoints(param, param.roi, rois);
    checkCircle(param, success);
    // The arc's ends are angles in [0, 360], or left as they were.
    for (double angle : {param.arcStartAngle, param.arcEndAngle})
        FUZZ_CHECK(angle == -7 || (angle >= 0 && angle <= 360));
}

// The outer radius the diameter tool searches to about the ROI's centre.
double diameterBandOuter(const ROI* roi, const Rois& rois)
{
    if (roi == &rois.ring)
        return std::max(rois.ring.radius1, rois.ring.radius2);
    const double r = (rois.circle.rect.width() + rois.circle.rect.height()) / 4;
    return r + std::max(r / 5, 4.0);
}

bool ascending(const std::vector<double>& values, double from, double below)
{
    for (size_t i = 0; i < values.size(); ++i)
        if (!(values[i] >= from && values[i] < below && (i == 0 || values[i] > values[i - 1])))
            return false;
    return true;
}

void checkDiameters(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _CircleDiameterDetParam param;
    segmentCaliperSettings(in, param);
    param.caliperCount = wildInt(in, -2, 40);
    param.caliperAngle = wildDouble(in, 30.0);
    ROI* choices[] = {&rois.ring, &rois.circle, &rois.arc, &rois.rotated, nullptr};
    param.roi = in.ConsumeIntegralInRange<int>(0, 7) == 0 ? in.PickValueInArray(choices)
                                                            : (in.ConsumeBool() ? choices[0] : choices[1]);
    param.polarImage = sentinelImage();
    param.edgePoints.assign(3, {1, 1});
    param.diameters.assign(3, 1);
    const bool success = clcCircleMulPoints(image, param);
    FUZZ_CHECK(success == param.success);
    FUZZ_CHECK(param.edgeAngles.size() == param.edgePoints.size());
    FUZZ_CHECK(param.diameterAngles.size() == param.diameters.size());
    if (param.roi != &rois.ring && param.roi != &rois.circle)
        FUZZ_CHECK(!success && param.polarImage.empty() && param.cropRect.empty());
    if (!success) {
        // Every result is cleared.
        FUZZ_CHECK(param.edgePoints.empty() && param.diameters.empty() && param.radius == 0 &&
                   param.centre == cv::Point2d() && param.meanDiameter == 0 && param.minDiameter == 0 &&
                   param.maxDiameter == 0 && param.roundness == 0 && param.minDiameterAngle == 0 &&
                   param.maxDiameterAngle == 0);
        return;
    }
    // Three pairs at least; angles ascend within a turn (points) or half a turn (diameters).
    FUZZ_CHECK(param.diameters.size() >= 3 && param.edgePoints.size() >= 2 * param.diameters.size());
    FUZZ_CHECK(ascending(param.edgeAngles, 0, 360) && ascending(param.diameterAngles, 0, 180));
    FUZZ_CHECK(param.polarImage.type() == CV_8UC1 && param.polarImage.rows % 2 == 0);
    // Each diameter joins two points at most the outer radius from one centre.
    const double outer = diameterBandOuter(param.roi, rois);
    double lowest = HUGE_VAL, highest = -HUGE_VAL, sum = 0;
    for (double d : param.diameters) {
        FUZZ_CHECK(d >= 0 && d <= 2 * outer + 1e-6 * outer);
        lowest = std::min(lowest, d);
        highest = std::max(highest, d);
        sum += d;
    }
    FUZZ_CHECK(param.minDiameter == lowest && param.maxDiameter == highest);
    FUZZ_CHECK(std::abs(param.meanDiameter - sum / param.diameters.size()) <= 1e-9 * highest);
    for (double angle : {param.minDiameterAngle, param.maxDiameterAngle})
        FUZZ_CHECK(angle >= 0 && angle < 180);
    FUZZ_CHECK(std::isfinite(param.radius) && param.radius > 0 && isFinite(param.centre));
    FUZZ_CHECK(param.roundness >= 0 && std::isfinite(param.roundness));
    for (const cv::Point2d& p : param.edgePoints)
        FUZZ_CHECK(isFinite(p));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    Rois rois(in);
    cv::Mat image = fuzz_support::image(in, kImageSide, true);
    runOneOf(in, image, {[&] { checkCirclePoints(in, image, rois); }, [&] { checkCircleFit(in, image, rois); },
                         [&] { checkArcFit(in, image, rois); }, [&] { checkDiameters(in, image, rois); }});
    return 0;
}
