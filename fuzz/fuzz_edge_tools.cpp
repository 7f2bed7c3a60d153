// The single-caliper edge tools on random images, rectangles and settings.

#include "FuzzSupport.h"

#include <EdgeTools.h>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 48;

// Where a point lies in the rectangle's own frame: along its width from the centre, and
// across it.
cv::Point2d rectangleFrame(const RotateRectROI& roi, double x, double y)
{
    const double theta = roi.angle * 3.141592653589793 / 180.0;
    const double dx = x - roi.centreX, dy = y - roi.centreY;
    return {dx * std::cos(theta) + dy * std::sin(theta), -dx * std::sin(theta) + dy * std::cos(theta)};
}

void checkEdgePoint(FuzzedDataProvider& in, cv::Mat& image, RotateRectROI* roi)
{
    _EdgePointDetParam param;
    param.direction = static_cast<ClcDirection>(wildInt(in, 0, 3));
    param.transition = static_cast<EdgeTransition>(wildInt(in, 0, 3));
    param.threshold = wildInt(in, -10, 110);
    param.smoothWidth = wildInt(in, -1, 10);
    param.minGradient = wildInt(in, -10, 100);
    param.roi = roi;
    // Sentinels show whether the tool wrote its outputs.
    param.image = sentinelImage();
    param.gradient = {-5.0};
    param.found = true;

    const bool found = clcEdgePoint(image, param);
    FUZZ_CHECK(found == param.found);
    if (isSentinel(param.image)) {
        FUZZ_CHECK(!found && param.gradient == std::vector<double>{-5.0});
        return;
    }
    FUZZ_CHECK(roi != nullptr);
    FUZZ_CHECK(param.image.type() == CV_8UC1);
    FUZZ_CHECK(param.image.cols == static_cast<int>(roi->width) && param.image.rows == static_cast<int>(roi->height));
    FUZZ_CHECK(param.gradient.size() == static_cast<size_t>(param.image.cols));
    double top = 0;
    for (double g : param.gradient) {
        FUZZ_CHECK(std::isfinite(g) && g >= 0);
        top = std::max(top, g);
    }
    FUZZ_CHECK(param.maxGradient == top);
    if (!found)
        return;
    // On the centre line, within the rectangle's width.
    FUZZ_CHECK(std::isfinite(param.x) && std::isfinite(param.y));
    const cv::Point2d local = rectangleFrame(*roi, param.x, param.y);
    const double slack = 1e-3 + 1e-6 * (std::abs(roi->centreX) + std::abs(roi->centreY) + roi->width);
    FUZZ_CHECK(std::abs(local.x) <= roi->width / 2 + slack);
    FUZZ_CHECK(std::abs(local.y) <= slack);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    RotateRectROI rect = rotateRect(in, kImageSide);
    RotateRectROI* roi = in.ConsumeIntegralInRange<int>(0, 15) == 0 ? nullptr : &rect;
    cv::Mat image = fuzz_support::image(in, kImageSide, true);
    const cv::Mat before = image.clone();

    checkEdgePoint(in, image, roi);

    FUZZ_CHECK(image.empty() || cv::norm(image, before, cv::NORM_INF) == 0);
    return 0;
}
