// The edge tools on random images, ROIs and settings: the single-caliper tools (edge
// point, every edge, edge pairs) and the segment-based ones (edge points, along a line).

#include "FuzzSupport.h"

#include <EdgeTools.h>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 48;

// The ROI of one run: usually the type the tool wants, sometimes none or another type.
struct Rois {
    RotateRectROI rotated;
    RectROI upright;
    LineROI line;
    CircleROI circle;

    explicit Rois(FuzzedDataProvider& in)
        : rotated(rotateRect(in, kImageSide)), upright(uprightRect(in, kImageSide)),
          line(wildDouble(in, kImageSide), wildDouble(in, kImageSide), wildDouble(in, 2.0 * kImageSide),
               wildDouble(in, 2.0 * kImageSide)),
          circle(QRectF(0, 0, 10, 10))
    {
    }

    ROI* pick(FuzzedDataProvider& in, ROI* wanted)
    {
        ROI* others[] = {nullptr, &rotated, &upright, &line, &circle};
        return in.ConsumeIntegralInRange<int>(0, 7) == 0 ? in.PickValueInArray(others) : wanted;
    }
};

// Strength curves are non-negative and their stored maximum is their largest value.
template <typename T, typename Top>
void checkStrength(const std::vector<T>& strength, Top top)
{
    T largest = 0;
    for (T g : strength) {
        FUZZ_CHECK(std::isfinite(g) && g >= 0);
        largest = std::max(largest, g);
    }
    FUZZ_CHECK(top == largest);
}

void checkEdgePoint(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _EdgePointDetParam param;
    singleCaliperSettings(in, param);
    param.roi = static_cast<RotateRectROI*>(in.ConsumeBool() ? nullptr : &rois.rotated);
    param.image = sentinelImage();
    param.gradient = {-5.0};
    param.found = true;

    const bool found = clcEdgePoint(image, param);
    FUZZ_CHECK(found == param.found);
    if (isSentinel(param.image)) {
        FUZZ_CHECK(!found && param.gradient == std::vector<double>{-5.0});
        return;
    }
    const RotateRectROI& roi = *param.roi;
    FUZZ_CHECK(param.image.type() == CV_8UC1);
    FUZZ_CHECK(param.image.cols == static_cast<int>(roi.width) && param.image.rows == static_cast<int>(roi.height));
    FUZZ_CHECK(param.gradient.size() == static_cast<size_t>(param.image.cols));
    checkStrength(param.gradient, param.maxGradient);
    // On the centre line, within the rectangle's width.
    if (found)
        FUZZ_CHECK(isFinite({param.x, param.y}) && insideRectangle(roi, {param.x, param.y}, 1e-3) &&
                   std::abs(rectangleFrame(roi, {param.x, param.y}).y) <= 1e-3 + 1e-5 * std::abs(roi.centreX + roi.centreY));
}

// Every peak, in scan order, with its polarity.
void checkEdges(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _EdgesDetParam param;
    singleCaliperSettings(in, param);
    param.roi = rois.pick(in, in.ConsumeBool() ? static_cast<ROI*>(&rois.rotated) : &rois.upright);
    param.positions = {-1.0f};
    param.polarities = {7};
    param.found = true;

    const bool found = clcEdges(image, param);
    FUZZ_CHECK(found == param.found && found == !param.positions.empty());
    FUZZ_CHECK(param.positions.size() == param.polarities.size());
    if (!found)
        return;
    const bool alongWidth = param.direction != TopToBottom && param.direction != BottomToTop;
    const bool forward = param.direction != RightToLeft && param.direction != BottomToTop;
    FUZZ_CHECK(param.image.type() == CV_8UC1);
    FUZZ_CHECK(param.gradient.size() == static_cast<size_t>(alongWidth ? param.image.cols : param.image.rows));
    checkStrength(param.gradient, param.maxGradient);
    for (size_t k = 0; k < param.positions.size(); ++k) {
        const float p = param.positions[k];
        FUZZ_CHECK(p >= 0 && p <= param.gradient.size() - 1.0f);
        FUZZ_CHECK(param.polarities[k] >= -1 && param.polarities[k] <= 1);
        if (k > 0)
            FUZZ_CHECK(forward ? p > param.positions[k - 1] : p < param.positions[k - 1]);
    }
}

