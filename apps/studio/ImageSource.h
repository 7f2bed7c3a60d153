#pragma once

// Images as the studio holds them: the 8-bit matrix the tools measure on, a picture for
// the screen and its successive halvings, so that a zoomed-out view of a large image
// paints from a small copy instead of scaling the whole image on every paint. Loading
// runs on a worker thread; nothing here touches widgets.

#include <QImage>
#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

namespace studio {

struct LoadedImage {
    QString path;
    cv::Mat image;                // what the tools get: grey, or colour in RGB order
    QImage picture;               // the same pixels for painting
    std::vector<QImage> halvings; // picture at 1/2, 1/4, ... down to about 512 px
    QString error;                // why the file could not be read; the rest is empty then

    /// The copy to paint from at `scale` screen pixels per image pixel, and its size
    /// factor (1 for the picture itself, 2 for the first halving, ...).
    const QImage& pictureFor(double scale, int& factor) const;
    /// The grey value at a pixel, and its colour ("r, g, b") for colour images.
    QString valueAt(int x, int y) const;
};

using SharedImage = std::shared_ptr<const LoadedImage>;

/// Reads an image file (png, bmp, jpg, tif; grey or colour) as the command-line tool does.
SharedImage loadImageFile(const QString& path);
/// Wraps an image already in memory (8-bit grey, RGB or RGBA), `name` naming it.
SharedImage imageFromMatrix(const cv::Mat& image, const QString& name);

/// The image files of a folder, by name.
QStringList imagesInFolder(const QString& folder);
bool isImageFile(const QString& path);

} // namespace studio
