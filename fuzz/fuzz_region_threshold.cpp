// The threshold operators and line_gauss on random grey images, masks and settings.

#include "FuzzSupport.h"

#include <RegionOperators.h>

using namespace fuzz_support;

namespace {

constexpr int kImageSide = 40;

// Usually a 0/255 mask of src's size; sometimes empty, of another size or type.
cv::Mat mask(FuzzedDataProvider& in, const cv::Mat& src)
{
    switch (in.ConsumeIntegralInRange<int>(0, 7)) {
    case 0:
        return image(in, kImageSide, true);
    case 1:
    case 2:
        return cv::Mat();
    default:
        if (src.empty())
            return cv::Mat();
        return maybeView(in, pixels(in, src.rows, src.cols, CV_8UC1) > 127);
    }
}

bool usable(const cv::Mat& src, const cv::Mat& mask)
{
    return !src.empty() && src.type() == CV_8UC1 && (mask.empty() || (mask.type() == CV_8UC1 && mask.size() == src.size()));
}

// A region image of src's size: 8-bit single-channel, 0 or 255, and nothing outside the mask.
void checkRegionImage(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& mask)
{
    FUZZ_CHECK(dst.type() == CV_8UC1 && dst.size() == src.size());
    FUZZ_CHECK(isBinary(dst));
    if (!mask.empty())
        FUZZ_CHECK(isSubset(dst, mask));
}

cv::Mat band(const cv::Mat& src, int minGray, int maxGray)
{
    cv::Mat result(src.size(), CV_8UC1);
    const int64_t lo = std::min(minGray, maxGray), hi = std::max(minGray, maxGray);
    for (int y = 0; y < src.rows; ++y)
        for (int x = 0; x < src.cols; ++x) {
            const int g = src.at<uchar>(y, x);
            result.at<uchar>(y, x) = lo <= g && g <= hi ? 255 : 0;
        }
    return result;
}

void checkMinMax(FuzzedDataProvider& in, const cv::Mat& src, const cv::Mat& mask)
{
    const int minGray = wildInt(in, -5, 260), maxGray = wildInt(in, -5, 260);
    // An output of src's size keeps its pixels outside the mask; anything else starts at 0.
    cv::Mat dst = in.ConsumeBool() && !src.empty() ? pixels(in, src.rows, src.cols, CV_8UC1) : cv::Mat();
    const cv::Mat before = dst.clone();
    threshold_min_max(src, dst, minGray, maxGray, mask);
    if (!usable(src, mask)) {
        FUZZ_CHECK(dst.empty());
        return;
    }
    FUZZ_CHECK(dst.type() == CV_8UC1 && dst.size() == src.size());
    cv::Mat expected = before.empty() ? cv::Mat::zeros(src.size(), CV_8UC1) : before;
    band(src, minGray, maxGray).copyTo(expected, mask.empty() ? cv::Mat(src.size(), CV_8UC1, cv::Scalar(1)) : mask);
    FUZZ_CHECK(cv::norm(dst, expected, cv::NORM_INF) == 0);
}

// dyn_threshold has a pixel rule simple enough to recompute, which checks the parallel
// stripes and the offset's range handling.
void checkDynamic(FuzzedDataProvider& in, const cv::Mat& src)
{
    cv::Mat ref = in.ConsumeIntegralInRange<int>(0, 7) == 0 || src.empty()
                      ? image(in, kImageSide, true)
                      : maybeView(in, pixels(in, src.rows, src.cols, CV_8UC1));
    const int offset = wildInt(in, -300, 300);
    const auto type = static_cast<ThresholdType>(wildInt(in, -1, 4));
    cv::Mat dst;
    dyn_threshold(src, ref, dst, offset, type);
    if (!usable(src, cv::Mat()) || ref.type() != CV_8UC1 || ref.size() != src.size()) {
        FUZZ_CHECK(dst.empty());
        return;
    }
    checkRegionImage(dst, src, cv::Mat());
    for (int y = 0; y < src.rows; ++y)
        for (int x = 0; x < src.cols; ++x) {
            const int64_t g = src.at<uchar>(y, x), r = ref.at<uchar>(y, x), t = offset;
            bool selected = false;
            if (type == Light)
                selected = g >= r + t;
            else if (type == Dark)
                selected = g <= r - t;
            else if (type == Equal)
                selected = r - t <= g && g <= r + t;
            else if (type == NotEqual)
                selected = g < r - t || g > r + t;
            FUZZ_CHECK((dst.at<uchar>(y, x) == 255) == selected);
        }
}

void checkVariance(FuzzedDataProvider& in, const cv::Mat& src, const cv::Mat& mask)
{
    const int maskWidth = wildInt(in, -2, 50), maskHeight = wildInt(in, -2, 50);
    const float scale = wildFloat(in, 5.0f), absThreshold = wildFloat(in, 300.0f);
    const auto type = static_cast<ThresholdType>(wildInt(in, -1, 4));
    cv::Mat dst;
    var_threshold(src, mask, dst, maskWidth, maskHeight, scale, absThreshold, type);
    if (!usable(src, mask) || maskWidth < 0 || maskHeight < 0) {
        FUZZ_CHECK(dst.empty());
        return;
    }
    checkRegionImage(dst, src, mask);
    if (type < Light || type > NotEqual)
        FUZZ_CHECK(cv::countNonZero(dst) == 0);
}

void checkFast(FuzzedDataProvider& in, const cv::Mat& src, const cv::Mat& mask)
{
    const int minGray = wildInt(in, -5, 260), maxGray = wildInt(in, -5, 260);
    const int minSize = wildInt(in, -2, kImageSide + 2);
    cv::Mat dst;
    fast_threshold(src, mask, dst, minGray, maxGray, minSize);
    if (!usable(src, mask)) {
        FUZZ_CHECK(dst.empty());
        return;
    }
    checkRegionImage(dst, src, mask);
    // Only qualifying pixels are ever marked.
    FUZZ_CHECK(isSubset(dst, band(src, minGray, maxGray)));
    if (minSize <= 0 || minSize >= src.rows)
        FUZZ_CHECK(cv::countNonZero(dst) == 0);
}

void checkLineGauss(FuzzedDataProvider& in, const cv::Mat& src, const cv::Mat& mask)
{
    // Sizes and sigmas go to OpenCV as they are; keep them small enough for fast runs.
    const cv::Size ksize(in.ConsumeIntegralInRange<int>(-1, 9), in.ConsumeIntegralInRange<int>(-1, 9));
    const double sigmaX = in.ConsumeBool() ? wildDouble(in, 6.0) : in.ConsumeFloatingPointInRange(-1.0, 6.0);
    const double sigmaY = in.ConsumeFloatingPointInRange(-1.0, 6.0);
    const bool hugeSigma = std::abs(sigmaX) > 6 && std::isfinite(sigmaX) && (ksize.width <= 0 || ksize.height <= 0);
    const int blockHalf = in.ConsumeBool() ? in.ConsumeIntegralInRange<int>(-2, 30) : wildInt(in, -2, 30);
    const double c = wildDouble(in, 20.0);
    const int iterations = wildInt(in, -1, 5);
    if (hugeSigma || (blockHalf > 30 && blockHalf <= 65536))
        return;
    const auto type = static_cast<LineGaussType>(wildInt(in, 0, 1));
    cv::Mat dst;
    try {
        line_gauss(src, mask, dst, type, ksize, sigmaX, sigmaY, blockHalf, c, iterations);
    } catch (const cv::Exception&) {
        return; // invalid sizes and types are OpenCV's to refuse
    }
    if (blockHalf > 65536) {
        FUZZ_CHECK(dst.empty());
        return;
    }
    // The mask is ANDed in as it is, so only a 0/255 mask gives a 0/255 result. A src or
    // mask of at most four pixels is a scalar to the AND, as documented; otherwise a mask
    // of another size or type raised above.
    if (!mask.empty() && (mask.size() != src.size() || mask.type() != CV_8UC1)) {
        FUZZ_CHECK(src.total() <= 4 || mask.total() <= 4);
        return;
    }
    FUZZ_CHECK(dst.type() == CV_8UC1 && dst.size() == src.size());
    if (!mask.empty())
        FUZZ_CHECK(isSubset(dst, mask));
    if (mask.empty() || isBinary(mask))
        FUZZ_CHECK(isBinary(dst));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzedDataProvider in(data, size);
    const cv::Mat src = maybeView(in, image(in, kImageSide, in.ConsumeIntegralInRange<int>(0, 7) == 0));
    const cv::Mat m = mask(in, src);
    const cv::Mat srcBefore = src.clone(), maskBefore = m.clone();
    checkMinMax(in, src, m);
    checkDynamic(in, src);
    checkVariance(in, src, m);
    checkFast(in, src, m);
    checkLineGauss(in, src, m);
    FUZZ_CHECK(src.empty() || cv::norm(src, srcBefore, cv::NORM_INF) == 0);
    FUZZ_CHECK(m.empty() || cv::norm(m, maskBefore, cv::NORM_INF) == 0);
    return 0;
}