// Pairs per band: the smaller position first, farther apart than asked, on the band's
// centre line inside the straightened rectangle.
void checkEdgePairs(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _MulEdgePointDetParam param;
    singleCaliperSettings(in, param);
    param.pairMode = wildInt(in, 0, 2);
    param.segmentAxis = wildInt(in, 0, 1);
    param.segmentWidth = wildInt(in, -1, 20);
    param.segmentStep = wildInt(in, -1, 20);
    param.skipCount = wildInt(in, -2, 4);
    param.minPairDistance = wildFloat(in, 20.0f);
    param.roi = static_cast<RotateRectROI*>(in.ConsumeBool() ? nullptr : &rois.rotated);
    const cv::Point2d untouched(-7, -7);
    param.firstEdges = {untouched};
    param.secondEdges = {untouched};

    const bool found = clcMulEdgePoints(image, param);
    FUZZ_CHECK(param.firstEdges.size() == param.secondEdges.size());
    if (!param.firstEdges.empty() && param.firstEdges.front() == untouched) {
        FUZZ_CHECK(!found && param.firstEdges.size() == 1 && param.secondEdges.front() == untouched);
        return;
    }
    FUZZ_CHECK(found == param.found && found == !param.firstEdges.empty());
    const bool alongX = param.segmentAxis == 0;
    const int length = alongX ? param.image.cols : param.image.rows;
    for (size_t k = 0; k < param.firstEdges.size(); ++k) {
        const cv::Point2d a = param.firstEdges[k], b = param.secondEdges[k];
        FUZZ_CHECK(isFinite(a) && isFinite(b));
        const double pa = alongX ? a.x : a.y, pb = alongX ? b.x : b.y;
        FUZZ_CHECK((alongX ? a.y == b.y : a.x == b.x) && pa < pb && pb - pa > param.minPairDistance);
        FUZZ_CHECK(pa >= 0 && pb <= length - 1);
    }
}

// Segment edge points in the straightened rectangle and, mapped back, inside the ROI.
void checkEdgePoints(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _EdgePointsDetParam param;
    param.scanAxis = wildInt(in, 0, 1);
    param.direction = wildInt(in, 0, 1);
    param.transition = static_cast<EdgeTransition>(wildInt(in, 0, 3));
    param.percent = wildInt(in, -10, 110);
    param.sigma = wildInt(in, -1, 12);
    param.minStrength = wildInt(in, -10, 100);
    param.segmentWidth = wildInt(in, -1, 20);
    param.segmentStep = wildInt(in, -1, 20);
    const bool rotated = in.ConsumeBool();
    param.roi = rois.pick(in, rotated ? static_cast<ROI*>(&rois.rotated) : &rois.upright);
    param.points = {{-7, -7}};
    const bool transform = in.ConsumeBool();

    const bool found = transform ? clcEdgePointsAndTransform(image, param)
                                 : clcEdgePoints(image, param, in.ConsumeBool());
    FUZZ_CHECK(found == param.found && found == !param.points.empty());
    if (!found)
        return;
    FUZZ_CHECK(param.image.type() == CV_8UC1);
    for (const cv::Point2d& p : param.points) {
        FUZZ_CHECK(isFinite(p));
        if (!transform) {
            FUZZ_CHECK(p.x >= -0.5 && p.x <= param.image.cols && p.y >= -0.5 && p.y <= param.image.rows);
        } else if (param.roi == &rois.rotated) {
            FUZZ_CHECK(insideRectangle(rois.rotated, p, 2.0));
        } else {
            const QRectF r = rois.upright.rect;
            FUZZ_CHECK(p.x >= r.x() - 2 && p.x <= r.x() + r.width() + 2);
            FUZZ_CHECK(p.y >= r.y() - 2 && p.y <= r.y() + r.height() + 2);
        }
    }
}

// The first edge along a segment lies on that segment.
void checkEdgeAlongLine(FuzzedDataProvider& in, cv::Mat& image, Rois& rois)
{
    _EdgePointDetParam_Line param;
    param.direction = wildInt(in, 0, 1);
    param.transition = static_cast<EdgeTransition>(wildInt(in, 0, 3));
    param.percent = wildInt(in, -10, 110);
    param.sigma = wildInt(in, -1, 12);
    param.minStrength = wildInt(in, -10, 100);
    param.roi = static_cast<LineROI*>(rois.pick(in, &rois.line) == &rois.line ? &rois.line : nullptr);
    param.found = true;

    const bool found = clcEdgePoint_Line(image, param);
    if (image.empty()) {
        FUZZ_CHECK(!found && param.found);
        return;
    }
    FUZZ_CHECK(found == param.found);
    if (!found)
        return;
    const LineROI& line = *param.roi;
    const cv::Point2d start(line.x1, line.y1), end(line.x2, line.y2), p(param.x, param.y);
    const double length = cv::norm(end - start);
    const cv::Point2d along = (end - start) / length;
    const double t = (p - start).dot(along);
    const double off = std::abs((p - start).cross(along));
    const double slack = 1e-3 + 1e-6 * (cv::norm(start) + length);
    FUZZ_CHECK(isFinite(p) && t >= -0.5 - slack && t <= length + 0.5 + slack && off <= slack);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    Rois rois(in);
    cv::Mat image = fuzz_support::image(in, kImageSide, true);
    runOneOf(in, image,
             {[&] { checkEdgePoint(in, image, rois); }, [&] { checkEdges(in, image, rois); },
              [&] { checkEdgePairs(in, image, rois); }, [&] { checkEdgePoints(in, image, rois); },
              [&] { checkEdgeAlongLine(in, image, rois); }});
    return 0;
}
