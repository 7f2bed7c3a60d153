#include "ToolSupport_p.h"

#include "Contract_p.h"

#include "ImageSampling.h"
#include "RoiShapes.h"

#include <opencv2/imgproc.hpp>

#include <cmath>
#include <limits>

namespace tool_support {

bool isReadableImage(const cv::Mat& image)
{
    const int channels = image.channels();
    return !image.empty() && image.depth() == CV_8U && (channels == 1 || channels == 3 || channels == 4);
}

bool isUsableRotateRect(RotateRectROI& roi)
{
    if (!isStraightenableSize(roi.width, roi.height))
        return false;
    std::vector<cv::Point2f> corners;
    getCornerPoints(&roi, corners);
    // Beyond about a million pixels OpenCV's warp overflows its fixed-point coordinates
    // and samples real pixels of the image, so such a ROI would measure the wrong place.
    for (const cv::Point2f& c : corners)
        if (!(std::abs(c.x) < kMaxCornerCoordinate) || !(std::abs(c.y) < kMaxCornerCoordinate))
            return false;
    return true;
}

void straightenRotateRect(const cv::Mat& image, RotateRectROI& roi, cv::Mat& straightened)
{
    FUNCTIONS_ASSERT(isUsableRotateRect(roi));
    std::vector<cv::Point2f> corners;
    getCornerPoints(&roi, corners);
    const cv::Point2f targets[4] = {{0.0f, 0.0f}, {roi.width, 0.0f}, {roi.width, roi.height}, {0.0f, roi.height}};
    const cv::Mat transform = cv::getPerspectiveTransform(corners.data(), targets);
    cv::warpPerspective(image, straightened, transform,
                        cv::Size(static_cast<int>(roi.width), static_cast<int>(roi.height)),
                        cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0));
}

void convertToGreyInPlace(cv::Mat& image)
{
    if (image.channels() > 1)
        cv::cvtColor(image, image, cv::COLOR_RGB2GRAY);
}

void columnMeans(const cv::Mat& grey, std::vector<float>& means)
{
    FUNCTIONS_ASSERT(grey.type() == CV_8UC1 && !grey.empty());
    const int rows = grey.rows;
    const int cols = grey.cols;
    std::vector<float> sums(cols, 0.0f);
    for (int r = 0; r < rows; ++r) {
        const uchar* row = grey.ptr<uchar>(r);
        for (int c = 0; c < cols; ++c)
            sums[c] += row[c];
    }
    means.resize(cols);
    for (int c = 0; c < cols; ++c)
        means[c] = sums[c] / static_cast<float>(rows);
}

bool isUsableRect(const RectROI& roi)
{
    const QRectF& r = roi.rect;
    if (!(r.width() >= 1.0 && r.height() >= 1.0 && r.width() < kMaxStraightenedSide &&
          r.height() < kMaxStraightenedSide))
        return false;
    cv::Rect unused;
    return truncatedRect(r.x(), r.y(), r.width(), r.height(), unused);
}

bool truncatedRect(double x, double y, double width, double height, cv::Rect& rect)
{
    // Far enough inside the int range that origin + side cannot overflow either.
    constexpr double kLimit = 1e9;
    if (!(std::abs(x) < kLimit && std::abs(y) < kLimit && width >= 0 && width < kLimit && height >= 0 &&
          height < kLimit))
        return false;
    rect = cv::Rect(static_cast<int>(x), static_cast<int>(y), static_cast<int>(width), static_cast<int>(height));
    return true;
}

void copyUprightRect(const cv::Mat& image, cv::Rect rect, cv::Mat& upright)
{
    // Our own header keeps the source alive should upright be the very image.
    cv::Mat source = image;
    upright.release();
    UtilityFunctions::CopyImage(source, rect, upright, cv::Scalar(0));
}

void uprightRotateRect(const cv::Mat& image, RotateRectROI& roi, cv::Mat& upright)
{
    if (roi.angle != 0.0f) {
        straightenRotateRect(image, roi, upright);
        return;
    }
    cv::Rect rect;
    if (truncatedRect(roi.centreX - roi.width / 2, roi.centreY - roi.height / 2, roi.width, roi.height, rect))
        copyUprightRect(image, rect, upright);
    else
        upright.release();
}

bool uprightRoiImage(const cv::Mat& image, ROI* roi, cv::Mat& upright)
{
    if (auto* rotated = shapeAs<RotateRectROI>(roi, RotateRectROIType)) {
        if (!isUsableRotateRect(*rotated))
            return false;
        uprightRotateRect(image, *rotated, upright);
        return true;
    }
    auto* rect = shapeAs<RectROI>(roi, RectROIType);
    cv::Rect box;
    if (!rect || !isUsableRect(*rect))
        return false;
    const QRectF& r = rect->rect;
    truncatedRect(r.x(), r.y(), r.width(), r.height(), box);
    copyUprightRect(image, box, upright);
    return true;
}

void rowMeans(const cv::Mat& grey, std::vector<float>& means)
{
    FUNCTIONS_ASSERT(grey.type() == CV_8UC1 && !grey.empty());
    const int rows = grey.rows;
    const int cols = grey.cols;
    means.resize(rows);
    for (int r = 0; r < rows; ++r) {
        const uchar* row = grey.ptr<uchar>(r);
        float sum = 0.0f;
        for (int c = 0; c < cols; ++c)
            sum += row[c];
        means[r] = sum / static_cast<float>(cols);
    }
}

} // namespace tool_support
