#pragma once

// The mapping between image coordinates (pixel centres at integers, y down) and a widget's
// pixels: the image point at the widget's top-left corner and the screen pixels per image
// pixel.

#include <QPointF>

namespace studio {

struct Viewport {
    QPointF origin;
    double scale = 1;

    QPointF toWidget(QPointF image) const { return (image - origin) * scale; }
    QPointF toImage(QPointF widget) const { return widget / scale + origin; }
};

} // namespace studio
