// The image sampling helpers of the tools on random images, rectangles and polar settings.

#include "FuzzSupport.h"

#include <ImageSampling.h>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 40;

// A rectangle anywhere in the int range, of bounded size (the copy is made at its size).
cv::Rect rectangle(FuzzedDataProvider& in)
{
    const int x = wildInt(in, -50, 90), y = wildInt(in, -50, 90);
    const int w = in.ConsumeBool() ? in.ConsumeIntegralInRange<int>(1, 60) : std::min(wildInt(in, -3, 60), 60);
    const int h = in.ConsumeBool() ? in.ConsumeIntegralInRange<int>(1, 60) : std::min(wildInt(in, -3, 60), 60);
    return {x, y, w, h};
}

// The part of rect inside src, in 64 bits so that rectangles near the int range cannot
// overflow; empty when they do not meet.
cv::Rect overlap(const cv::Mat& src, const cv::Rect& rect)
{
    const int64_t x0 = std::max<int64_t>(rect.x, 0), y0 = std::max<int64_t>(rect.y, 0);
    const int64_t x1 = std::min<int64_t>(static_cast<int64_t>(rect.x) + rect.width, src.cols);
    const int64_t y1 = std::min<int64_t>(static_cast<int64_t>(rect.y) + rect.height, src.rows);
    if (x1 <= x0 || y1 <= y0)
        return {};
    return {static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1 - x0), static_cast<int>(y1 - y0)};
}

// The copy of rect out of src with fill outside it, for overlaps of at least minOverlap
// pixels in each direction; all fill otherwise.
cv::Mat expectedCopy(const cv::Mat& src, const cv::Rect& rect, cv::Scalar fill, int minOverlap)
{
    cv::Mat expected(rect.height, rect.width, src.type(), fill);
    const cv::Rect inside = overlap(src, rect);
    if (inside.width >= minOverlap && inside.height >= minOverlap && !inside.empty())
        src(inside).copyTo(expected(inside - rect.tl()));
    return expected;
}

bool sameImage(const cv::Mat& a, const cv::Mat& b)
{
    return a.size() == b.size() && a.type() == b.type() && (a.empty() || cv::norm(a, b, cv::NORM_INF) == 0);
}

void checkCopies(FuzzedDataProvider& in, cv::Mat& src)
{
    cv::Rect rect = rectangle(in);
    const cv::Scalar fill = cv::Scalar::all(in.ConsumeIntegral<uint8_t>());
    cv::Mat dst = sentinelImage();
    const bool padded = copyStaticROIImage(src, rect, dst, fill);
    if (rect.width <= 0 || rect.height <= 0) {
        FUZZ_CHECK(!padded && isSentinel(dst));
    } else {
        FUZZ_CHECK(sameImage(dst, expectedCopy(src, rect, fill, 1)));
        const cv::Rect inside = overlap(src, rect);
        FUZZ_CHECK(padded == (!inside.empty() && inside.size() != rect.size()));
    }

    dst = sentinelImage();
    UtilityFunctions::CopyImage(src, rect, dst, fill);
    if (rect.x < 0 || rect.y < 0 || rect.width <= 0 || rect.height <= 0)
        FUZZ_CHECK(isSentinel(dst));
    else
        FUZZ_CHECK(sameImage(dst, expectedCopy(src, rect, fill, 2)));
}

void checkPolar(FuzzedDataProvider& in, cv::Mat& src)
{
    const double start = wildDouble(in, 720.0), end = wildDouble(in, 720.0);
    const cv::Point2d centre(wildDouble(in, 60.0), wildDouble(in, 60.0));
    const int minRadius = wildInt(in, -5, 40), maxRadius = wildInt(in, -5, 40);
    // The extremes wildInt adds are all beyond the warp limit, so no huge map is made.
    const cv::Size dsize(wildInt(in, -1, 40), wildInt(in, -1, 40));
    cv::Mat dst = sentinelImage();
    warpPolarImg(src, start, end, centre, minRadius, maxRadius, dsize, in.ConsumeBool(), in.ConsumeBool(), dst);
    const bool usable = !src.empty() && dsize.width >= 1 && dsize.height >= 1 && dsize.width < 32767 &&
                        dsize.height < 32767;
    if (!usable)
        FUZZ_CHECK(isSentinel(dst));
    else
        FUZZ_CHECK(dst.size() == dsize && dst.type() == src.type());
}

void checkAverages(cv::Mat& src)
{
    const bool usable = !src.empty() && src.depth() == CV_8U;
    // Exactly as many floats as the image has columns (rows), so an overrun is caught.
    std::vector<float> columns(std::max(src.cols, 1), -7.0f), rows(std::max(src.rows, 1), -7.0f);
    getImageColAverage(src, columns.data());
    getImageRowAverage(src, rows.data());
    for (const std::vector<float>* out : {&columns, &rows})
        for (float v : *out)
            FUZZ_CHECK(usable ? v >= 0 && v <= 255 : v == -7.0f);
}

void checkSaddles(FuzzedDataProvider& in, cv::Mat& src)
{
    const double threshold = wildDouble(in, 50.0);
    const double sigma = wildDouble(in, 5.0);
    std::vector<cv::Point2f> points{{-7, -7}};
    criticalPointsDetection(src, threshold, sigma, points);
    FUZZ_CHECK(points.front() == cv::Point2f(-7, -7));
    for (size_t k = 1; k < points.size(); ++k)
        FUZZ_CHECK(points[k].x >= 0 && points[k].x <= src.cols - 1 && points[k].y >= 0 && points[k].y <= src.rows - 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    cv::Mat src = maybeView(in, image(in, kImageSide, true));
    const cv::Mat before = src.clone();
    checkCopies(in, src);
    checkPolar(in, src);
    checkAverages(src);
    checkSaddles(in, src);
    FUZZ_CHECK(sameImage(src, before));
    return 0;
}
