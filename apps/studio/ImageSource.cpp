#include "ImageSource.h"

#include <ToolDefinition.h>

#include <QDir>
#include <QFileInfo>

#include <opencv2/imgproc.hpp>

namespace studio {

namespace {

constexpr int kSmallestHalving = 512; // px along the longer side

QImage pictureOf(const cv::Mat& image)
{
    const QImage::Format format = image.channels() == 1 ? QImage::Format_Grayscale8 : QImage::Format_RGB888;
    // The picture shares the matrix's pixels (a large image is not held twice); the
    // matrix header it owns keeps them alive as long as the picture.
    auto* keeper = new cv::Mat(image);
    return QImage(
        static_cast<const uchar*>(keeper->data), keeper->cols, keeper->rows, static_cast<int>(keeper->step), format,
        [](void* matrix) { delete static_cast<cv::Mat*>(matrix); }, keeper);
}

void fill(LoadedImage& loaded)
{
    loaded.picture = pictureOf(loaded.image);
    cv::Mat level = loaded.image;
    while (std::max(level.cols, level.rows) > kSmallestHalving) {
        cv::Mat half;
        // Area averaging keeps fine detail from aliasing into moiré.
        cv::resize(level, half, cv::Size((level.cols + 1) / 2, (level.rows + 1) / 2), 0, 0, cv::INTER_AREA);
        loaded.halvings.push_back(pictureOf(half));
        level = half;
    }
}

} // namespace

const QImage& LoadedImage::pictureFor(double scale, int& factor) const
{
    // The smallest copy that still has at least one of its pixels per screen pixel.
    factor = 1;
    const QImage* chosen = &picture;
    for (const QImage& half : halvings) {
        if (scale * factor * 2 > 1.0)
            break;
        factor *= 2;
        chosen = &half;
    }
    return *chosen;
}

QString LoadedImage::valueAt(int x, int y) const
{
    if (image.empty() || x < 0 || y < 0 || x >= image.cols || y >= image.rows)
        return {};
    if (image.channels() == 1)
        return QString::number(image.at<uchar>(y, x));
    const cv::Vec3b rgb = image.at<cv::Vec3b>(y, x);
    cv::Mat pixel(1, 1, CV_8UC3, cv::Scalar(rgb[0], rgb[1], rgb[2])), grey;
    // The conversion the tools apply.
    cv::cvtColor(pixel, grey, cv::COLOR_RGB2GRAY);
    return QString("%1 (rgb %2, %3, %4)").arg(grey.at<uchar>(0, 0)).arg(rgb[0]).arg(rgb[1]).arg(rgb[2]);
}

SharedImage loadImageFile(const QString& path)
{
    auto loaded = std::make_shared<LoadedImage>();
    loaded->path = path;
    try {
        loaded->image = frontend::loadImage(path.toStdString());
        fill(*loaded);
    } catch (const std::exception& e) {
        *loaded = LoadedImage();
        loaded->path = path;
        loaded->error = QString::fromStdString(e.what());
    }
    return loaded;
}

SharedImage imageFromMatrix(const cv::Mat& image, const QString& name)
{
    auto loaded = std::make_shared<LoadedImage>();
    loaded->path = name;
    loaded->image = frontend::checkedImage(image, name.toStdString());
    fill(*loaded);
    return loaded;
}

bool isImageFile(const QString& path)
{
    static const QStringList known = {"png", "bmp", "jpg", "jpeg", "tif", "tiff"};
    return known.contains(QFileInfo(path).suffix().toLower());
}

QStringList imagesInFolder(const QString& folder)
{
    QStringList images;
    const QDir dir(folder);
    for (const QString& name : dir.entryList(QDir::Files, QDir::Name))
        if (isImageFile(name))
            images << dir.filePath(name);
    return images;
}

} // namespace studio
