#include "ToolSupport_p.h"

#include "RoiShapes.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

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
    for (const cv::Point2f& c : corners)
        if (!std::isfinite(c.x) || !std::isfinite(c.y))
            return false;
    return true;
}

void straightenRotateRect(const cv::Mat& image, RotateRectROI& roi, cv::Mat& straightened)
{
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

} // namespace tool_support
